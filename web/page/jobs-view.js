/** All jobs, live. Only the rows in view are elements, so ten thousand scroll as ten do. */

import { get } from "./api.js";
import { jobPage, note, whereabouts } from "./address.js";
import { afterCalm, fill, labelled, make, onceAFrame, say, set } from "./dom.js";
import { shortTime, time } from "./format.js";
import { STATUSES, beginsDown, choose, wishOf, wordsOf } from "./jobs-filter.js";
import { tellError } from "./notices.js";
import { t } from "./text.js";
import { badMarks, progress, statusMark, statusName } from "./words.js";

/** @typedef {import("./types.js").Job} Job */

/** So many are asked for at a time: what the server gives at most. */
const AT_ONCE = 10000;
/** Rows beyond the edge that are kept ready. */
const SPARE = 8;

/** @type {{key: string, text: () => string}[]} */
const COLUMNS = [
    { key: "name", text: () => t("Name") },
    { key: "status", text: () => t("Status") },
    { key: "progress", text: () => t("Progress") },
    { key: "bad", text: () => t("Bad frames") },
    { key: "owner", text: () => t("Owner") },
    { key: "priority", text: () => t("Priority") },
    { key: "created", text: () => t("Started") },
    { key: "end", text: () => t("Expected end") },
];

export class JobsView {
    element;
    #wish = wishOf(whereabouts());
    /** @type {Map<string, Job>} */
    #jobs = new Map();
    #total = 0;
    /** @type {Job[]} */
    #shown = [];
    /** The row that keys act on. */
    #row = 0;
    #isOver = false;
    #end = new AbortController();
    #words = make("input", { type: "search", id: "words", autocomplete: "off", placeholder: t("name, owner, type …") });
    #status = make("select", { id: "status" });
    #sort = make("select", { id: "sort" });
    #head = make("div", { class: "jobs-head", role: "row" });
    #rows = make("div", { class: "jobs-rows", role: "presentation" });
    /** What scrolls. Not for the keyboard: that is the grid's. */
    #box = make("div", { class: "jobs-box", role: "rowgroup", tabindex: -1 });
    #grid = make("div", { class: "jobs-table", role: "grid", id: "jobs", tabindex: 0, "aria-label": t("Jobs"), "aria-readonly": "true" });
    #count = make("p", { class: "count", id: "job-count", role: "status" });
    #more = make("button", { type: "button", id: "more", hidden: true, onclick: () => this.#loadMore() }, t("Load more"));
    #again = afterCalm(() => this.#choose(), 60);
    #paint = onceAFrame(() => this.#draw());

    constructor() {
        this.#words.value = this.#wish.words;
        this.#words.addEventListener("input", () => this.#wishFor({ words: this.#words.value }));
        this.#fillChoices();
        this.#box.append(this.#rows);
        this.#box.addEventListener("scroll", this.#paint);
        this.#grid.addEventListener("keydown", (event) => this.#onKey(event));
        fill(this.#grid, this.#head, this.#box);
        new ResizeObserver(this.#paint).observe(this.#box);
        this.element = make(
            "section",
            { class: "jobs", "aria-label": t("Jobs") },
            make(
                "div",
                { class: "bar", role: "search" },
                labelled(t("Find"), this.#words),
                labelled(t("Show"), this.#status),
                make("div", { class: "only-narrow" }, labelled(t("Sort by"), this.#sort)),
            ),
            make("div", { class: "bar" }, this.#count, this.#more),
            this.#grid,
        );
        this.#load();
    }

    title() {
        return t("Jobs");
    }

    #fillChoices() {
        const choices = [["", t("all jobs")], ["bad", t("jobs with bad frames")], ...STATUSES.map((s) => [s, statusName(s)])];
        fill(this.#status, choices.map(([value, text]) => make("option", { value }, text)));
        this.#status.value = this.#wish.status;
        this.#status.addEventListener("change", () => this.#wishFor({ status: this.#status.value }));
        fill(this.#sort, COLUMNS.map(({ key, text }) => make("option", { value: key }, text())));
        this.#sort.addEventListener("change", () => this.#sortBy(this.#sort.value, beginsDown(this.#sort.value)));
        fill(this.#head, COLUMNS.map(({ key, text }) =>
            make(
                "div",
                { role: "columnheader", class: `cell cell-${key}`, "data-sort": key },
                make("button", { type: "button", class: "plain", onclick: () => this.#sortByHead(key) }, text(), make("span", { class: "arrow", "aria-hidden": "true" })),
            ),
        ));
    }

    /** @param {string} key */
    #sortByHead(key) {
        this.#sortBy(key, this.#wish.sort === key ? !this.#wish.isDown : beginsDown(key));
    }

    /**
     * @param {string} sort
     * @param {boolean} isDown
     */
    #sortBy(sort, isDown) {
        this.#wishFor({ sort, isDown });
    }

    /** @param {Partial<import("./jobs-filter.js").Wish>} change */
    #wishFor(change) {
        this.#wish = { ...this.#wish, ...change };
        note(wordsOf(this.#wish));
        this.#row = 0;
        this.#box.scrollTop = 0;
        this.#choose();
    }

    async #load() {
        try {
            const page = await get(`/api/jobs?offset=0&limit=${AT_ONCE}`, this.#end.signal);
            this.#jobs = new Map(page.jobs.map((/** @type {Job} */ job) => [job.id, job]));
            this.#total = page.total;
            this.#choose();
        } catch (error) {
            if (!this.#isOver) tellError(error);
        }
    }

    async #loadMore() {
        this.#more.disabled = true;
        try {
            const page = await get(`/api/jobs?offset=${this.#jobs.size}&limit=${AT_ONCE}`, this.#end.signal);
            for (const job of page.jobs) this.#jobs.set(job.id, job);
            this.#total = page.total;
            this.#choose();
        } catch (error) {
            if (!this.#isOver) tellError(error);
        } finally {
            this.#more.disabled = false;
        }
    }

    /** What the page's stream is to follow. */
    follows() {
        return {
            query: { jobs: 1 },
            handlers: {
                jobs: (/** @type {{changed: Job[], removed: string[]}} */ news) => {
                    for (const job of news.changed) {
                        if (!this.#jobs.has(job.id)) ++this.#total;
                        this.#jobs.set(job.id, job);
                    }
                    for (const id of news.removed) if (this.#jobs.delete(id)) --this.#total;
                    this.#again();
                },
                anew: () => this.#load(),
            },
        };
    }

    #choose() {
        const kept = this.#shown[this.#row]?.id;
        this.#shown = choose(this.#jobs.values(), this.#wish);
        const row = kept === undefined ? -1 : this.#shown.findIndex((job) => job.id === kept);
        this.#row = row >= 0 ? row : Math.max(0, Math.min(this.#row, this.#shown.length - 1));
        this.#describe();
        this.#draw();
    }

    #describe() {
        const all = this.#jobs.size;
        const shown = this.#shown.length;
        let text = shown === all ? t("{count} job|{count} jobs", { count: all }) : t("{shown} of {all} jobs", { shown, all });
        if (this.#total > all) text += ` ${t("– the farm has {total}, of which the first {all} are here.", { total: this.#total, all })}`;
        if (all === 0) text = t("There are no jobs.");
        say(this.#count, text);
        this.#more.hidden = this.#total <= all;
        this.#sort.value = this.#wish.sort;
        set(this.#grid, "aria-rowcount", shown + 1);
        for (const head of this.#head.children) {
            const isThis = /** @type {HTMLElement} */ (head).dataset.sort === this.#wish.sort;
            set(head, "aria-sort", isThis ? (this.#wish.isDown ? "descending" : "ascending") : null);
            const arrow = head.querySelector(".arrow");
            if (arrow) say(arrow, isThis ? (this.#wish.isDown ? " ▼" : " ▲") : "");
        }
    }

    /** The height of a row is the style sheet's: two lines on a phone. */
    #rowHeight() {
        return parseFloat(getComputedStyle(this.#box).getPropertyValue("--row-height")) || 34;
    }

    #draw() {
        const height = this.#rowHeight();
        const first = Math.max(0, Math.floor(this.#box.scrollTop / height) - SPARE);
        const last = Math.min(this.#shown.length, Math.ceil((this.#box.scrollTop + this.#box.clientHeight) / height) + SPARE);
        this.#rows.style.height = `${this.#shown.length * height}px`;
        const hadFocus = this.#rows.contains(document.activeElement);
        const rows = [];
        for (let row = first; row < last; ++row) rows.push(this.#makeRow(row, height));
        this.#rows.replaceChildren(...rows);
        if (hadFocus) this.#grid.focus({ preventScroll: true });
        set(this.#grid, "aria-activedescendant", this.#row >= first && this.#row < last ? `job-${this.#row}` : null);
    }

    /**
     * @param {number} row
     * @param {number} height
     */
    #makeRow(row, height) {
        const job = this.#shown[row];
        const element = make(
            "div",
            {
                class: row === this.#row ? "job-row current" : "job-row",
                role: "row",
                id: `job-${row}`,
                "data-job": job.id,
                "aria-rowindex": row + 2,
                "aria-selected": row === this.#row ? "true" : "false",
                onpointerdown: () => this.#goTo(row),
            },
            make(
                "div",
                { role: "gridcell", class: "cell cell-name" },
                make("a", { href: jobPage(job.id), title: job.name, tabindex: -1 }, job.name || job.id),
                job.waiting && make("span", { class: "dim", title: job.waiting }, ` ${job.waiting}`),
            ),
            make("div", { role: "gridcell", class: "cell cell-status" }, statusMark(job.status)),
            make("div", { role: "gridcell", class: "cell cell-progress" }, progress(job)),
            make("div", { role: "gridcell", class: "cell cell-bad" }, job.frames ? badMarks(job.frames.counts) : null),
            make("div", { role: "gridcell", class: "cell cell-owner" }, job.owner),
            make("div", { role: "gridcell", class: "cell cell-priority" }, job.priority),
            make("div", { role: "gridcell", class: "cell cell-created", title: time(job.created) }, shortTime(job.created)),
            make("div", { role: "gridcell", class: "cell cell-end", title: time(job.expectedEnd) }, shortTime(job.expectedEnd)),
        );
        element.style.transform = `translateY(${row * height}px)`;
        return element;
    }

    /** @param {number} row */
    #goTo(row) {
        this.#row = Math.max(0, Math.min(this.#shown.length - 1, row));
        for (const element of this.#rows.children) {
            const isThis = element.id === `job-${this.#row}`;
            element.classList.toggle("current", isThis);
            set(element, "aria-selected", isThis ? "true" : "false");
        }
        set(this.#grid, "aria-activedescendant", `job-${this.#row}`);
    }

    /** @param {KeyboardEvent} event */
    #onKey(event) {
        // The buttons of the head have keys of their own.
        if (event.target !== this.#grid && event.target !== this.#box) return;
        const height = this.#rowHeight();
        const page = Math.max(1, Math.floor(this.#box.clientHeight / height) - 1);
        const steps = /** @type {Record<string, number>} */ ({
            ArrowUp: -1,
            ArrowDown: 1,
            PageUp: -page,
            PageDown: page,
            Home: -this.#shown.length,
            End: this.#shown.length,
        });
        if (event.key in steps) {
            this.#goTo(this.#row + steps[event.key]);
            const top = this.#row * height;
            if (top < this.#box.scrollTop) this.#box.scrollTop = top;
            else if (top + height > this.#box.scrollTop + this.#box.clientHeight) this.#box.scrollTop = top + height - this.#box.clientHeight;
            this.#draw();
        } else if (event.key === "Enter" && this.#shown[this.#row]) {
            /** @type {HTMLElement | null} */ (this.#rows.querySelector(".current a"))?.click();
        } else return;
        event.preventDefault();
    }

    close() {
        this.#isOver = true;
        this.#end.abort();
    }
}
