// What our own pages share. They work without it.

(function () {
    "use strict";

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
