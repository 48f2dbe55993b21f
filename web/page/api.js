/** Asks the server; every answer that is an error becomes an `ApiError` with the server's sentence. */

import { t } from "./text.js";

export class ApiError extends Error {
    /**
     * @param {number} status 0 where the server did not answer at all
     * @param {string} sentence
     * @param {boolean} again whether the server wants to be asked again soon
     */
    constructor(status, sentence, again = false) {
        super(sentence);
        this.status = status;
        this.again = again;
    }
}

/**
 * Told of the time since when answers are old, null when they are fresh again.
 * @type {(since: string | null) => void}
 */
let tellOld = () => {};
/**
 * Told when the server no longer knows who asks.
 * @type {() => void}
 */
let tellStranger = () => {};

/**
 * @param {(since: string | null) => void} old
 * @param {() => void} stranger
 */
export function onAnswers(old, stranger) {
    tellOld = old;
    tellStranger = stranger;
}

/**
 * The error that an answer is.
 * @param {Response} answer
 */
export async function errorOf(answer) {
    let sentence = "";
    try {
        sentence = String((await answer.json()).error ?? "");
    } catch {
        // No JSON: something between the page and its server has answered.
    }
    return new ApiError(answer.status, sentence || t("The server answered {status}.", { status: answer.status }), answer.headers.has("Retry-After"));
}

/**
 * @param {string} address
 * @param {RequestInit} [wishes]
 */
async function ask(address, wishes) {
    /** @type {Response} */
    let answer;
    try {
        answer = await fetch(address, { credentials: "same-origin", cache: "no-cache", ...wishes });
    } catch (error) {
        if (wishes?.signal?.aborted) throw error;
        throw new ApiError(0, t("The server does not answer. It may have ended."));
    }
    if (answer.status === 401) tellStranger();
    if (!answer.ok) throw await errorOf(answer);
    if (address.startsWith("/api/jobs")) tellOld(answer.headers.get("X-Corvan-Old-Since"));
    return answer;
}

/**
 * The address of a job's things; what is undefined is left out.
 * @param {string} job
 * @param {string} rest "" or "/sheet" and the like
 * @param {Record<string, string | number | undefined>} [query]
 */
export function jobAddress(job, rest, query = {}) {
    const words = new URLSearchParams();
    for (const [name, value] of Object.entries(query))
        if (value !== undefined) words.set(name, String(value));
    const tail = words.toString();
    return `/api/jobs/${encodeURIComponent(job)}${rest}${tail ? `?${tail}` : ""}`;
}

/**
 * @param {string} address
 * @param {AbortSignal} [signal]
 * @returns {Promise<any>}
 */
export async function get(address, signal) {
    return (await ask(address, { signal })).json();
}

/**
 * @param {string} address
 * @param {AbortSignal} [signal]
 */
export async function getBytes(address, signal) {
    return new Uint8Array(await (await ask(address, { signal })).arrayBuffer());
}

/**
 * Gives the answer's JSON, null where it has none.
 * @param {string} address
 * @param {object} body
 * @returns {Promise<any>}
 */
export async function post(address, body) {
    const answer = await ask(address, {
        method: "POST",
        headers: { "Content-Type": "application/json" },
        body: JSON.stringify(body),
    });
    return answer.status === 204 ? null : answer.json();
}
