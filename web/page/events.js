/**
 * The page's one stream of events. It is closed while nobody sees the page, and found again by
 * itself when it broke: at once, then after 0.5 s doubling to 15 s.
 */

import { ApiError, get } from "./api.js";

/** @typedef {"open" | "lost" | "asleep"} Connection */

const SHORTEST = 500;
const LONGEST = 15000;
/** After how many milliseconds without an event the line is doubted. */
const SILENCE = 45000;

export class Events {
    /** @type {EventSource | null} */
    #source = null;
    #address = "";
    #pause = 0;
    /** @type {ReturnType<typeof setTimeout> | undefined} */
    #timer;
    /** @type {ReturnType<typeof setTimeout> | undefined} */
    #silence;
    #hasBroken = false;
    /** @type {Record<string, (data: any) => void>} */
    #handlers = {};
    #onConnection;

    /** @param {(connection: Connection) => void} onConnection */
    constructor(onConnection) {
        this.#onConnection = onConnection;
        document.addEventListener("visibilitychange", () => {
            if (document.hidden) this.#sleep();
            else if (this.#address) this.#open();
        });
        // A page that the browser keeps for "back" holds no stream.
        addEventListener("pagehide", () => this.#sleep());
        addEventListener("pageshow", (event) => {
            if (event.persisted && this.#address) this.#open();
        });
        addEventListener("online", () => {
            if (this.#address && !this.#source) this.#open();
        });
    }

    /**
     * Follows something else from here on. Each handler is given the event's data; "anew" is called
     * whenever something may have been missed, also after a break.
     * @param {Record<string, string | number>} query
     * @param {Record<string, (data: any) => void>} handlers
     */
    follow(query, handlers) {
        const words = new URLSearchParams();
        for (const [name, value] of Object.entries(query)) words.set(name, String(value));
        this.#address = `/api/events?${words}`;
        this.#handlers = handlers;
        this.#hasBroken = false;
        this.#pause = 0;
        if (!document.hidden) this.#open();
        else this.#hasBroken = true;
    }

    stop() {
        this.#address = "";
        this.#close();
    }

    #close() {
        clearTimeout(this.#timer);
        clearTimeout(this.#silence);
        this.#source?.close();
        this.#source = null;
    }

    #sleep() {
        if (!this.#address) return;
        this.#close();
        this.#hasBroken = true;
        this.#onConnection("asleep");
    }

    #open() {
        this.#close();
        const source = new EventSource(this.#address);
        this.#source = source;
        source.onopen = () => {
            this.#pause = 0;
            this.#listenForSilence();
            this.#onConnection("open");
            if (this.#hasBroken) this.#handlers.anew?.({});
            this.#hasBroken = false;
        };
        // The browser's own retry has no growing pause, and gives up on an answer that is no stream.
        source.onerror = () => this.#lost();
        for (const name of ["master", "jobs", "job", "frames", "anew"]) {
            source.addEventListener(name, (event) => {
                this.#listenForSilence();
                this.#handlers[name]?.(JSON.parse(/** @type {MessageEvent} */ (event).data));
            });
        }
    }

    /** Comments do not reach a page, so a quiet farm looks like a dead line: the server is asked. */
    #listenForSilence() {
        clearTimeout(this.#silence);
        this.#silence = setTimeout(() => this.#knock(), SILENCE);
    }

    async #knock() {
        const source = this.#source;
        const patience = new AbortController();
        const end = setTimeout(() => patience.abort(), 10000);
        try {
            await fetch("/healthz", { cache: "no-store", signal: patience.signal });
            if (this.#source === source) this.#listenForSilence();
        } catch {
            if (source && this.#source === source) this.#lost();
        } finally {
            clearTimeout(end);
        }
    }

    #lost() {
        this.#close();
        this.#hasBroken = true;
        this.#onConnection("lost");
        this.#timer = setTimeout(() => this.#tryAgain(), this.#pause);
        this.#pause = Math.min(LONGEST, Math.max(SHORTEST, this.#pause * 2));
    }

    /** A stream that is refused does not say why: that the session is over is told by any other answer. */
    async #tryAgain() {
        const address = this.#address;
        try {
            await get("/api/session");
        } catch (error) {
            if (address !== this.#address || this.#source || document.hidden) return;
            if (!(error instanceof ApiError) || error.status !== 401) this.#lost();
            return;
        }
        if (address === this.#address && address && !this.#source && !document.hidden) this.#open();
    }
}
