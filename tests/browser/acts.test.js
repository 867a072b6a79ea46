// What the scripts of the staff pages show, repair, ask and refuse.
import assert from "node:assert/strict";
import { test } from "node:test";
import { fill, openVisit, press, stage } from "./site.js";

const { site, browser } = await stage();

// A staff page, ready when its scripts have seen to it. Questions to the user are gathered, and answered with `answer.yes`.
async function open(address, answer = { yes: true }) {
    const visit = await openVisit(browser, { answer });
    const goto = async (next) => {
        await visit.page.goto(`${site.address}/admin/${next}`);
        await visit.page.locator("html[lang=en]").waitFor();
    };
    await goto(address);
    return { ...visit, asked: visit.alerts, answer, goto };
}

const button = (page, name) => page.getByRole("button", { name, exact: true });

const frames = (page) => ["top", "bottom"].map((name) => page.frameLocator(`frame[name=${name}]`));

test("every page has a toolbar, its pictures and its help; the start page has its browser's date", async () => {
    const pages = ["default.asp", "CreateForm.asp", "schedule.asp?Action=P", "company.asp?Action=P", "student.asp?Action=P",
        "Trainer.asp?Action=P", "training.asp?Action=P", "stat.asp?Action=P", "browse.asp"];
    const { page, context, asked, complaints, goto } = await open(pages[0]);
    const headings = new Set();
    for (const address of pages) {
        await goto(address);
        const links = await page.locator("nav.toolbar a").evaluateAll((all) => all.map((link) => link.href));
        assert.deepEqual(pages.filter((other) => !links.includes(`${site.address}/admin/${other}`)), [], address);
        assert.equal(links.at(-1), `${site.address}/fill`);
        assert.deepEqual(await page.locator("nav.toolbar [aria-current]").evaluateAll((all) => all.map((link) => link.href)),
            [`${site.address}/admin/${address}`]);
        await page.waitForLoadState("load");
        assert.deepEqual(await page.evaluate(() => [...document.images].filter((image) => image.naturalWidth === 0).map((image) => image.src)), []);
        const opened = context.waitForEvent("page");
        await page.locator("img[alt=Help]").click();
        const help = await opened;
        headings.add(await help.getByRole("heading", { level: 1 }).innerText());
        await help.close();
    }
    assert.equal(headings.size, pages.length, `${[...headings]}`);
    await goto("default.asp");
    // The page counts its years from 1900; a script repairs it.
    const now = new Date();
    const shown = (await page.locator("body").innerText()).replace(/\s+/g, " ");
    assert.ok(shown.includes(`Date on the station (d-m-y): ${now.getDate()} - ${now.getMonth() + 1} - ${now.getFullYear()}`), shown);
    assert.deepEqual([asked, complaints], [[], []]);
});

test("months keep their year, and the years are those around now", async () => {
    const { page } = await open("stat.asp?BrowseWeek=1&Action=P&M=3&Y=2019");
    const now = new Date().getFullYear();
    assert.deepEqual(await page.locator("td > a[href*='&Y=']").evaluateAll((all) => all.slice(12).map((link) => Number(link.textContent))),
        [...new Set([2019, ...Array.from({ length: 8 }, (_, at) => now - 5 + at)])].sort());
    await page.locator("td > a", { hasText: /^4$/ }).first().click();
    await page.waitForURL(/BrowseWeek=1&Action=P&M=4&Y=2019$/);
    await page.locator("a[aria-current=true]", { hasText: /^4$/ }).waitFor();
    assert.equal(await page.locator("a[aria-current=true]").allInnerTexts().then((texts) => texts.join(" ")), "4 2019");
});

test("a delete asks first, and a no leaves everything as it is", async () => {
    const surva = site.value("select max(SurvaVersionID) from SurvaVersion");
    const stands = () => site.value(`select count(*) from SurvaVersion where SurvaVersionID=${surva}`);
    const { page, asked, answer } = await open("CreateForm.asp", { yes: false });
    const bin = page.locator(`a[href*='DeleteSurva=${surva}']`);
    await bin.click();
    assert.match(asked[0], /^Delete this surva\?[^]*Copy of/);
    assert.equal(stands(), 1);
    answer.yes = true;
    await bin.click();
    await bin.waitFor({ state: "detached" });
    assert.equal(stands(), 0);
});

test("saving answers tells how many given ones it cuts off; edits of the other form and of a form left are asked for", async () => {
    const [row] = site.query(`select SurvaLayoutID as layout, SurvaVersionID as version, QuestionID from SurvaLayout
        join Question using (QuestionID) where Content like 'Relevance to my work' limit 1`);
    const given = () => site.value(`select count(*) from Mark join FieldValue using (FieldValueID) where Mark.QuestionID=${row.QuestionID}`);
    const before = given();
    assert.ok(before > 10);
    const { page, asked, answer, goto } = await open(`CreateForm.asp?SurvaVersion=${row.version}&ModifyQuestion=${row.layout}`, { yes: false });
    await page.waitForLoadState("networkidle");
    await button(page, "Save answers changes").click();
    assert.match(asked[0], new RegExp(`${before} answers of ${before} respondents will lose`));
    assert.equal(given(), before);

    answer.yes = true;
    await page.locator("[name=Question]").pressSequentially(" now");
    await goto("default.asp").catch(() => {});
    assert.deepEqual(asked.slice(1), ["beforeunload"]);
});

test("a second submit is refused while the first is under way, and after Back", async () => {
    const { page } = await open("student.asp?Add=1");
    const count = () => site.value("select count(*) from Student where LastName='Doppel' collate nocase");
    await fill(page, { FirstName: "Dora", LastName: "Doppel" });
    const loaded = page.waitForEvent("load");
    await button(page, "Save").dblclick();
    await loaded;
    await page.getByText("Data have been successfully saved").waitFor();
    await page.locator("html[lang=en]").waitFor();
    assert.equal(count(), 1);
    await page.goBack();
    await button(page, "Save").waitFor();
    await page.waitForLoadState("networkidle");
    assert.equal(await page.locator("[name=LastName]").inputValue(), "Doppel");
    await button(page, "Save").click();
    await page.getByText("This form has been saved already").waitFor();
    assert.equal(count(), 1);
});

test("a search finds O'Dea, required fields and dates are checked, and a name's captions stand over its fields", async () => {
    const { page, goto } = await open("student.asp?Add=1");
    await button(page, "Save").click();
    assert.ok(await page.locator("[name=FirstName]:invalid").count() > 0, "nothing goes out without a name");
    assert.match(page.url(), /Add=1$/);
    await fill(page, { FirstName: "Siobhan", LastName: "O'Dea" });
    await press(page, "Save");
    for (const typed of ["O'D", "o\u2019dea"]) {
        await goto("student.asp?Action=P");
        await fill(page, { LastName: typed });
        await press(page, "Search");
        await page.getByRole("link", { name: "O'Dea" }).waitFor();
    }
    await goto("student.asp?Modify=1");
    assert.equal(await page.getByLabel("Last name").getAttribute("name"), "LastName");
    assert.match((await page.locator("tr:has(+ tr + tr [name=LastName]) td").allInnerTexts())[0], /^Last name/);

    await goto("schedule.asp?Add=1");
    await fill(page, { Place: "Here" });
    for (const [day, month, year, told] of [["31", "2", "2027", "There is no such day."], ["3", "3", "", "There is no such day."],
        ["1", "1", "1999", "The end comes before the start."]]) {
        await fill(page, { EDay: day, EYear: year });
        await page.locator("[name=EMonth]").selectOption(month);
        await button(page, "Save").click();
        assert.equal(await page.locator("[name=EDay]").evaluate((box) => box.validationMessage), told);
    }
});

test("a new event's notes reach their field; students are found by any part of them, and enrolled once", async () => {
    const { page, asked, complaints, answer, goto } = await open("default.asp");
    for (const name of ["Żürcher", "Zürcher", "Zauła"]) {
        await goto("student.asp?Add=1");
        await fill(page, { FirstName: "Zoé", LastName: name });
        await press(page, "Save");
    }
    await goto("schedule.asp?Add=1");
    await fill(page, { Place: "Quai d'Été 5", Description: "Bring a laptop" });
    await button(page, "Save").click();
    const [top, bottom] = frames(page);
    await top.getByRole("link", { name: "Store them" }).click();
    await page.getByText("Your notes are in their field below").waitFor();
    await button(page, "Save").click();
    await top.locator(".found").waitFor({ state: "attached" });
    assert.equal(site.value("select Description from Schedule order by ScheduleID desc"), "Bring a laptop");
    assert.equal(await button(bottom, "Delete").count(), 0);

    const company = site.value("select CompanyName from Company join Student using (CompanyID) order by StudentID desc");
    for (const [typed, name] of [["zau", /^Zauła/], ["żü", /^Żürcher/], [`${company.slice(1, 5)} uła zo`, /^Zauła/], ["zür", /^Zürcher/]]) {
        await top.locator("[name=filtr]").fill("");
        await top.locator("[name=filtr]").pressSequentially(typed);
        assert.match(await top.locator("select[name=StudentID] option:checked").innerText(), name, typed);
    }
    await button(top, "Choose").click();
    const enrolled = bottom.locator("a[href*='student.asp?Modify=']");
    await enrolled.getByText("Zürcher", { exact: true }).waitFor();
    answer.yes = false;
    await button(top, "Choose").click();
    await bottom.locator("[name=ToN]").check();
    await button(bottom, "Delete").click();
    await top.locator("[name=filtr]").fill("zürq");
    await button(top, "Choose").click();
    assert.match(asked.join("|"), /^Zürcher Zoé .* is on this event already.*\|Take 1 student off this event\?.*\|Choose a student first\.$/);
    assert.equal(await enrolled.count(), 1);

    const leadsTo = (link) => link.evaluate(({ href }) => href);
    const list = await leadsTo(top.getByRole("link", { name: "PIN lists" }));
    assert.equal(await leadsTo(bottom.getByRole("link", { name: "List of PIN numbers" })), list);
    await top.getByRole("link", { name: "PIN lists" }).click();
    await page.waitForURL(/list\.asp\?Schedule=/);
    assert.deepEqual(complaints, []);
});

test("figures without a search lead to the criteria; a search leads on; answers have bars, a month its chart", async () => {
    const { page, goto } = await open("browse.asp?StatsA=1");
    assert.match(await page.getByRole("link", { name: "Choose which forms" }).getAttribute("href"), /CriteriaA=1/);
    await goto("browse.asp?Stats=1");
    await page.getByRole("link", { name: "Choose which forms" }).click();
    await fill(page, { BYear: "2000", EYear: "2090" });
    await press(page, "Search");
    await page.locator(".note").getByRole("link", { name: "Statistics" }).click();
    await page.locator(".share").first().waitFor();
    const rows = await page.locator("tr:has(.share)").evaluateAll((all) => all.slice(0, 3).map((row) =>
        [row.querySelector(".number").textContent, row.querySelector(".percent").textContent, row.querySelector(".bar > span").style.width]));
    for (const [number, percent, width] of rows)
        assert.ok(Number(number) >= 0 && parseFloat(width).toFixed(0) === percent.replace(" %", ""), `${number} ${percent} ${width}`);
    await goto("stat.asp?Action=P");
    assert.match(await page.getByRole("img", { name: /Students by week/ }).locator("title").innerHTML(), /1-\d+: \d+/);
});

test("filled forms open in a window of their own, one after the other in the same", async () => {
    // The last event with several filled forms.
    const event = site.value(`select ScheduleID from Participant join Schedule using (ScheduleID) where PIN='' collate nocase
        group by 1 having count(*)>1 order by BeginDate desc, 1 limit 1`);
    const { page, context, complaints } = await open(`browse.asp?BrowseForms=1&ScheduleID=${event}`);
    const opened = context.waitForEvent("page");
    const forms = page.locator("a[target=preview]");
    await forms.first().click();
    const preview = await opened;
    await preview.waitForURL(/StudentID=/);
    const first = preview.url();
    const next = preview.waitForEvent("load");
    await forms.last().click();
    await next;
    assert.notEqual(preview.url(), first);
    assert.deepEqual([context.pages().length, await preview.evaluate(() => window.name), await preview.getByRole("button").count()],
        [2, "preview", 0]);
    assert.deepEqual(complaints, []);
});
