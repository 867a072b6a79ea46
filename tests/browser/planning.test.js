// What planning has from the browser: controls, frames, the filter of students, paper.
import assert from "node:assert/strict";
import { test } from "node:test";
import { Form, logOn, openVisit, press, stage } from "./site.js";

const { site, browser } = await stage();

// Fills in the page's controls by their names, whose case differs from page to page; a list takes the first
// option with the text.
async function fill(page, values) {
    for (const [name, value] of Object.entries(values)) {
        const control = page.locator(`[name="${name}" i]`);
        if (await control.evaluate((element) => element.tagName === "SELECT"))
            await control.selectOption(await control.locator("option", { hasText: value }).first().getAttribute("value"));
        else
            await control.fill(value);
    }
}

async function add(page, address, values) {
    await page.goto(`${site.address}/admin/${address}?Add=1`);
    await fill(page, values);
    await press(page, "Save");
}

// Adds an event in March 2027; its two frames are then on the page.
async function addEvent(page, values) {
    await add(page, "schedule.asp", {
        Place: "Quai d'Été 5", BDay: "2", BMonth: "March", BYear: "2027",
        EDay: "3", EMonth: "March", EYear: "2027", ...values,
    });
    assert.deepEqual(page.frames().slice(1).map((frame) => frame.name()), ["top", "bottom"]);
}

test("a student is picked by letters, gets a printed PIN and fills in the form", async () => {
    const { page, alerts, complaints } = await openVisit(browser);
    await add(page, "student.asp", { FirstName: "Zoé", LastName: "Żürcher" });
    await add(page, "student.asp", { FirstName: "Zoé", LastName: "Zürcher" });
    // The page's key for this one ends within the reference that stands for the fourth letter.
    await add(page, "student.asp", { FirstName: "Zoé", LastName: "Zauła" });
    await addEvent(page, { TrainingID: "Time Management" });
    const top = page.frameLocator("frame[name=top]");
    const bottom = page.frameLocator("frame[name=bottom]");
    assert.equal(await bottom.getByRole("button", { name: "Delete" }).count(), 0);

    const picked = () => top.locator("select[name=StudentID] option:checked").innerText();
    for (const [letters, name] of [["zau", /^Zauła/], ["żü", /^Żürcher/], ["zür", /^Zürcher/]]) {
        await top.locator("input[name=filtr]").fill("");
        await top.locator("input[name=filtr]").pressSequentially(letters);
        assert.match(await picked(), name, letters);
    }
    await top.getByRole("button", { name: "Choose" }).click();
    const row = bottom.locator("tr", { has: page.locator("a[href*='student.asp?Modify=']") }).last();
    await row.waitFor();
    assert.match(await row.innerText(), /^Zoé\s+Zürcher/);
    assert.equal(await row.locator("input[name=ToN]").count(), 1);

    const list = await top.getByRole("link", { name: "PIN lists" }).getAttribute("href");
    assert.equal(await bottom.getByRole("link", { name: "List of PIN numbers" }).getAttribute("href"), list);
    await top.getByRole("link", { name: "PIN lists" }).click();
    await page.waitForURL(/list\.asp\?Schedule=/);
    const entry = page.locator("tr", { hasText: /^\s*Zürcher/ }).locator("td").last();
    const pin = await entry.innerText();
    assert.match(pin, /^\d+$/);
    const paper = await page.pdf({ format: "A4" });
    assert.equal(paper.subarray(0, 5).toString(), "%PDF-");
    assert.ok(paper.length > 5000, `the print has ${paper.length} bytes`);

    const respondent = await openVisit(browser);
    await logOn(site, respondent.page, pin);
    const form = new Form(respondent.page);
    await form.answerRequired();
    await form.send();
    await respondent.page.waitForURL(`${site.address}/greetings/default0.asp`);

    await page.reload();
    assert.equal(await entry.innerText(), "Form filled");
    assert.deepEqual(alerts, []);
    assert.deepEqual([...complaints, ...respondent.complaints], []);
});
