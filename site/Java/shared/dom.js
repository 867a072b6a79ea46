// Small helps with elements, for every script of the site.

export function element(name, properties = {}, ...children) {
    const made = document.createElement(name);
    for (const [key, value] of Object.entries(properties)) {
        if (key in made)
            made[key] = value;
        else
            made.setAttribute(key, value);
    }
    made.append(...children);
    return made;
}

// An element's id, made up if it has none.
export function idOf(target) {
    if (!target.id) {
        let number = 1;
        while (target.ownerDocument.getElementById("s" + number))
            number += 1;
        target.id = "s" + number;
    }
    return target.id;
}

// Its text in one line, without blanks around it and without the star of a required field.
export function textOf(target) {
    return target.textContent.replace(/[\s\u00a0]+/g, " ").replace(/\s*\*+\s*$/, "").trim();
}

// A parameter of an address, its name in any case of letters.
export function parameter(address, name) {
    for (const [key, value] of new URL(address, location.href).searchParams) {
        if (key.toLowerCase() === name.toLowerCase())
            return value;
    }
    return null;
}

// "/admin/Company.asp?Modify=3" -> "company.asp". A bare folder is the start page.
export function pageName(address = location.href) {
    const path = new URL(address, location.href).pathname;
    return path.slice(path.lastIndexOf("/") + 1).toLowerCase() || "default.asp";
}

// Letters without their accents and without a difference between small and capital.
export function folded(text) {
    return text.normalize("NFD").replace(/\p{M}/gu, "").toLowerCase();
}
