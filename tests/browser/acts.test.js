// What the scripts of the staff pages repair, ask and refuse.
import assert from "node:assert/strict";
import { test } from "node:test";
import { openVisit, press, stage } from "./site.js";

const { site, browser } = await stage();

// A staff page. Questions to the user are gathered, and answered with `answer`.
async function open(address, answer = { yes: true }) {
    const context = await browser.newContext();
    context.setDefaultTimeout(10_000);
    const page = await context.newPage();
    const asked = [];
    page.on("dialog", (dialog) => {
        asked.push(`${dialog.type()}: ${dialog.message()}`);
        return answer.yes ? dialog.accept() : dialog.dismiss();
    });
    const goto = async (next) => {
        await page.goto(`${site.address}/admin/${next}`);
        await page.locator("html[lang=en]").waitFor();
    };
    await goto(address);
    return { page, asked, answer, goto };
}

const button = (page, name) => page.getByRole("button", { name, exact: true });

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
    const { page, asked, answer } = await open("CreateForm.asp", { yes: false });
    const bin = page.locator(`a[href*='DeleteSurva=${surva}']`);
    await bin.click();
    assert.match(asked[0], /^confirm: Delete this surva\?[^]*Copy of/);
    assert.equal(site.value(`select count(*) from SurvaVersion where SurvaVersionID=${surva}`), 1);
    answer.yes = true;
    await bin.click();
    await bin.waitFor({ state: "detached" });
    assert.equal(site.value(`select count(*) from SurvaVersion where SurvaVersionID=${surva}`), 0);
});

test("saving answers tells how many given ones it cuts off; edits of the other form and of a form left are asked for", async () => {
    const [row] = site.query(`select SurvaLayoutID as layout, SurvaVersionID as version, QuestionID from SurvaLayout
        join Question using (QuestionID) where Content like 'Relevance to my work' limit 1`);
    const given = site.value(`select count(*) from Mark join FieldValue using (FieldValueID) where Mark.QuestionID=${row.QuestionID}`);
    assert.ok(given > 10);
    const { page, asked, answer, goto } = await open(`CreateForm.asp?SurvaVersion=${row.version}&ModifyQuestion=${row.layout}`, { yes: false });
    await page.waitForLoadState("networkidle");
    await button(page, "Save answers changes").click();
    assert.match(asked[0], new RegExp(`${given} answers of ${given} respondents will lose`));
    assert.equal(site.value(`select count(*) from Mark join FieldValue using (FieldValueID) where Mark.QuestionID=${row.QuestionID}`), given);

    answer.yes = true;
    await page.locator("[name=Question]").pressSequentially(" now");
    await goto("default.asp").catch(() => {});
    assert.match(asked[1], /^beforeunload/);
});

test("a second submit is refused while the first is under way, and after Back", async () => {
    const { page } = await open("student.asp?Add=1");
    const count = () => site.value("select count(*) from Student where LastName='Doppel' collate nocase");
    await page.locator("[name=FirstName]").fill("Dora");
    await page.locator("[name=LastName]").fill("Doppel");
    const loaded = page.waitForEvent("load");
    await button(page, "Save").dblclick();
    await loaded;
    await page.getByText("Data have been successfully saved").waitFor();
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
    await page.locator("[name=FirstName]").fill("Siobhan");
    await page.locator("[name=LastName]").fill("O'Dea");
    await press(page, "Save");
    await goto("student.asp?Action=P");
    await page.locator("[name=LastName i]").fill("O'D");
    await press(page, "Search");
    await page.getByRole("link", { name: "O'Dea" }).click();
    await page.locator("input[name=Update]").waitFor();
    await page.locator("html[lang=en]").waitFor();
    assert.equal(await page.getByLabel("Last name").inputValue(), "O'Dea");
    const captions = await page.locator("tr:has(+ tr + tr [name=LastName]) td").allInnerTexts();
    assert.match(captions[0], /^Last name/);

    await goto("schedule.asp?Add=1");
    await page.locator("[name=Place]").fill("Here");
    for (const [day, month, year, told] of [["31", "2", "2027", "There is no such day."], ["1", "1", "1999", "The end comes before the start."]]) {
        await page.locator("[name=EDay]").fill(day);
        await page.locator("[name=EMonth]").selectOption(month);
        await page.locator("[name=EYear]").fill(year);
        await button(page, "Save").click();
        assert.equal(await page.locator("[name=EDay]").evaluate((box) => box.validationMessage), told);
    }
});

test("a new event's notes reach their field, its students are found by any part of them, and nobody is enrolled twice unasked", async () => {
    const { page, asked, answer, goto } = await open("schedule.asp?Add=1");
    await page.locator("[name=Place]").fill("Room 1");
    await page.locator("[name=Description]").fill("Bring a laptop");
    await button(page, "Save").click();
    const top = page.frameLocator("frame[name=top]");
    const bottom = page.frameLocator("frame[name=bottom]");
    await top.getByRole("link", { name: "Store them" }).click();
    await page.getByText("Your notes are in their field below").waitFor();
    await button(page, "Save").click();
    await top.locator("[name=filtr]").waitFor();
    assert.equal(site.value("select Description from Schedule order by ScheduleID desc"), "Bring a laptop");

    const [student] = site.query(`select FirstName, LastName, CompanyName from Student join Company using (CompanyID)
        where length(LastName)>7 and LastName not like '% %' order by StudentID limit 1`);
    await top.locator(".found").waitFor({ state: "attached" });
    await top.locator("[name=filtr]").pressSequentially(`${student.LastName.slice(2)} ${student.FirstName.slice(0, 3)}`);
    const chosen = top.locator("select[name=StudentID] option:checked");
    assert.match(await chosen.innerText(), new RegExp(`^${student.LastName}`));
    await button(top, "Choose").click();
    await bottom.getByRole("link", { name: student.LastName }).waitFor();
    answer.yes = false;
    await button(top, "Choose").click();
    assert.match(asked[0], /is on this event already/);
    assert.equal(await bottom.getByRole("link", { name: student.LastName }).count(), 1);

    await bottom.locator("[name=ToN]").check();
    await button(bottom, "Delete").click();
    assert.match(asked[1], /Take 1 student off this event/);
    assert.equal(await bottom.locator("[name=ToN]").count(), 1);
    await goto("default.asp");
});

test("figures without a search lead to the criteria; a search leads on; answers have bars, a month its chart", async () => {
    const { page, goto } = await open("browse.asp?Stats=1");
    await page.getByRole("link", { name: "Choose which forms" }).click();
    await page.locator("[name=BYear]").fill("2000");
    await page.locator("[name=EYear]").fill("2090");
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
