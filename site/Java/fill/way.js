// Where on the way the visitor is, and how many required questions are open.

import { element } from "../shared/dom.js";

const captions = { pin: "PIN", details: "Your details", form: "Questions", thanks: "Thank you" };
const bar = document.getElementById("way");
const button = document.getElementById("open");
const passed = new Set();
let openRows = [];

export function showStep(kind) {
    const current = kind in captions ? kind : null;
    if (current)
        passed.add(current);
    // A step of its own shows only to those who meet it.
    const steps = Object.keys(captions).filter((step) => step === "form" || step === "thanks" || passed.has(step));
    bar.querySelector("ol").replaceChildren(...steps.map((step) => {
        const item = element("li", {}, captions[step]);
        if (step === current)
            item.setAttribute("aria-current", "step");
        else if (current && steps.indexOf(step) < steps.indexOf(current))
            item.className = "done";
        return item;
    }));
    bar.hidden = !current;
}

// A press leads from one open question to the next.
export function showOpen(rows, returned) {
    openRows = rows;
    button.hidden = rows.length === 0;
    button.textContent = rows.length === 1 ? "1 required question open" : `${rows.length} required questions open`;
    button.classList.toggle("urgent", returned);
}

button.addEventListener("click", () => {
    const [{ answer, controls }] = openRows;
    answer.scrollIntoView({ block: "center", behavior: matchMedia("(prefers-reduced-motion: reduce)").matches ? "auto" : "smooth" });
    controls[0].focus({ preventScroll: true });
});
