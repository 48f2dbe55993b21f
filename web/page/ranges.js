/** Frame ranges as the server writes them, and sets of frames by their place in the sheet. */

const PART = /^(-?\d+)(?:-(-?\d+)(?:x(\d+))?)?$/;

/** @typedef {{first: number, last: number, step: number}} Part */

/**
 * The runs of a range such as "1-3,7,10-20x5". Only what the server writes is read: ascending, with
 * steps; a part that is none of that is left out.
 * @param {string} text
 * @returns {Part[]}
 */
export function partsOf(text) {
    const parts = [];
    for (const part of text.split(",")) {
        const found = PART.exec(part.trim());
        if (!found) continue;
        const first = Number(found[1]);
        parts.push({ first, last: found[2] === undefined ? first : Number(found[2]), step: Number(found[3] ?? 1) || 1 });
    }
    return parts;
}

/**
 * Where each frame of a sheet is: numbers by places, and back. Takes four bytes a frame only where
 * the frames are not evenly spaced.
 */
export class Numbers {
    #first = 0;
    #step = 1;
    /** @type {Int32Array | null} */
    #list = null;
    count = 0;

    /**
     * @param {string} range
     * @param {number} count as the server counts
     */
    constructor(range, count) {
        const parts = partsOf(range);
        this.count = count;
        if (parts.length === 1) {
            this.#first = parts[0].first;
            this.#step = parts[0].step;
            return;
        }
        const list = new Int32Array(count);
        let place = 0;
        for (const { first, last, step } of parts)
            for (let frame = first; frame <= last && place < count; frame += step) list[place++] = frame;
        list.subarray(0, place).sort();
        this.#list = list;
    }

    /** From each frame to the next, 0 where that differs. */
    get step() {
        return this.#list ? 0 : this.#step;
    }

    /** @param {number} place */
    at(place) {
        return this.#list ? this.#list[place] : this.#first + place * this.#step;
    }

    /**
     * The place of the first frame that is not before this one.
     * @param {number} frame
     */
    notBefore(frame) {
        if (!this.#list) return Math.max(0, Math.min(this.count, Math.ceil((frame - this.#first) / this.#step)));
        let low = 0;
        let high = this.count;
        while (low < high) {
            const middle = (low + high) >> 1;
            if (this.#list[middle] < frame) low = middle + 1;
            else high = middle;
        }
        return low;
    }

    /**
     * The place of a frame, -1 where it is none of them.
     * @param {number} frame
     */
    placeOf(frame) {
        const place = this.notBefore(frame);
        return place < this.count && this.at(place) === frame ? place : -1;
    }
}

/** A set of places, kept as runs, so that a million of them take no room. */
export class Places {
    /**
     * Ends of the runs in ascending order: from, to (behind the last), from, to.
     * @type {number[]}
     */
    runs = [];

    get isEmpty() {
        return this.runs.length === 0;
    }

    get count() {
        let sum = 0;
        for (let i = 0; i < this.runs.length; i += 2) sum += this.runs[i + 1] - this.runs[i];
        return sum;
    }

    clear() {
        this.runs = [];
    }

    /**
     * How many ends lie at or before this place; odd within a run.
     * @param {number} place
     */
    #endsUpTo(place) {
        let low = 0;
        let high = this.runs.length;
        while (low < high) {
            const middle = (low + high) >> 1;
            if (this.runs[middle] <= place) low = middle + 1;
            else high = middle;
        }
        return low;
    }

    /** @param {number} place */
    has(place) {
        return this.#endsUpTo(place) % 2 === 1;
    }

    /**
     * Whether any of [from, to) is in it.
     * @param {number} from
     * @param {number} to
     */
    meets(from, to) {
        const ends = this.#endsUpTo(from);
        return ends % 2 === 1 || (ends < this.runs.length && this.runs[ends] < to);
    }

    /**
     * @param {number} from
     * @param {number} to behind the last
     * @param {boolean} isIn
     */
    change(from, to, isIn) {
        if (from >= to) return;
        const before = this.#endsUpTo(from - 1);
        const after = this.#endsUpTo(to);
        const between = [];
        if ((before % 2 === 1) !== isIn) between.push(from);
        if ((after % 2 === 1) !== isIn) between.push(to);
        this.runs.splice(before, after - before, ...between);
    }

    /**
     * The range as the server reads it, "1-3,7".
     * @param {Numbers} numbers
     */
    range(numbers) {
        /** @type {string[]} */
        const parts = [];
        const step = numbers.step;
        if (step > 1) {
            for (let i = 0; i < this.runs.length; i += 2) {
                const first = numbers.at(this.runs[i]);
                const last = numbers.at(this.runs[i + 1] - 1);
                parts.push(first === last ? String(first) : `${first}-${last}x${step}`);
            }
            return parts.join(",");
        }
        /** @type {number | null} */
        let first = null;
        let last = 0;
        const end = () => {
            if (first !== null) parts.push(first === last ? String(first) : `${first}-${last}`);
        };
        for (let i = 0; i < this.runs.length; i += 2)
            for (let place = this.runs[i]; place < this.runs[i + 1]; ++place) {
                const frame = numbers.at(place);
                if (first === null || frame !== last + 1) {
                    end();
                    first = frame;
                }
                last = frame;
            }
        end();
        return parts.join(",");
    }
}
