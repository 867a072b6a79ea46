// The toolbar and the help link of the staff pages, and the call for what else their
// scripts do: staff/main.js.
//
// Everything is built through the DOM and styled by css/staff.css, so that a
// Content-Security-Policy without inline handlers has nothing to refuse.

(function () {
    "use strict";

    // What to show until the server has told which pages there are and may be opened.
    const usualPages = [
        { address: "default.asp", caption: "Start", group: "Start" },
        { address: "CreateForm.asp", caption: "Survas", group: "Survas" },
        { address: "schedule.asp?Action=P", caption: "Events", group: "Planning" },
        { address: "list.asp", caption: "PIN lists", group: "Planning",
            event: "Schedule", otherwise: "schedule.asp?Action=P" },
        { address: "company.asp?Action=P", caption: "Companies", group: "Records" },
        { address: "student.asp?Action=P", caption: "Students", group: "Records" },
        { address: "Trainer.asp?Action=P", caption: "Trainers", group: "Records" },
        { address: "training.asp?Action=P", caption: "Trainings", group: "Records" },
        { address: "stat.asp?Action=P", caption: "Statistics", group: "Reports" },
        { address: "browse.asp", caption: "Filled forms", group: "Reports" },
    ];
    const publicPage = { address: "../fill", caption: "Public page", group: "Public" };
    const kept = "surva.pages";
    const narrow = matchMedia("(max-width: 900px)");

    // A page of one event wants the one that this page's own address names.
    function addressOf({ address, event, otherwise }) {
        if (!otherwise)
            return address;
        for (const [name, value] of new URLSearchParams(location.search)) {
            if (/^(ModSch[01]|ModUp|ModDown|Schedule(ID)?)$/i.test(name) && /^[0-9]+$/.test(value))
                return address + "?" + event + "=" + value;
        }
        return otherwise;
    }

    // "/admin/Company.asp?Modify=3" -> "company.asp". The bare folder is the start page.
    function pageName(address) {
        const path = address.split(/[?#]/)[0];
        return path.slice(path.lastIndexOf("/") + 1).toLowerCase() || "default.asp";
    }

    function element(name, properties, ...children) {
        const made = Object.assign(document.createElement(name), properties);
        made.append(...children);
        return made;
    }

    function groups(pages) {
        const found = new Map();
        let current = false;
        for (const entry of [...pages, publicPage]) {
            const { address, caption, group } = entry;
            const link = element("a", { href: addressOf(entry), textContent: caption });
            if (!current && pageName(address) === pageName(location.pathname)) {
                link.setAttribute("aria-current", "page");
                current = true;
            }
            // The participants of an event stand in frames; the toolbar leads out of them.
            if (window.top !== window)
                link.target = "_top";
            if (!found.has(group))
                found.set(group, element("ul", {}));
            found.get(group).append(element("li", {}, link));
        }
        return [...found].map(([group, list]) => {
            list.setAttribute("aria-label", group);
            const name = element("span", { textContent: group });
            name.setAttribute("aria-hidden", "true");
            return element("div", { className: "group" }, name, list);
        });
    }

    function keptPages() {
        try {
            const pages = JSON.parse(sessionStorage.getItem(kept));
            return Array.isArray(pages) && pages.length > 0 ? pages : usualPages;
        } catch {
            return usualPages;
        }
    }

    async function askForPages(holder, shown) {
        const answer = await fetch("pages.json", { headers: { Accept: "application/json" } });
        if (!answer.ok)
            return;
        const { pages } = await answer.json();
        if (!Array.isArray(pages) || pages.length === 0 || JSON.stringify(pages) === JSON.stringify(shown))
            return;
        sessionStorage.setItem(kept, JSON.stringify(pages));
        holder.replaceChildren(...groups(pages));
    }

    // Draws the toolbar where the calling script stands.
    window.drawToolbar = function () {
        const pages = keptPages();
        const holder = element("div", { className: "groups" }, ...groups(pages));
        const details = element("details", {}, element("summary", { textContent: "Menu" }), holder);
        const fold = () => { details.open = !narrow.matches; };
        narrow.addEventListener("change", fold);
        fold();

        const bar = element("nav", { className: "toolbar" }, details);
        bar.setAttribute("aria-label", "Staff pages");
        const caller = document.currentScript;
        if (caller && caller.parentNode)
            caller.parentNode.insertBefore(bar, caller);
        else
            document.body.prepend(bar);
        askForPages(holder, pages).catch(() => {});
    };

    // The menu's help link is a javascript: address, which the browser may refuse to follow.
    document.addEventListener("click", function (event) {
        const link = event.target instanceof Element
            && event.target.closest('a[href="javascript:openHelp()" i]');
        if (!link)
            return;
        event.preventDefault();
        if (typeof window.openHelp === "function")
            window.openHelp();
        else
            window.open("help.asp?topic=" + location.pathname);
    });

    // The pages name no viewport. The frames of an event take that of the page around them.
    for (const page of new Set([document, window.parent.document])) {
        if (page.head && !page.querySelector("meta[name=viewport]"))
            page.head.append(Object.assign(page.createElement("meta"),
                { name: "viewport", content: "width=device-width, initial-scale=1" }));
    }

    const main = document.createElement("script");
    main.type = "module";
    main.src = new URL("staff/main.js", document.currentScript.src);
    document.head.append(main);
})();
