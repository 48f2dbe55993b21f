/** Sizes, times and spans as people read them. */

import { LANGUAGE, number, t } from "./text.js";

/**
 * @param {number | null | undefined} bytes
 */
export function bytes(bytes) {
    return bytes === null || bytes === undefined ? "–" : t("{count} byte|{count} bytes", { count: bytes });
}

const UNITS = ["B", "kB", "MB", "GB", "TB"];

/**
 * "81.9 kB", for axes.
 * @param {number} bytes
 */
export function shortBytes(bytes) {
    let unit = 0;
    while (Math.abs(bytes) >= 1000 && unit + 1 < UNITS.length) {
        bytes /= 1000;
        unit += 1;
    }
    return `${number(Math.round(bytes * 10) / 10)} ${UNITS[unit]}`;
}

const moment = new Intl.DateTimeFormat(LANGUAGE, { dateStyle: "medium", timeStyle: "medium" });
const brief = new Intl.DateTimeFormat(LANGUAGE, {
    month: "2-digit",
    day: "2-digit",
    hour: "2-digit",
    minute: "2-digit",
    hourCycle: "h23",
});

/**
 * @param {string | null | undefined} text
 * @param {Intl.DateTimeFormat} as
 */
function date(text, as) {
    const time = text ? Date.parse(text) : NaN;
    return Number.isNaN(time) ? "–" : as.format(time);
}

/** @param {string | null | undefined} text */
export function time(text) {
    return date(text, moment);
}

/**
 * Day and minute, for lists.
 * @param {string | null | undefined} text
 */
export function shortTime(text) {
    return date(text, brief);
}

/** @param {number | null | undefined} seconds */
export function span(seconds) {
    if (seconds === null || seconds === undefined) return "–";
    if (seconds < 60) return t("{seconds} s", { seconds: Math.round(seconds * 10) / 10 });
    const minutes = Math.round(seconds / 60);
    if (minutes < 60) return t("{minutes} min", { minutes });
    return t("{hours} h {minutes} min", { hours: Math.floor(minutes / 60), minutes: minutes % 60 });
}

/**
 * A number in little room: 999, "1.2k", "34k".
 * @param {number} value
 */
export function tiny(value) {
    if (value < 1000) return String(value);
    if (value < 10000) return `${Math.floor(value / 100) / 10}k`;
    return value < 1e6 ? `${Math.floor(value / 1000)}k` : `${Math.floor(value / 1e5) / 10}M`;
}
