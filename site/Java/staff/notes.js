// The notes of a new event, which the page that saves it forgets: kept in this window and
// put into the form that can store them.

import { element, parameter } from "../shared/dom.js";
import { note } from "./frame.js";

const kept = "surva.notes";

function eventForm() {
    return document.querySelector('form[action="Schedule.asp" i]:has(textarea[name=Description i])');
}

function keepOnSave(form) {
    form.addEventListener("submit", () => {
        const text = form.elements.namedItem("Description").value;
        if (text.trim() !== "")
            sessionStorage.setItem(kept, JSON.stringify({ text }));
    });
}

// The upper frame of an event: where a save of a new one leads.
function offerNotes(event) {
    const notes = JSON.parse(sessionStorage.getItem(kept) ?? "null");
    if (!notes || notes.event && notes.event !== event)
        return;
    sessionStorage.setItem(kept, JSON.stringify({ ...notes, event }));
    const way = element("a", { href: `schedule.asp?ModSch1=${event}`, target: "_parent" }, "Store them");
    note(["Your notes on this event are not stored yet. ", way]);
}

function putNotesIn(form) {
    const notes = JSON.parse(sessionStorage.getItem(kept) ?? "null");
    if (!notes || notes.event !== parameter(location.href, "ModSch1"))
        return;
    const box = form.elements.namedItem("Description");
    if (box.value === "") {
        box.value = notes.text;
        box.dispatchEvent(new Event("input", { bubbles: true }));
        note(["Your notes are in their field below. Press Save to store them."], form);
    }
    form.addEventListener("submit", () => sessionStorage.removeItem(kept));
}

export function carryNotes() {
    const form = eventForm();
    const event = parameter(location.href, "ModUp");
    if (form && form.querySelector("input[name=Update i]"))
        putNotesIn(form);
    else if (form)
        keepOnSave(form);
    else if (event)
        offerNotes(event);
}
