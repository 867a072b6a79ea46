// Which events of a staff page act. What respondents and colleagues have typed stands in
// the pages as it is, markup included; no script of theirs runs, but a link, a form or a
// meta element of theirs could still lead away or change something. So here, before the
// rest of the page is read:
//
//  - the page goes elsewhere only by a person's act;
//  - a press counts only on what can be seen and stands in the page's flow;
//  - a link that changes something counts only on the page that it belongs to;
//  - a link to another site takes nothing with it.

(function () {
    "use strict";

    const changing = /[?&](DeleteSurva|DeleteQuestion|DeleteQuestionAnswer|AddQuestionAnswer|ModifyQuestion(Properties|Answers)|ModifySurvaProperties|MoveUp|MoveDown|ChangeValid|CreateEmptySurva|CreateNewSurva2|DeleteEvent|Update|Delete|Save|EraseMessage|Choose|ToN|AddQuestionStep)=/i;

    // ---- no meta refresh, no base ----------------------------------------------

    // The browser starts to count as soon as the element is there; the navigation that follows is refused below.
    function strip(root) {
        for (const found of root.querySelectorAll('meta[http-equiv="refresh" i], base, link[rel~="prefetch" i], link[rel~="prerender" i]'))
            found.remove();
    }
    new MutationObserver((changes) => {
        for (const { addedNodes } of changes) {
            for (const node of addedNodes) {
                if (node.nodeType === Node.ELEMENT_NODE)
                    strip(node.matches("meta, base, link") ? node.parentNode ?? node : node);
            }
        }
    }).observe(document.documentElement, { childList: true, subtree: true });
    strip(document);

    // ---- no navigation that nobody asked for -------------------------------------

    // The site's scripts lead nowhere by themselves, so what no person began is a page that refreshes itself.
    window.navigation?.addEventListener("navigate", (event) => {
        const wanted = event.userInitiated || event.destination.sameDocument || ["reload", "traverse"].includes(event.navigationType);
        if (!wanted && event.cancelable)
            event.preventDefault();
    });

    // ---- presses -------------------------------------------------------------------

    // The pages place nothing over anything else, and hide nothing that can be pressed.
    function isInSight(target) {
        for (let at = target; at && at !== document.body; at = at.parentElement) {
            const { position, opacity, visibility } = getComputedStyle(at);
            if (position === "fixed" || position === "absolute" || opacity < 0.5 || visibility === "hidden")
                return false;
        }
        const box = target.getBoundingClientRect();
        return box.width * box.height < innerWidth * innerHeight / 2;
    }

    function refuse(event) {
        event.preventDefault();
        event.stopImmediatePropagation();
    }

    addEventListener("click", (event) => {
        const link = event.target instanceof Element && event.target.closest("a[href], area[href]");
        if (!link || /^javascript:/i.test(link.getAttribute("href")))
            return;
        const address = new URL(link.href, location.href);
        const own = address.origin === location.origin;
        const page = (path) => path.slice(path.lastIndexOf("/") + 1).toLowerCase();
        const misplaced = own && changing.test(address.search) && page(address.pathname) !== page(location.pathname);
        if (!event.isTrusted || !isInSight(link) || misplaced)
            refuse(event);
        else if (!own)
            link.rel = "noopener noreferrer";
    }, { capture: true });

    addEventListener("submit", (event) => {
        const button = event.submitter;
        const form = event.target;
        const action = new URL(button?.getAttribute("formaction") ?? form.getAttribute("action") ?? "", location.href);
        const seen = !button || !button.hasAttribute("form") && isInSight(button);
        if (action.origin !== location.origin || !seen)
            refuse(event);
    }, { capture: true });
})();
