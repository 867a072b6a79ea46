// Filled forms open in a window of their own that has no script: the page that opens it
// gives it its names and groups for assistive technology.

import { describePage } from "./labels.js";

export function describePreviews() {
    for (const link of document.querySelectorAll('a[target="preview" i]')) {
        link.addEventListener("click", (event) => {
            if (event.ctrlKey || event.metaKey || event.shiftKey)
                return;
            event.preventDefault();
            const opened = window.open(link.href, "preview");
            if (!opened)
                return;
            opened.focus();
            whenReady(opened, link.href);
        });
    }
}

// A window that is being opened shows an empty page first, whose events are not those of the page that comes. A page
// that the server has set apart cannot be reached, and stays as it is.
function whenReady(opened, address) {
    const timer = setInterval(() => {
        try {
            if (!opened.closed && (opened.document.URL !== address || opened.document.readyState !== "complete"))
                return;
            clearInterval(timer);
            describePage(opened.document);
        } catch {
            clearInterval(timer);
        }
    }, 50);
    setTimeout(() => clearInterval(timer), 20000);
}
