// Leads from the pages of an event and of a surva to what our own pages make of it: report, slips, mail, lists, poster.
// Only what the server's list of pages offers this person is led to.

import { element, parameter, pageName } from "../shared/dom.js";

const ofEvent = [["report", "Report"], ["slips", "Slips"], ["mail", "Mail"], ["import", "Enrol from a list"]];

async function offered() {
    const answer = await fetch("pages.json", { headers: { Accept: "application/json" } });
    const { pages } = answer.ok ? await answer.json() : { pages: [] };
    return new Set(pages.map(({ address }) => address));
}

function links(event, offer, which) {
    return which.filter(([page]) => offer.has(`/admin/${page}`)).flatMap(([page, caption]) =>
        [" ", element("a", { href: `/admin/${page}?event=${event}`, textContent: caption, className: "to-desk", target: "_top" })]);
}

// Each event of a calendar or a week has its report behind its name.
function reportsBehindEvents(offer) {
    for (const link of document.querySelectorAll('a[href*="ModSch0=" i], a[href*="BrowseForms=1&ScheduleID=" i]')) {
        const event = parameter(link.href, "ModSch0") ?? parameter(link.href, "ScheduleID");
        if (/^\d+$/.test(event ?? ""))
            link.after(...links(event, offer, ofEvent.slice(0, 1)));
    }
}

// The upper frame of an event leads to all that can be done for it.
function wholeEvent(offer) {
    const event = parameter(location.href, "ModUp");
    const change = document.querySelector('a[href*="ModSch1=" i]');
    if (change && /^\d+$/.test(event ?? ""))
        change.after(...links(event, offer, ofEvent));
}

function posters() {
    for (const link of document.querySelectorAll('a[href*="surva.asp?version=" i]')) {
        const version = parameter(link.href, "version");
        if (/^\d+$/.test(version ?? ""))
            link.after(" ", element("a", { href: `/admin/poster?version=${version}`, textContent: "Poster", className: "to-desk" }));
    }
}

export function leadToDesk() {
    const page = pageName(location.pathname);
    if (page === "createform.asp")
        posters();
    if (page === "schedule.asp" || page === "stat.asp" || page === "default.asp") {
        offered().then((offer) => {
            reportsBehindEvents(offer);
            wholeEvent(offer);
        }).catch(() => {});
    }
}
