// Figures: bars and per cent beside counts, a chart of a month, and the ways from a search
// to its forms and figures.

import { element, pageName, parameter, textOf } from "../shared/dom.js";
import { contentCell, note } from "./frame.js";

// ---- answer statistics ---------------------------------------------------

function drawShare(cell, number, whole) {
    const percent = whole > 0 ? 100 * number / whole : 0;
    const filled = element("span");
    filled.style.width = `${percent}%`;
    const bar = element("span", { className: "bar" }, filled);
    bar.setAttribute("aria-hidden", "true");
    cell.replaceChildren(element("span", { className: "share" }, bar,
        element("span", { className: "number" }, String(number)),
        element("span", { className: "percent" }, `${percent.toFixed(0)} %`)));
}

// A question's yellow row, then a row for each answer, then perhaps its average.
function drawAnswers(table) {
    let answers = [];
    const draw = () => {
        const whole = answers.reduce((sum, { number }) => sum + number, 0);
        for (const { cell, number } of answers)
            drawShare(cell, number, whole);
        answers = [];
    };
    for (const row of table.rows) {
        if (row.cells.length === 1)
            draw();
        else if (row.cells[0].querySelector("b") === null && /^\d+$/.test(textOf(row.cells[1])))
            answers.push({ cell: row.cells[1], number: Number(textOf(row.cells[1])) });
    }
    draw();
}

// ---- a month's weeks -------------------------------------------------------

const svg = (name, properties, ...children) => {
    const made = document.createElementNS("http://www.w3.org/2000/svg", name);
    for (const [key, value] of Object.entries(properties))
        made.setAttribute(key, value);
    made.append(...children);
    return made;
};

// "Week 9-15" over "Number of trainings: 3  Number of students: 27"
function readWeeks() {
    const weeks = [];
    for (const head of document.querySelectorAll("th > font[color=navy i]")) {
        const days = /^Week (\d+-\d+)$/.exec(textOf(head))?.[1];
        let row = head.closest("tr").nextElementSibling;
        while (row && !/Number of trainings/.test(row.textContent) && !row.querySelector("th"))
            row = row.nextElementSibling;
        const [trainings, students] = [...row?.querySelectorAll("b") ?? []].map((number) => Number(number.textContent));
        if (days && students !== undefined)
            weeks.push({ days, trainings, students });
    }
    return weeks;
}

function drawMonth() {
    const weeks = readWeeks();
    const most = Math.max(...weeks.map(({ students }) => students));
    if (weeks.length === 0 || most === 0)
        return;
    const [width, height] = [104, 120];
    const chart = svg("svg", { viewBox: `0 0 ${width * weeks.length} ${height + 44}`, class: "months", role: "img" },
        svg("title", {}, "Students by week: " + weeks.map(({ days, students }) => `${days}: ${students}`).join(", ")));
    for (const [at, { days, students, trainings }] of weeks.entries()) {
        const high = Math.round((height - 20) * students / most);
        const middle = at * width + width / 2;
        chart.append(
            svg("rect", { x: middle - 26, y: height - high, width: 52, height: high, rx: 3, fill: "#4a72c8" }),
            svg("text", { x: middle, y: height - high - 6, "text-anchor": "middle", class: "count" }, String(students)),
            svg("text", { x: middle, y: height + 18, "text-anchor": "middle" }, days),
            svg("text", { x: middle, y: height + 38, "text-anchor": "middle", class: "trainings" },
                trainings === 1 ? "1 training" : `${trainings} trainings`));
    }
    document.querySelector('form[action="stat.asp" i]').before(chart);
}

export function drawFigures() {
    for (const table of document.querySelectorAll('table[border="1"]'))
        drawAnswers(table);
    if (!parameter(location.href, "BrowseWeek") && document.querySelector('form[action="stat.asp" i]'))
        drawMonth();
}

// ---- from the criteria to the forms ----------------------------------------

// After a search the next steps stand in the menu; before one, all of them show nothing.
export function guideToForms() {
    if (pageName() !== "browse.asp")
        return;
    const named = ["StatsA", "BrowseFormsA"].some((name) => parameter(location.href, name));
    const anonymous = named || document.querySelector('td[width="140"] a[href*="StatsA=" i]') !== null;
    const criteria = element("a", { href: anonymous ? "stat.asp?CriteriaA=1" : "stat.asp?Criteria=1" }, "Choose which forms");
    const text = textOf(contentCell() ?? document.body);
    const counted = /Number of filled survas: (\d+)/.exec(text);

    if (contentCell()?.querySelector("blockquote") && counted) {
        const links = [...document.querySelectorAll('td[width="140"] a[href*="browse" i]')].map((link) => link.cloneNode(true));
        note(counted[1] === "0" ? ["No filled form fits these criteria. ", criteria] : ["Go on to: ", ...links, criteria]);
    } else if (!parameter(location.href, "ScheduleID") && (counted?.[1] === "0" || /No survas to display/.test(text)
        || named && /Error occurred/.test(text))) {
        note(["This page shows the forms that a search has chosen. Nothing is lost: so far no filled form fits. ", criteria]);
    }
}
