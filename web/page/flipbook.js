/** Plays pictures of frames one after the other, so that a pop is seen. */

import { fill, labelled, make, say } from "./dom.js";
import { isBad, stateName } from "./kinds.js";
import { pictureAddress, showPicture } from "./pictures.js";
import { t } from "./text.js";

const WIDTH = 640;
/** More pictures than these would fill the tab. */
const MOST = 400;
/** So many are asked for side by side: a browser's connections are few. */
const SIDE_BY_SIDE = 3;

/**
 * @typedef {object} Leaf
 * @property {number} place
 * @property {HTMLImageElement} image
 * @property {number} frame
 * @property {string} version of its file
 * @property {string | null} reason null while it is on its way, "" when it is there
 */

export class Flipbook {
    element;
    #view;
    #job;
    #format;
    /** @type {Leaf[]} */
    #leaves = [];
    #now = 0;
    #isPlaying = false;
    #isOpen = false;
    #shownAt = 0;
    #round = 0;
    /** @type {number[]} that are still to be asked for */
    #queue = [];
    /** Of this round, that are asking. */
    #asking = 0;
    #screen = make("canvas", { class: "flip-screen", width: WIDTH, height: 360, role: "img" });
    #play = make("button", { type: "button", id: "play", onclick: () => this.#toggle() });
    #slider = make("input", { type: "range", id: "flip-frame", min: 0, max: 0, value: 0 });
    #rate = make("select", { id: "rate" }, [6, 12, 24, 30].map((rate) => make("option", { value: rate }, rate)));
    #text = make("p", { class: "flip-text" });
    #ready = make("p", { class: "dim", role: "status" });

    /**
     * @param {string} job
     * @param {() => number} format
     * @param {import("./view.js").View} view
     */
    constructor(job, format, view) {
        this.#job = job;
        this.#format = format;
        this.#view = view;
        this.#rate.value = "12";
        this.#slider.addEventListener("input", () => {
            this.#stop();
            this.#show(Number(this.#slider.value));
        });
        this.element = make(
            "div",
            { class: "flipbook", id: "flipbook", tabindex: 0, role: "group", "aria-label": t("Flipbook"), onkeydown: (/** @type {KeyboardEvent} */ event) => this.#onKey(event) },
            this.#screen,
            this.#text,
            make(
                "div",
                { class: "bar" },
                this.#play,
                labelled(t("Frame"), this.#slider),
                labelled(t("Pictures a second"), this.#rate),
                make("button", { type: "button", id: "flip-load", onclick: () => this.load() }, t("Take what is selected or in view")),
            ),
            this.#ready,
        );
        view.listen((change) => {
            if (change === "data" && this.#isOpen) this.#onData();
        });
        this.#name();
    }

    /** Takes frames as soon as there are some. */
    open() {
        this.#isOpen = true;
        this.load();
    }

    /** Takes the selected frames, those in view where none are. */
    load() {
        this.#stop();
        const round = ++this.#round;
        const { selection, from, to } = this.#view;
        const runs = selection.isEmpty ? [from, to] : selection.runs;
        /** @type {number[]} */
        const places = [];
        for (let i = 0; i < runs.length; i += 2)
            for (let place = runs[i]; place < runs[i + 1] && places.length < MOST; ++place) places.push(place);
        const { sheet } = this.#view;
        this.#leaves = places.map((place) => ({ place, image: new Image(), frame: sheet.numbers.at(place), version: sheet.version(place), reason: null }));
        this.#queue = this.#leaves.map((_, index) => index);
        this.#slider.max = String(Math.max(0, places.length - 1));
        this.#asking = 0;
        this.#show(0);
        this.#ask(round);
        this.#tellReady();
    }

    /** @param {number} round */
    #ask(round) {
        while (this.#asking < SIDE_BY_SIDE && this.#queue.length) {
            ++this.#asking;
            this.#take(round).finally(() => {
                if (round === this.#round) --this.#asking;
            });
        }
    }

    /** @param {number} round what another one has asked for is not shown */
    async #take(round) {
        for (let index; (index = this.#queue.shift()) !== undefined; ) {
            const leaf = this.#leaves[index];
            const { version } = leaf;
            const image = new Image();
            const reason = await showPicture(image, pictureAddress(this.#job, leaf.frame, { format: this.#format(), width: WIDTH, seen: version }));
            if (round !== this.#round) return;
            // Its file has changed meanwhile: it is in the queue once more.
            if (version !== leaf.version) continue;
            leaf.image = image;
            leaf.reason = reason;
            if (index === this.#now) this.#show(index);
            this.#tellReady();
        }
    }

    /** Frames may be other ones, or their files; what was seen of them stays until there is something new. */
    #onData() {
        const { sheet } = this.#view;
        if (!this.#leaves.length || this.#leaves.some((leaf) => sheet.numbers.at(leaf.place) !== leaf.frame)) return this.load();
        this.#leaves.forEach((leaf, index) => {
            const version = sheet.version(leaf.place);
            if (version === leaf.version) return;
            leaf.version = version;
            this.#queue.push(index);
        });
        this.#ask(this.#round);
    }

    #tellReady() {
        const there = this.#leaves.filter((leaf) => leaf.reason !== null).length;
        const all = this.#leaves.length;
        const most = all === MOST ? ` ${t("At most {count} at a time.", { count: MOST })}` : "";
        say(this.#ready, there === all ? t("{count} picture|{count} pictures", { count: all }) + most : t("{there} of {all} pictures are here", { there, all }) + most);
    }

    /** @param {number} index */
    #show(index) {
        const leaf = this.#leaves[index];
        if (!leaf) return;
        this.#now = index;
        this.#slider.value = String(index);
        const { sheet } = this.#view;
        const frame = String(sheet.numbers.at(leaf.place));
        this.#slider.setAttribute("aria-valuetext", frame);
        const ink = this.#screen.getContext("2d");
        const isThere = leaf.reason === "" && leaf.image.naturalWidth > 0;
        if (ink && isThere) {
            if (this.#screen.height !== leaf.image.naturalHeight || this.#screen.width !== leaf.image.naturalWidth) {
                this.#screen.width = leaf.image.naturalWidth;
                this.#screen.height = leaf.image.naturalHeight;
            }
            ink.drawImage(leaf.image, 0, 0);
        } else ink?.clearRect(0, 0, this.#screen.width, this.#screen.height);
        const state = sheet.state(leaf.place);
        let text = t("Frame {frame}", { frame });
        if (isBad(state)) text += ` – ${stateName(state)}`;
        if (leaf.reason) text += ` – ${leaf.reason}`;
        say(this.#text, text);
        this.#screen.setAttribute("aria-label", text);
        this.#screen.dataset.frame = frame;
    }

    #toggle() {
        if (this.#isPlaying) return this.#stop();
        if (!this.#leaves.length) this.load();
        this.#isPlaying = true;
        this.#name();
        this.#shownAt = performance.now();
        requestAnimationFrame((now) => this.#step(now));
    }

    #stop() {
        this.#isPlaying = false;
        this.#name();
    }

    #name() {
        fill(this.#play, this.#isPlaying ? t("Stop") : t("Play"));
    }

    /** @param {number} now */
    #step(now) {
        if (!this.#isPlaying || !this.element.isConnected) return this.#stop();
        if (now - this.#shownAt >= 1000 / Number(this.#rate.value)) {
            this.#shownAt = now;
            const next = (this.#now + 1) % this.#leaves.length;
            // What is not there yet is waited for: a frame left out would look like a pop.
            if (this.#leaves[next].reason !== null) this.#show(next);
        }
        requestAnimationFrame((then) => this.#step(then));
    }

    /** @param {KeyboardEvent} event */
    #onKey(event) {
        if (event.target !== this.element) return;
        if (event.key === " ") this.#toggle();
        else if (event.key === "ArrowRight" || event.key === "ArrowLeft") {
            this.#stop();
            const count = this.#leaves.length;
            if (count) this.#show((this.#now + (event.key === "ArrowRight" ? 1 : count - 1)) % count);
        } else return;
        event.preventDefault();
    }

    close() {
        this.#isOpen = false;
        this.#stop();
        ++this.#round;
        for (const { image } of this.#leaves) image.removeAttribute("src");
        this.#leaves = [];
        this.#queue = [];
    }
}
