// Events of the staff pages. At present one: the student filter of an event's
// participants, the box "filtr" above the list "StudentID".
//
// The page brings the filter as VBScript, which browsers no longer run. The text is
// still there, as an inert script element, and holds one key for each student in the
// order of the list:
//
//     dim a(1)
//     a(0)="SMITH "
//     a(1)="SMYTHE"
//     Sub lista()
//     ...
//
// What lista() does is done here: the first student whose key begins with the typed
// letters is selected; when there is none, the selection stays. The keys are short,
// so more letters than a key has match nothing.

(function () {
    "use strict";

    // The keys in their order. A name may hold anything, quotes and what looks like
    // the next line included, so a key is taken to end only at the quote behind which
    // the line with the next number, or the procedure, follows.
    function readKeys(text) {
        const keys = [];
        const script = text.replace(/\r\n?/g, "\n");
        let at = script.indexOf('a(0)="');
        while (at >= 0) {
            const start = at + 'a('.length + String(keys.length).length + ')="'.length;
            const next = '"\na(' + (keys.length + 1) + ')="';
            let end = script.indexOf(next, start);
            at = end < 0 ? -1 : end + 2;
            if (end < 0)
                end = script.indexOf('"\nSub lista()', start);
            if (end < 0)
                break;
            keys.push(plain(script.slice(start, end)));
        }
        return keys;
    }

    // A key as it was before it was written into the page: a doubled quote is one quote,
    // and a letter outside the page's encoding stands there by its number.
    function plain(key) {
        return key.replace(/""/g, '"')
            .replace(/&#(\d{1,7});/g, (reference, number) =>
                number <= 0x10ffff ? String.fromCodePoint(number) : reference);
    }

    // Upper case, letter for letter: a letter without a single capital stays as it is.
    function capitals(text) {
        return Array.from(text, (letter) => {
            const capital = letter.toUpperCase();
            return Array.from(capital).length === 1 ? capital : letter;
        }).join("");
    }

    function startFilter() {
        const box = document.querySelector('input[name="filtr"]');
        const script = document.querySelector('script[language="vbscript" i]');
        if (!box || !script)
            return;
        const list = document.querySelector('select[name="StudentID"]');
        const keys = readKeys(script.textContent).map(capitals);

        window.lista = function () {
            const typed = capitals(box.value);
            const found = keys.findIndex((key) => key.startsWith(typed));
            if (list && found >= 0)
                list.selectedIndex = found;
        };
        box.addEventListener("input", window.lista);
        box.addEventListener("keyup", window.lista);
    }

    if (document.readyState === "loading")
        document.addEventListener("DOMContentLoaded", startFilter);
    else
        startFilter();
})();
