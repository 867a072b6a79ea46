// What the scripts do on a staff page, one file for each concern. A page that one of them
// cannot read is left to the others.

import { repairDates } from "./dates.js";
import { leadToDesk } from "./desk.js";
import { guideToForms, drawFigures } from "./figures.js";
import { describePage } from "./labels.js";
import { carryNotes } from "./notes.js";
import { chooseParticipants } from "./participants.js";
import { checkRecords } from "./records.js";
import { keepFromHarm } from "./safety.js";
import { describePreviews } from "./previews.js";

function run() {
    for (const concern of [repairDates, checkRecords, describePage, keepFromHarm, carryNotes, chooseParticipants,
        guideToForms, drawFigures, describePreviews, leadToDesk]) {
        try {
            concern();
        } catch (error) {
            console.error(error);
        }
    }
}

// A module that a script has called may come before the page has been read to its end.
if (document.readyState === "loading")
    document.addEventListener("DOMContentLoaded", run);
else
    run();
