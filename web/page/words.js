/** Words for what a job is at. */

import { make } from "./dom.js";
import { icon, isBad, stateName } from "./kinds.js";
import { number, t } from "./text.js";

/** @param {string} status */
export function statusName(status) {
    switch (status) {
        case "queued":
            return t("queued");
        case "running":
            return t("running");
        case "done":
            return t("done");
        case "failed":
            return t("failed");
        case "paused":
            return t("paused");
        case "cancelled":
            return t("cancelled");
        default:
            return status;
    }
}

/**
 * Told apart by a sign too.
 * @type {Record<string, string>}
 */
const SIGNS = { queued: "○", running: "▶", done: "✓", failed: "✗", paused: "‖", cancelled: "⊘" };

/** @param {string} status */
export function statusMark(status) {
    return make(
        "span",
        { class: `status status-${status}` },
        make("span", { "aria-hidden": "true" }, SIGNS[status] ?? "·"),
        ` ${statusName(status)}`,
    );
}

/**
 * How many of each bad state there are.
 * @param {Record<string, number>} counts
 */
export function badMarks(counts) {
    return Object.entries(counts)
        .filter(([state, count]) => isBad(state) && count > 0)
        .map(([state, count]) =>
            make(
                "span",
                { class: "mark", title: stateName(state) },
                icon(state, 11),
                make("span", {}, number(count)),
                make("span", { class: "unseen" }, ` ${stateName(state)}`),
            ),
        );
}

/**
 * @param {import("./types.js").Job} job
 */
export function progress(job) {
    const { done, failed, total } = job.tasks;
    return make(
        "span",
        { class: "progress" },
        make("progress", {
            max: Math.max(1, total),
            value: done,
            "aria-label": t("{done} of {total} tasks done, {failed} failed", { done, total, failed }),
        }),
        make("span", { "aria-hidden": "true" }, total ? `${Math.floor((100 * done) / total)} %` : "–"),
    );
}
