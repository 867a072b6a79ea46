// What our own pages share. They work without it.

(function () {
    "use strict";

    // On a narrow screen the bar folds behind a button, as on the older pages.
    const groups = document.querySelector(".toolbar > .groups");
    if (groups) {
        const narrow = matchMedia("(max-width: 900px)");
        const details = document.createElement("details");
        const button = document.createElement("summary");
        button.textContent = "Menu";
        groups.replaceWith(details);
        details.append(button, groups);
        const fold = () => { details.open = !narrow.matches; };
        narrow.addEventListener("change", fold);
        fold();
    }

    // A form that has been sent is not sent a second time while the first is under way.
    document.addEventListener("submit", function (event) {
        const form = event.target;
        // What only asks may be asked again; a download leaves the page where it is.
        if (form.method !== "post")
            return;
        if (form.dataset.sent)
            event.preventDefault();
        form.dataset.sent = "yes";
    });
    window.addEventListener("pageshow", function () {
        for (const form of document.forms)
            delete form.dataset.sent;
    });
})();
