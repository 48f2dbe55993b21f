/** The page: who looks, what is shown, and whether what is shown is fresh. */

import { onAnswers } from "./api.js";
import { go, jobsPage, whereabouts } from "./address.js";
import { fill, labelled, make, say, set } from "./dom.js";
import { Events } from "./events.js";
import { time } from "./format.js";
import { JobView } from "./job-view.js";
import { JobsView } from "./jobs-view.js";
import { noticeList, tell, tellError } from "./notices.js";
import { endSession, openByToken, openSession } from "./session.js";
import { LANGUAGE, t } from "./text.js";

const shown = make("main", { id: "main", tabindex: -1 });
// Always there: a live region that appears with its text is not read.
const state = make("p", { class: "state", id: "state", role: "status" });
const who = make("span", { class: "who", id: "who" });
/** @type {JobsView | JobView | null} */
let view = null;
/** What the view that is shown was made for. */
let viewFor = "";
/**
 * What is known of the way to the Master.
 * @type {{isOpen: boolean, isConnected: boolean, since: string | null, old: string | null}}
 */
const line = { isOpen: true, isConnected: true, since: null, old: null };

const events = new Events((connection) => {
    // A page that nobody sees is neither here nor there.
    if (connection !== "asleep") line.isOpen = connection === "open";
    tellLine();
});

function tellLine() {
    let text = "";
    if (!line.isOpen) text = t("The connection to the server is lost; what is seen here may be old. Looking for it again …");
    else if (!line.isConnected || line.old)
        text = t("The Master is gone; this is what was known at {time}. Nothing can be changed until it is back.", { time: time(line.old ?? line.since) });
    say(state, text);
    document.body.classList.toggle("old", text !== "");
}

function follow() {
    if (!view) return events.stop();
    const { query, handlers } = view.follows();
    /** @type {Record<string, (data: any) => void>} */
    const all = handlers;
    events.follow(query, {
        ...all,
        master: (/** @type {import("./types.js").MasterState} */ master) => {
            line.isConnected = master.connected;
            line.since = master.since;
            if (master.connected) line.old = null;
            tellLine();
            all.master?.(master);
        },
    });
}

function show() {
    const job = whereabouts().get("job") ?? "";
    if (view instanceof JobView && viewFor === job) return view.revisit();
    view?.close();
    viewFor = job;
    view = job ? new JobView(job) : new JobsView();
    fill(shown, view.element);
    document.title = `${view.title()} – Ordwick`;
    follow();
}

/**
 * Links within the page change what is shown, and load nothing.
 * @param {MouseEvent} event
 */
function onClick(event) {
    if (event.defaultPrevented || event.button !== 0 || event.ctrlKey || event.metaKey || event.shiftKey || event.altKey) return;
    const link = /** @type {Element} */ (event.target).closest?.("a[href]");
    if (!(link instanceof HTMLAnchorElement) || link.origin !== location.origin || link.pathname !== "/") return;
    event.preventDefault();
    const from = whereabouts().get("job");
    const to = new URLSearchParams(link.search).get("job");
    go(link.pathname + link.search);
    if (from !== to) {
        scrollTo(0, 0);
        shown.focus({ preventScroll: true });
    }
}

/** Asks a studio's user for the token. */
function askToken() {
    events.stop();
    line.isOpen = true;
    tellLine();
    view?.close();
    view = null;
    viewFor = "";
    const token = make("input", { type: "password", id: "token", autocomplete: "current-password", required: true });
    const trouble = make("p", { role: "alert", class: "bad" });
    const form = make(
        "form",
        {
            class: "panel session",
            id: "session",
            onsubmit: async (/** @type {Event} */ event) => {
                event.preventDefault();
                try {
                    begin(await openByToken(token.value.trim()));
                } catch (error) {
                    say(trouble, error instanceof Error ? error.message : String(error));
                }
            },
        },
        make("h1", {}, t("Who looks?")),
        make("p", {}, t("Give your token of the Master. On your own machine, `corvan web` gives a link that opens the page; each link is good once.")),
        labelled(t("Token"), token),
        make("button", { type: "submit", class: "strong" }, t("Look")),
        trouble,
    );
    fill(shown, form);
    token.focus();
}

/** @param {import("./types.js").Session} session */
function begin(session) {
    const end = make("button", { type: "button", class: "plain", onclick: async () => {
        await endSession().catch(tellError);
        fill(who);
        askToken();
    } }, t("Sign off"));
    fill(who, session.user, !session.isPersonal && " ", !session.isPersonal && end);
    show();
}

async function start() {
    set(document.documentElement, "lang", LANGUAGE);
    fill(
        document.body,
        make("a", { class: "skip", href: "#main", onclick: (/** @type {Event} */ event) => {
            event.preventDefault();
            shown.focus();
        } }, t("To the content")),
        make("header", {}, make("a", { class: "home", href: jobsPage() }, "Ordwick"), make("nav", { "aria-label": t("Pages") }, make("a", { href: jobsPage() }, t("Jobs"))), who),
        state,
        shown,
        noticeList(),
    );
    tellLine();
    onAnswers(
        (since) => {
            if (since === line.old) return;
            line.old = since;
            tellLine();
        },
        () => {
            if (view) {
                tell(t("The session has ended."), { isTrouble: true });
                askToken();
            }
        },
    );
    document.addEventListener("click", onClick);
    addEventListener("popstate", () => view && show());
    addEventListener("ordwick-follow", follow);
    try {
        const session = await openSession();
        if (session) begin(session);
        else askToken();
    } catch (error) {
        fill(shown, make("p", { class: "panel", role: "alert" }, error instanceof Error ? error.message : String(error)));
    }
}

start();
