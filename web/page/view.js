/**
 * What of a job's frames is looked at: the stretch in view, the cursor, the selection. The sheet, the
 * sizes and the contact sheet share one, so what is done in one is seen in all.
 */

import { Places } from "./ranges.js";

/** @typedef {"view" | "cursor" | "selection" | "hover" | "data"} Change */

/** So many frames stay in view however near one looks. */
const NEAREST = 8;

export class View {
    /** @type {import("./sheet-data.js").Sheet} */
    sheet;
    /** The stretch in view, [from, to). */
    from = 0;
    to = 0;
    /** A place; where keys act. */
    cursor = 0;
    /** The place under the pointer, -1 where there is none. */
    hover = -1;
    selection = new Places();
    #anchor = 0;
    /** @type {((change: Change) => void)[]} */
    #listeners = [];

    /** @param {import("./sheet-data.js").Sheet} sheet */
    constructor(sheet) {
        this.sheet = sheet;
        this.to = sheet.count;
    }

    /** @param {(change: Change) => void} listener */
    listen(listener) {
        this.#listeners.push(listener);
    }

    /** @param {Change} change */
    #tell(change) {
        for (const listener of this.#listeners) listener(change);
    }

    get isWhole() {
        return this.from === 0 && this.to === this.sheet.count;
    }

    /**
     * Other frames, or the same with other states.
     * @param {import("./sheet-data.js").Sheet} sheet
     */
    show(sheet) {
        const old = this.sheet;
        this.sheet = sheet;
        const isSame = old.head.range === sheet.head.range && old.count === sheet.count;
        if (!isSame) {
            const frame = old.count ? old.numbers.at(this.cursor) : 0;
            this.from = 0;
            this.to = sheet.count;
            this.cursor = Math.max(0, Math.min(sheet.count - 1, sheet.numbers.notBefore(frame)));
            this.#anchor = this.cursor;
            this.selection.clear();
            this.#tell("selection");
            this.#tell("view");
        }
        this.#tell("data");
    }

    dataChanged() {
        this.#tell("data");
    }

    /**
     * @param {number} from
     * @param {number} to
     */
    look(from, to) {
        const count = this.sheet.count;
        const length = Math.max(Math.min(NEAREST, count), Math.min(count, Math.round(to - from)));
        const start = Math.max(0, Math.min(count - length, Math.round(from)));
        if (start === this.from && start + length === this.to) return;
        this.from = start;
        this.to = start + length;
        this.#tell("view");
    }

    /**
     * Nearer by a factor above 1; what is at this place stays where it is.
     * @param {number} factor
     * @param {number} at
     */
    zoom(factor, at) {
        const length = this.to - this.from;
        const wanted = Math.max(NEAREST, factor > 1 ? Math.floor(length / factor) : Math.ceil(length / factor));
        const share = length ? (at - this.from) / length : 0;
        this.look(at - share * wanted, at - share * wanted + wanted);
    }

    /** @param {number} places */
    pan(places) {
        const length = this.to - this.from;
        const from = Math.max(0, Math.min(this.sheet.count - length, this.from + Math.round(places)));
        this.look(from, from + length);
    }

    /**
     * Brings a place into view.
     * @param {number} place
     */
    reveal(place) {
        const length = this.to - this.from;
        if (place < this.from) this.look(place, place + length);
        else if (place >= this.to) this.look(place + 1 - length, place + 1);
    }

    /**
     * @param {number} place
     * @param {boolean} [isExtending] the selection goes with it
     */
    moveTo(place, isExtending = false) {
        const to = Math.max(0, Math.min(this.sheet.count - 1, place));
        if (isExtending) {
            this.selection.clear();
            this.selection.change(Math.min(this.#anchor, to), Math.max(this.#anchor, to) + 1, true);
            this.#tell("selection");
        } else {
            this.#anchor = to;
        }
        this.reveal(to);
        if (to !== this.cursor) {
            this.cursor = to;
            this.#tell("cursor");
        }
    }

    /** @param {number} place */
    point(place) {
        if (place === this.hover) return;
        this.hover = place;
        this.#tell("hover");
    }

    /**
     * Selects [from, to) alone, or takes it out where it is selected.
     * @param {number} from
     * @param {number} to
     */
    toggle(from, to) {
        this.selection.change(from, to, !this.selection.has(from));
        this.#anchor = from;
        this.#tell("selection");
    }

    /**
     * @param {number} from
     * @param {number} to
     */
    select(from, to) {
        this.selection.clear();
        this.selection.change(from, to, true);
        this.#tell("selection");
    }

    selectBad() {
        this.selection.clear();
        /** @type {number[]} */
        const runs = [];
        this.sheet.eachBad((from, to) => {
            if (runs.length && runs[runs.length - 1] === from) runs[runs.length - 1] = to;
            else runs.push(from, to);
        });
        this.selection.runs = runs;
        this.#tell("selection");
    }

    selectNone() {
        this.selection.clear();
        this.#tell("selection");
    }
}
