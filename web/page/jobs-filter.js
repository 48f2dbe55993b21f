/** Which jobs are shown in which order, as it stands in the address. */

export const STATUSES = /** @type {const} */ (["queued", "running", "done", "failed", "paused", "cancelled"]);

/** @typedef {import("./types.js").Job} Job */

/**
 * @typedef {object} Wish
 * @property {string} words each of them in the name, owner, type or identifier
 * @property {string} status "" for all, "bad" for jobs with bad frames
 * @property {string} sort a key of `SORTS`
 * @property {boolean} isDown
 */

/** @param {Job} job */
function share(job) {
    return job.tasks.total ? job.tasks.done / job.tasks.total : 0;
}

/** @type {Record<string, (job: Job) => string | number>} */
export const SORTS = {
    name: (job) => job.name.toLowerCase(),
    status: (job) => STATUSES.indexOf(job.status),
    progress: share,
    bad: (job) => job.frames?.bad ?? -1,
    owner: (job) => job.owner.toLowerCase(),
    priority: (job) => job.priority ?? -1,
    created: (job) => job.created ?? "",
    end: (job) => job.expectedEnd ?? "~",
};

/** Sorts that begin with the most. */
const DOWN_FIRST = ["progress", "bad", "priority", "created"];

/** @param {string} sort */
export function beginsDown(sort) {
    return DOWN_FIRST.includes(sort);
}

/**
 * @param {URLSearchParams} words
 * @returns {Wish}
 */
export function wishOf(words) {
    const sort = words.get("sort") ?? "-created";
    const key = sort.replace(/^-/, "");
    return {
        words: words.get("q") ?? "",
        status: words.get("status") ?? "",
        sort: key in SORTS ? key : "created",
        isDown: sort.startsWith("-"),
    };
}

/**
 * @param {Wish} wish
 * @returns {Record<string, string | null>}
 */
export function wordsOf(wish) {
    const sort = (wish.isDown ? "-" : "") + wish.sort;
    return { q: wish.words || null, status: wish.status || null, sort: sort === "-created" ? null : sort };
}

/**
 * @param {Wish} wish
 * @returns {(job: Job) => boolean}
 */
function matcher(wish) {
    const words = wish.words.toLowerCase().split(/\s+/).filter(Boolean);
    return (job) => {
        if (wish.status === "bad" ? !job.frames?.bad : wish.status && job.status !== wish.status) return false;
        if (!words.length) return true;
        const text = `${job.name} ${job.owner} ${job.type} ${job.id}`.toLowerCase();
        return words.every((word) => text.includes(word));
    };
}

/**
 * @param {Iterable<Job>} jobs
 * @param {Wish} wish
 */
export function choose(jobs, wish) {
    const matches = matcher(wish);
    const key = SORTS[wish.sort];
    /** @type {{job: Job, key: string | number}[]} */
    const chosen = [];
    for (const job of jobs) if (matches(job)) chosen.push({ job, key: key(job) });
    const sign = wish.isDown ? -1 : 1;
    chosen.sort((a, b) => (a.key < b.key ? -sign : a.key > b.key ? sign : a.job.id < b.job.id ? -1 : 1));
    return chosen.map(({ job }) => job);
}
