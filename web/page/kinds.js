/** What each verdict looks like: a colour of the window, and a shape of its own. */

import { t } from "./text.js";

/**
 * The states by how bad they are, the worst last: a cell that stands for many shows the worst.
 */
export const BY_WORSE = [
    "ok",
    "unknown",
    "sparks",
    "duplicate",
    "pop",
    "blank",
    "black",
    "odd-image",
    "nan",
    "outlier",
    "patch",
    "changed",
    "undecodable",
    "too-small",
    "missing",
];

/** @type {Record<string, string>} names of custom properties of the style sheet */
const COLOURS = {
    ok: "--list-focus",
    unknown: "--text-grey",
    missing: "--text-grey",
    "too-small": "--text-red",
    undecodable: "--text-red",
    outlier: "--text-orange",
    "odd-image": "--text-orange",
    blank: "--text-orange",
    nan: "--text-orange",
    duplicate: "--text-orange",
    black: "--text-orange",
    patch: "--text-orange",
    pop: "--text-orange",
    sparks: "--text-orange",
    changed: "--text-red",
};

/**
 * Also of states that the page does not know yet; "files" is the sum among the counts.
 * @param {string} state
 */
export function isBad(state) {
    return state !== "ok" && state !== "unknown" && state !== "files";
}

/**
 * The state in the user's words.
 * @param {string} state
 */
export function stateName(state) {
    switch (state) {
        case "ok":
            return t("good");
        case "unknown":
            return t("not looked at yet");
        case "missing":
            return t("missing");
        case "too-small":
            return t("too small");
        case "outlier":
            return t("unlike its neighbours");
        case "undecodable":
            return t("not readable");
        case "odd-image":
            return t("another image size or other channels");
        case "blank":
            return t("all one colour");
        case "nan":
            return t("holds invalid numbers");
        case "duplicate":
            return t("the same picture twice");
        case "black":
            return t("black");
        case "patch":
            return t("part of the picture missing or old");
        case "pop":
            return t("jumps and comes back");
        case "sparks":
            return t("single bright pixels");
        case "changed":
            return t("changed since it was sealed");
        default:
            return state;
    }
}

/** Colours as they are at the moment: they follow the system's theme. */
export class Colours {
    /** @type {Map<string, string>} */
    #known = new Map();

    constructor() {
        matchMedia("(prefers-color-scheme: dark)").addEventListener("change", () => this.#known.clear());
    }

    /** @param {string} name a custom property */
    get(name) {
        let colour = this.#known.get(name);
        if (colour === undefined) {
            colour = getComputedStyle(document.documentElement).getPropertyValue(name).trim();
            this.#known.set(name, colour);
        }
        return colour;
    }

    /** @param {string} state */
    of(state) {
        return this.get(COLOURS[state] ?? "--text");
    }
}

export const colours = new Colours();

/**
 * Draws the shape of a state into the square around a point. Stroke and fill have to be of its colour.
 * @param {CanvasRenderingContext2D} ink
 * @param {string} state
 * @param {number} x the middle
 * @param {number} y
 * @param {number} size of the square
 */
export function drawShape(ink, state, x, y, size) {
    const r = size / 2;
    ink.lineWidth = Math.max(1.2, size / 7);
    ink.beginPath();
    switch (state) {
        case "ok":
            ink.rect(x - r, y - r, size, size);
            ink.fill();
            return;
        case "missing":
            ink.moveTo(x - r, y - r);
            ink.lineTo(x + r, y + r);
            ink.moveTo(x + r, y - r);
            ink.lineTo(x - r, y + r);
            break;
        case "too-small":
            ink.moveTo(x - r, y - r);
            ink.lineTo(x + r, y - r);
            ink.lineTo(x, y + r);
            ink.closePath();
            ink.fill();
            return;
        case "outlier":
            ink.moveTo(x, y - r);
            ink.lineTo(x + r, y);
            ink.lineTo(x, y + r);
            ink.lineTo(x - r, y);
            ink.closePath();
            ink.fill();
            return;
        case "undecodable":
            ink.arc(x, y, r, 0, 2 * Math.PI);
            ink.moveTo(x - r * 0.7, y + r * 0.7);
            ink.lineTo(x + r * 0.7, y - r * 0.7);
            break;
        case "odd-image":
            ink.rect(x - r, y - r * 0.6, size, size * 0.6);
            break;
        case "blank":
            ink.arc(x, y, r * 0.9, 0, 2 * Math.PI);
            break;
        case "nan":
            ink.moveTo(x - r, y);
            ink.lineTo(x + r, y);
            ink.moveTo(x, y - r);
            ink.lineTo(x, y + r);
            break;
        case "duplicate":
            // A sheet upon another, of which an edge is seen; lines of both would be a smear in a small cell.
            ink.fillRect(x - r * 0.35, y - r * 0.35, r * 1.35, r * 1.35);
            ink.fillRect(x - r, y - r, r * 1.5, r * 0.35);
            ink.fillRect(x - r, y - r, r * 0.35, r * 1.5);
            return;
        case "black":
            ink.arc(x, y, r * 0.9, 0, 2 * Math.PI);
            ink.fill();
            return;
        case "patch":
            ink.rect(x - r, y - r, size, size);
            ink.fillRect(x, y, r, r);
            break;
        case "pop":
            // Blunt, so that the point of the line stays within the square.
            ink.moveTo(x - r, y + r * 0.7);
            ink.lineTo(x - r * 0.55, y + r * 0.7);
            ink.lineTo(x - r * 0.1, y - r * 0.75);
            ink.lineTo(x + r * 0.1, y - r * 0.75);
            ink.lineTo(x + r * 0.55, y + r * 0.7);
            ink.lineTo(x + r, y + r * 0.7);
            break;
        case "sparks":
            ink.moveTo(x - r, y);
            ink.lineTo(x + r, y);
            ink.moveTo(x - r * 0.5, y - r * 0.87);
            ink.lineTo(x + r * 0.5, y + r * 0.87);
            ink.moveTo(x + r * 0.5, y - r * 0.87);
            ink.lineTo(x - r * 0.5, y + r * 0.87);
            break;
        case "changed":
            ink.moveTo(x - r, y - r * 0.4);
            ink.lineTo(x + r, y - r * 0.4);
            ink.moveTo(x - r, y + r * 0.4);
            ink.lineTo(x + r, y + r * 0.4);
            ink.moveTo(x - r * 0.5, y + r);
            ink.lineTo(x + r * 0.5, y - r);
            break;
        default:
            ink.rect(x - r * 0.4, y - r * 0.4, size * 0.4, size * 0.4);
    }
    ink.stroke();
}

/**
 * A shape beside a word; the word says it to who cannot see it.
 * @param {string} state
 * @param {number} [size]
 */
export function icon(state, size = 12) {
    const canvas = document.createElement("canvas");
    canvas.className = "kind";
    canvas.setAttribute("aria-hidden", "true");
    canvas.dataset.state = state;
    const scale = Math.max(1, Math.ceil(devicePixelRatio));
    canvas.width = canvas.height = size * scale;
    canvas.style.width = canvas.style.height = `${size}px`;
    paintIcon(canvas);
    return canvas;
}

/** @param {HTMLCanvasElement} canvas */
function paintIcon(canvas) {
    const ink = canvas.getContext("2d");
    if (!ink) return;
    const state = canvas.dataset.state ?? "ok";
    ink.clearRect(0, 0, canvas.width, canvas.height);
    ink.strokeStyle = ink.fillStyle = colours.of(state);
    drawShape(ink, state, canvas.width / 2, canvas.height / 2, canvas.width * 0.78);
}

matchMedia("(prefers-color-scheme: dark)").addEventListener("change", () => {
    for (const canvas of document.querySelectorAll("canvas.kind")) paintIcon(/** @type {HTMLCanvasElement} */ (canvas));
});
