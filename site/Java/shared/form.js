// The rows of a surva's form: what is asked, what answers it, what is still open. The form
// may stand in another document than this script.

import { idOf } from "./dom.js";

const answerCells = 'td[bgcolor="#EAEAEA" i]';

// Each row with an answer cell that holds a control.
export function questions(page) {
    const found = [];
    let lead = null;
    for (const answer of page.querySelectorAll(answerCells)) {
        const question = answer.previousElementSibling;
        const controls = [...answer.querySelectorAll("input, select, textarea")];
        const isSub = question?.align?.toLowerCase() === "right";
        if (!isSub)
            lead = question;
        if (question && controls.length > 0)
            found.push({ question, lead: isSub ? lead : null, answer, controls,
                required: question.querySelector('font[size="4"][color="red" i]') !== null });
    }
    return found;
}

export function isOpen({ required, controls }) {
    if (!required)
        return false;
    if (controls[0].localName === "textarea")
        return controls[0].value === "";
    if (controls[0].localName === "select")
        return false;
    return !controls.some((control) => control.checked);
}

// The text nodes behind a choice's button, up to the next one or the line's end.
function textBehind(button) {
    const nodes = [];
    for (let next = button.nextSibling; next && next.nodeName !== "INPUT" && next.nodeName !== "BR"; next = next.nextSibling)
        nodes.push(next);
    return nodes;
}

// Gives each choice its text as a label, and keeps a button and its text on one line where choices stand in one row.
export function labelChoices(cell) {
    const inOneRow = cell.querySelector(":scope > br") === null;
    for (const button of cell.querySelectorAll(":scope > input[type=radio], :scope > input[type=checkbox]")) {
        const page = cell.ownerDocument;
        const nodes = textBehind(button);
        if (nodes.every((node) => node.textContent.trim() === ""))
            continue;
        const label = page.createElement("label");
        label.htmlFor = idOf(button);
        button.after(label);
        label.append(...nodes);
        if (inOneRow) {
            const choice = page.createElement("span");
            choice.className = "choice";
            button.before(choice);
            choice.append(button, label);
        }
    }
}

// Names and groups for assistive technology.
export function describe(page) {
    for (const { question, lead, answer, controls, required } of questions(page)) {
        const names = [lead, question].filter(Boolean).map(idOf).join(" ");
        const isChoice = controls[0].type === "radio" || controls[0].type === "checkbox";
        if (isChoice) {
            labelChoices(answer);
            answer.setAttribute("role", controls[0].type === "radio" ? "radiogroup" : "group");
            answer.setAttribute("aria-labelledby", names);
            if (required && controls[0].type === "radio")
                answer.setAttribute("aria-required", "true");
        } else {
            controls[0].setAttribute("aria-labelledby", names);
            if (required)
                controls[0].setAttribute("aria-required", "true");
        }
    }
    for (const group of page.querySelectorAll('th[bgcolor="#000000"]')) {
        group.setAttribute("role", "heading");
        group.setAttribute("aria-level", "2");
    }
}
