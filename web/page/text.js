/** The page's words in the language of the browser. */

import { GERMAN } from "./german.js";

/** "de" or "en"; `?lang=` goes before what the browser prefers. */
export const LANGUAGE = (() => {
    const wish = new URLSearchParams(location.search).get("lang") ?? navigator.language;
    return wish.toLowerCase().startsWith("de") ? "de" : "en";
})();

/**
 * The text in the user's language, `{name}` replaced by the value of that name. A text that counts
 * has its singular before a "|", and is chosen by `count`.
 * @param {string} text
 * @param {Record<string, string | number>} [values]
 */
export function t(text, values = {}) {
    let found = (LANGUAGE === "de" && GERMAN[text]) || text;
    if ("count" in values && found.includes("|")) found = found.split("|")[values.count === 1 ? 0 : 1];
    return found.replace(/\{(\w+)\}/g, (whole, name) => {
        const value = values[name];
        if (value === undefined) return whole;
        return typeof value === "number" ? number(value) : value;
    });
}

const plain = new Intl.NumberFormat(LANGUAGE);

/** @param {number} value */
export function number(value) {
    return plain.format(value);
}
