// What the reports have from the browser: its date, and windows for filled forms.
import assert from "node:assert/strict";
import { test } from "node:test";
import { openVisit, stage } from "./site.js";

const { site, browser } = await stage();

// The choices that are stored, by their keys in order; a question left open has a mark without a choice.
function stored(marks) {
    return site.query(`select FieldValueID from ${marks} and FieldValueID>0 order by FieldValueID`)
        .map((mark) => mark.FieldValueID);
}

// The choices that a filled form shows, in the same way.
function chosen(page) {
    return page.locator("input:checked, option[selected]")
        .evaluateAll((all) => all.map((choice) => Number(choice.value)).sort((one, other) => one - other));
}

test("the start page asks the browser for its date", async () => {
    const { page, complaints } = await openVisit(browser);
    await page.goto(`${site.address}/admin/default.asp`);
    const shown = (await page.locator("body").innerText()).replace(/\s+/g, " ");
    // The page counts its years from 1900; a script repairs it.
    const now = new Date();
    const today = `${now.getDate()} - ${now.getMonth() + 1} - ${now.getFullYear()}`;
    assert.ok(shown.includes(`Date on the station (d-m-y): ${today}`), shown);
    assert.deepEqual(complaints, []);
});

test("filled forms open in a window of their own, one after the other in the same", async () => {
    const { page, context, alerts, complaints } = await openVisit(browser);
    // The last event with several filled forms, and one who filled in one of them.
    const [event] = site.query(`select ScheduleID, StudentID, LastName
        from Participant join Schedule using (ScheduleID) join Student using (StudentID)
        where PIN='' collate nocase and (select count(*) from Participant as Other where Other.ScheduleID=Schedule.ScheduleID
            and Other.PIN='' collate nocase)>1 order by BeginDate desc, ScheduleID, StudentID limit 1`);
    await page.goto(`${site.address}/admin/browse.asp?BrowseForms=1&ScheduleID=${event.ScheduleID}`);
    const forms = page.locator("a[target=preview]");
    const opened = context.waitForEvent("page");
    await page.locator(`a[target=preview][href*='StudentID=${event.StudentID}&']`, { hasText: event.LastName }).click();
    const preview = await opened;
    await preview.waitForLoadState("load");
    assert.equal(await preview.evaluate(() => window.name), "preview");
    const marks = stored(`Mark where StudentID=${event.StudentID} and ScheduleID=${event.ScheduleID}`);
    assert.ok(marks.length > 2);
    assert.deepEqual(await chosen(preview), marks);
    assert.equal(await preview.getByRole("button").count(), 0);

    const other = new URL(await forms.last().getAttribute("href"), page.url()).searchParams.get("StudentID");
    const next = preview.waitForEvent("load");
    await forms.last().click();
    await next;
    assert.equal(context.pages().length, 2, "the next form takes the same window");
    assert.notEqual(Number(other), event.StudentID);
    assert.deepEqual(await chosen(preview), stored(`Mark where StudentID=${other} and ScheduleID=${event.ScheduleID}`));
    assert.deepEqual(alerts, []);
    assert.deepEqual(complaints, []);
});

