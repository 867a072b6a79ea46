// Which caption belongs to which fields. The pages write captions in one row and their
// fields below them, cell for cell, or both beside each other in one row.

import { textOf } from "../shared/dom.js";

const fields = "input:not([type=hidden], [type=submit]), select, textarea";

export function controlsOf(cell) {
    return [...cell.querySelectorAll(fields)];
}

function isCaption(cell) {
    return cell.querySelector(fields) === null && cell.querySelector('font[color="navy" i], font[color="white" i]') !== null
        && textOf(cell) !== "";
}

// { caption, controls, required } of each caption in a form, in the order of the page.
export function captionedFields(form) {
    const found = [];
    const rows = [...form.querySelectorAll("tr")];
    for (const [at, row] of rows.entries()) {
        const cells = [...row.cells];
        const besides = cells.length === 2 && isCaption(cells[0]) ? controlsOf(cells[1]) : [];
        if (besides.length > 0) {
            found.push({ caption: cells[0], controls: besides, required: false });
            continue;
        }
        if (!cells.some(isCaption))
            continue;
        const below = rows.slice(at + 1).find((other) => other.querySelector(fields) || [...other.cells].some(isCaption));
        if (!below || !below.querySelector(fields))
            continue;
        for (const [place, caption] of cells.entries()) {
            const controls = below.cells[place] ? controlsOf(below.cells[place]) : [];
            if (isCaption(caption) && controls.length > 0)
                found.push({ caption, controls, required: caption.querySelector('font[color="red" i]') !== null });
        }
    }
    return found;
}
