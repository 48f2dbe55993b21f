/** The frame sheet: one cell a frame, or a run of frames where they are many. */

import { make, onceAFrame, set } from "./dom.js";
import { tiny } from "./format.js";
import { colours, drawShape, stateName } from "./kinds.js";
import { cellOf, heightOf, layOut, placeAt } from "./sheet-layout.js";
import { t } from "./text.js";

const ZOOM = 1.6;
/** Pixels that a finger may move and still tap. */
const TAP = 8;
/** So many pictures of cells are kept. */
const KEPT_CELLS = 1000;

export class SheetView {
    /** @type {HTMLElement} */
    element;
    #view;
    #canvas = make("canvas", { class: "sheet-canvas", "aria-hidden": "true" });
    #box;
    /** @type {import("./sheet-layout.js").Layout} */
    #layout = layOut(1, 1, 0, 1);
    #width = 0;
    #height = 0;
    /** @type {Map<string, HTMLCanvasElement>} shapes by state, drawn once a size and theme */
    #shapes = new Map();
    #shapesFor = "";
    /** @type {Map<number, HTMLCanvasElement>} cells of many frames, by their worst and how many are bad */
    #cells = new Map();
    #cellsFor = "";
    #redraw = onceAFrame(() => this.#draw());
    #stretch = { worst: 0, bad: 0 };
    /** Pixels that all frames take in the largest cells. */
    #wanted = 0;
    #onOpen;
    #onHover;
    /**
     * Fingers and buttons that are down.
     * @type {Map<number, {x: number, y: number}>}
     */
    #pointers = new Map();
    /** How far apart two fingers were put, and what was in view then. */
    #pinch = { apart: 1, from: 0, to: 0 };
    #dragFrom = -1;
    #hasMoved = false;
    /** Milliseconds that the last drawing took. */
    drawTime = 0;

    /**
     * @param {import("./view.js").View} view
     * @param {(place: number) => void} onOpen
     * @param {(place: number, x: number, y: number) => void} onHover -1 where the pointer is beside all
     */
    constructor(view, onOpen, onHover) {
        this.#view = view;
        this.#onOpen = onOpen;
        this.#onHover = onHover;
        this.#box = make(
            "div",
            {
                class: "sheet",
                id: "sheet",
                tabindex: 0,
                role: "application",
                "aria-roledescription": t("frame sheet"),
                "aria-label": t("Frame sheet"),
                "aria-describedby": "sheet-keys",
            },
            this.#canvas,
        );
        this.element = this.#box;
        this.#listen();
        view.listen(() => this.#redraw());
        new ResizeObserver(() => this.#measure()).observe(this.#box);
        matchMedia("(prefers-color-scheme: dark)").addEventListener("change", () => this.#redraw());
    }

    #listen() {
        const box = this.#box;
        box.addEventListener("keydown", (event) => this.#onKey(event));
        box.addEventListener("wheel", (event) => this.#onWheel(event), { passive: false });
        box.addEventListener("pointerdown", (event) => this.#onDown(event));
        box.addEventListener("pointermove", (event) => this.#onMove(event));
        box.addEventListener("pointerup", (event) => this.#onUp(event));
        box.addEventListener("pointercancel", (event) => this.#pointers.delete(event.pointerId));
        box.addEventListener("pointerleave", () => this.#leave());
        box.addEventListener("dblclick", (event) => {
            const place = this.#placeOf(event);
            if (place >= 0) this.#onOpen(place);
        });
        box.addEventListener("focus", () => this.#redraw());
        box.addEventListener("blur", () => this.#redraw());
    }

    #measure() {
        const width = this.#box.clientWidth;
        const height = this.#box.clientHeight;
        const scale = devicePixelRatio || 1;
        this.#width = width;
        this.#height = height;
        this.#canvas.width = Math.round(width * scale);
        this.#canvas.height = Math.round(height * scale);
        this.#draw();
    }

    #leave() {
        this.#view.point(-1);
        this.#onHover(-1, 0, 0);
    }

    /** @param {MouseEvent} event */
    #placeOf(event) {
        const box = this.#canvas.getBoundingClientRect();
        return placeAt(this.#layout, event.clientX - box.left, event.clientY - box.top);
    }

    /**
     * Where a place is drawn, in pixels of the page.
     * @param {number} place
     */
    spotOf(place) {
        const box = this.#canvas.getBoundingClientRect();
        const cell = cellOf(this.#layout, place);
        const { columns, width, height } = this.#layout;
        return {
            x: box.left + ((cell % columns) + 0.5) * width,
            y: box.top + (Math.floor(cell / columns) + 0.5) * height,
        };
    }

    get layout() {
        return this.#layout;
    }

    /** @param {KeyboardEvent} event */
    #onKey(event) {
        if (event.ctrlKey || event.metaKey) return;
        const view = this.#view;
        const { each, columns, rows } = this.#layout;
        const steps = /** @type {Record<string, number>} */ ({
            ArrowLeft: -each,
            ArrowRight: each,
            ArrowUp: -each * columns,
            ArrowDown: each * columns,
            PageUp: -each * columns * rows,
            PageDown: each * columns * rows,
            Home: -view.sheet.count,
            End: view.sheet.count,
        });
        if (event.altKey) {
            if (!(event.key in steps)) return;
            view.pan(steps[event.key]);
        } else if (event.key in steps) view.moveTo(view.cursor + steps[event.key], event.shiftKey);
        else if (event.key === " ") this.#toggleCell();
        else if (event.key === "b" || event.key === "B") this.#toBad(event.shiftKey ? -1 : 1);
        else if (event.key === "Enter") this.#onOpen(view.cursor);
        else if (event.key === "+" || event.key === "=") view.zoom(ZOOM, view.cursor);
        else if (event.key === "-") view.zoom(1 / ZOOM, view.cursor);
        else if (event.key === "0") view.look(0, view.sheet.count);
        else if (event.key === "a") view.select(0, view.sheet.count);
        else if (event.key === "Escape" && !view.selection.isEmpty) view.selectNone();
        else return;
        event.preventDefault();
        this.#leave();
    }

    #toggleCell() {
        const { from, each, to } = this.#layout;
        const start = from + cellOf(this.#layout, this.#view.cursor) * each;
        this.#view.toggle(start, Math.min(to, start + each));
    }

    /** @param {1 | -1} direction */
    #toBad(direction) {
        const place = this.#view.sheet.nextBad(this.#view.cursor, direction);
        if (place >= 0) this.#view.moveTo(place);
    }

    /** @param {WheelEvent} event */
    #onWheel(event) {
        const view = this.#view;
        if (event.ctrlKey) {
            const place = this.#placeOf(event);
            view.zoom(event.deltaY < 0 ? ZOOM : 1 / ZOOM, place < 0 ? view.from : place);
        } else {
            // Where all is in view the wheel is the page's.
            if (view.isWhole) return;
            const { each, columns } = this.#layout;
            view.pan(Math.sign(event.deltaY || event.deltaX) * each * columns * 2);
        }
        event.preventDefault();
    }

    /** @param {PointerEvent} event */
    #onDown(event) {
        if (event.button > 1) return;
        this.#box.focus({ preventScroll: true });
        this.#pointers.set(event.pointerId, { x: event.clientX, y: event.clientY });
        this.#hasMoved = false;
        if (this.#pointers.size === 2) this.#pinch = { apart: Math.max(1, this.#apart()), from: this.#view.from, to: this.#view.to };
        const place = this.#placeOf(event);
        this.#dragFrom = event.pointerType === "mouse" && event.button === 0 ? place : -1;
        if (this.#dragFrom < 0) return;
        this.#box.setPointerCapture(event.pointerId);
        const end = Math.min(this.#layout.to, place + this.#layout.each);
        if (event.ctrlKey || event.metaKey) {
            this.#view.toggle(place, end);
            this.#dragFrom = -1;
            this.#view.moveTo(place);
        } else if (event.shiftKey) this.#view.moveTo(place > this.#view.cursor ? end - 1 : place, true);
        else {
            this.#view.moveTo(place);
            this.#view.select(place, end);
        }
    }

    /** @param {PointerEvent} event */
    #onMove(event) {
        const place = this.#placeOf(event);
        const before = this.#pointers.get(event.pointerId);
        if (!before) {
            this.#view.point(place);
            this.#onHover(place, event.clientX, event.clientY);
            return;
        }
        const now = { x: event.clientX, y: event.clientY };
        if (Math.hypot(now.x - before.x, now.y - before.y) > TAP) this.#hasMoved = true;
        if (this.#dragFrom >= 0) {
            if (place >= 0) {
                const [low, high] = [Math.min(place, this.#dragFrom), Math.max(place, this.#dragFrom)];
                this.#view.select(low, Math.min(this.#layout.to, high + this.#layout.each));
            }
        } else if (this.#hasMoved) this.#drag(event.pointerId, before, now);
    }

    /**
     * Fingers and the middle button move the sheet; two fingers zoom it.
     * @param {number} id
     * @param {{x: number, y: number}} before
     * @param {{x: number, y: number}} now
     */
    #drag(id, before, now) {
        const { each, columns, height } = this.#layout;
        if (this.#pointers.size > 1) {
            this.#pointers.set(id, now);
            // From where it began: whole frames at each move would add up.
            const { apart, from, to } = this.#pinch;
            const half = ((to - from) * apart) / Math.max(1, this.#apart()) / 2;
            this.#view.look((from + to) / 2 - half, (from + to) / 2 + half);
            return;
        }
        const rows = Math.trunc((before.y - now.y) / height);
        if (rows === 0) return;
        this.#view.pan(rows * columns * each);
        this.#pointers.set(id, { x: now.x, y: before.y - rows * height });
    }

    /** Pixels between two fingers. */
    #apart() {
        const [one, other] = this.#pointers.values();
        return Math.hypot(one.x - other.x, one.y - other.y);
    }

    /** @param {PointerEvent} event */
    #onUp(event) {
        const wasAlone = this.#pointers.size === 1;
        this.#pointers.delete(event.pointerId);
        this.#dragFrom = -1;
        if (event.pointerType === "mouse" || this.#hasMoved || !wasAlone) return;
        const place = this.#placeOf(event);
        if (place < 0) return;
        this.#view.moveTo(place);
        this.#view.select(place, Math.min(this.#layout.to, place + this.#layout.each));
        this.#onHover(place, event.clientX, event.clientY);
    }

    /**
     * @param {string} state
     * @param {number} size in pixels of the canvas
     */
    #shapeOf(state, size) {
        const wanted = `${size} ${colours.get("--text")}`;
        if (wanted !== this.#shapesFor) {
            this.#shapes.clear();
            this.#shapesFor = wanted;
        }
        let shape = this.#shapes.get(state);
        if (!shape) {
            shape = document.createElement("canvas");
            shape.width = shape.height = size;
            const ink = /** @type {CanvasRenderingContext2D} */ (shape.getContext("2d"));
            ink.fillStyle = ink.strokeStyle = colours.of(state);
            drawShape(ink, state, size / 2, size / 2, size * 0.76);
            this.#shapes.set(state, shape);
        }
        return shape;
    }

    #draw() {
        const ink = this.#canvas.getContext("2d");
        if (!ink || !this.#width) return;
        const begin = performance.now();
        const view = this.#view;
        const scale = devicePixelRatio || 1;
        this.#fitHeight();
        this.#layout = layOut(this.#width, this.#height, view.from, view.to);
        ink.setTransform(scale, 0, 0, scale, 0, 0);
        ink.clearRect(0, 0, this.#width, this.#height);
        if (view.sheet.count) {
            this.#drawSelection(ink);
            if (this.#layout.each === 1) this.#drawFrames(ink, scale);
            else this.#drawRuns(ink, scale);
            this.#drawRing(ink, view.hover, "--text-grey", 1);
            this.#drawRing(ink, view.cursor, "--text", document.activeElement === this.#box ? 2.5 : 1.5);
        }
        this.drawTime = performance.now() - begin;
        set(this.#box, "data-each", this.#layout.each);
        // Where all is in view, a finger scrolls the page, as the wheel does.
        this.#box.classList.toggle("whole", view.isWhole);
        set(this.#box, "data-drawn", Math.round(this.drawTime * 100) / 100);
        this.#describe();
    }

    /** Few frames leave no empty field below them. */
    #fitHeight() {
        const wanted = heightOf(this.#width, this.#view.sheet.count);
        if (wanted === this.#wanted) return;
        this.#wanted = wanted;
        this.#box.style.maxHeight = `${wanted + 2}px`;
        this.#box.style.minHeight = `${Math.min(200, wanted + 2)}px`;
    }

    #describe() {
        const { numbers, count } = this.#view.sheet;
        if (!count) return;
        const text = t("Frame sheet, frames {first} to {last}", {
            first: String(numbers.at(this.#view.from)),
            last: String(numbers.at(this.#view.to - 1)),
        });
        set(this.#box, "aria-label", text);
    }

    /** @param {CanvasRenderingContext2D} ink */
    #drawSelection(ink) {
        if (this.#view.selection.isEmpty) return;
        const { columns, each, width, height, from, to } = this.#layout;
        ink.fillStyle = colours.get("--list-selection");
        ink.strokeStyle = colours.get("--list-focus");
        ink.lineWidth = 1.5;
        const cells = Math.ceil((to - from) / each);
        ink.beginPath();
        for (let cell = 0; cell < cells; ++cell) {
            const start = from + cell * each;
            if (!this.#view.selection.meets(start, Math.min(to, start + each))) continue;
            const x = (cell % columns) * width;
            const y = Math.floor(cell / columns) * height;
            ink.rect(x, y, width, height);
        }
        ink.fill();
        // A line below says it to who sees no difference of the grounds.
        ink.beginPath();
        for (let cell = 0; cell < cells; ++cell) {
            const start = from + cell * each;
            if (!this.#view.selection.meets(start, Math.min(to, start + each))) continue;
            const x = (cell % columns) * width;
            const y = (Math.floor(cell / columns) + 1) * height - 0.75;
            ink.moveTo(x, y);
            ink.lineTo(x + width, y);
        }
        ink.stroke();
    }

    /**
     * @param {CanvasRenderingContext2D} ink
     * @param {number} scale
     */
    #drawFrames(ink, scale) {
        const { columns, width, height, from, to } = this.#layout;
        const sheet = this.#view.sheet;
        const size = Math.min(width, height) - 1;
        const pixels = Math.round(size * scale);
        // Good ones are many: rectangles are drawn quicker than pictures. They are small, so that bad
        // ones stand out where the cells are.
        const square = size * 0.58;
        const inset = (width - square) / 2;
        ink.fillStyle = colours.of("ok");
        for (let place = from; place < to; ++place) {
            if (sheet.rank(place) !== 0) continue;
            const cell = place - from;
            ink.fillRect((cell % columns) * width + inset, Math.floor(cell / columns) * height + inset, square, square);
        }
        for (let place = from; place < to; ++place) {
            if (sheet.rank(place) === 0) continue;
            const cell = place - from;
            const shape = this.#shapeOf(sheet.state(place), pixels);
            ink.drawImage(shape, (cell % columns) * width + 0.5, Math.floor(cell / columns) * height + 0.5, size, size);
        }
    }

    /**
     * A cell of many frames: the shape of the worst, and how many are bad. A picture of it, since a text
     * takes far longer to draw, and neighbours often look the same.
     * @param {number} worst a rank
     * @param {number} bad
     * @param {number} width of the cell
     * @param {number} height
     * @param {number} scale
     */
    #cellOf(worst, bad, width, height, scale) {
        const key = worst * 2 ** 32 + bad;
        let cell = this.#cells.get(key);
        if (cell) return cell;
        cell = document.createElement("canvas");
        cell.width = Math.round(width * scale);
        cell.height = Math.round(height * scale);
        const ink = /** @type {CanvasRenderingContext2D} */ (cell.getContext("2d"));
        ink.setTransform(scale, 0, 0, scale, 0, 0);
        const size = 11;
        const state = this.#view.sheet.stateOfRank(worst);
        ink.drawImage(this.#shapeOf(state, Math.round(size * scale)), 2, (height - size) / 2, size, size);
        if (bad) {
            ink.font = "11px system-ui, sans-serif";
            ink.textBaseline = "middle";
            ink.fillStyle = colours.of(state);
            ink.fillText(tiny(bad), size + 4, height / 2 + 0.5);
        }
        this.#cells.set(key, cell);
        return cell;
    }

    /**
     * @param {CanvasRenderingContext2D} ink
     * @param {number} scale
     */
    #drawRuns(ink, scale) {
        const { columns, each, width, height, from, to } = this.#layout;
        const sheet = this.#view.sheet;
        const wanted = `${width} ${height} ${scale} ${colours.get("--text")}`;
        if (wanted !== this.#cellsFor || this.#cells.size > KEPT_CELLS) this.#cells.clear();
        this.#cellsFor = wanted;
        ink.fillStyle = colours.of("ok");
        const cells = Math.ceil((to - from) / each);
        for (let cell = 0; cell < cells; ++cell) {
            const start = from + cell * each;
            const { worst, bad } = sheet.stretch(start, Math.min(to, start + each), this.#stretch);
            const x = (cell % columns) * width;
            const y = Math.floor(cell / columns) * height;
            if (worst === 0) ink.fillRect(x + 1.5, y + height / 2 - 3, width - 3, 6);
            else ink.drawImage(this.#cellOf(worst, bad, width, height, scale), x, y, width, height);
        }
    }

    /**
     * @param {CanvasRenderingContext2D} ink
     * @param {number} place
     * @param {string} colour
     * @param {number} weight
     */
    #drawRing(ink, place, colour, weight) {
        const { columns, width, height, from, to } = this.#layout;
        if (place < from || place >= to) return;
        const cell = cellOf(this.#layout, place);
        ink.strokeStyle = colours.get(colour);
        ink.lineWidth = weight;
        ink.strokeRect(
            (cell % columns) * width + weight / 2,
            Math.floor(cell / columns) * height + weight / 2,
            width - weight,
            height - weight,
        );
    }
}

/**
 * What is to be told of a place without asking the server: the number, the verdict, how many.
 * @param {import("./view.js").View} view
 * @param {number} place
 * @param {number} each frames of the cell
 */
export function placeText(view, place, each) {
    const sheet = view.sheet;
    if (each === 1) return t("Frame {frame}: {state}", { frame: String(sheet.numbers.at(place)), state: stateName(sheet.state(place)) });
    const end = Math.min(sheet.count, place + each);
    const { worst, bad } = sheet.stretch(place, end, { worst: 0, bad: 0 });
    return t("Frames {first} to {last}: {bad} bad, the worst {state}", {
        first: String(sheet.numbers.at(place)),
        last: String(sheet.numbers.at(end - 1)),
        bad,
        state: stateName(sheet.stateOfRank(worst)),
    });
}

