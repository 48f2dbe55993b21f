/** The states of all frames, and what there is in any stretch of them, at once. */

import { BY_WORSE, isBad } from "./kinds.js";
import { Numbers, partsOf } from "./ranges.js";

/** Frames are summed up in blocks of so many, a power of two. */
const BLOCK = 256;

/**
 * A stretch of frames in short.
 * @typedef {object} Stretch
 * @property {number} worst rank of its worst state, see `Sheet.stateOfRank`
 * @property {number} bad how many are bad
 */

export class Sheet {
    /** @type {import("./types.js").SheetHead} */
    head;
    /** @type {Numbers} */
    numbers;
    /** @type {Record<string, number>} */
    counts;
    pass;
    /**
     * An index into the head's states, for each place.
     * @type {Uint8Array}
     */
    #states;
    /**
     * How bad each of the head's states is.
     * @type {Uint8Array}
     */
    #rank;
    /**
     * The pass that each place was last told changed in; none where nothing was.
     * @type {Uint32Array | null}
     */
    #changed = null;
    static #made = 0;
    /** Of the sheets of this page. What was seen by another one may have changed unheard. */
    #which = ++Sheet.#made;
    /** The lowest rank that is bad. */
    #firstBad;
    /** @type {Uint8Array} */
    #blockWorst;
    /** @type {Uint16Array} */
    #blockBad;

    /** @param {Uint8Array} bytes a line of JSON, then a byte a frame */
    constructor(bytes) {
        const end = bytes.indexOf(10);
        this.head = JSON.parse(new TextDecoder().decode(bytes.subarray(0, end)));
        this.numbers = new Numbers(this.head.range, this.head.count);
        this.counts = this.head.counts;
        this.pass = this.head.pass;
        this.#states = new Uint8Array(this.head.count);
        this.#states.set(bytes.subarray(end + 1, end + 1 + this.head.count));
        // A state that the page does not know is a bad one.
        this.#rank = Uint8Array.from(this.head.states, (state) => {
            const rank = BY_WORSE.indexOf(state);
            return rank < 0 ? BY_WORSE.length : rank;
        });
        this.#firstBad = BY_WORSE.findIndex(isBad);
        const blocks = Math.ceil(this.count / BLOCK);
        this.#blockWorst = new Uint8Array(blocks);
        this.#blockBad = new Uint16Array(blocks);
        this.#sum(0, this.count);
    }

    get count() {
        return this.head.count;
    }

    get bad() {
        return Object.entries(this.counts).reduce((sum, [state, count]) => sum + (isBad(state) ? count : 0), 0);
    }

    /**
     * @param {number} from
     * @param {number} to
     */
    #sum(from, to) {
        for (let block = Math.floor(from / BLOCK); block * BLOCK < to; ++block) {
            let worst = 0;
            let bad = 0;
            const end = Math.min(this.count, (block + 1) * BLOCK);
            for (let place = block * BLOCK; place < end; ++place) {
                const rank = this.#rank[this.#states[place]];
                if (rank > worst) worst = rank;
                if (rank >= this.#firstBad) ++bad;
            }
            this.#blockWorst[block] = worst;
            this.#blockBad[block] = bad;
        }
    }

    /** @param {number} place */
    state(place) {
        return this.head.states[this.#states[place]];
    }

    /**
     * Another text where the file may be another one.
     * @param {number} place
     */
    version(place) {
        return `${this.#which}.${this.#changed?.[place] ?? 0}`;
    }

    /** @param {number} place */
    rank(place) {
        return this.#rank[this.#states[place]];
    }

    /** @param {number} rank */
    stateOfRank(rank) {
        return BY_WORSE[rank] ?? "bad";
    }

    /** @param {number} rank */
    isBadRank(rank) {
        return rank >= this.#firstBad;
    }

    /**
     * What is in [from, to).
     * @param {number} from
     * @param {number} to
     * @param {Stretch} into is filled and given back, so that drawing makes no garbage
     */
    stretch(from, to, into) {
        into.worst = 0;
        into.bad = 0;
        let place = from;
        while (place < to) {
            if (place % BLOCK === 0 && place + BLOCK <= to) {
                const block = place / BLOCK;
                if (this.#blockWorst[block] > into.worst) into.worst = this.#blockWorst[block];
                into.bad += this.#blockBad[block];
                place += BLOCK;
                continue;
            }
            const rank = this.rank(place);
            if (rank > into.worst) into.worst = rank;
            if (rank >= this.#firstBad) ++into.bad;
            ++place;
        }
        return into;
    }

    /**
     * The next bad place in a direction, round the ends; -1 where all are good.
     * @param {number} from
     * @param {1 | -1} direction
     */
    nextBad(from, direction) {
        for (let step = 1; step <= this.count; ++step) {
            const place = (((from + direction * step) % this.count) + this.count) % this.count;
            if (this.rank(place) >= this.#firstBad) return place;
            // Whole good blocks are stepped over.
            const block = Math.floor(place / BLOCK);
            if (this.#blockBad[block] === 0) {
                const left = direction > 0 ? Math.min(this.count, (block + 1) * BLOCK) - 1 - place : place - block * BLOCK;
                step += left;
            }
        }
        return -1;
    }

    /**
     * Calls with each run [from, to) of bad places.
     * @param {(from: number, to: number) => void} take
     */
    eachBad(take) {
        for (let block = 0; block < this.#blockBad.length; ++block) {
            if (this.#blockBad[block] === 0) continue;
            const end = Math.min(this.count, (block + 1) * BLOCK);
            for (let place = block * BLOCK; place < end; ++place)
                if (this.rank(place) >= this.#firstBad) take(place, place + 1);
        }
    }

    /**
     * Takes in what a pass has found, or has found so far. False where it does not fit these frames: ask for all anew.
     * @param {import("./types.js").FramesChange} change
     */
    apply(change) {
        this.#changed ??= new Uint32Array(this.count);
        for (const [state, range] of Object.entries(change.changed)) {
            const index = this.head.states.indexOf(state);
            if (index < 0) return false;
            for (const { first, last, step } of partsOf(range)) {
                const from = this.numbers.placeOf(first);
                if (from < 0) return false;
                let to = from;
                for (let frame = first; frame <= last; frame += step) {
                    const place = step === 1 && this.numbers.step === 1 ? to : this.numbers.placeOf(frame);
                    if (place < 0 || place >= this.count) return false;
                    this.#states[place] = index;
                    this.#changed[place] = change.pass;
                    to = place + 1;
                }
                this.#sum(from, to);
            }
        }
        this.counts = change.counts;
        if (change.isEnd !== false) this.pass = change.pass;
        return true;
    }
}
