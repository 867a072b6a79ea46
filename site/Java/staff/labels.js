// Language, landmarks, headings and names for assistive technology, which the pages do
// not give themselves. Works on any page of the staff's kind, also in another frame or window.

import { idOf, pageName, textOf } from "../shared/dom.js";
import { describe, labelChoices } from "../shared/form.js";
import { captionedFields } from "./fields.js";
import { contentCell, menuCell } from "./frame.js";

const titles = {
    "default.asp": "Start", "createform.asp": "Survas", "schedule.asp": "Events", "list.asp": "List of PIN numbers",
    "company.asp": "Companies", "student.asp": "Students", "trainer.asp": "Trainers", "training.asp": "Trainings",
    "stat.asp": "Statistics", "browse.asp": "Filled forms",
};

const pictures = {
    "train_cert.gif": "surva", "trainings.gif": "Trainings", "trainers.gif": "Trainers", "help.gif": "Help",
};

function describeImages(page) {
    for (const image of page.images) {
        if (!image.hasAttribute("alt"))
            image.alt = pictures[image.src.slice(image.src.lastIndexOf("/") + 1)] ?? "";
    }
    // A trainer without an e-mail has a link to nowhere.
    for (const link of page.querySelectorAll('a[href="mailto:" i]:empty'))
        link.removeAttribute("href");
}

function title(page) {
    return titles[pageName(page.URL)] ?? "surva";
}

function heading(page) {
    return Object.assign(page.createElement("h1"), { className: "unseen", textContent: title(page) });
}

function describeFrame(page) {
    page.documentElement.lang = "en";
    for (const table of page.querySelectorAll("table"))
        table.setAttribute("role", "presentation");

    const menu = menuCell(page);
    if (menu?.querySelector("a")) {
        menu.setAttribute("role", "navigation");
        menu.setAttribute("aria-label", "This page");
        for (const head of menu.querySelectorAll("th"))
            head.setAttribute("role", "presentation");
    }
    const content = contentCell(page);
    if (content) {
        content.setAttribute("role", "main");
        content.setAttribute("aria-label", page.defaultView.frameElement?.title || title(page));
        content.prepend(heading(page));
    }
    for (const center of page.querySelectorAll("body > center, td[colspan='4'] > center")) {
        if (center.querySelector("a"))
            center.setAttribute("role", "contentinfo");
    }
}

// Some pages end their content's table early, or have none: what stands beside it goes into a landmark too.
function gatherStrays(page) {
    const strays = [...page.body.childNodes].filter((node) => node.nodeType === Node.TEXT_NODE ? node.data.trim() !== ""
        : node.matches?.("font, form, p, blockquote, b, h1, table:not(:has(td[role=main], td[role=navigation]))") ?? false);
    if (strays.length === 0)
        return;
    if (page.querySelector("[role=main]")) {
        for (const stray of strays.filter((node) => node.nodeType === Node.ELEMENT_NODE))
            stray.setAttribute("role", stray.localName === "form" ? "form" : "region");
        return;
    }
    const main = page.createElement("main");
    strays[0].before(main);
    main.append(heading(page), ...strays);
}

function nameOf(control) {
    return control.labels?.length > 0 || control.hasAttribute("aria-label") || control.hasAttribute("aria-labelledby");
}

const datePart = { day: "day", month: "month", year: "year" };

function describeFields(page) {
    for (const form of page.forms) {
        for (const { caption, controls } of captionedFields(form)) {
            if (controls.length === 1 && controls[0].type === "radio") {
                const label = Object.assign(page.createElement("label"), { htmlFor: idOf(controls[0]) });
                label.append(...caption.childNodes);
                caption.append(label);
                continue;
            }
            for (const control of controls) {
                if (control.type === "radio" && control.parentElement.localName === "td") {
                    const cell = control.parentElement;
                    labelChoices(cell);
                    if (controls.length > 1) {
                        cell.setAttribute("role", "radiogroup");
                        cell.setAttribute("aria-labelledby", idOf(caption));
                    }
                }
                const part = datePart[/(Day|Month|Year)A?$/.exec(control.name)?.[1].toLowerCase()];
                if (part)
                    control.setAttribute("aria-label", `${textOf(caption)}, ${part}`);
                else if (!nameOf(control))
                    control.setAttribute("aria-labelledby", idOf(caption));
            }
        }
    }
}

// What stands in a list: a box or button that belongs to the row it stands in.
function describeRows(page) {
    for (const control of page.querySelectorAll("input:not([type=hidden], [type=submit]), select, textarea")) {
        if (nameOf(control))
            continue;
        const row = control.closest("tr");
        const own = { filtr: "Find a student", StudentID: "Students" }[control.name];
        const text = own ?? (control.title || (row ? textOf(row) : ""));
        control.setAttribute("aria-label", text || control.name);
    }
}

function describeFrames(page) {
    const around = page.defaultView?.parent.document;
    if (!around || around === page)
        return;
    around.documentElement.lang = "en";
    around.title = "surva";
    for (const frame of around.querySelectorAll("frame"))
        frame.title = frame.name === "top" ? "Event and students to choose from" : "Participants";
}

export function describePage(page = document) {
    describeFrames(page);
    describe(page);
    describeImages(page);
    describeFrame(page);
    gatherStrays(page);
    describeFields(page);
    describeRows(page);
}
