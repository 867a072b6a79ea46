// Records and events before they go out: required fields, dates in order, search texts.

import { parameter, textOf } from "../shared/dom.js";
import { captionedFields } from "./fields.js";

const savers = "input[type=submit]:is([name=Save i], [name=Update i])";

// On the form that changes a student, and only there, the captions of the name stand over
// each other's fields.
function putNameCaptionsRight() {
    const form = document.querySelector('form[action="Student.asp" i]');
    if (!form?.querySelector("input[name=Update i]"))
        return;
    const [first, last] = ["FirstName", "LastName"].map((name) =>
        captionedFields(form).find(({ controls }) => controls[0].name.toLowerCase() === name.toLowerCase()));
    if (first && last && textOf(first.caption) === "Last name" && textOf(last.caption) === "First name") {
        const texts = [...first.caption.childNodes];
        first.caption.append(...last.caption.childNodes);
        last.caption.append(...texts);
    }
}

function requireFields(form) {
    for (const { controls, required } of captionedFields(form)) {
        for (const control of required ? controls : []) {
            control.required = true;
            const check = () => control.setCustomValidity(
                control.value !== "" && control.value.trim() === "" ? "Please fill in this field." : "");
            control.addEventListener("input", check);
            check();
        }
    }
    // Who deletes a record does not have to complete it first.
    for (const button of form.querySelectorAll("input[type=submit]:is([name=Delete i], [name=DeleteEvent i])"))
        button.formNoValidate = true;
}

// The day that three fields name, or null.
function dayOf(form, letter) {
    const part = (name) => form.elements.namedItem(letter + name)?.value.trim();
    if (!/^\d{1,4}$/.test(part("Year")))
        return null;
    const [day, month, year] = [part("Day"), part("Month"), part("Year")].map(Number);
    // Years of two digits are read as the pages read them.
    const date = new Date(year < 30 ? year + 2000 : year < 100 ? year + 1900 : year, month - 1, day);
    return date.getMonth() === month - 1 && date.getDate() === day ? date : null;
}

function checkDates(form) {
    const [begin, end] = ["BDay", "EDay"].map((name) => form.elements.namedItem(name));
    if (!begin || !end)
        return;
    const check = () => {
        const [from, to] = ["B", "E"].map((letter) => dayOf(form, letter));
        begin.setCustomValidity(from ? "" : "There is no such day.");
        end.setCustomValidity(!to ? "There is no such day." : from && to < from ? "The end comes before the start." : "");
    };
    form.addEventListener("input", check);
    form.addEventListener("change", check);
    check();
}

// A page refuses an apostrophe in a search. An underscore stands for any one letter, so it
// finds O'Brien, also for one whose keyboard writes a curved apostrophe; what was typed stays as it is.
function searchWithApostrophes(form) {
    form.addEventListener("formdata", ({ formData }) => {
        for (const [name, value] of [...formData]) {
            if (typeof value === "string")
                formData.set(name, value.replace(/['\u2018\u2019]/g, "_"));
        }
    });
}

export function checkRecords() {
    putNameCaptionsRight();
    for (const form of document.forms) {
        if (form.querySelector("input[type=submit][name=Search i]")) {
            searchWithApostrophes(form);
        } else if (form.querySelector(savers) && !parameter(location.href, "ModUp")) {
            requireFields(form);
            checkDates(form);
        }
    }
}
