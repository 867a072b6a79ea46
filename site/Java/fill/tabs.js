// A browser is one visitor, whatever its tabs show: who enters in one tab ends the visit that another began, and what
// that one sent would be stored under the new name. So each tab knows whether the last one to enter was itself.

const newest = "surva.visit";
let own = null;

export function beginVisit() {
    own = crypto.getRandomValues(new Uint32Array(2)).join("-");
    try {
        localStorage.setItem(newest, own);
    } catch {
        own = null;
    }
}

export function isVisitOver() {
    return own !== null && localStorage.getItem(newest) !== own;
}
