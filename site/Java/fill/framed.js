// What the frame holds: which page it is, its look, and what assistive technology wants to
// know of it.

export function kindOf(page) {
    const path = new URL(page.URL).pathname;
    if (page.documentElement.dataset.status)
        return "status";
    if (/\/greetings\//i.test(path))
        return "thanks";
    if (page.querySelector("input[name=FormAccepted i]"))
        return "form";
    if (page.querySelector("textarea[name=Notes i]"))
        return "details";
    if (page.querySelector("input[name=PIN i]"))
        return "pin";
    if (/Error number:/.test(page.body.textContent))
        return "error";
    if (/Sorry, surva does not exist/.test(page.body.textContent))
        return "refused";
    // One of our own pages says why.
    if (page.querySelector("link[href='/css/desk.css']"))
        return "closed";
    return "stopped";
}

const headings = {
    pin: "Enter your PIN", details: "Your details", form: "Questions", thanks: "Thank you", error: "An error",
    refused: "This surva cannot be opened", closed: "This surva is closed", stopped: "Your details", status: "The server's answer",
};

function dressHead(page) {
    page.documentElement.lang = "en";
    if (!page.title)
        page.title = "surva";
    for (const sheet of ["css/layout.css", "css/framed.css"]) {
        const address = new URL(sheet, location.href).href;
        if (![...page.querySelectorAll("link[rel=stylesheet i]")].some((link) => link.href === address))
            page.head.append(Object.assign(page.createElement("link"), { rel: "stylesheet", href: address }));
    }
}

// All content stands in one main element: its height is the frame's.
function gather(page, kind) {
    let main = page.querySelector("main");
    if (!main) {
        main = page.createElement("main");
        main.append(...page.body.childNodes);
        page.body.append(main);
    }
    main.setAttribute("aria-label", headings[kind]);
    if (!page.querySelector("h1"))
        main.prepend(Object.assign(page.createElement("h1"), { className: "unseen", textContent: headings[kind] }));
    for (const table of page.querySelectorAll("table"))
        table.setAttribute("role", "presentation");
    for (const image of page.images)
        image.alt ||= "surva";
    return main;
}

// Links lead out of the frame, not to a way inside the way.
function turnLinks(page) {
    for (const link of page.querySelectorAll("a[href]:not([target])"))
        link.target = "_top";
}

// In the document's own order of things a body is as high as its window: the content is measured.
function follow(main, frame) {
    const fit = () => {
        const page = main.ownerDocument;
        const bottom = main.getBoundingClientRect().bottom + page.defaultView.scrollY;
        frame.style.height = `${Math.ceil(bottom) + 24}px`;
    };
    new frame.contentWindow.ResizeObserver(fit).observe(main);
    for (const sheet of main.ownerDocument.querySelectorAll("link[rel=stylesheet i]"))
        sheet.addEventListener("load", fit);
    fit();
}

export function dress(page, frame) {
    const kind = kindOf(page);
    document.body.dataset.page = kind;
    document.body.dataset.menu = page.querySelector('img[src*="train_cert"]') || kind === "status" ? "yes" : "no";
    // A page that tells the server's trouble stands alone.
    if (kind !== "status")
        dressHead(page);
    page.body.classList.add("framed", kind);
    turnLinks(page);
    follow(gather(page, kind), frame);
}
