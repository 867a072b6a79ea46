// Staff plan a course: records, the event, its participants and their PINs, up to the filled-in form.
import assert from "node:assert/strict";
import { after, before, test } from "node:test";
import { Form, Site, launchBrowser, logOn, openVisit, press } from "./site.js";

const saved = "Data have been successfully saved into the database.";

let site;
let browser;

before(async () => {
    site = await Site.start();
    browser = await launchBrowser();
});

after(async () => {
    await browser?.close();
    await site?.stop();
});

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

async function search(page, address, criteria) {
    await page.goto(`${site.address}/admin/${address}?Action=P`);
    await fill(page, criteria);
    await press(page, "Search");
}

// Finds a record by the search form and opens it by its name in the list.
async function open(page, address, criteria) {
    await search(page, address, criteria);
    await page.locator(`a[href^="${address}?Modify=" i]`, { hasText: Object.values(criteria)[0] }).click();
    await page.waitForLoadState("load");
}

function deleteButton(page) {
    return page.getByRole("button", { name: "Delete", exact: true });
}

// Each page's record, how it is found, what is changed, and how it is found then.
const records = [
    {
        address: "company.asp",
        values: { CompanyName: "Blåbær & Søn's Møbler", City: "Århus", PostCode: "8000",
            Email: "post@moebler.example" },
        found: { CompanyName: "Blåbær" }, shown: "Århus", change: { City: "Aalborg" },
    },
    {
        address: "Trainer.asp",
        values: { FirstName: "Zélie", LastName: "D'Aubigné", Email: "zelie@trainers.example", Phone: "+33 1 23" },
        found: { LastName: "D", FirstName: "Zélie" }, shown: "+33 1 23", change: { Phone: "+33 9 87" },
    },
    {
        address: "training.asp",
        values: { TrainingName: "Zen of – minutes", SurvaVersionID: "Short workshop", Category: "Office",
            OfficialID: "ZM-1" },
        found: { TrainingName: "Zen" }, shown: "ZM-1", change: { OfficialID: "ZM-2" },
    },
    {
        address: "student.asp",
        values: { FirstName: "Änne", LastName: "Zschöpe", City: "Köln", CompanyID: "Sundström",
            Description: "First\nsecond" },
        found: { LastName: "Zschö" }, shown: "Köln", change: { City: "Bonn" },
    },
];

for (const { address, values, found, shown, change } of records) {
    test(`${address} adds a record, finds, changes and deletes it`, async () => {
        const { page, alerts, complaints } = await openVisit(browser);
        await add(page, address, values);
        assert.ok(await page.getByText(saved).isVisible());

        await search(page, address, found);
        assert.ok((await page.locator("body").innerText()).includes(shown), `${shown} is in the list`);
        await open(page, address, found);
        for (const [name, value] of Object.entries(values)) {
            const control = page.locator(`[name="${name}" i]`);
            const text = await control.evaluate((element) => element.selectedOptions?.[0].text ?? element.value);
            assert.ok(text.includes(value), `${name} holds "${text}"`);
        }
        await fill(page, change);
        await press(page, "Update");
        assert.ok(await page.getByText(saved).isVisible());

        await search(page, address, found);
        const list = await page.locator("body").innerText();
        assert.ok(list.includes(Object.values(change)[0]) && !list.includes(shown), "the list shows the change");
        await open(page, address, found);
        await press(page, "Delete");
        assert.ok(await page.getByText("has been successfully deleted from the system.").isVisible());
        await search(page, address, found);
        assert.ok(!(await page.locator("body").innerText()).includes(Object.values(change)[0]), "the record is gone");
        assert.deepEqual(alerts, []);
        assert.deepEqual(complaints, []);
    });
}

test("a company stays as long as it has a student", async () => {
    const { page, complaints } = await openVisit(browser);
    await add(page, "company.asp", { CompanyName: "Guarded Ltd" });
    await add(page, "student.asp", { FirstName: "Only", LastName: "Zuckmayer", CompanyID: "Guarded Ltd" });
    await open(page, "company.asp", { CompanyName: "Guarded" });
    assert.equal(await deleteButton(page).count(), 0);
    assert.ok(await page.getByText("This company can not be deleted because it has registered students.").isVisible());

    await open(page, "student.asp", { LastName: "Zuckmayer" });
    await press(page, "Delete");
    await open(page, "company.asp", { CompanyName: "Guarded" });
    await press(page, "Delete");
    assert.ok(await page.getByText("Company has been successfully deleted").isVisible());
    await search(page, "company.asp", { CompanyName: "Guarded" });
    assert.ok(await page.getByText("Database does not contain records that match your query").isVisible());
    assert.deepEqual(complaints, []);
});

// Adds an event in March 2027 and returns its key; its two frames are then on the page.
async function addEvent(page, values) {
    await add(page, "schedule.asp", {
        Place: "Quai d'Été 5", BDay: "2", BMonth: "March", BYear: "2027",
        EDay: "3", EMonth: "March", EYear: "2027", ...values,
    });
    assert.deepEqual(page.frames().slice(1).map((frame) => frame.name()), ["top", "bottom"]);
    return new URL(page.frame("top").url()).searchParams.get("ModUp");
}

test("an event takes its training's surva or a chosen one, stands in the calendar and goes", async () => {
    const { page, complaints } = await openVisit(browser);
    const version = (event) => site.value(`select SurvaVersionID from Schedule where ScheduleID=${event}`);
    const usual = await addEvent(page, { TrainingID: "Time Management" });
    assert.equal(version(usual), site.version("Short workshop"));
    const chosen = await addEvent(page, { TrainingID: "Time Management", SurvaVersionID: /^Training evaluation/ });
    assert.equal(version(chosen), site.version("Training evaluation"));
    const top = await page.frame("top").locator("body").innerText();
    assert.match(top, /Time Management Workshop[^]*Period:\s*2\/3 to 3\/3[^]*Quai d'Été 5/);

    const calendar = `${site.address}/admin/schedule.asp?Action=P&M=3&Y=2027`;
    const entries = page.locator("a[href*='ModSch0=']", { hasText: "Time Management Workshop" });
    await page.goto(calendar);
    const before = await entries.count();
    await page.locator(`a[href$='ModSch0=${chosen}']`).click();
    await page.frameLocator("frame[name=top]").getByRole("link", { name: "Modify", exact: true }).click();
    await page.waitForURL(/ModSch1=/);
    await press(page, "Delete");
    assert.ok(await page.getByText("Schedule has been successfully deleted from the system.").isVisible());
    await page.goto(calendar);
    assert.equal(await entries.count(), before - 1);
    assert.equal(await page.locator(`a[href$='ModSch0=${chosen}']`).count(), 0);
    assert.deepEqual(complaints, []);
});

test("a student is picked by letters, gets a printed PIN and fills in the form", async () => {
    const { page, alerts, complaints } = await openVisit(browser);
    await add(page, "student.asp", { FirstName: "Zoé", LastName: "Żürcher" });
    await add(page, "student.asp", { FirstName: "Zoé", LastName: "Zürcher" });
    // The page's key for this one ends within the reference that stands for the fourth letter.
    await add(page, "student.asp", { FirstName: "Zoé", LastName: "Zauła" });
    const event = await addEvent(page, { TrainingID: "Time Management" });
    const top = page.frameLocator("frame[name=top]");
    const bottom = page.frameLocator("frame[name=bottom]");
    assert.equal(await bottom.getByRole("button", { name: "Delete" }).count(), 0);

    const picked = () => top.locator("select[name=StudentID] option:checked").innerText();
    for (const [letters, name] of [["zau", /^Zauła/], ["żü", /^Żürcher/], ["zür", /^Zürcher/], ["zürq", /^Zürcher/]]) {
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
    await respondent.page.waitForURL(`${site.address}/greetings/default1.asp`);

    await page.reload();
    assert.equal(await entry.innerText(), "Form filled");
    await page.goto(`${site.address}/admin/schedule.asp?ModSch0=${event}`);
    assert.equal(await row.locator("td").last().innerText(), "-");
    assert.equal(await row.locator("input").count(), 0);
    await top.getByRole("link", { name: "Modify", exact: true }).click();
    await page.waitForURL(/ModSch1=/);
    assert.equal(await deleteButton(page).count(), 0, "an event with participants stays");
    await open(page, "student.asp", { LastName: "Zürcher" });
    assert.equal(await deleteButton(page).count(), 0, "so does its student");
    assert.deepEqual(alerts, []);
    assert.deepEqual([...complaints, ...respondent.complaints], []);
});
