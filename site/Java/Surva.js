// The staff toolbar and the help link, loaded by every staff page.
//
// Everything is built through the DOM and styled by css/layout.css, so that a
// Content-Security-Policy without inline handlers has nothing to refuse.

(function () {
    "use strict";

    // The PIN list (list.asp) belongs to one event: the one that the page's own address
    // names, or else the one that is chosen among the events.
    function pinList() {
        for (const [name, value] of new URLSearchParams(location.search)) {
            if (/^(ModSch[01]|ModUp|ModDown|Schedule(ID)?)$/i.test(name) && /^[0-9]+$/.test(value))
                return "list.asp?Schedule=" + value;
        }
        return "schedule.asp?Action=P";
    }

    // Address and caption of every staff page, and of the public one.
    const pages = [
        ["default.asp", "Start"],
        ["CreateForm.asp", "Survas"],
        ["schedule.asp?Action=P", "Events"],
        [pinList(), "PIN lists"],
        ["company.asp?Action=P", "Companies"],
        ["student.asp?Action=P", "Students"],
        ["Trainer.asp?Action=P", "Trainers"],
        ["training.asp?Action=P", "Trainings"],
        ["stat.asp?Action=P", "Statistics"],
        ["browse.asp", "Filled forms"],
        ["../surva.asp", "Public page"],
    ];

    // "/admin/Company.asp?Modify=3" -> "company.asp". The bare folder is the start page.
    function pageName(address) {
        const path = address.split(/[?#]/)[0];
        return path.slice(path.lastIndexOf("/") + 1).toLowerCase() || "default.asp";
    }

    // Draws the toolbar where the calling script stands.
    window.drawToolbar = function () {
        const here = pageName(location.pathname);
        const list = document.createElement("ul");

        for (const [address, caption] of pages) {
            const link = document.createElement("a");
            link.href = address;
            link.textContent = caption;
            if (pageName(address) === here && !list.querySelector("[aria-current]"))
                link.setAttribute("aria-current", "page");
            // The participants of an event stand in frames; the toolbar leads out of them.
            if (window.top !== window)
                link.target = "_top";

            const item = document.createElement("li");
            item.append(link);
            list.append(item);
        }

        const bar = document.createElement("nav");
        bar.className = "toolbar";
        bar.setAttribute("aria-label", "Staff pages");
        bar.append(list);

        const caller = document.currentScript;
        if (caller && caller.parentNode)
            caller.parentNode.insertBefore(bar, caller);
        else
            document.body.prepend(bar);

        // On a narrow screen the bar scrolls sideways: show the current page's place in it.
        const current = bar.querySelector("[aria-current]");
        if (current)
            bar.scrollLeft = current.offsetLeft - (bar.clientWidth - current.offsetWidth) / 2;
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
})();
