// The two frames of an event: its students are searched as one types, and who is on it
// already is told before he is added again. This script runs in the upper frame; the lower
// one has no script of its own.

import { element, folded, textOf } from "../shared/dom.js";
import { describePage } from "./labels.js";
import { watch } from "./safety.js";

const mostShown = 300;

// The student's key of each row in the lower frame.
function enrolled(page) {
    return new Set([...page.querySelectorAll('a[href*="student.asp?Modify=" i]')]
        .map((link) => new URL(link.href).searchParams.get("Modify")));
}

// How well a student's line fits what was typed: 0 best, 4 not at all. Words may stand in any order.
function fit(typed, words, { text, plain }) {
    if (text.startsWith(typed))
        return 0;
    if (plain.startsWith(folded(typed)))
        return 1;
    if (text.includes(typed))
        return 2;
    return words.every((word) => plain.includes(word)) ? 3 : 4;
}

function startSearch(box, list) {
    const students = [...list.options].map((option) => {
        const text = textOf(option).toLowerCase();
        return { option, text, plain: folded(text) };
    });
    const found = element("span", { role: "status", className: "found" });
    const usual = students.map(({ option }) => option);
    const hint = box.nextElementSibling;
    if (hint?.localName === "font") {
        hint.textContent = "Type any part of a name or a company ";
        hint.after(found);
    } else {
        box.after(found);
    }

    box.addEventListener("input", () => {
        const typed = box.value.trim().toLowerCase();
        const words = folded(typed).split(/\s+/);
        if (typed === "") {
            list.replaceChildren(...usual);
            found.textContent = "";
            return;
        }
        const fitting = students.map((student) => ({ ...student, fit: fit(typed, words, student) }))
            .filter((student) => student.fit < 4).sort((a, b) => a.fit - b.fit);
        found.textContent = fitting.length === 1 ? "1 student" : `${fitting.length || "No"} students`;
        // Nobody is enrolled by a press on Choose that this was not typed for.
        if (fitting.length === 0)
            return void (list.selectedIndex = -1);
        list.replaceChildren(...fitting.slice(0, mostShown).map(({ option }) => option));
        list.selectedIndex = 0;
    });
}

// The lower frame, whenever it has loaded: who is enrolled, what to ask before a removal.
function followLowerFrame(form, list) {
    const frame = window.parent.document.querySelector("frame[name=bottom]");
    let present = new Set();
    const read = () => {
        const page = frame.contentDocument;
        if (!page?.querySelector("form"))
            return;
        present = enrolled(page);
        for (const option of list.options)
            option.classList.toggle("enrolled", present.has(option.value));
        delete form.dataset.underWay;
        watch(page);
        describePage(page);
    };
    frame.addEventListener("load", read);
    read();

    form.addEventListener("submit", (event) => {
        const chosen = list.selectedOptions[0];
        if (!chosen) {
            event.preventDefault();
            alert("Choose a student first.");
        } else if (present.has(chosen.value) && !confirm(`${textOf(chosen)} is on this event already. Add the same student a second time, with a second PIN?`)) {
            event.preventDefault();
        }
    }, { capture: true });
}

// The upper frame is as high as its content, and leaves the lower one a third of the window at least.
function shareHeight(page) {
    const set = page.querySelector("frameset");
    const fit = () => {
        const needed = document.querySelector("form").getBoundingClientRect().bottom + window.scrollY + document.body.scrollTop + 12;
        set.rows = `${Math.round(Math.min(needed, page.defaultView.innerHeight * 0.62))},*`;
    };
    // Links to our own pages come later.
    new ResizeObserver(fit).observe(document.querySelector("body > table"));
    page.defaultView.addEventListener("resize", fit);
}

export function chooseParticipants() {
    const form = document.querySelector('form[target="bottom" i]');
    const list = form?.querySelector("select[name=StudentID i]");
    if (!list || window.parent === window)
        return;
    // The page's own handler, whose script browsers no longer run.
    window.lista = () => {};
    list.size = 6;
    startSearch(form.querySelector("input[name=filtr i]"), list);
    followLowerFrame(form, list);
    shareHeight(window.parent.document);
}
