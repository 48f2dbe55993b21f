/** Who looks: the link's secret is changed for a cookie, a studio's user gives a token. */

import { ApiError, get, post } from "./api.js";

/**
 * The secret of a personal server's link, which it takes out of the address: what stands there ends
 * in histories and bookmarks.
 * @returns {string}
 */
function takeSecret() {
    const secret = new URLSearchParams(location.hash.slice(1)).get("secret") ?? "";
    if (location.hash) history.replaceState(history.state, "", location.pathname + location.search);
    return secret;
}

/**
 * Gives the session, null where there is none.
 * @returns {Promise<import("./types.js").Session | null>}
 */
export async function openSession() {
    const secret = takeSecret();
    if (secret) {
        try {
            await post("/api/session", { secret });
        } catch (error) {
            // It was used before, perhaps by this very browser: then the cookie is good.
            if (!(error instanceof ApiError) || error.status === 0) throw error;
        }
    }
    try {
        return await get("/api/session");
    } catch (error) {
        if (error instanceof ApiError && error.status === 401) return null;
        throw error;
    }
}

/**
 * @param {string} token
 * @returns {Promise<import("./types.js").Session>}
 */
export async function openByToken(token) {
    await post("/api/session", { token });
    return get("/api/session");
}

export function endSession() {
    return post("/api/session/end", {});
}
