// The frame of a staff page: menu column, content, and the notes that scripts put there.

import { element } from "../shared/dom.js";

export function menuCell(page = document) {
    return page.querySelector('body > table td[width="140"]');
}

// The cell that holds what the page is about.
export function contentCell(page = document) {
    return menuCell(page)?.parentElement.lastElementChild ?? null;
}

// A box of texts, links and buttons; above the content, or before another element.
export function note(parts, before = null) {
    const box = element("div", { className: "note", role: "note" }, element("p", {}, ...parts));
    if (before)
        before.before(box);
    else
        contentCell()?.prepend(box);
    return box;
}
