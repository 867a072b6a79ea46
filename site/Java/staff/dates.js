// Dates that the pages tell as they were told long ago: month links whose year is lost,
// a list of years that ends, a year counted from 1900.

import { element, parameter } from "../shared/dom.js";

const yearsBefore = 5;
const yearsAhead = 2;

// The picker's month links end in "&Y2026", its years are a fixed list.
function repairPicker() {
    const months = [...document.querySelectorAll('td > a[href*="Action=P&M=" i]')]
        .filter((link) => /&Y\d+$/.test(link.getAttribute("href")));
    if (months.length === 0)
        return;
    const shown = Number(/&Y(\d+)$/.exec(months[0].getAttribute("href"))[1]);
    for (const link of months)
        link.setAttribute("href", link.getAttribute("href").replace(/&Y(\d+)$/, "&Y=$1"));

    const years = [...months[0].closest("tr").querySelectorAll('a[href*="&Y=" i]')].filter((link) => !months.includes(link));
    if (years.length === 0)
        return;
    const now = new Date().getFullYear();
    const address = years[0].getAttribute("href").replace(/&Y=\d+$/, "&Y=");
    const around = Array.from({ length: yearsBefore + 1 + yearsAhead }, (_, at) => now - yearsBefore + at);
    const offered = [...new Set([...around, shown])].sort((a, b) => a - b);
    const place = years[0].closest("td");
    for (const year of offered) {
        const cell = element("td", { bgColor: year === shown ? "#FFFF99" : "#FFFFFF" },
            element("a", { href: address + year }, String(year)));
        if (year === shown)
            cell.firstChild.setAttribute("aria-current", "true");
        place.before(cell);
    }
    for (const link of years)
        link.closest("td").remove();

    const month = Number(parameter(location.href, "M") ?? new Date().getMonth() + 1);
    months[month - 1]?.setAttribute("aria-current", "true");
}

// "Date on the station (d-m-y): 21 - 11 - 126"
function repairStationDate() {
    for (const line of document.querySelectorAll("font > b")) {
        const found = /^(\d+[\s\u00a0]*-[\s\u00a0]*\d+[\s\u00a0]*-[\s\u00a0]*)(1\d\d)$/.exec(line.textContent);
        if (found && line.parentElement.textContent.startsWith("Date on the station"))
            line.textContent = found[1] + (1900 + Number(found[2]));
    }
}

export function repairDates() {
    repairPicker();
    repairStationDate();
}
