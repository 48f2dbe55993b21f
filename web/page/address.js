/** What is shown, as it stands in the address: a view can be sent to somebody. */

/** @returns {URLSearchParams} */
export function whereabouts() {
    return new URLSearchParams(location.search);
}

/**
 * @param {Record<string, string | number | null>} changes null takes a word away
 * @param {URLSearchParams} [from]
 */
export function addressWith(changes, from = whereabouts()) {
    const words = new URLSearchParams(from);
    for (const [name, value] of Object.entries(changes)) {
        if (value === null || value === "") words.delete(name);
        else words.set(name, String(value));
    }
    const text = words.toString();
    return text ? `/?${text}` : "/";
}

/** The language stays what it was, whatever is shown. */
function fresh() {
    const words = new URLSearchParams();
    const language = whereabouts().get("lang");
    if (language) words.set("lang", language);
    return words;
}

/**
 * @param {string} id
 * @param {Record<string, string | number | null>} [more]
 */
export function jobPage(id, more = {}) {
    return addressWith({ job: id, ...more }, fresh());
}

export function jobsPage() {
    return addressWith({}, fresh());
}

/**
 * Says it in the address without a step for "back".
 * @param {Record<string, string | number | null>} changes
 */
export function note(changes) {
    const address = addressWith(changes);
    if (address !== location.pathname + location.search) history.replaceState(null, "", address);
}

/**
 * Goes to another view, which "back" leaves.
 * @param {string} address
 */
export function go(address) {
    history.pushState(null, "", address);
    dispatchEvent(new PopStateEvent("popstate"));
}
