/** What can be done with a job and its frames. Nothing counts as done before the server has said so. */

import { jobAddress, post } from "./api.js";
import { jobPage } from "./address.js";
import { fill, labelled, make, say, set } from "./dom.js";
import { askFirst, tell, tellError } from "./notices.js";
import { number, t } from "./text.js";

/** @typedef {import("./types.js").WholeJob} WholeJob */
/** @typedef {import("./types.js").Action} Action */

export class Actions {
    element = make("div", { class: "actions", role: "group", "aria-label": t("Actions") });
    #view;
    #format;
    /** @type {WholeJob | null} */
    #job = null;
    #isConnected = true;
    /** Whether a request is under way. */
    #isBusy = false;
    #selected;
    #bad;
    #exact = make("input", { type: "checkbox", id: "exact" });
    #hint = make("p", { class: "dim", id: "role-hint" });
    /** What makes sense in the job's status. */
    #wishes = make("div", { class: "wishes" });
    #shownFor = "";
    #priority = new Wish(make("input", { type: "number", id: "priority" }));
    #range = new Wish(make("input", { type: "text", id: "custom-range", autocomplete: "off", spellcheck: "false", placeholder: t("the job's own") }));

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
                { class: "bar frame-actions" },
                this.#bad,
                this.#selected,
                make("label", { class: "tick", title: t("In packets of one frame, so that no good frame is rendered again") }, this.#exact, t("exactly these")),
                make("button", { type: "button", id: "select-bad", onclick: () => this.#view.selectBad() }, t("Select bad")),
                make("button", { type: "button", id: "select-none", onclick: () => this.#view.selectNone() }, t("Select none")),
            ),
            // Which frames are looked for, not which are rendered.
            make("div", { class: "bar" }, this.#wishes, this.#form(labelled(t("Look at frames"), this.#range.field), "set-range", t("Look"), () => this.#set({ CustomRange: this.#range.field.value.trim() }))),
            this.#hint,
        );
        view.listen((change) => {
            if (change === "selection" || change === "data") this.#refresh();
        });
    }

    /**
     * A button that nothing can be done with keeps the focus, and says why when it is pressed.
     * @param {string} id
     * @param {string} text
     * @param {() => void} action
     */
    #button(id, text, action) {
        return make("button", { type: "button", id, class: "wish", onclick: (/** @type {Event} */ event) => this.#press(event, action) }, text);
    }

    /**
     * A field with its button; Enter in the field presses it.
     * @param {HTMLElement} field
     * @param {string} id of the button
     * @param {string} text
     * @param {() => void} action
     */
    #form(field, id, text, action) {
        const button = make("button", { type: "submit", id, class: "wish" }, text);
        const onsubmit = (/** @type {Event} */ event) => {
            event.preventDefault();
            this.#press({ currentTarget: button }, action);
        };
        // What makes no sense is the Master's to say.
        return make("form", { class: "field-form", novalidate: true, onsubmit }, field, button);
    }

    /**
     * @param {{currentTarget: EventTarget | null}} event
     * @param {() => void} action
     */
    #press({ currentTarget }, action) {
        const button = /** @type {HTMLElement} */ (currentTarget);
        if (button.getAttribute("aria-disabled") !== "true") action();
        else if (!this.#isBusy) tell(button.title, { isTrouble: true });
    }

    /** @param {WholeJob} job */
    show(job) {
        this.#job = job;
        this.#refresh();
    }

    /** @param {import("./types.js").MasterState} master */
    showMaster(master) {
        this.#isConnected = master.connected;
        // No more than a hint: what a user may do with which job, the Master alone decides.
        say(this.#hint, master.rights.includes("submit") || !master.connected ? "" : t("You may look, and not change: the Master refuses it."));
        this.#refresh();
    }

    /**
     * @param {HTMLButtonElement} button
     * @param {string} [nothing] why it has nothing to do; empty where it has
     */
    #allow(button, nothing = "") {
        let hindrance = nothing;
        if (!this.#isConnected) hindrance = t("The Master is gone; what is seen here is old.");
        else if (this.#isBusy) hindrance = t("Waiting for the answer of the Master …");
        // Not "disabled", which would take the focus away while the Master is asked.
        set(button, "aria-disabled", hindrance ? "true" : null);
        set(button, "title", hindrance || null);
    }

    #refresh() {
        const count = this.#view.selection.count;
        const bad = this.#view.sheet.bad;
        say(this.#selected, count ? t("Requeue {count} selected", { count }) : t("Requeue selected"));
        say(this.#bad, bad ? t("Requeue {count} bad", { count: bad }) : t("Requeue bad"));
        if (this.#job) this.#showWishes(this.#job);
        for (const button of this.element.querySelectorAll("button")) if (button.classList.contains("wish")) this.#allow(button);
        this.#allow(this.#selected, count ? "" : t("No frame is selected."));
        this.#allow(this.#bad, bad ? "" : t("No frame is bad."));
        set(this.element, "aria-busy", this.#isBusy ? "true" : null);
    }

    /** @param {WholeJob} job */
    #showWishes(job) {
        this.#priority.show(String(job.priority ?? ""));
        this.#range.show(job.parameters.CustomRange ?? "");
        const what = JSON.stringify(job.actions);
        if (what === this.#shownFor) return;
        this.#shownFor = what;
        const focused = this.#wishes.contains(document.activeElement) ? document.activeElement?.id : undefined;
        fill(this.#wishes, job.actions.map((action) => this.#wish(action)));
        if (focused === undefined) return;
        // What was pressed may make no sense any more: the keyboard stays where it was.
        const next = document.getElementById(focused) ?? this.#wishes.querySelector("button");
        next?.focus({ preventScroll: true });
    }

    /**
     * The server says what can be done; one that the page has no words for is passed over.
     * @param {Action} action
     */
    #wish(action) {
        const wish = { [action.parameter]: action.value ?? "" };
        switch (action.name) {
            case "pause":
                return this.#button("pause", t("Pause"), () => this.#set(wish));
            case "resume":
                return this.#button("resume", t("Resume"), () => this.#set(wish));
            case "cancel":
                return this.#button("cancel", t("Cancel job"), () => this.#askAndSet(t("Cancel this job? What is being rendered ends at once."), t("Cancel job"), wish));
            case "run-again":
                return this.#button("run-again", t("Run again"), () => this.#askAndSet(t("Render all frames of this job again?"), t("Run again"), wish));
            case "priority":
                return this.#priorityWish(action);
            default:
                return null;
        }
    }

    /** @param {Action} action */
    #priorityWish(action) {
        const { field } = this.#priority;
        set(field, "min", action.least);
        set(field, "max", action.most);
        set(field, "step", action.step);
        return this.#form(labelled(t("Priority"), field), "set-priority", t("Set priority"), () => this.#set({ [action.parameter]: field.value }));
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
        if (!this.#job || this.#isBusy) return;
        this.#isBusy = true;
        this.#refresh();
        try {
            await action(this.#job);
        } catch (error) {
            tellError(error);
        } finally {
            this.#isBusy = false;
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

/** A field for what shall be, which follows what is as long as nobody types into it. */
class Wish {
    field;
    #shown = "";

    /** @param {HTMLInputElement} field */
    constructor(field) {
        this.field = field;
    }

    /** @param {string} value */
    show(value) {
        if (this.field.value === this.#shown) this.field.value = value;
        this.#shown = value;
    }
}
