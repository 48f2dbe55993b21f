/** One frame: its picture, its neighbours and the difference to them, its file, and who wrote it. */

import { ApiError, get, jobAddress } from "./api.js";
import { fill, labelled, make, say } from "./dom.js";
import { bytes, time } from "./format.js";
import { icon, stateName } from "./kinds.js";
import { tell } from "./notices.js";
import { pictureAddress, showPicture } from "./pictures.js";
import { taskLog } from "./tasks-view.js";
import { t } from "./text.js";

/** @typedef {import("./types.js").Frame} Frame */
/** @typedef {import("./types.js").Compared} Compared */
/** @typedef {import("./types.js").Decoded} Decoded */

const WIDTH = 960;
const SMALL = 320;
/** Times that a server with too much to do is asked again. */
const TRIES = 20;

/** Whether frames are held against those around them: once it is wanted of one, of all that follow. */
let compares = false;

export class FrameView {
    element;
    #job;
    #format;
    #frame;
    #seen;
    #end = new AbortController();
    /** @type {Frame | null} */
    #known = null;
    #exposure = make("input", { type: "range", id: "exposure", min: -8, max: 8, step: 0.5, value: 0 });
    #stops = make("output", { for: "exposure" }, "0");
    #channels = make("select", { id: "channels" });
    #picture = make("figure", { class: "picture large" });
    #beside = make("div", { class: "beside" });
    #facts = make("dl", { class: "facts" });
    #decoded = make("div", { class: "decoded", role: "status" });
    #compares = make("input", { type: "checkbox", id: "compares" });
    #compared = make("div", { class: "compared", role: "status" });
    /** @type {Decoded | null} */
    #image = null;
    /** @type {Compared | null} */
    #found = null;
    /** Counts the loads: what comes of an earlier one is old. */
    #loads = 0;
    #log = make("div", { class: "log-place" });
    /** @type {number | null} whose log is there, opened or not. */
    #task = null;

    /**
     * @param {string} job
     * @param {number} format
     * @param {number} frame
     * @param {{onClose: () => void, onFrame: (frame: number) => void, onNextBad: () => void}} ways
     * @param {(frame: number) => string} seen another text where the file of a frame may be another one
     */
    constructor(job, format, frame, ways, seen) {
        this.#job = job;
        this.#format = format;
        this.#frame = frame;
        this.#seen = seen;
        fill(this.#channels, [["rgb", t("colour")], ["r", t("red")], ["g", t("green")], ["b", t("blue")], ["a", t("alpha")], ["luma", t("brightness")]].map(([value, text]) => make("option", { value }, text)));
        this.#channels.addEventListener("change", () => this.#showPictures());
        this.#exposure.addEventListener("input", () => say(this.#stops, this.#exposure.value));
        this.#exposure.addEventListener("change", () => this.#showPictures());
        this.#compares.checked = compares;
        this.#compares.addEventListener("change", () => {
            compares = this.#compares.checked;
            this.#askCompared();
        });
        /** @param {"before" | "after"} side */
        const neighbour = (side) => {
            const to = this.#known?.neighbours[side];
            if (to !== null && to !== undefined) ways.onFrame(to);
        };
        this.element = make(
            "section",
            {
                class: "frame panel",
                id: "frame",
                tabindex: -1,
                "aria-label": t("Frame {frame}", { frame: String(frame) }),
                onkeydown: (/** @type {KeyboardEvent} */ event) => {
                    if (event.target instanceof HTMLInputElement || event.target instanceof HTMLSelectElement) return;
                    if (event.ctrlKey || event.altKey || event.metaKey) return;
                    if (event.key === "ArrowLeft") neighbour("before");
                    else if (event.key === "ArrowRight") neighbour("after");
                    else if (event.key === "b") ways.onNextBad();
                    else if (event.key === "Escape") ways.onClose();
                    else return;
                    event.preventDefault();
                },
            },
            make(
                "div",
                { class: "bar" },
                make("h2", {}, t("Frame {frame}", { frame: String(frame) })),
                make("button", { type: "button", id: "frame-before", onclick: () => neighbour("before") }, t("Frame before")),
                make("button", { type: "button", id: "frame-after", onclick: () => neighbour("after") }, t("Frame after")),
                make("button", { type: "button", onclick: () => ways.onNextBad() }, t("Next bad")),
                make("button", { type: "button", id: "frame-close", onclick: () => ways.onClose() }, t("Close")),
            ),
            make("div", { class: "bar" }, labelled(t("Exposure, stops"), this.#exposure), this.#stops, labelled(t("Channels"), this.#channels)),
            make("div", { class: "frame-columns" }, make("div", {}, this.#picture, this.#beside), make("div", {}, this.#facts, this.#decoded, labelled(t("Compare with the frames around"), this.#compares), this.#compared, this.#log)),
        );
        this.load();
    }

    /** Asks for it all anew: the file may be another one by now. */
    async load() {
        const address = jobAddress(this.#job, `/frames/${this.#frame}`, { format: this.#format });
        try {
            this.#known = await get(address, this.#end.signal);
        } catch (error) {
            if (!this.#end.signal.aborted) {
                fill(this.#facts, make("dt", {}, t("Trouble")), make("dd", { role: "alert" }, error instanceof Error ? error.message : ""));
            }
            return;
        }
        if (this.#known) this.#showFacts(this.#known);
        this.#showPictures();
        this.#loads++;
        this.#image = null;
        this.#askDecoded();
        this.#askCompared();
    }

    /** The frames whose files are shown. */
    get shown() {
        const { before, after } = this.#known?.neighbours ?? { before: null, after: null };
        return /** @type {number[]} */ ([before, this.#frame, after].filter((frame) => frame !== null));
    }

    /** @param {Frame} frame */
    #showFacts(frame) {
        const path = make("code", { class: "path" }, frame.path);
        const copy = make("button", { type: "button", class: "small", onclick: () => this.#copy(path, frame.path) }, t("Copy"));
        /** @type {[string, (Node | string)[]][]} */
        const rows = [
            [t("By its size"), [icon(frame.state), ` ${stateName(frame.state)}`, make("span", { class: "dim" }, frame.why ? ` – ${frame.why}` : "")]],
            [t("Size"), [bytes(frame.size)]],
            [t("Written"), [time(frame.modified)]],
            [t("Path"), [path, " ", copy]],
        ];
        fill(this.#facts, rows.flatMap(([name, value]) => [make("dt", {}, name), make("dd", {}, value)]));
        // One that was opened stays when the frame is looked at anew.
        const task = frame.task;
        if (task === this.#task) return;
        this.#task = task;
        if (task === null) return fill(this.#log);
        const open = make("button", { type: "button", id: "frame-log", onclick: () => taskLog(this.#job, task, this.#log) }, t("Log of task {task}", { task: String(task) }));
        fill(this.#log, open);
    }

    /**
     * @param {HTMLElement} element
     * @param {string} path
     */
    async #copy(element, path) {
        try {
            await navigator.clipboard.writeText(path);
            tell(t("The path is copied."));
        } catch {
            // Beyond loopback without TLS there is no clipboard: it is marked for the user's own copying.
            getSelection()?.selectAllChildren(element);
        }
    }

    async #askDecoded() {
        if (this.#known?.size === null) return fill(this.#decoded);
        say(this.#decoded, t("Looking into the file …"));
        try {
            const address = jobAddress(this.#job, `/frames/${this.#frame}`, { format: this.#format, decode: 1 });
            /** @type {Frame} */
            const frame = await get(address, this.#end.signal);
            const found = frame.decoded;
            if (!found) return fill(this.#decoded);
            this.#image = found;
            this.#showPlace();
            const what = found.width && found.height ? `${found.width} × ${found.height}, ${(found.channels ?? []).join(" ")}${found.format ? `, ${found.format}` : ""}` : "";
            const verdict = found.detail || found.trouble || t("The image is whole.");
            fill(this.#decoded, make("p", {}, what), make("p", { class: found.detail || found.trouble ? "bad" : "" }, verdict));
        } catch (error) {
            if (!this.#end.signal.aborted) say(this.#decoded, error instanceof Error ? error.message : "");
        }
    }

    async #askCompared() {
        const load = this.#loads;
        this.#found = null;
        this.#showPlace();
        if (!compares || !this.#known || this.#known.size === null) return fill(this.#compared);
        say(this.#compared, t("Reading the frames around …"));
        const address = jobAddress(this.#job, `/frames/${this.#frame}`, { format: this.#format, pictures: 1 });
        let told = "";
        for (let tries = 0; compares && load === this.#loads; tries++) {
            try {
                /** @type {Frame} */
                const frame = await get(address, this.#end.signal);
                if (compares && load === this.#loads) this.#showCompared(frame.pictures ?? null);
                return;
            } catch (error) {
                if (this.#end.signal.aborted || load !== this.#loads) return;
                if (!(error instanceof ApiError && error.again && tries < TRIES)) return this.#showNotCompared(error instanceof Error ? error.message : "");
                // It goes on where its time was over; how far it is, it says. Where it says the same again, some
                // files take all the time there is.
                if (error.status === 503) {
                    if (error.message === told) return this.#showNotCompared(told);
                    told = error.message;
                    say(this.#compared, told);
                }
                await new Promise((resolve) => setTimeout(resolve, 1000));
            }
        }
    }

    /** @param {Compared | null} found */
    #showCompared(found) {
        this.#found = found;
        this.#showPlace();
        if (!found) return fill(this.#compared);
        const isGood = found.state === "ok";
        const verdict = isGood && !found.trouble ? t("Nothing strange beside the frames {range}.", { range: found.range }) : [icon(found.state), ` ${stateName(found.state)}`];
        fill(
            this.#compared,
            make("p", { class: isGood ? "" : "bad" }, verdict),
            // What the file shows by itself stands there already.
            found.detail && found.detail !== this.#image?.detail ? make("p", {}, found.detail) : [],
            found.trouble ? make("p", { class: "bad" }, found.trouble) : [],
            found.notLookedAt ? make("p", { class: "dim" }, t("Not looked at: {range}", { range: found.notLookedAt })) : [],
        );
    }

    /**
     * Asked again, the server goes on where its time was over.
     * @param {string} reason
     */
    #showNotCompared(reason) {
        const again = make("button", { type: "button", class: "small", onclick: () => this.#askCompared() }, t("Try again"));
        fill(this.#compared, make("p", { class: "bad" }, reason), again);
    }

    /** Frames what was found in the large picture. */
    #showPlace() {
        this.#picture.querySelector(".place")?.remove();
        const [place, image] = [this.#found?.place, this.#image];
        if (!place || !image?.width || !image.height) return;
        const mark = make("span", { class: "place", title: stateName(this.#found?.state ?? "") });
        mark.style.left = `${(100 * place.x) / image.width}%`;
        mark.style.top = `${(100 * place.y) / image.height}%`;
        mark.style.width = `${(100 * place.width) / image.width}%`;
        mark.style.height = `${(100 * place.height) / image.height}%`;
        this.#picture.querySelector(".shown")?.append(mark);
    }

    /** @param {number[]} frames that are shown in one picture */
    #wish(...frames) {
        return { seen: frames.map((frame) => this.#seen(frame)).join("-"), format: this.#format, exposure: Number(this.#exposure.value), channels: this.#channels.value };
    }

    #showPictures() {
        const known = this.#known;
        if (!known) return;
        const picture = this.#figure(t("Frame {frame}", { frame: String(this.#frame) }), pictureAddress(this.#job, this.#frame, { ...this.#wish(this.#frame), width: WIDTH }));
        this.#picture.replaceChildren(...picture.childNodes);
        this.#showPlace();
        const { before, after } = known.neighbours;
        const others = /** @type {number[]} */ ([before, after].filter((frame) => frame !== null));
        fill(
            this.#beside,
            others.map((frame) => this.#figure(t("Frame {frame}", { frame: String(frame) }), pictureAddress(this.#job, frame, { ...this.#wish(frame), width: SMALL }))),
            others.map((frame) => this.#figure(t("Difference to frame {frame}", { frame: String(frame) }), pictureAddress(this.#job, this.#frame, { ...this.#wish(this.#frame, frame), width: SMALL, minus: frame }))),
        );
    }

    /**
     * @param {string} name
     * @param {string} address
     */
    #figure(name, address) {
        const image = make("img", { alt: name, class: "waiting" });
        const reason = make("p", { class: "reason" });
        showPicture(image, address).then((trouble) => {
            image.classList.remove("waiting");
            image.hidden = trouble !== "";
            say(reason, trouble);
        });
        return make("figure", { class: "picture" }, make("span", { class: "shown" }, image), reason, make("figcaption", {}, name));
    }

    close() {
        this.#end.abort();
        for (const image of this.element.querySelectorAll("img")) image.removeAttribute("src");
    }
}

