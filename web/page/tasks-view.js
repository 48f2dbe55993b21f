/** The tasks of a job, a page of them at a time, and their logs. */

import { get, jobAddress } from "./api.js";
import { fill, make, say } from "./dom.js";
import { tellError } from "./notices.js";
import { t } from "./text.js";
import { statusMark } from "./words.js";

const AT_ONCE = 100;

/**
 * Shows the log of a task in an element.
 * @param {string} job
 * @param {number} task
 * @param {Element} place
 */
export async function taskLog(job, task, place) {
    try {
        const { log } = await get(jobAddress(job, `/tasks/${task}/log`));
        const text = make("pre", { class: "log", tabindex: 0, "aria-label": t("Log of task {task}", { task: String(task) }) }, log || t("It has printed nothing."));
        fill(place, make("h3", {}, t("Log of task {task}", { task: String(task) })), text);
        text.scrollTop = text.scrollHeight;
    } catch (error) {
        tellError(error);
    }
}

export class TasksView {
    element;
    #job;
    #offset = 0;
    #total = 0;
    #rows = make("tbody");
    #where = make("span", { role: "status" });
    #before = make("button", { type: "button", hidden: true, onclick: () => this.#turn(-AT_ONCE) }, t("Before"));
    #next = make("button", { type: "button", hidden: true, onclick: () => this.#turn(AT_ONCE) }, t("Next"));
    #log = make("div", { class: "log-place" });

    /** @param {string} job */
    constructor(job) {
        this.#job = job;
        const heads = [t("Task"), t("Frames"), t("Status"), t("Tries"), t("Machine"), t("Reason"), t("Log")];
        this.element = make(
            "div",
            { class: "tasks", id: "tasks" },
            make(
                "div",
                { class: "bar" },
                this.#before,
                this.#where,
                this.#next,
            ),
            make("div", { class: "wide", tabindex: 0, role: "region", "aria-label": t("Tasks") }, make("table", {}, make("thead", {}, make("tr", {}, heads.map((head) => make("th", { scope: "col" }, head)))), this.#rows)),
            this.#log,
        );
    }

    /** @param {number} by */
    #turn(by) {
        const to = this.#offset + by;
        if (to < 0 || to >= this.#total) return;
        this.#offset = to;
        this.load();
    }

    async load() {
        try {
            const { tasks, total } = await get(jobAddress(this.#job, "/tasks", { offset: this.#offset, limit: AT_ONCE }));
            this.#total = total;
            this.#before.hidden = this.#next.hidden = total <= AT_ONCE;
            say(this.#where, total ? t("{first} to {last} of {total}", { first: this.#offset + 1, last: this.#offset + tasks.length, total }) : t("no tasks"));
            const focused = /** @type {HTMLElement | null} */ (document.activeElement)?.dataset.task;
            const hadFocus = this.#rows.contains(document.activeElement);
            fill(this.#rows, tasks.map((/** @type {import("./types.js").Task} */ task) => this.#row(task)));
            if (hadFocus) /** @type {HTMLElement | null} */ (this.#rows.querySelector(`[data-task="${focused}"]`))?.focus({ preventScroll: true });
        } catch (error) {
            tellError(error);
        }
    }

    /** @param {import("./types.js").Task} task */
    #row(task) {
        const frames = task.first === task.last ? String(task.first) : `${task.first}–${task.last}`;
        const why = [task.reason, task.stuck, task.slurmState].filter(Boolean).join("; ");
        const open = make("button", { type: "button", class: "small", "data-task": task.task, "aria-label": t("Log of task {task}", { task: String(task.task) }), onclick: () => taskLog(this.#job, task.task, this.#log) }, t("Log"));
        return make("tr", {}, make("td", {}, task.task), make("td", {}, frames), make("td", {}, statusMark(task.status)), make("td", {}, task.tries), make("td", {}, task.node), make("td", {}, why), make("td", {}, open));
    }
}
