// Asks before something is lost: deletes, answers cut off from their question, a form left
// half edited; and keeps a form from being sent twice.

import { pageName, parameter, textOf } from "../shared/dom.js";
import { contentCell, note } from "./frame.js";

const sent = "surva.sent";
const saved = "surva.saved";
const editors = "input[type=submit]:is([name=Save i], [name=Update i], [name=SaveSurvaPropertiesButton i], "
    + "[name=SaveQuestionPropertiesButton i], [name=SaveQuestionValuesButton i])";

function count(number, one, many) {
    return number === 1 ? `1 ${one}` : `${number} ${many}`;
}

// ---- what a press would take away ---------------------------------------

// How many answers hang on a question or on one of its choices; asked for when the page opens, for a question to the
// user cannot wait for the server.
let given = null;

async function askForAnswers(layout) {
    const answer = await fetch(`answered.json?layout=${layout}`);
    if (answer.ok)
        given = await answer.json();
}

// Of the whole question, or of one of its choices.
function cutOff(choice = null) {
    if (!given)
        return "Answers that respondents have given until now may lose their choice and show as \"No answer\".";
    const { answers, respondents } = choice ? given.choices[choice] ?? { answers: 0 } : given;
    if (answers === 0)
        return "";
    return `${count(answers, "answer", "answers")} of ${count(respondents, "respondent", "respondents")} `
        + "will lose the chosen text and show as \"No answer\" in the statistics.";
}

function marked(form, name) {
    return form.querySelectorAll(`input[name="${name}" i]:checked`).length;
}

function beforeSubmit(form, button) {
    const name = button?.name.toLowerCase();
    if (name === "delete" && form.querySelector("input[name=EraseMessage i]")) {
        const remarks = marked(form, "Chosen");
        return remarks && `Delete ${count(remarks, "remark", "remarks")}?`;
    }
    if (name === "delete" && form.querySelector("input[name=ModDown i]")) {
        const students = marked(form, "ToN");
        return students && `Take ${count(students, "student", "students")} off this event? A PIN that was handed out is then no longer valid.`;
    }
    if (name === "deletequestion")
        return marked(form, "CnfDelQuestion") && "Take the marked row off this surva?";
    if (name === "delete" || name === "deleteevent")
        return "Delete this record? It cannot be brought back on this page.";
    const question = form.querySelector("input[name=ModifyQuestionAnswers i]");
    const harm = question && cutOff();
    return harm && `${harm}\n\nSave the answers all the same?`;
}

function beforeFollowing(link) {
    if (parameter(link.href, "DeleteSurva"))
        return `Delete this surva?\n\n${textOf(link.closest("tr"))}`;
    const choice = parameter(link.href, "DeleteQuestionAnswer");
    if (!choice)
        return "";
    const box = link.closest("tr").querySelector("input[type=text]");
    return [`Delete the answer "${box?.value ?? ""}"?`, cutOff(choice)].filter(Boolean).join("\n\n");
}

// Links that change something as soon as they are followed.
function changes(link) {
    return ["DeleteSurva", "DeleteQuestionAnswer", "AddQuestionAnswer", "MoveUp", "MoveDown", "CreateEmptySurva"]
        .some((name) => parameter(link.href, name));
}

// ---- edited, and sent ----------------------------------------------------

const edited = new Set();
let leaving = null;

function differs(control) {
    if (control.type === "checkbox" || control.type === "radio")
        return control.checked !== control.defaultChecked;
    if (control.options)
        return [...control.options].some((option) => option.selected !== option.defaultSelected)
            && (control.selectedIndex > 0 || [...control.options].some((option) => option.defaultSelected));
    return "defaultValue" in control && control.type !== "hidden" && control.value !== control.defaultValue;
}

function unsaved() {
    return [...edited].filter((form) => form !== leaving && [...form.elements].some(differs));
}

function creates(form) {
    return form.querySelector("input[type=submit][name=Save i]") && !form.querySelector("input[name=Update i]")
        || form.querySelector('input[name=AddQuestionStep i][value="5"]');
}

// A page that Firefox shows again on a way back has the session's store as it was when the page was left.
function keptList() {
    return JSON.parse(localStorage.getItem(saved) ?? "[]");
}

// The page after a record was sent tells whether it was stored; on a way back to its form, the form's own entry in the
// history tells that it was sent.
function noteWhetherStored() {
    const key = sessionStorage.getItem(sent);
    if (!key)
        return;
    const stored = /^Data have been successfully saved/.test(contentCell()?.querySelector("blockquote")?.textContent ?? "")
        || parameter(location.href, "ModUp") !== null
        || [...document.querySelectorAll("th")].some((head) => textOf(head) === "Modify surva layout");
    if (stored)
        localStorage.setItem(saved, JSON.stringify([...keptList(), key].slice(-50)));
    if (pageName() !== "schedule.asp" || document.querySelector("form") || stored)
        sessionStorage.removeItem(sent);
}

function refuseSecond(form) {
    if (form.nextElementSibling?.matches(".note"))
        return;
    const again = Object.assign(document.createElement("a"), { href: location.href, textContent: "Begin a new one" });
    const box = note(["This form has been saved already; it is not sent a second time. ", again], form);
    box.setAttribute("role", "alert");
    box.scrollIntoView({ block: "nearest" });
}

function onSubmit(event) {
    if (event.defaultPrevented)
        return;
    const form = event.target;
    const button = event.submitter;
    if (form.dataset.underWay || creates(form) && keptList().includes(history.state?.surva)) {
        event.preventDefault();
        if (!form.dataset.underWay)
            refuseSecond(form);
        return;
    }
    const harm = beforeSubmit(form, button);
    leaving = form;
    if (harm && !confirm(harm)
        || unsaved().length > 0 && !confirm("Changes in the other form on this page are not saved and will be lost. Go on?")) {
        event.preventDefault();
        leaving = null;
        return;
    }
    edited.clear();
    form.dataset.underWay = "yes";
    if (creates(form)) {
        const key = crypto.getRandomValues(new Uint32Array(2)).join("-");
        history.replaceState({ ...history.state, surva: key }, "");
        sessionStorage.setItem(sent, key);
    }
    // An answer that goes into another frame, or into no page at all, leaves this one standing.
    setTimeout(() => { delete form.dataset.underWay; leaving = null; }, form.target ? 1500 : 20000);
}

function onClick(event) {
    const link = event.target instanceof Element && event.target.closest("a[href]");
    if (!link || event.defaultPrevented)
        return;
    const harm = beforeFollowing(link);
    if (link.dataset.underWay || harm && !confirm(harm)) {
        event.preventDefault();
    } else if (changes(link)) {
        link.dataset.underWay = "yes";
        setTimeout(() => delete link.dataset.underWay, 5000);
    }
}

// A document of another frame, without scripts of its own, can be watched too.
export function watch(page) {
    page.addEventListener("submit", onSubmit);
    page.addEventListener("click", onClick);
}

export function keepFromHarm() {
    noteWhetherStored();
    watch(document);
    for (const form of document.querySelectorAll("form:has(" + editors + ")")) {
        for (const kind of ["input", "change"])
            form.addEventListener(kind, () => edited.add(form));
    }
    addEventListener("beforeunload", (event) => {
        if (unsaved().length > 0)
            event.preventDefault();
    });
    addEventListener("pageshow", () => {
        leaving = null;
        for (const one of document.querySelectorAll("[data-under-way]"))
            delete one.dataset.underWay;
    });

    const question = document.querySelector("input[name=ModifyQuestionAnswers i]");
    if (question)
        askForAnswers(question.value).catch(() => {});
}
