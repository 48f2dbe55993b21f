/** The size of each file over its frame, with the band of its neighbours; drawn by dygraphs. */

import { get, jobAddress } from "./api.js";
import { afterCalm, make, onceAFrame, say } from "./dom.js";
import { shortBytes } from "./format.js";
import { colours, drawShape } from "./kinds.js";
import { t } from "./text.js";

/** Room below the field where missing frames are marked. */
const MARK = 9;
/** Heights that marks are told apart by. */
const ROWS = 80;

/** @typedef {{x: number, y: number, w: number, h: number}} Area of the field, in pixels */

/** @type {Promise<any> | undefined} */
let library;

/**
 * The library, loaded when it is first wanted.
 * @returns {Promise<any>}
 */
function loadLibrary() {
    library ??= new Promise((resolve, reject) => {
        document.head.append(make("link", { rel: "stylesheet", href: "/lib/dygraph.min.css" }));
        const script = make("script", { src: "/lib/dygraph.min.js" });
        script.onload = () => {
            const { Dygraph } = /** @type {any} */ (window);
            // The legend brings style attributes, which the page does not allow.
            Dygraph.PLUGINS = Dygraph.PLUGINS.filter((/** @type {unknown} */ plugin) => plugin !== Dygraph.Plugins.Legend);
            resolve(Dygraph);
        };
        script.onerror = () => {
            library = undefined;
            reject(new Error(t("The sizes cannot be drawn: dygraphs is not installed beside the server.")));
        };
        document.head.append(script);
    });
    return library;
}

/**
 * Custom bars: least, middle, most.
 * @param {number | null} low
 * @param {number | null} high
 */
function bar(low, high) {
    return low === null || high === null ? [null, null, null] : [low, (low + high) / 2, high];
}

/**
 * Fills from the least to the most of a series: one shape for each run without a gap. The library's own
 * fills one between any two points, which takes ten times as long to make and to paint.
 * @param {any} series
 */
function fillBand({ drawingContext: ink, points, plotArea: area, color }) {
    ink.save();
    ink.fillStyle = color;
    ink.globalAlpha = 0.25;
    ink.beginPath();
    for (let begin = 0; begin < points.length; ) {
        let end = begin;
        while (end < points.length && Number.isFinite(points[end].y_top) && Number.isFinite(points[end].y_bottom)) ++end;
        for (let i = begin; i < end; ++i) ink.lineTo(points[i].canvasx, area.y + area.h * points[i].y_top);
        for (let i = end; i-- > begin; ) ink.lineTo(points[i].canvasx, area.y + area.h * points[i].y_bottom);
        if (end > begin) ink.closePath();
        begin = Math.max(end, begin + 1);
        if (begin < points.length) ink.moveTo(points[begin].canvasx, area.y + area.h * points[begin].y_top);
    }
    ink.fill();
    ink.restore();
}

export class SizesView {
    element;
    #view;
    #job;
    #format;
    #box = make("div", { class: "sizes-plot" });
    /** Above the plot, for what changes with each move of the pointer. */
    #over = make("canvas", { class: "sizes-over", "aria-hidden": "true" });
    #mark = onceAFrame(() => this.#drawMarks());
    #note = make("p", { class: "dim", role: "status" });
    /** @type {any} */
    #plot = null;
    /** @type {{frame: number[], size: (number | null)[], state: string[]}} */
    #bad = { frame: [], size: [], state: [] };
    #end = new AbortController();
    #follow = onceAFrame(() => {
        this.#isBehind = false;
        this.#plot?.updateOptions({ dateWindow: this.#window() });
    });
    #ask = afterCalm(() => this.#load(), 120);
    #isOpen = false;
    #isFitting = false;
    /** The view has moved since the plot was drawn. */
    #isBehind = false;

    /**
     * @param {string} job
     * @param {() => number} format
     * @param {import("./view.js").View} view
     */
    constructor(job, format, view) {
        this.#job = job;
        this.#format = format;
        this.#view = view;
        this.element = make("figure", { class: "sizes", "aria-label": t("Size of each file over its frame") }, make("div", { class: "sizes-frame" }, this.#box, this.#over), this.#note);
        view.listen((change) => this.#onChange(change));
        matchMedia("(prefers-color-scheme: dark)").addEventListener("change", () => this.#isOpen && this.#load());
        new ResizeObserver(() => this.#plot?.resize()).observe(this.#box);
    }

    /** @param {import("./view.js").Change} change */
    #onChange(change) {
        if (!this.#isOpen) return;
        if (change === "view" || change === "data") {
            // What the plot itself has moved it knows.
            if (!this.#isFitting) {
                this.#isBehind = true;
                this.#follow();
            }
            this.#ask();
        } else this.#mark();
    }

    open() {
        this.#isOpen = true;
        this.#load();
    }

    close() {
        this.#isOpen = false;
        this.#end.abort();
        this.#plot?.destroy();
        this.#plot = null;
    }

    #window() {
        const { sheet, from, to } = this.#view;
        return [sheet.numbers.at(from) - 0.5, sheet.numbers.at(Math.max(from, to - 1)) + 0.5];
    }

    async #load() {
        this.#end.abort();
        this.#end = new AbortController();
        const { sheet, from, to } = this.#view;
        // Without a pattern the sheet has not come yet.
        if (!sheet.count) return say(this.#note, sheet.head.pattern ? t("There are no frames to look for.") : "");
        const address = jobAddress(this.#job, "/sizes", {
            format: this.#format(),
            first: sheet.numbers.at(from),
            last: sheet.numbers.at(to - 1),
            columns: Math.max(200, Math.min(2000, this.#box.clientWidth)),
        });
        const end = this.#end;
        try {
            const [Dygraph, sizes] = await Promise.all([loadLibrary(), get(address, end.signal)]);
            if (!end.signal.aborted) this.#show(Dygraph, sizes);
        } catch (error) {
            if (!end.signal.aborted) say(this.#note, error instanceof Error ? error.message : String(error));
        }
    }

    /**
     * @param {any} Dygraph
     * @param {import("./types.js").Sizes} sizes
     */
    #show(Dygraph, sizes) {
        const rows = sizes.exact ? this.#exactRows(sizes) : this.#reducedRows(sizes);
        say(this.#note, sizes.exact ? "" : this.#reducedNote(sizes.bad));
        this.#thinOut();
        if (!rows.length) return say(this.#note, t("There are no sizes yet."));
        const options = {
            labels: ["frame", "band", "size"],
            file: rows,
            dateWindow: this.#window(),
            series: {
                band: { color: colours.get("--text-grey"), strokeWidth: 0, drawPoints: false, highlightCircleSize: 0 },
                size: { color: colours.get("--list-focus"), strokeWidth: 1.6 },
            },
            axes: {
                x: { axisLabelFormatter: (/** @type {number} */ x) => (Number.isInteger(x) ? String(x) : ""), axisLineColor: colours.get("--text-grey"), gridLineColor: colours.get("--line") },
                y: { axisLabelFormatter: (/** @type {number} */ y) => shortBytes(y), axisLabelWidth: 64, axisLineColor: colours.get("--text-grey"), gridLineColor: colours.get("--line") },
            },
        };
        if (this.#plot) return this.#plot.updateOptions(options);
        const { file, ...rest } = options;
        this.#plot = new Dygraph(this.#box, file, {
            ...rest,
            customBars: true,
            connectSeparatedPoints: false,
            includeZero: true,
            yRangePad: 12,
            plotter: [fillBand, Dygraph.Plotters.linePlotter],
            drawPoints: rows.length < 120,
            highlightCircleSize: 4,
            animatedZooms: false,
            drawCallback: () => this.#drawn(),
            highlightCallback: (/** @type {unknown} */ _event, /** @type {number} */ frame) => this.#view.point(this.#placeOf(frame)),
            unhighlightCallback: () => this.#view.point(-1),
            clickCallback: (/** @type {MouseEvent} */ event, /** @type {number} */ frame) => this.#clicked(event, this.#placeOf(frame)),
            interactionModel: this.#hands(Dygraph),
        });
    }

    /**
     * As in the sheet: alone, with Shift up to here, with Ctrl besides.
     * @param {MouseEvent} event
     * @param {number} place
     */
    #clicked(event, place) {
        if (event.ctrlKey || event.metaKey) this.#view.toggle(place, place + 1);
        this.#view.moveTo(place, event.shiftKey);
        if (!event.ctrlKey && !event.metaKey && !event.shiftKey) this.#view.select(place, place + 1);
    }

    /** @param {any} Dygraph */
    #hands(Dygraph) {
        const usual = Dygraph.defaultInteractionModel;
        let isOurs = false;
        return {
            ...usual,
            dblclick: () => this.#showAll(),
            // Where all is in view, one finger scrolls the page; the library would take each touch.
            touchstart: (/** @type {TouchEvent} */ event, /** @type {any} */ plot, /** @type {any} */ context) => {
                isOurs = event.touches.length > 1 || !this.#view.isWhole;
                if (isOurs) usual.touchstart(event, plot, context);
            },
            touchmove: (/** @type {TouchEvent} */ event, /** @type {any} */ plot, /** @type {any} */ context) => isOurs && usual.touchmove(event, plot, context),
            touchend: (/** @type {TouchEvent} */ event, /** @type {any} */ plot, /** @type {any} */ context) => isOurs && usual.touchend(event, plot, context),
        };
    }

    /** The library knows the stretch that it was given, which is not all. */
    #showAll() {
        this.#plot?.updateOptions({ valueRange: null });
        this.#view.look(0, this.#view.sheet.count);
    }

    /** Whatever has moved the plot, a stretch drawn over or a finger, has moved the view. */
    #drawn() {
        // The first time comes before the plot is known.
        if (!this.#plot) return this.#mark();
        this.#drawMarks();
        if (this.#isFitting || this.#isBehind) return;
        const [low, high] = this.#plot.xAxisRange();
        if (this.#window().every((end, i) => Math.abs(end - [low, high][i]) <= 0.75)) return;
        this.#isFitting = true;
        this.#zoomed(low, high);
        // Between two frames, nearer than the sheet goes, or beyond the ends.
        this.#plot.updateOptions({ dateWindow: this.#window() });
        this.#isFitting = false;
    }

    /** @param {number} frame */
    #placeOf(frame) {
        const { numbers, count } = this.#view.sheet;
        return Math.min(count - 1, numbers.notBefore(Math.round(frame)));
    }

    /**
     * @param {number} low
     * @param {number} high
     */
    #zoomed(low, high) {
        const { numbers } = this.#view.sheet;
        this.#view.look(numbers.notBefore(Math.ceil(low)), numbers.notBefore(Math.floor(high) + 1));
    }

    /** Leaves one of the marks that would be drawn upon each other: a million bad frames are possible. */
    #thinOut() {
        const { frame, size, state } = this.#bad;
        const [low, high] = this.#window();
        const columns = Math.max(200, this.#box.clientWidth) / (MARK / 3);
        let most = 1;
        for (const each of size) if (each !== null && each > most) most = each;
        /** @type {Map<string, Set<number>>} spots that are taken, by state */
        const taken = new Map();
        /** @type {{frame: number[], size: (number | null)[], state: string[]}} */
        const kept = { frame: [], size: [], state: [] };
        for (let i = 0; i < frame.length; ++i) {
            const each = size[i];
            const row = each === null ? ROWS : Math.floor((each / most) * (ROWS - 1));
            const spot = Math.floor(((frame[i] - low) / (high - low)) * columns) * (ROWS + 1) + row;
            let spots = taken.get(state[i]);
            if (!spots) taken.set(state[i], (spots = new Set()));
            if (spots.has(spot)) continue;
            spots.add(spot);
            kept.frame.push(frame[i]);
            kept.size.push(each);
            kept.state.push(state[i]);
        }
        this.#bad = kept;
    }

    /** @param {import("./types.js").ExactSizes} sizes */
    #exactRows(sizes) {
        const states = this.#view.sheet.head.states;
        this.#bad = { frame: [], size: [], state: [] };
        return sizes.frame.map((frame, i) => {
            const size = sizes.size[i];
            const state = states[sizes.state[i]];
            if (state !== "ok" && state !== "unknown") {
                this.#bad.frame.push(frame);
                this.#bad.size.push(size);
                this.#bad.state.push(state);
            }
            return [frame, bar(sizes.lowest[i], sizes.highest[i]), bar(size, size)];
        });
    }

    /** @param {import("./types.js").ReducedSizes} sizes */
    #reducedRows(sizes) {
        const states = this.#view.sheet.head.states;
        this.#bad = { frame: sizes.bad.frame, size: sizes.bad.size, state: sizes.bad.state.map((state) => states[state]) };
        const { first, count, least, most, lowest, highest } = sizes.columns;
        return first.map((frame, i) => [frame + (count[i] - 1) / 2, bar(lowest[i], highest[i]), bar(least[i], most[i])]);
    }

    /** @param {import("./types.js").ReducedSizes["bad"]} bad */
    #reducedNote(bad) {
        if (bad.total === bad.frame.length) return t("Least and most of each column; zoom in to see each frame. Bad frames are all marked.");
        return t("Least and most of each column; zoom in to see each frame. Of {total} bad frames the worst of each column is marked.", { total: bad.total });
    }

    #drawMarks() {
        const ink = this.#over.getContext("2d");
        const plot = this.#plot;
        if (!ink || !plot || !this.#view.sheet.count) return;
        const scale = devicePixelRatio || 1;
        const [width, height] = [this.#box.clientWidth, this.#box.clientHeight];
        if (this.#over.width !== Math.round(width * scale) || this.#over.height !== Math.round(height * scale)) {
            this.#over.width = Math.round(width * scale);
            this.#over.height = Math.round(height * scale);
        }
        ink.setTransform(scale, 0, 0, scale, 0, 0);
        ink.clearRect(0, 0, width, height);
        /** @type {Area} */
        const area = plot.getArea();
        /** @param {number} frame */
        const x = (frame) => plot.toDomXCoord(frame);
        this.#drawSelection(ink, area, x);
        this.#drawBad(ink, area, plot);
        this.#drawLine(ink, area, x(this.#frameOf(this.#view.hover)), "--text-grey");
        this.#drawLine(ink, area, x(this.#frameOf(this.#view.cursor)), "--text");
    }

    /** @param {number} place */
    #frameOf(place) {
        return place < 0 ? NaN : this.#view.sheet.numbers.at(place);
    }

    /**
     * @param {CanvasRenderingContext2D} ink
     * @param {Area} area
     * @param {(frame: number) => number} x
     */
    #drawSelection(ink, area, x) {
        const { selection, sheet, from, to } = this.#view;
        ink.fillStyle = colours.get("--list-focus");
        ink.globalAlpha = 0.22;
        for (let i = 0; i < selection.runs.length; i += 2) {
            if (selection.runs[i + 1] <= from || selection.runs[i] >= to) continue;
            const left = Math.max(area.x, x(sheet.numbers.at(selection.runs[i]) - 0.5));
            const right = Math.min(area.x + area.w, x(sheet.numbers.at(selection.runs[i + 1] - 1) + 0.5));
            ink.fillRect(left, area.y, Math.max(1, right - left), area.h);
        }
        ink.globalAlpha = 1;
    }

    /**
     * @param {CanvasRenderingContext2D} ink
     * @param {Area} area
     * @param {number} x
     * @param {string} colour
     */
    #drawLine(ink, area, x, colour) {
        if (!(x >= area.x && x <= area.x + area.w)) return;
        ink.strokeStyle = colours.get(colour);
        ink.lineWidth = 1;
        ink.beginPath();
        ink.moveTo(Math.round(x) + 0.5, area.y);
        ink.lineTo(Math.round(x) + 0.5, area.y + area.h);
        ink.stroke();
    }

    /**
     * Bad frames, each by its shape; missing ones at the foot.
     * @param {CanvasRenderingContext2D} ink
     * @param {Area} area
     * @param {any} plot
     */
    #drawBad(ink, area, plot) {
        const [low, high] = plot.xAxisRange();
        for (let i = 0; i < this.#bad.frame.length; ++i) {
            const frame = this.#bad.frame[i];
            if (frame < low || frame > high) continue;
            const size = this.#bad.size[i];
            const y = size === null ? area.y + area.h - MARK / 2 : Math.max(area.y, Math.min(area.y + area.h - 2, plot.toDomYCoord(size)));
            ink.fillStyle = ink.strokeStyle = colours.of(this.#bad.state[i]);
            drawShape(ink, this.#bad.state[i], plot.toDomXCoord(frame), y, MARK);
        }
    }
}
