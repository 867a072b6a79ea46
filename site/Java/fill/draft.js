// A draft of the answers in this browser, until the form is accepted. One draft belongs to
// one visitor and one surva; on a shared computer it stands in this page's memory alone and ends with the page.

const prefix = "surva.draft.";
const mostDays = 7;
const shared = "surva.shared";
const inMemory = new Map();

function isShared() {
    return sessionStorage.getItem(shared) === "yes";
}

// The PIN itself is not kept: a number made of it tells one visitor's draft from another's.
function digest(text) {
    let hash = 0x811c9dc5;
    for (const letter of `surva ${text}`)
        hash = Math.imul(hash ^ letter.codePointAt(0), 0x01000193) >>> 0;
    return hash.toString(36);
}

export function keyOf({ pin, version }, surva) {
    return `${prefix}${pin ? `pin-${digest(pin)}` : `open-${version ?? ""}`}.${surva}`;
}

function answers(form) {
    return [...form.elements].filter((control) => control.name && control.type !== "hidden" && control.type !== "submit");
}

export function keep(key, form) {
    const values = answers(form).filter((control) => control.type !== "radio" && control.type !== "checkbox" || control.checked)
        .map(({ name, value }) => [name, value]);
    inMemory.set(key, JSON.stringify({ time: Date.now(), values }));
    if (isShared())
        return;
    try {
        localStorage.setItem(key, inMemory.get(key));
    } catch {
        // A full or closed store: the answers stand in the form all the same.
    }
}

function read(key) {
    try {
        return JSON.parse(inMemory.get(key) ?? localStorage.getItem(key));
    } catch {
        return null;
    }
}

// Puts a kept draft into a form that has just been opened; whether there was one.
export function putBack(key, form) {
    const kept = read(key);
    if (!kept)
        return false;
    const values = new Map();
    for (const [name, value] of kept.values)
        values.set(name, [...values.get(name) ?? [], value]);
    for (const control of answers(form)) {
        const told = values.get(control.name) ?? [];
        if (control.type === "radio" || control.type === "checkbox")
            control.checked = told.includes(control.value);
        else if (told.length > 0)
            control.value = told[0];
    }
    return true;
}

export function forget(key) {
    inMemory.delete(key);
    localStorage.removeItem(key);
}

function keys() {
    return Object.keys(localStorage).filter((key) => key.startsWith(prefix));
}

// The newest draft of someone with a PIN.
export function newest() {
    return keys().filter((key) => key.startsWith(`${prefix}pin-`)).map(read).filter(Boolean)
        .sort((a, b) => b.time - a.time)[0] ?? null;
}

export function clock({ time }) {
    return new Date(time).toLocaleString([], { weekday: "short", hour: "2-digit", minute: "2-digit" });
}

export function offerSharing() {
    for (const key of keys()) {
        if (!(Date.now() - read(key)?.time < mostDays * 86400000))
            forget(key);
    }
    const box = document.getElementById("shared");
    box.checked = isShared();
    box.addEventListener("change", () => {
        sessionStorage.setItem(shared, box.checked ? "yes" : "no");
        if (box.checked)
            keys().forEach((key) => localStorage.removeItem(key));
    });
    document.getElementById("keeping").hidden = false;
}
