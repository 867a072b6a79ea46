// The respondent's way, around surva.asp in a frame: gets in by way of the PIN page, which
// sets the visit straight, follows from page to page, and leads back when a visit is lost.

import { element } from "../shared/dom.js";
import { describe, isOpen, questions } from "../shared/form.js";
import * as draft from "./draft.js";
import { dress, kindOf } from "./framed.js";
import { printWhole } from "./paper.js";
import { beginVisit, isVisitOver } from "./tabs.js";
import { showOpen, showStep } from "./way.js";

const frame = document.getElementById("surva");
const start = document.getElementById("start");
const told = document.getElementById("told");

// How this visit began: { pin }, { version } or nothing known yet. A PIN stays in memory alone.
const named = document.body.dataset;
let entry = named.pin ? { pin: named.pin } : { version: named.version };
// What to post when the PIN page has come; and whether answers have been sent and no page has come back yet.
let pending = null;
let sending = false;
let lost = null;
// Whether the newest visit has been thanked: what Back shows of it is past.
let thanked = false;

// ---- what the visitor is told ----------------------------------------------

function tell(text, caption = "", act = null) {
    told.replaceChildren();
    if (!text)
        return;
    const line = element("p", {}, text);
    if (caption) {
        const button = element("button", { type: "button" }, caption);
        button.addEventListener("click", () => { tell(""); act(); });
        line.append(" ", button);
    }
    told.append(line);
}

// ---- the way in --------------------------------------------------------------

function enter() {
    start.hidden = true;
    frame.hidden = false;
    sending = thanked = false;
    pending = entry.pin || entry.version ? entry : null;
    frame.contentWindow.location.replace("surva.asp");
}

// A link in a mail is fetched by programs too: it uses its PIN only when someone presses.
function offerStart() {
    const button = element("button", { type: "button", className: "button" }, "Fill in the surva");
    button.addEventListener("click", () => {
        if (entry.pin)
            history.replaceState(null, "", location.pathname);
        enter();
    });
    start.replaceChildren(
        element("p", {}, entry.pin ? "You are invited to fill in a surva." : "You are invited to fill in a surva. You need no PIN."),
        element("p", {}, button));
    showStep("start");
    button.focus();
}

function goOn(page) {
    const way = pending;
    pending = null;
    if (way.version) {
        beginVisit();
        frame.contentWindow.location.replace(`surva.asp?version=${encodeURIComponent(way.version)}`);
        return;
    }
    const box = page.querySelector("input[name=PIN i]");
    box.value = way.pin;
    page.querySelector("input[name=logon i]").click();
}

// ---- the pages on the way ------------------------------------------------------

function onPin(page) {
    const box = page.querySelector("input[name=PIN i]");
    box.inputMode = "numeric";
    box.autocomplete = "off";
    box.setAttribute("aria-label", "PIN");
    if (page.querySelector('font[color="red" i]'))
        box.setAttribute("aria-invalid", "true");
    box.form.addEventListener("submit", () => {
        box.value = box.value.replace(/\s+/g, "");
        entry = { pin: box.value };
        thanked = false;
        beginVisit();
    });
    if (pending)
        return goOn(page);
    if (sending)
        return onLost(page);
    const kept = draft.newest();
    if (kept && !entry.pin && !page.querySelector('font[color="red" i]'))
        tell(`Answers that you gave at ${draft.clock(kept)} are kept in this browser. Enter your PIN to go on.`);
    box.focus();
}

function onDetails(page) {
    const box = page.querySelector("textarea[name=Notes i]");
    box.setAttribute("aria-label", "Mistakes or missing data");
    box.form.addEventListener("submit", refuseOver);
}

function askForPin() {
    entry = {};
    enter();
}

// What Back leads to after the thanks is neither shown, for the next to sit here may have pressed it, nor sent again.
function onPast() {
    frame.hidden = true;
    tell("The answers of this visit have been saved already.", "Enter another PIN", askForPin);
}

// What is sent for a visit that is over would be stored under another's name.
function refuseOver(event) {
    if (!isVisitOver())
        return;
    event.preventDefault();
    tell("Somebody has begun anew in another tab of this browser, which ended this visit. Nothing was stored.", "Go on", enter);
    scrollTo(0, 0);
}

function keepDraft(key, page) {
    draft.keep(key, page.querySelector("form"));
}

function onForm(page) {
    const form = page.querySelector("form");
    // The draft puts answers back; a browser would do it for whoever comes next, too.
    form.autocomplete = "off";
    const key = draft.keyOf(entry, form.elements.namedItem("FormAccepted").value);
    const rows = questions(page);
    const returned = page.querySelector('form script[language="JSCRIPT" i]') !== null;
    describe(page);

    const count = () => showOpen(rows.filter(isOpen), returned);
    if (returned) {
        keepDraft(key, page);
        tell("");
    } else if (draft.putBack(key, form)) {
        tell("The answers that you had given are back.", "Start anew", () => { form.reset(); draft.forget(key); count(); });
    } else {
        tell("");
    }

    let timer = 0;
    const changed = () => {
        count();
        clearTimeout(timer);
        timer = setTimeout(keepDraft, 300, key, page);
    };
    form.addEventListener("input", changed);
    form.addEventListener("change", changed);
    form.addEventListener("submit", (event) => {
        if (sending)
            return event.preventDefault();
        keepDraft(key, page);
        refuseOver(event);
        if (event.defaultPrevented)
            return;
        sending = true;
        lost = key;
        watchSending();
    });
    frame.contentWindow.addEventListener("pagehide", () => { clearTimeout(timer); });
    count();
    if (returned) {
        const first = rows.find(isOpen);
        first?.answer.scrollIntoView({ block: "center" });
        first?.controls[0].focus({ preventScroll: true });
    } else {
        scrollTo(0, 0);
    }
}

function onThanks() {
    sending = false;
    thanked = true;
    draft.forget(lost);
    entry = {};
    tell("");
}

function onLost(page) {
    sending = false;
    // The page tells nothing but that it knows nobody.
    frame.hidden = kindOf(page) === "error";
    tell("Your visit had ended in the meantime, so nothing was stored. Your answers are kept here.", "Go on", enter);
}

function onStatus(page) {
    sending = false;
    tell(page.querySelector("h1")?.textContent ?? "", "Try again", enter);
}

// ---- what the frame shows --------------------------------------------------------

function step(page) {
    const kind = page ? kindOf(page) : "unreachable";
    showStep(kind);
    showOpen([], false);
    if (thanked && (kind === "form" || kind === "details"))
        return onPast();
    frame.hidden = false;
    switch (kind) {
    case "pin": return onPin(page);
    case "details": return onDetails(page);
    case "form": sending = false; return onForm(page);
    case "thanks": return onThanks();
    case "error": return sending ? onLost(page) : tell("surva cannot do that. Please look whether the address or the PIN is complete.", "Enter a PIN", askForPin);
    case "refused": return tell("Please look whether the address is complete, or ask who has given it to you.", "Enter a PIN", askForPin);
    case "status": return onStatus(page);
    case "stopped": return tell("Your details could not be shown. Please tell the course office.");
    case "unreachable":
        return leaving || tell("The server cannot be reached. Your answers are kept here.", "Try again", () => { sending = false; enter(); });
    }
}

function heldPage() {
    try {
        const page = frame.contentDocument;
        return page && page.URL !== "about:blank" ? page : null;
    } catch {
        return null;
    }
}

let leaving = false;
frame.addEventListener("load", () => {
    const page = heldPage();
    if (!page && !frame.src && frame.contentDocument)
        return;
    if (page)
        dress(page, frame);
    step(page);
});

// Not every browser tells when a frame could not be loaded.
function watchSending() {
    const timer = setInterval(() => {
        if (!sending)
            return clearInterval(timer);
        try {
            if (frame.contentDocument)
                return;
        } catch {
            // The page of an error cannot be reached.
        }
        clearInterval(timer);
        setTimeout(() => { if (sending && !leaving) step(null); }, 500);
    }, 1000);
}

// Only an accepted form leads to another site, and the frame holds none: the whole window goes there.
document.addEventListener("securitypolicyviolation", async (event) => {
    if (!/^(frame|child|default)-src/.test(event.effectiveDirective || event.violatedDirective) || !sending)
        return;
    leaving = true;
    sending = false;
    const version = lost.slice(lost.lastIndexOf(".") + 1);
    draft.forget(lost);
    const { thanks } = await (await fetch(`fill/thanks.json?version=${version}`)).json();
    location.assign(new URL(thanks, location.href));
});

// ---- the first moment --------------------------------------------------------------

if (window.top !== window) {
    // The banner and the notice inside the frame lead here: the way stands in one window, not in itself.
    window.top.location.replace(location.href);
} else {
    draft.offerSharing();
    printWhole(frame);
    if (entry.pin || entry.version)
        offerStart();
    else
        enter();
}
