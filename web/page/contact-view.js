/** The contact sheet: a picture of each frame in view, made when it is looked at. */

import { jobPage } from "./address.js";
import { afterCalm, make, onceAFrame, say } from "./dom.js";
import { icon, stateName } from "./kinds.js";
import { pictureAddress, showPicture } from "./pictures.js";
import { t } from "./text.js";

const WIDTH = 176;
const NARROWEST = 130;
const HEIGHT = 142;
const GAP = 8;
/** Browsers draw nothing higher than some millions of pixels. */
const MOST = 100000;

/**
 * @typedef {object} Tile
 * @property {HTMLElement} element
 * @property {HTMLImageElement} image
 * @property {HTMLElement} reason
 * @property {string} version state and file that it was made for
 */

export class ContactView {
    element;
    #view;
    #job;
    #format;
    #box = make("div", { class: "contact-box", id: "contact", role: "group", tabindex: 0, "aria-label": t("Contact sheet") });
    #space = make("div", { class: "contact-space", role: "presentation" });
    #note = make("p", { class: "dim" });
    /** @type {Map<number, Tile>} by place */
    #tiles = new Map();
    #isOpen = false;
    #paint = onceAFrame(() => this.#draw());
    /** What is scrolled past quickly is never asked for. */
    #load = afterCalm(() => this.#loadSeen(), 120);

    /**
     * @param {string} job
     * @param {() => number} format
     * @param {import("./view.js").View} view
     */
    constructor(job, format, view) {
        this.#job = job;
        this.#format = format;
        this.#view = view;
        this.#box.append(this.#space);
        this.#box.addEventListener("scroll", this.#paint);
        new ResizeObserver(this.#paint).observe(this.#box);
        this.element = make("div", { class: "contact" }, this.#note, this.#box);
        view.listen((change) => {
            if (change !== "hover") this.#paint();
        });
    }

    open() {
        this.#isOpen = true;
        this.#paint();
    }

    /** Nothing is asked for that nobody looks at. */
    close() {
        this.#isOpen = false;
        this.#forget();
    }

    /** Forgets all pictures: they are of another format. */
    reset() {
        this.#forget();
        this.#paint();
    }

    #forget() {
        for (const tile of this.#tiles.values()) {
            tile.image.removeAttribute("src");
            tile.element.remove();
        }
        this.#tiles.clear();
    }

    #draw() {
        // What is in a part that is shut has its size nevertheless.
        if (!this.#isOpen || !this.#box.clientWidth) return;
        const { from, to, sheet, cursor } = this.#view;
        const count = Math.min(MOST, to - from);
        say(this.#note, count < to - from ? t("The first {count} of the frames in view; zoom in for the others.", { count }) : "");
        const across = this.#box.clientWidth + GAP;
        // A phone is a little too narrow for two.
        const columns = Math.max(across >= 2 * (NARROWEST + GAP) ? 2 : 1, Math.floor(across / (WIDTH + GAP)));
        const width = Math.min(WIDTH, Math.floor(across / columns) - GAP);
        const height = HEIGHT + GAP;
        this.#space.style.height = `${Math.ceil(count / columns) * height}px`;
        const first = from + Math.floor(this.#box.scrollTop / height) * columns;
        const last = Math.min(from + count, from + Math.ceil((this.#box.scrollTop + this.#box.clientHeight) / height) * columns);
        for (const [place, tile] of this.#tiles)
            if (place < first || place >= last) {
                // Whatever is still on its way is not waited for.
                tile.image.removeAttribute("src");
                tile.element.remove();
                this.#tiles.delete(place);
            }
        for (let place = first; place < last; ++place) {
            let tile = this.#tiles.get(place);
            const version = `${sheet.numbers.at(place)} ${sheet.state(place)} ${sheet.version(place)}`;
            if (tile && tile.version !== version) {
                tile.element.remove();
                this.#tiles.delete(place);
                tile = undefined;
            }
            if (!tile) {
                tile = this.#makeTile(place, version);
                this.#tiles.set(place, tile);
                this.#space.append(tile.element);
            }
            const index = place - from;
            tile.element.style.width = `${width}px`;
            tile.element.style.transform = `translate(${(index % columns) * (width + GAP)}px, ${Math.floor(index / columns) * height}px)`;
            tile.element.classList.toggle("current", place === cursor);
            tile.element.classList.toggle("selected", this.#view.selection.has(place));
        }
        this.#load();
    }

    /**
     * @param {number} place
     * @param {string} version
     * @returns {Tile}
     */
    #makeTile(place, version) {
        const sheet = this.#view.sheet;
        const frame = sheet.numbers.at(place);
        const state = sheet.state(place);
        const image = make("img", { alt: t("Frame {frame}", { frame: String(frame) }), class: "waiting" });
        const reason = make("span", { class: "reason" });
        const element = make(
            "a",
            {
                class: "tile",
                "data-frame": frame,
                href: jobPage(this.#job, { frame, format: this.#format() || null }),
                onpointerenter: () => this.#view.point(place),
                onpointerleave: () => this.#view.point(-1),
            },
            make("span", { class: "tile-picture" }, image, reason),
            make("span", { class: "tile-name" }, icon(state, 11), ` ${frame} `, make("span", { class: "unseen" }, stateName(state))),
        );
        return { element, image, reason, version };
    }

    #loadSeen() {
        for (const [place, tile] of this.#tiles) {
            if (tile.image.hasAttribute("src") || tile.reason.textContent) continue;
            if (this.#view.sheet.state(place) === "missing") {
                tile.image.hidden = true;
                say(tile.reason, stateName("missing"));
                continue;
            }
            const frame = this.#view.sheet.numbers.at(place);
            showPicture(tile.image, pictureAddress(this.#job, frame, { format: this.#format(), width: WIDTH, seen: this.#view.sheet.version(place) })).then((reason) => {
                if (!tile.element.isConnected) return;
                tile.image.classList.remove("waiting");
                tile.image.hidden = reason !== "";
                say(tile.reason, reason);
            });
        }
    }
}
