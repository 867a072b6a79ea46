// Staff read what the respondents wrote: start page, statistics, filled forms, remarks.
import assert from "node:assert/strict";
import { after, before, test } from "node:test";
import { Site, launchBrowser, openVisit, press } from "./site.js";

// Begins in this calendar week, Sunday to Saturday, and in this year.
const thisWeek = `date(BeginDate) between date('now','localtime','weekday 6','-6 days')
    and date('now','localtime','weekday 6') and strftime('%Y',BeginDate)=strftime('%Y','now','localtime')`;
const thisMonth = "strftime('%Y-%m',BeginDate)=strftime('%Y-%m','now','localtime')";

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

async function text(page) {
    return (await page.locator("body").innerText()).replace(/\s+/g, " ");
}

function participants(condition) {
    return site.value(`select count(*) from Participant join Schedule using (ScheduleID) where ${condition}`);
}

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

// Posts a criteria form for all dates that the demo data may have. The anonymous form's names end in A.
async function postCriteria(page, form, ending, choices = {}) {
    await page.goto(`${site.address}/admin/stat.asp?${form}=1`);
    for (const [name, value] of Object.entries({ BDay: "1", BYear: "2000", EDay: "1", EYear: "2090" }))
        await page.locator(`input[name=${name}${ending}]`).fill(value);
    for (const [name, value] of Object.entries(choices))
        await page.locator(`select[name=${name}${ending}]`).selectOption(String(value));
    await press(page, "Search");
}

// Follows a link of the left menu, which stands below a toolbar with the same words.
async function follow(page, link) {
    const loaded = page.waitForEvent("load");
    await page.getByRole("link", { name: link, exact: true }).last().click();
    await loaded;
}

test("the start page counts the week and the month", async () => {
    const { page, complaints } = await openVisit(browser);
    await page.goto(`${site.address}/admin/default.asp`);
    const shown = await text(page);
    for (const [time, condition] of [["week", thisWeek], ["month", thisMonth]]) {
        const events = site.value(`select count(*) from Schedule where ${condition}`);
        assert.ok(shown.includes(`Number of trainings starting this ${time}: ${events} `), shown);
        const students = participants(condition);
        assert.match(shown, new RegExp(`of students starting their trainings this ${time}: ${students}\\b`));
    }
    // The browser counts its years from 1900.
    const now = new Date();
    const today = `${now.getDate()} - ${now.getMonth() + 1}`;
    assert.ok(shown.includes(`Date on the server (d-m-y): ${today} - ${now.getFullYear()}`), shown);
    assert.ok(shown.includes(`Date on the station (d-m-y): ${today} - ${now.getFullYear() - 1900}`), shown);
    assert.deepEqual(complaints, []);
});

test("the statistics lead over the weeks and an event to a filled form in its own window", async () => {
    const { page, context, alerts, complaints } = await openVisit(browser);
    // The last event with several filled forms, and one who filled in one of them.
    const [event] = site.query(`select ScheduleID, StudentID, LastName, TrainingName, strftime('%Y-%m',BeginDate) as Month
        from Participant join Schedule using (ScheduleID) join Student using (StudentID) join Training using (TrainingID)
        where PIN='' and (select count(*) from Participant as Other where Other.ScheduleID=Schedule.ScheduleID
            and Other.PIN='')>1 order by BeginDate desc, ScheduleID, LastName, FirstName limit 1`);
    const [Y, M] = event.Month.split("-").map(Number);
    await page.goto(`${site.address}/admin/stat.asp?Action=P&M=${M}&Y=${Y}`);
    const month = `strftime('%Y-%m',BeginDate)='${event.Month}'`;
    const line = `number of filled forms: ${participants(month)}/${participants(`${month} and PIN=''`)}`;
    assert.ok((await text(page)).includes(line), line);

    await page.getByRole("link", { name: "Week", exact: true }).first().click();
    await page.waitForURL(/stat\.asp\?BrowseWeek=1/);
    const counts = [`ScheduleID=${event.ScheduleID}`, `ScheduleID=${event.ScheduleID} and PIN=''`].map(participants).join("/");
    const link = page.locator(`a[href$='ScheduleID=${event.ScheduleID}']`).first();
    assert.equal(await link.innerText(), event.TrainingName);
    assert.ok((await text(page)).includes(`Number of students / filled forms: ${counts}`), counts);

    await link.click();
    await page.waitForURL(/browse\.asp\?BrowseForms=1/);
    const forms = page.locator("a[target=preview]");
    assert.equal(`${await page.locator("tr:has(> td:nth-child(3):last-child)").count() - 1}/${await forms.count()}`, counts);
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

test("the detailed criteria lead to the filled forms and to their averages", async () => {
    const { page, complaints } = await openVisit(browser);
    const version = site.version("Training evaluation");
    await postCriteria(page, "Criteria", "", { SurvaVersionID: version });
    const filled = participants(`PIN='' and SurvaVersionID=${version}`);
    assert.ok(filled > 10);
    assert.ok((await text(page)).includes(`Number of filled survas: ${filled}`), `${filled} forms`);
    await follow(page, "Preview survas");
    assert.equal(await page.locator("a[target=preview]").count(), filled);
    await follow(page, "Statistics");
    const shown = await text(page);
    assert.ok(shown.includes(`Number of filled survas: ${filled}`));

    const answers = site.query(`select FieldValue as answer, count(*) as count from Mark join Question using (QuestionID)
        join Schedule using (ScheduleID) join FieldValue using (FieldValueID)
        where Content='Relevance to my work' and SurvaVersionID=${version} group by FieldValue order by FieldValue`);
    const total = answers.reduce((sum, { answer, count }) => sum + answer * count, 0);
    const average = total / answers.reduce((sum, { count }) => sum + count, 0);
    const rows = answers.map(({ answer, count }) => `${answer} ${count}`).join(" ");
    const [block, told] = shown.match(/Relevance to my work (?:\d+ \d+ )+Average ([\d.]+)/);
    assert.ok(block.startsWith(`Relevance to my work ${rows} Average`), `${block} has ${rows}`);
    assert.ok(Math.abs(told - average) <= 0.05 + 1e-9, `${told} is ${average}`);
    const [words] = shown.match(/The course covered .*(?= Knowledge of the subject)/);
    assert.match(words, /What was announced \d+$/, "words have no average");
    assert.deepEqual(complaints, []);
});

test("the anonymous criteria lead to the filled forms and to their averages", async () => {
    const { page, context, complaints } = await openVisit(browser);
    await postCriteria(page, "CriteriaA", "A");
    assert.equal(await page.getByText("Number of filled survas").count(), 1);
    const filled = site.value(`select count(*) from (select distinct SurvaVersionID, IPAddress, FillDate
        from AnonymousStudent where FillDate is not null)`);
    assert.ok((await text(page)).includes(`Number of filled survas: ${filled}`), `${filled} forms`);
    await follow(page, "Preview survas");
    const first = page.locator("a[target=preview]").first();
    const visitor = new URL(await first.getAttribute("href"), page.url()).searchParams.get("StudentID");
    const opened = context.waitForEvent("page");
    await first.click();
    const preview = await opened;
    await preview.waitForLoadState("load");
    assert.deepEqual(await chosen(preview), stored(`AnonymousMark where StudentID=${visitor}`));
    await follow(page, "Statistics");
    assert.match(await text(page), new RegExp(`Number of filled survas: ${filled}[^]*Welcome (?:\\d+ \\d+ )+Average [1-5]`));
    assert.deepEqual(complaints, []);
});

test("a ticked remark is erased, the others stay", async () => {
    const { page, complaints } = await openVisit(browser);
    const [kept, gone] = site.query("select MessageID, Message from Message order by MessageID limit 2");
    const boxes = page.locator("input[name=Chosen]");
    await page.goto(`${site.address}/admin/stat.asp?Remarks=1`);
    const count = await boxes.count();
    assert.equal(count, site.value("select count(*) from Message"));
    await press(page, "Delete");
    assert.equal(await boxes.count(), count, "nothing was ticked");
    await page.locator(`input[name=Chosen][value='${gone.MessageID}']`).check();
    await press(page, "Delete");
    assert.equal(await boxes.count(), count - 1);
    assert.equal(await page.getByText(gone.Message).count(), 0);
    assert.ok(await page.getByText(kept.Message).isVisible());
    assert.equal(site.value(`select count(*) from Message where MessageID=${gone.MessageID}`), 0);
    assert.deepEqual(complaints, []);
});
