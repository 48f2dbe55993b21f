/** Small pictures of frames, asked for when they are looked at. */

import { ApiError, errorOf, jobAddress } from "./api.js";
import { t } from "./text.js";

/** Times that a server with too much to do is asked again. */
const TRIES = 5;

/**
 * @typedef {object} PictureWish
 * @property {number} format
 * @property {number} width
 * @property {number} [exposure]
 * @property {string} [channels]
 * @property {number} [minus]
 * @property {string} [seen] another where the file may be another one: a browser keeps what it has of an address
 */

/**
 * @param {string} job
 * @param {number} frame
 * @param {PictureWish} wish
 */
export function pictureAddress(job, frame, wish) {
    return jobAddress(job, `/frames/${frame}/picture`, {
        format: wish.format,
        width: wish.width,
        exposure: wish.exposure || undefined,
        channels: wish.channels && wish.channels !== "rgb" ? wish.channels : undefined,
        minus: wish.minus,
        seen: wish.seen,
    });
}

/**
 * Why there is no picture; waits and gives null where it is worth another try.
 * @param {string} address
 * @param {number} tries so far
 */
async function findReason(address, tries) {
    try {
        const answer = await fetch(address, { credentials: "same-origin" });
        if (answer.ok) return tries ? t("The browser cannot show this picture.") : null;
        if (answer.status === 429 && tries < TRIES) {
            const seconds = Math.min(5, Number(answer.headers.get("Retry-After")) || 1);
            await new Promise((resolve) => setTimeout(resolve, seconds * 1000));
            return null;
        }
        return (await errorOf(answer)).message;
    } catch (error) {
        return error instanceof ApiError ? error.message : t("The server does not answer. It may have ended.");
    }
}

/**
 * Shows a picture in an image. Gives "" once it is there, else the reason why there is none.
 * @param {HTMLImageElement} image
 * @param {string} address
 * @returns {Promise<string>}
 */
export async function showPicture(image, address) {
    for (let tries = 0; ; ++tries) {
        const isThere = await new Promise((resolve) => {
            image.onload = () => resolve(true);
            image.onerror = () => resolve(false);
            image.src = address;
        });
        image.onload = image.onerror = null;
        if (isThere) return "";
        const reason = await findReason(address, tries);
        if (reason !== null) return reason;
    }
}
