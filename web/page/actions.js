/** What can be done with a job and its frames. Nothing counts as done before the server has said so. */

import { jobAddress, post } from "./api.js";
import { jobPage } from "./address.js";
import { fill, labelled, make, set } from "./dom.js";
import { askFirst, tell, tellError } from "./notices.js";
import { number, t } from "./text.js";

/** @typedef {import("./types.js").WholeJob} WholeJob */

const HIGHEST = 100;
const STEP = 10;

/** Which rights let do more than look; the Master has the last word. */
const SUBMITS = ["submit", "edit-own", "edit-all", "admin"];
const EDITS_ALL = ["edit-all", "admin"];

export class Actions {
    element = make("div", { class: "actions", role: "group", "aria-label": t("Actions") });
    #view;
    #format;
    /** @type {WholeJob | null} */
    #job = null;
    #user = "";
    /** @type {string[]} */
    #rights = [];
    #isConnected = true;
    /** How many requests are under way. */
    #busy = 0;
    #selected;
    #bad;
    #exact = make("input", { type: "checkbox", id: "exact" });
    #wishes = make("div", { class: "bar" });
    #shownFor = "";

    /**
     * @param {import("./view.js").View} view
     * @param {() => number} format
     */
    constructor(view, format) {
        this.#view = view;
        this.#format = format;
        this.#selected = this.#button("requeue-selected", "", () => this.#requeueSelected());
        this.#bad = this.#button("requeue-bad", "", () => this.#requeueBad());
        fill(
            this.element,
            make(
                "div",
                { class: "bar" },
                this.#bad,
                this.#selected,
                make("label", { class: "tick", title: t("In packets of one frame, so that no good frame is rendered again") }, this.#exact, t("exactly these")),
                make("button", { type: "button", id: "select-bad", onclick: () => this.#view.selectBad() }, t("Select bad")),
                make("button", { type: "button", id: "select-none", onclick: () => this.#view.selectNone() }, t("Select none")),
            ),
            this.#wishes,
        );
        view.listen((change) => {
            if (change === "selection" || change === "data") this.#refresh();
        });
    }

    /**
     * @param {string} id
     * @param {string} text
     * @param {() => void} action
     */
    #button(id, text, action) {
        return make("button", { type: "button", id, class: "wish", onclick: action }, text);
    }

    /** @param {WholeJob} job */
    show(job) {
        this.#job = job;
        this.#refresh();
    }

    /** @param {import("./types.js").MasterState} master */
    showMaster(master) {
        this.#user = master.user;
        this.#rights = master.rights;
        this.#isConnected = master.connected;
        this.#refresh();
    }

    /**
     * Why nothing can be done; empty where it can.
     * @param {boolean} isEdit
     */
    #hindrance(isEdit) {
        if (!this.#isConnected) return t("The Master is gone; what is seen here is old.");
        const needed = isEdit && this.#job?.owner !== this.#user ? EDITS_ALL : isEdit ? SUBMITS.slice(1) : SUBMITS;
        if (!this.#rights.some((right) => needed.includes(right))) return t("Your role does not allow this.");
        return this.#busy ? t("Waiting for the answer of the Master …") : "";
    }

    /**
     * @param {HTMLButtonElement} button
     * @param {boolean} isEdit
     * @param {boolean} [hasSense]
     */
    #allow(button, isEdit, hasSense = true) {
        const hindrance = this.#hindrance(isEdit);
        button.disabled = hindrance !== "" || !hasSense;
        set(button, "title", hindrance || null);
    }

    #refresh() {
        const count = this.#view.selection.count;
        const bad = this.#view.sheet.bad;
        fill(this.#selected, count ? t("Requeue {count} selected", { count }) : t("Requeue selected"));
        fill(this.#bad, bad ? t("Requeue {count} bad", { count: bad }) : t("Requeue bad"));
        this.#allow(this.#selected, false, count > 0);
        this.#allow(this.#bad, false, bad > 0);
        if (this.#job) this.#showWishes(this.#job);
    }

    /**
     * What makes sense in a job's status.
     * @param {WholeJob} job
     */
    #showWishes(job) {
        const isOver = ["done", "failed", "cancelled"].includes(job.status);
        const what = `${isOver} ${job.status === "paused"} ${job.priority}`;
        if (what !== this.#shownFor) {
            this.#shownFor = what;
            const focused = document.activeElement?.id;
            fill(this.#wishes, isOver ? this.#wishesOfDone() : this.#wishesOfOpen(job), this.#rangeWish());
            if (focused) document.getElementById(focused)?.focus({ preventScroll: true });
        }
        for (const button of this.#wishes.querySelectorAll("button")) this.#allow(button, true);
    }

    #wishesOfDone() {
        return [
            this.#button("run-again", t("Run again"), () =>
                this.#askAndSet(t("Render all frames of this job again?"), t("Run again"), { Status: "queued" }),
            ),
        ];
    }

    /** @param {WholeJob} job */
    #wishesOfOpen(job) {
        const isPaused = job.status === "paused";
        const wishes = [
            this.#button("pause", isPaused ? t("Resume") : t("Pause"), () => this.#set({ Status: isPaused ? "queued" : "paused" })),
            this.#button("cancel", t("Cancel job"), () =>
                this.#askAndSet(t("Cancel this job? What is being rendered ends at once."), t("Cancel job"), { Status: "cancelled" }),
            ),
        ];
        const priority = make("input", { type: "number", id: "priority", min: 0, max: HIGHEST, step: STEP, value: job.priority });
        wishes.push(this.#button("set-priority", t("Set priority"), () => this.#set({ Priority: priority.value })));
        return [...wishes.slice(0, 2), labelled(t("Priority"), priority), wishes[2]];
    }

    /** Which frames are looked for, not which are rendered. */
    #rangeWish() {
        const range = make("input", { type: "text", id: "custom-range", autocomplete: "off", spellcheck: "false", placeholder: t("the job's own") });
        range.value = this.#job?.parameters.CustomRange ?? "";
        return [labelled(t("Look at frames"), range), this.#button("set-range", t("Look"), () => this.#set({ CustomRange: range.value.trim() }))];
    }

    /**
     * @param {string} question
     * @param {string} answer
     * @param {Record<string, string>} parameters
     */
    async #askAndSet(question, answer, parameters) {
        if (await askFirst(question, answer)) await this.#set(parameters);
    }

    /**
     * @param {(job: WholeJob) => Promise<void>} action
     */
    async #during(action) {
        if (!this.#job || this.#busy) return;
        ++this.#busy;
        this.#refresh();
        try {
            await action(this.#job);
        } catch (error) {
            tellError(error);
        } finally {
            --this.#busy;
            this.#refresh();
        }
    }

    /** @param {Record<string, string>} parameters */
    #set(parameters) {
        return this.#during(async (job) => {
            await post(jobAddress(job.id, "/parameters"), parameters);
            tell(t("The Master has taken it: {what}", { what: Object.entries(parameters).map(([name, value]) => `${name}=${value}`).join(", ") }));
        });
    }

    #requeueSelected() {
        return this.#requeue({ frames: this.#view.selection.range(this.#view.sheet.numbers) });
    }

    #requeueBad() {
        return this.#requeue({ bad: true });
    }

    /** @param {object} which */
    #requeue(which) {
        return this.#during(async (job) => {
            const answer = await post(jobAddress(job.id, "/requeue"), { ...which, format: this.#format(), ...(this.#exact.checked ? { exact: true } : {}) });
            let text = t("The Master renders frames {frames} again.", { frames: answer.frames });
            if (answer.again) text += ` ${t("Good frames that are rendered again with them: {again}.", { again: number(answer.again) })}`;
            tell(text, { link: { text: t("Show that job"), address: jobPage(answer.job) } });
        });
    }
}
