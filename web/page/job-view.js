/** One job: what it is, its frames in several ways, its tasks, and what can be done with it. */

import { get, getBytes, jobAddress } from "./api.js";
import { jobsPage, note, whereabouts } from "./address.js";
import { Actions } from "./actions.js";
import { ContactView } from "./contact-view.js";
import { afterCalm, fill, make, say, set } from "./dom.js";
import { Flipbook } from "./flipbook.js";
import { bytes, span, time } from "./format.js";
import { FrameView } from "./frame-view.js";
import { badMarks, progress, statusMark } from "./words.js";
import { icon, stateName } from "./kinds.js";
import { tellError } from "./notices.js";
import { partsOf } from "./ranges.js";
import { Sheet } from "./sheet-data.js";
import { SheetView, placeText } from "./sheet-view.js";
import { SizesView } from "./sizes-view.js";
import { TasksView } from "./tasks-view.js";
import { t } from "./text.js";
import { View } from "./view.js";

/** @typedef {import("./types.js").WholeJob} WholeJob */

/** Milliseconds that the pointer rests before the server is asked what is there. */
const REST = 70;
/** So much text of a range of bad frames is shown. */
const LONG = 400;

const NO_FRAMES = new TextEncoder().encode('{"format":0,"pattern":"","pass":0,"range":"","count":0,"states":["unknown","ok"],"counts":{}}\n');

/**
 * Whether a frame is in a range.
 * @param {string} range
 * @param {number} frame
 */
function touches(range, frame) {
    return partsOf(range).some(({ first, last, step }) => frame >= first && frame <= last && (frame - first) % step === 0);
}

export class JobView {
    element = make("section", { class: "job", id: "job" });
    #id;
    /** @type {WholeJob | null} */
    #job = null;
    #format = Number(whereabouts().get("format") ?? 0) || 0;
    #view = new View(new Sheet(NO_FRAMES));
    #end = new AbortController();
    #sheetEnd = new AbortController();
    #head = make("div", { class: "job-head" });
    #formats = make("select", { id: "format", "aria-label": t("Image format") });
    #counts = make("p", { class: "counts", id: "counts", role: "status" });
    #badRange = make("p", { class: "bad-range" });
    /** Why nothing new is known of the frames. */
    #looks = make("p", { class: "bad", id: "looks", role: "status" });
    #where = make("p", { class: "unseen", "aria-live": "polite", id: "where" });
    #cursorText = make("p", { class: "dim cursor-text", "aria-hidden": "true" });
    #tip = make("div", { class: "tip", id: "tip", role: "tooltip", hidden: true });
    #parameters = make("dl", { class: "facts" });
    #framePlace = make("div");
    /**
     * The frame that is open.
     * @type {{frame: number, view: FrameView} | null}
     */
    #frame = null;
    #sheet;
    #sizes;
    #contact;
    #flipbook;
    #tasks;
    #actions;
    /**
     * What was heard of frames since the last pass, by number.
     * @type {Map<number, import("./types.js").Frame>}
     */
    #heard = new Map();
    #tipFor = -1;
    /** @type {ReturnType<typeof setTimeout> | undefined} */
    #rest;
    /**
     * The element that had the focus before a frame was opened.
     * @type {HTMLElement | null}
     */
    #cameFrom = null;
    #speak = afterCalm(() => this.#speakCursor(), 250);
    #spokenFor = 0;
    #reloadTasks = afterCalm(() => this.#tasksAreOpen && !this.#end.signal.aborted && this.#tasks.load(), 300);
    #tasksAreOpen = false;
    #listBad = afterCalm(() => this.#describeBad(), 100);
    /** @type {import("./types.js").FramesChange[]} changes that came before the sheet */
    #early = [];
    #isLoading = false;

    /** @param {string} id */
    constructor(id) {
        this.#id = id;
        const format = () => this.#format;
        const view = this.#view;
        this.#sheet = new SheetView(view, (place) => this.#openFrame(view.sheet.numbers.at(place)), (place, x, y) => this.#hover(place, x, y));
        this.#sizes = new SizesView(id, format, view);
        this.#contact = new ContactView(id, format, view);
        this.#flipbook = new Flipbook(id, format, view);
        this.#tasks = new TasksView(id);
        this.#actions = new Actions(view, format);
        this.#formats.addEventListener("change", () => this.#chooseFormat(Number(this.#formats.value)));
        view.listen((change) => this.#onChange(change));
        this.#build();
        this.#start();
    }

    title() {
        return this.#job?.name ?? t("Job");
    }

    #build() {
        const keys = t(
            "Arrows move, Shift extends, Space selects, b and Shift+b go to the next and last bad frame, Enter opens, + − 0 zoom, Alt with arrows pans, Ctrl with the wheel zooms.",
        );
        const view = this.#view;
        /**
         * @param {string} id
         * @param {string} text
         * @param {string} name
         * @param {() => void} action
         */
        const button = (id, text, name, action) => make("button", { type: "button", id, title: name, "aria-label": name, onclick: action }, text);
        fill(
            this.element,
            this.#head,
            this.#framePlace,
            this.#actions.element,
            make(
                "div",
                { class: "panel" },
                make(
                    "div",
                    { class: "bar" },
                    make("h2", {}, t("Frames")),
                    make(
                        "span",
                        { class: "frame-tools" },
                        this.#formats,
                        button("zoom-in", "+", t("Zoom in"), () => view.zoom(1.6, view.cursor)),
                        button("zoom-out", "−", t("Zoom out"), () => view.zoom(1 / 1.6, view.cursor)),
                        button("zoom-all", t("All"), t("Show all frames"), () => view.look(0, view.sheet.count)),
                        button("next-bad", t("Next bad"), t("Go to the next bad frame"), () => {
                            const place = view.sheet.nextBad(view.cursor, 1);
                            if (place >= 0) view.moveTo(place);
                        }),
                        button("open-frame", t("Open"), t("Open the frame at the cursor"), () => this.#openFrame(view.sheet.numbers.at(view.cursor))),
                    ),
                ),
                this.#counts,
                this.#looks,
                this.#sheet.element,
                this.#cursorText,
                this.#where,
                make("p", { class: "dim keys", id: "sheet-keys" }, keys),
                this.#badRange,
            ),
            this.#panel("sizes", t("Sizes"), this.#sizes.element, () => this.#sizes.open(), () => this.#sizes.close(), true),
            this.#panel("pictures", t("Contact sheet"), this.#contact.element, () => this.#contact.open(), () => this.#contact.close(), false),
            this.#panel("flip", t("Flipbook"), this.#flipbook.element, () => this.#flipbook.open(), () => this.#flipbook.close(), false),
            this.#panel("task-list", t("Tasks and logs"), this.#tasks.element, () => this.#openTasks(true), () => this.#openTasks(false), false),
            this.#panel("parameter-list", t("Parameters"), this.#parameters, () => {}, () => {}, false),
            this.#tip,
        );
    }

    /**
     * A part that is made when it is opened; which are open stands in the address.
     * @param {string} name
     * @param {string} title
     * @param {HTMLElement} content
     * @param {() => void} open
     * @param {() => void} close
     * @param {boolean} isOpen where the address says nothing
     */
    #panel(name, title, content, open, close, isOpen) {
        const wish = whereabouts().get(name);
        const details = make("details", { class: name === "task-list" || name === "parameter-list" ? "panel" : "panel frame-panel", id: name }, make("summary", {}, make("h2", {}, title)), content);
        details.addEventListener("toggle", () => {
            note({ [name]: details.open === isOpen ? null : details.open ? "open" : "shut" });
            if (details.open) open();
            else close();
        });
        details.open = wish ? wish === "open" : isOpen;
        return details;
    }

    async #start() {
        try {
            this.#showJob(await get(jobAddress(this.#id, ""), this.#end.signal));
        } catch (error) {
            if (!this.#end.signal.aborted) this.#showTrouble(error);
            return;
        }
        await this.#loadSheet();
        const frame = Number(whereabouts().get("frame") ?? NaN);
        if (!Number.isNaN(frame)) this.#openFrame(frame);
    }

    /** @param {unknown} error */
    #showTrouble(error) {
        fill(
            this.element,
            make("div", { class: "panel", role: "alert", id: "trouble" }, make("p", {}, error instanceof Error ? error.message : String(error)), make("p", {}, make("a", { href: jobsPage() }, t("To the list of jobs")))),
        );
    }

    /** Goes to the frame of the address, or from it. */
    revisit() {
        const frame = whereabouts().get("frame");
        if (frame === null) this.#closeFrame();
        else if (Number(frame) !== this.#frame?.frame) this.#openFrame(Number(frame));
    }

    /** What the page's stream is to follow. */
    follows() {
        return {
            query: { job: this.#id, format: this.#format },
            handlers: {
                master: (/** @type {import("./types.js").MasterState} */ master) => this.#actions.showMaster(master),
                job: (/** @type {WholeJob} */ job) => this.#showJob(job),
                frames: (/** @type {import("./types.js").FramesChange} */ change) => this.#takeChange(change),
                anew: () => this.#lookAnew(),
            },
        };
    }

    async #lookAnew() {
        try {
            this.#showJob(await get(jobAddress(this.#id, ""), this.#end.signal));
        } catch (error) {
            if (!this.#end.signal.aborted) tellError(error);
        }
        await this.#loadSheet();
    }

    /** @param {WholeJob} job */
    #showJob(job) {
        if (job.id !== this.#id && this.#job) return;
        const isOther = this.#job && (this.#job.parameters.CustomRange !== job.parameters.CustomRange || this.#job.range !== job.range || String(this.#job.formats) !== String(job.formats));
        this.#job = job;
        document.title = `${job.name} – Ordwick`;
        /** @type {[string, import("./dom.js").Child | import("./dom.js").Child[]][]} */
        const facts = [
            [t("Status"), statusMark(job.status)],
            [t("Tasks"), progress(job)],
            [t("Owner"), job.owner],
            [t("Type"), job.type],
            [t("Frames"), job.range],
            [t("Priority"), job.priority],
            [t("Started"), time(job.created)],
            [t("Expected end"), time(job.expectedEnd)],
            [t("A frame takes"), job.frameSeconds === null ? "–" : t("{usual}, at most {most}", { usual: span(job.frameSeconds), most: span(job.frameSecondsSlowest) })],
        ];
        if (job.waiting) facts.push([t("Waiting"), job.waiting]);
        if (job.stuck) facts.push([t("Stuck"), job.stuck]);
        if (job.frames) facts.push([t("Found by the Master"), [job.frames.checked, " ", ...badMarks(job.frames.counts)]]);
        fill(this.#head, make("h1", { title: job.id }, job.name || job.id), make("dl", { class: "brief" }, facts.map(([name, value]) => make("div", {}, make("dt", {}, name), make("dd", {}, value)))));
        this.#showFormats(job);
        fill(this.#parameters, Object.entries(job.parameters).flatMap(([name, value]) => [make("dt", {}, name), make("dd", { class: "value" }, value)]));
        this.#actions.show(job);
        this.element.classList.toggle("no-frames", job.formats.length === 0);
        this.#reloadTasks();
        if (isOther) this.#loadSheet();
    }

    /** @param {WholeJob} job */
    #showFormats(job) {
        if (this.#formats.children.length !== job.formats.length || [...this.#formats.children].some((option, i) => option.textContent !== job.formats[i]))
            fill(this.#formats, job.formats.map((format, i) => make("option", { value: i }, format)));
        this.#formats.value = String(this.#format);
    }

    /** @param {number} format */
    #chooseFormat(format) {
        this.#format = format;
        this.#closeFrame();
        note({ format: format || null });
        dispatchEvent(new CustomEvent("ordwick-follow"));
        this.#loadSheet();
        this.#contact.reset();
    }

    /** @returns {Promise<void>} */
    async #loadSheet() {
        this.#sheetEnd.abort();
        this.#sheetEnd = new AbortController();
        const end = this.#sheetEnd;
        if (this.#job?.formats.length === 0) return say(this.#counts, t("This job says of no files that it renders any, so there are no frames to see."));
        this.#isLoading = true;
        this.#early = [];
        try {
            const bytes = await getBytes(jobAddress(this.#id, "/sheet", { format: this.#format }), end.signal);
            if (end.signal.aborted) return;
            this.#isLoading = false;
            const sheet = new Sheet(bytes);
            const early = this.#early.filter((change) => change.pass > sheet.pass);
            if (!early.every((change) => change.pass === sheet.pass + 1 && sheet.apply(change))) return void this.#loadSheet();
            this.#heard.clear();
            this.#view.show(sheet);
            this.#frame?.view.load();
        } catch (error) {
            if (end.signal.aborted) return;
            this.#isLoading = false;
            say(this.#looks, "");
            say(this.#counts, error instanceof Error ? error.message : String(error));
        }
    }

    /** @param {import("./types.js").FramesChange} change */
    #takeChange(change) {
        if (change.job !== this.#id || change.format !== this.#format) return;
        // Where there are no frames that is said already.
        say(this.#looks, change.trouble === this.#counts.textContent ? "" : change.trouble);
        if (this.#isLoading) return void this.#early.push(change);
        if (change.pass <= this.#view.sheet.pass) return;
        // After a pass that was not heard of, whatever it has changed is unknown.
        if (change.pass > this.#view.sheet.pass + 1 || !this.#view.sheet.apply(change)) return void this.#loadSheet();
        this.#heard.clear();
        const open = this.#frame;
        if (open && Object.values(change.changed).some((range) => open.view.shown.some((frame) => touches(range, frame)))) open.view.load();
        if (Object.keys(change.changed).length) this.#view.dataChanged();
    }

    /** @param {import("./view.js").Change} change */
    #onChange(change) {
        if (change === "data" || change === "selection") this.#describe();
        if (change === "data") this.#listBad();
        if (change === "cursor" || change === "selection" || change === "data") {
            this.#speak();
            this.#showCursor();
        }
    }

    #describe() {
        const { counts, count } = this.#view.sheet;
        if (!count) return say(this.#counts, t("There are no frames to look for."));
        const selected = this.#view.selection.count;
        fill(
            this.#counts,
            t("{count} frame|{count} frames", { count }),
            Object.entries(counts)
                .filter(([state, many]) => state !== "files" && many > 0)
                .map(([state, many]) => make("span", { class: "mark", "data-state": state }, icon(state), ` ${t("{many} {state}", { many, state: stateName(state) })}`)),
            selected > 0 && make("span", { class: "mark", id: "selected" }, t("{count} selected", { count: selected })),
        );
    }

    /** The bad frames as words, too: for who reads, copies or hears. */
    #describeBad() {
        const { sheet } = this.#view;
        /** @type {string[]} */
        const parts = [];
        let length = 0;
        let first = NaN;
        let last = NaN;
        let isCut = false;
        const end = () => {
            if (Number.isNaN(first)) return;
            const text = first === last ? String(first) : `${first}-${last}`;
            length += text.length + 1;
            if (length <= LONG) parts.push(text);
            else isCut = true;
        };
        sheet.eachBad((from) => {
            if (isCut) return;
            const frame = sheet.numbers.at(from);
            if (frame === last + 1) last = frame;
            else {
                end();
                first = last = frame;
            }
        });
        if (!isCut) end();
        say(this.#badRange, parts.length ? t("Bad frames: {range}", { range: parts.join(",") + (isCut ? " …" : "") }) : "");
    }

    /** @param {boolean} isOpen */
    #openTasks(isOpen) {
        this.#tasksAreOpen = isOpen;
        if (isOpen) this.#tasks.load();
    }

    /** @param {string} [why] what the server says of the frame at the cursor */
    #cursorWords(why = "") {
        const view = this.#view;
        if (!view.sheet.count) return "";
        const { each, from, to } = this.#sheet.layout;
        let text = placeText(view, view.cursor, 1);
        if (why) text += `, ${why}`;
        if (view.selection.has(view.cursor)) text += `, ${t("selected")}`;
        if (each === 1) return text;
        // The cell stands for others, too.
        const start = from + Math.floor((view.cursor - from) / each) * each;
        return `${text}. ${placeText(view, start, Math.min(each, to - start))}`;
    }

    #showCursor() {
        say(this.#cursorText, this.#cursorWords());
        set(this.#cursorText, "data-frame", this.#view.sheet.count ? this.#view.sheet.numbers.at(this.#view.cursor) : null);
    }

    /** Number, verdict and why, in one piece: a reader would read two. */
    async #speakCursor() {
        const { sheet, cursor } = this.#view;
        const turn = ++this.#spokenFor;
        if (!sheet.count || !sheet.isBadRank(sheet.rank(cursor))) return say(this.#where, this.#cursorWords());
        const number = sheet.numbers.at(cursor);
        try {
            const known = this.#heard.get(number) ?? (await get(jobAddress(this.#id, `/frames/${number}`, { format: this.#format }), this.#end.signal));
            if (turn === this.#spokenFor) say(this.#where, this.#cursorWords(known.why));
        } catch {
            if (turn === this.#spokenFor) say(this.#where, this.#cursorWords());
        }
    }

    /**
     * @param {number} place
     * @param {number} x
     * @param {number} y
     */
    #hover(place, x, y) {
        clearTimeout(this.#rest);
        if (place < 0) {
            this.#tipFor = -1;
            this.#tip.hidden = true;
            return;
        }
        this.#tip.hidden = false;
        this.#tip.style.left = `${Math.min(x + 14, innerWidth - 300)}px`;
        this.#tip.style.top = `${Math.min(y + 18, innerHeight - 120)}px`;
        if (place === this.#tipFor) return;
        this.#tipFor = place;
        const each = this.#sheet.layout.each;
        fill(this.#tip, make("strong", {}, placeText(this.#view, place, each)));
        if (each > 1) return;
        const frame = this.#view.sheet.numbers.at(place);
        const known = this.#heard.get(frame);
        if (known) this.#showTip(known);
        else this.#rest = setTimeout(() => this.#askTip(place, frame), REST);
    }

    /**
     * @param {number} place
     * @param {number} number
     */
    async #askTip(place, number) {
        try {
            const frame = await get(jobAddress(this.#id, `/frames/${number}`, { format: this.#format }), this.#end.signal);
            this.#heard.set(number, frame);
            if (this.#tipFor === place) this.#showTip(frame);
        } catch (error) {
            if (this.#tipFor === place) this.#tip.append(make("p", {}, error instanceof Error ? error.message : ""));
        }
    }

    /** @param {import("./types.js").Frame} frame */
    #showTip(frame) {
        fill(
            this.#tip,
            make("strong", {}, t("Frame {frame}: {state}", { frame: String(frame.frame), state: stateName(frame.state) })),
            frame.why && make("p", {}, frame.why),
            make("p", {}, `${bytes(frame.size)}, ${time(frame.modified)}`),
        );
    }

    /** @param {number} number */
    #openFrame(number) {
        const { sheet } = this.#view;
        if (!this.#frame) this.#cameFrom = /** @type {HTMLElement | null} */ (document.activeElement);
        this.#frame?.view.close();
        note({ frame: number });
        const place = sheet.numbers.placeOf(number);
        if (place >= 0) this.#view.moveTo(place);
        this.#hover(-1, 0, 0);
        const view = new FrameView(this.#id, this.#format, number, {
            onClose: () => this.#closeFrame(),
            onFrame: (frame) => this.#openFrame(frame),
            onNextBad: () => {
                const next = sheet.nextBad(this.#view.cursor, 1);
                if (next >= 0) this.#openFrame(this.#view.sheet.numbers.at(next));
            },
        }, (each) => {
            const at = this.#view.sheet.numbers.placeOf(each);
            return at < 0 ? "" : this.#view.sheet.version(at);
        });
        this.#frame = { frame: number, view };
        fill(this.#framePlace, view.element);
        view.element.focus();
        view.element.scrollIntoView({ block: "start" });
    }

    #closeFrame() {
        if (!this.#frame) return;
        this.#frame.view.close();
        this.#frame = null;
        note({ frame: null });
        fill(this.#framePlace);
        // What it was opened by may be gone: a row that has scrolled away, the address itself.
        const back = this.#cameFrom?.isConnected && this.#cameFrom !== document.body ? this.#cameFrom : this.#sheet.element;
        back.focus();
        this.#cameFrom = null;
    }

    close() {
        this.#end.abort();
        this.#sheetEnd.abort();
        this.#frame?.view.close();
        this.#sizes.close();
        this.#contact.close();
        this.#flipbook.close();
        clearTimeout(this.#rest);
    }
}
