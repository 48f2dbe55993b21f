/** Elements, made without markup: whatever a job or a file is called stays text. */

/**
 * @typedef {string | number | Node | null | undefined | false} Child
 */

/**
 * Makes an element. Properties that begin with "on" are handlers, "class" and all others attributes;
 * true is an attribute without a value, false, null and undefined are left out.
 * @template {keyof HTMLElementTagNameMap} K
 * @param {K} tag
 * @param {Record<string, any>} [properties]
 * @param {...(Child | Child[])} children
 * @returns {HTMLElementTagNameMap[K]}
 */
export function make(tag, properties = {}, ...children) {
    const element = document.createElement(tag);
    for (const [name, value] of Object.entries(properties)) {
        if (name.startsWith("on")) element.addEventListener(name.slice(2), value);
        else set(element, name, value);
    }
    append(element, children);
    return element;
}

/**
 * Sets an attribute, or takes it away where the value is false, null or undefined.
 * @param {Element} element
 * @param {string} name
 * @param {string | number | boolean | null | undefined} value
 */
export function set(element, name, value) {
    if (value === false || value === null || value === undefined) element.removeAttribute(name);
    else if (element.getAttribute(name) !== String(value === true ? "" : value))
        element.setAttribute(name, value === true ? "" : String(value));
}

/**
 * @param {Element} element
 * @param {(Child | Child[])[]} children
 */
function append(element, children) {
    for (const child of children.flat())
        if (child !== null && child !== undefined && child !== false) element.append(child instanceof Node ? child : String(child));
}

/**
 * Puts these in place of what is in an element.
 * @param {Element} element
 * @param {...(Child | Child[])} children
 */
export function fill(element, ...children) {
    element.replaceChildren();
    append(element, children);
}

/**
 * Sets a text where it is another one: a reader hears only what has changed.
 * @param {Node} element
 * @param {string} text
 */
export function say(element, text) {
    if (element.textContent !== text) element.textContent = text;
}

/**
 * Gives a function that is run once, at the next time the screen is drawn, however often it was called.
 * @param {() => void} draw
 */
export function onceAFrame(draw) {
    let isWaiting = false;
    return () => {
        if (isWaiting) return;
        isWaiting = true;
        requestAnimationFrame(() => {
            isWaiting = false;
            draw();
        });
    };
}

/**
 * Gives a function that runs when it was not called for a while.
 * @param {() => void} action
 * @param {number} milliseconds
 */
export function afterCalm(action, milliseconds) {
    /** @type {ReturnType<typeof setTimeout> | undefined} */
    let timer;
    return () => {
        clearTimeout(timer);
        timer = setTimeout(action, milliseconds);
    };
}

/**
 * A label with its control.
 * @param {string} text
 * @param {HTMLElement} control
 */
export function labelled(text, control) {
    return make("label", { class: "field" }, make("span", {}, text), control);
}
