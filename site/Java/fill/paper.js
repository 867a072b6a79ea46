// The form on paper. A browser prints a frame as one picture and cuts it where a sheet ends, so what the frame holds is
// copied into the page around it for as long as that is printed.

import { element } from "../shared/dom.js";

function copyOf(page) {
    const original = page.querySelector("main");
    if (!original)
        return null;
    const copy = document.importNode(original, true);
    for (const script of copy.querySelectorAll("script"))
        script.remove();
    // A copied list has its first choice, and a text box prints no more than it shows.
    const chosen = [...original.querySelectorAll("option")].map((option) => option.selected);
    for (const [at, option] of copy.querySelectorAll("option").entries())
        option.selected = chosen[at];
    for (const box of copy.querySelectorAll("textarea"))
        box.replaceWith(element("div", { className: "written" }, box.value));
    return element("div", { id: "paper", className: page.body.className }, copy);
}

export function printWhole(frame) {
    addEventListener("beforeprint", () => {
        const copy = frame.contentDocument && copyOf(frame.contentDocument);
        if (copy)
            document.body.append(copy);
    });
    addEventListener("afterprint", () => document.getElementById("paper")?.remove());
}
