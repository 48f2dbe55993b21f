/** What is told the user: the answers of the Master, read aloud and kept until they are put away. */

import { make } from "./dom.js";
import { t } from "./text.js";

const MANY = 5;

/** @type {HTMLElement} */
const list = make("ul", { class: "notices", role: "log", "aria-live": "polite", "aria-label": t("Messages") });

export function noticeList() {
    return list;
}

/**
 * @param {string} text
 * @param {{isTrouble?: boolean, link?: {text: string, address: string}}} [more]
 */
export function tell(text, more = {}) {
    const { isTrouble = false, link } = more;
    const item = make(
        "li",
        { class: isTrouble ? "notice trouble" : "notice" },
        make("span", {}, text),
        link && make("a", { href: link.address }, link.text),
        make("button", { type: "button", class: "plain", "aria-label": t("Put away"), onclick: () => putAway(item) }, "×"),
    );
    list.append(item);
    while (list.children.length > MANY) list.firstElementChild?.remove();
}

/**
 * The keyboard goes on at the next of them, and at the page's content where there is none.
 * @param {HTMLElement} item
 */
function putAway(item) {
    const next = item.nextElementSibling ?? item.previousElementSibling;
    item.remove();
    /** @type {HTMLElement | null} */ (next?.querySelector("button") ?? document.getElementById("main"))?.focus({ preventScroll: true });
}

/** @param {unknown} error */
export function tellError(error) {
    tell(error instanceof Error ? error.message : String(error), { isTrouble: true });
}

/**
 * Asks before something is done that cannot be taken back.
 * @param {string} question
 * @param {string} answer on the button
 * @returns {Promise<boolean>}
 */
export function askFirst(question, answer) {
    return new Promise((resolve) => {
        const dialog = make(
            "dialog",
            { class: "question", "aria-labelledby": "question-text", onclose: () => {
                dialog.remove();
                resolve(dialog.returnValue === "yes");
            } },
            make("p", { id: "question-text" }, question),
            make(
                "div",
                { class: "bar" },
                make("button", { type: "button", class: "strong", onclick: () => dialog.close("yes") }, answer),
                // Whoever presses Enter twice has changed nothing.
                make("button", { type: "button", autofocus: true, onclick: () => dialog.close("") }, t("Leave it")),
            ),
        );
        document.body.append(dialog);
        dialog.showModal();
    });
}
