// The respondent's way: /fill around surva.asp.
import assert from "node:assert/strict";
import { createServer } from "node:http";
import { once } from "node:events";
import { test } from "node:test";
import { Form, enter, openVisit, press, stage } from "./site.js";

const { site, browser } = await stage();
const openDay = `?version=${site.version("Open day")}`;

// A visitor at an address of the way. `held` is what the frame holds.
async function visit(address, options) {
    const opened = await openVisit(browser, options);
    await opened.page.goto(`${site.address}${address}`);
    return { ...opened, held: opened.page.frameLocator("#surva"), start: opened.page.getByRole("button", { name: "Fill in the surva" }) };
}

function group(held, question) {
    return held.getByRole("radiogroup", { name: question });
}

function send(held) {
    return held.getByRole("button", { name: "Accept answers" }).click();
}

// The required answers of the short form, by the names that assistive technology hears.
async function answerShort(held, text) {
    for (const [question, answer] of [[/How useful was/, "4"], [/How well did/, "5"], [/The pace was/, "About right"]])
        await group(held, question).getByLabel(answer).check();
    await first(held).fill(text);
}

// Somebody whose short form is answered and not sent.
async function answering(text) {
    const [student] = site.waiting("Short workshop", 1);
    const visited = await visit("/fill");
    await enter(visited.held, student.PIN);
    await answerShort(visited.held, text);
    return { ...visited, student };
}

const first = (held) => held.getByRole("textbox", { name: /What is the first thing/ });
const thanks = (held) => held.getByRole("heading", { name: "Thank you" });

function plan({ StudentID, ScheduleID }) {
    return site.value(`select TextAnswer from Mark join Question using (QuestionID) where StudentID=${StudentID}
        and ScheduleID=${ScheduleID} and Content like 'What is the first thing%'`);
}

function drafts(page) {
    return page.evaluate(() => Object.keys(localStorage).filter((key) => key.startsWith("surva.draft.")).length);
}

test("a link with a PIN waits for a press, and then passes the PIN page", async () => {
    const [student] = site.waiting("Short workshop", 1);
    const visitors = site.value("select count(*) from AnonymousStudent");
    const { page, context, held, start, complaints } = await visit(`/fill${openDay}`);
    await start.waitFor();
    assert.equal(site.value("select count(*) from AnonymousStudent"), visitors, "a fetch alone enters nobody");
    await start.click();
    await held.getByText("You visit us as").waitFor();
    assert.equal(site.value("select count(*) from AnonymousStudent"), visitors + 1);

    const asked = [];
    context.on("request", (request) => asked.push(`${request.method()} ${new URL(request.url()).pathname}${new URL(request.url()).search}`));
    await page.goto(`${site.address}/fill?PIN=${student.PIN.slice(0, 3)}%20${student.PIN.slice(3)}`);
    await start.waitFor();
    assert.ok(!asked.some((request) => request.includes("surva.asp")), `${asked}`);
    await start.click();
    await answerShort(held, "by the link");
    assert.deepEqual(asked.filter((request) => request.includes("surva.asp")), ["GET /surva.asp", "POST /surva.asp"]);
    assert.equal(new URL(page.url()).search, "", "the PIN is gone from the address");
    await send(held);
    await thanks(held).waitFor();
    assert.equal(plan(student), "by the link", "stored as the named visit, not as the open day's");
    assert.deepEqual(complaints, []);
});

test("the way is told, a returned form shows what is open, what is typed and ticked is stored, and no other host is asked", async () => {
    const [student] = site.waiting("Training evaluation", 1);
    const { page, context, held, alerts, complaints } = await visit("/");
    const hosts = new Set();
    context.on("request", (request) => hosts.add(new URL(request.url()).origin));
    const step = page.locator("#way [aria-current=step]");
    const open = page.locator("#open");

    const box = held.getByLabel("PIN", { exact: true });
    await box.waitFor();
    assert.equal(await box.getAttribute("inputmode"), "numeric");
    assert.ok(await box.evaluate((element) => element === element.ownerDocument.activeElement), "the PIN has the focus");
    await enter(held, "999 999");
    await held.getByText("You entered incorrect PIN").waitFor();
    await enter(held, ` ${student.PIN.slice(0, 2)} ${student.PIN.slice(2)} `);
    await held.getByText("Company details").waitFor();
    assert.equal(await step.innerText(), "Your details");
    for (const known of [student.FirstName, student.LastName, student.CompanyName])
        await held.getByText(known, { exact: true }).first().waitFor();
    const remark = "It's \"Sørensen\" – with an ø,\nand 5 % < 10 % & more";
    await held.getByLabel("Mistakes or missing data").fill(remark);
    await held.getByRole("button", { name: "Next" }).click();

    const relevance = group(held, "Relevance to my work");
    const reasons = held.getByRole("group", { name: /Why did you attend/ });
    const materials = held.getByRole("combobox", { name: "Course materials" });
    const praise = held.getByRole("textbox", { name: /What would you like to tell the trainer/ });
    await relevance.waitFor();
    assert.equal(await step.innerText(), "Questions");
    assert.equal(site.value(`select Message from Message where StudentID=${student.StudentID} order by MessageID desc`), remark.replace("\n", "\r\n"));
    const required = Number((await open.innerText()).split(" ")[0]);
    await relevance.getByLabel("4").check();
    assert.equal(await open.innerText(), `${required - 1} required questions open`);
    await materials.selectOption({ label: "2" });
    await praise.fill("Well explained – \"très bien\", it's all here.");
    await send(held);
    await page.locator("#open.urgent").waitFor();
    assert.deepEqual(alerts, ["You have not answered all required questions! Required questions are marked with red asterisk."]);
    assert.ok(await relevance.getByLabel("4").isChecked());
    assert.equal(await materials.locator("option:checked").textContent(), "2");
    assert.equal(await praise.inputValue(), "Well explained – \"très bien\", it's all here.");
    const mark = () => reasons.evaluate((cell) => getComputedStyle(cell, "::before").content);
    assert.equal(await mark(), '"Please answer"');
    const place = await reasons.evaluate((cell) => cell.getBoundingClientRect().top + window.frameElement.getBoundingClientRect().top);
    assert.ok(place > 0 && place < 700, `the first open question is at ${place}`);
    for (const reason of ["To prepare for a new task", "To refresh what I knew"])
        await reasons.getByLabel(reason).check();
    assert.equal(await mark(), "none", "answered, it is marked no longer");

    await relevance.getByLabel("5").check();
    await reasons.getByLabel("To refresh what I knew").uncheck();
    await new Form(held).answerRequired();
    await send(held);
    await thanks(held).waitFor();
    const stored = site.query(`select Content, coalesce(FieldValue, TextAnswer) as Answer from Mark join Question using (QuestionID)
        left join FieldValue using (FieldValueID) where StudentID=${student.StudentID} and ScheduleID=${student.ScheduleID}`);
    for (const [question, answer] of [["Relevance to my work", "5"], ["Why did you attend? Tick all that apply.", "To prepare for a new task"],
        ["Course materials", "2"], ["What would you like to tell the trainer?", "Well explained – \"très bien\", it's all here."]])
        assert.deepEqual(stored.filter(({ Content }) => Content === question).map(({ Answer }) => Answer), [answer]);
    assert.equal(site.value(`select PIN from Participant where ParticipantID=${student.ParticipantID}`), "");
    assert.deepEqual([...hosts], [site.address]);
    assert.deepEqual(complaints, []);
});

test("markup in an answer comes back into the page and runs no script", async () => {
    const { page, alerts, complaints } = await visit(`/surva.asp${openDay}`);
    await new Form(page).cell("What did you miss?").locator("textarea").fill(
        "</textarea><script id=planted>window.ran = 'script'</script><img src=images/none.gif onerror=\"window.ran = 'handler'\">" +
        "<a id=link href=\"javascript:void(window.ran = 'link')\">click</a>");
    await press(page, "Accept answers");
    assert.equal(await page.locator("script#planted").count(), 1, "the markup is in the page");
    await page.locator("#link").click();
    await page.waitForFunction(() => document.images.length > 0 && [...document.images].every((image) => image.complete));
    assert.equal(await page.evaluate(() => window.ran), undefined);
    const refused = complaints.filter((text) => /Content Security Policy/.test(text));
    assert.equal(refused.length, 3, `script, handler and link are refused: ${complaints}`);
    assert.equal(alerts.length, 1, "the page's own script runs all the same");
});

test("a draft outlives a reload and a lost visit, and is forgotten when the form is accepted", async () => {
    const { page, context, held, complaints, student } = await answering("before the reload");
    await page.waitForFunction(() => Object.entries(localStorage).some(([, value]) => value.includes("before the reload")));
    assert.ok(!await page.evaluate((pin) => JSON.stringify(localStorage).includes(pin), student.PIN), "the PIN is not kept");

    await page.reload();
    await page.getByText("are kept in this browser").waitFor();
    await enter(held, student.PIN);
    await page.getByText("The answers that you had given are back.").waitFor();
    assert.equal(await first(held).inputValue(), "before the reload");
    assert.equal(await page.locator("#open").isVisible(), false, "nothing required is open");

    await first(held).fill("after the loss");
    await context.clearCookies();
    await send(held);
    await page.getByText("Your visit had ended in the meantime").waitFor();
    assert.equal(plan(student), undefined);
    await page.getByRole("button", { name: "Go on" }).click();
    await page.getByText("The answers that you had given are back.").waitFor();
    await send(held);
    await thanks(held).waitFor();
    assert.equal(plan(student), "after the loss");
    assert.equal(await drafts(page), 0);
    assert.deepEqual(complaints, []);
});

test("on paper the whole form stands, with what was answered; the banner leads home, out of the frame where a web site is set", async () => {
    const { page, held, start } = await visit(`/fill${openDay}`);
    await start.click();
    await group(held, "Welcome").getByLabel("4").check();
    await held.getByRole("combobox", { name: /You visit us as/ }).selectOption("Manager");
    await held.getByRole("textbox", { name: /What did you miss/ }).fill("line\n".repeat(30));
    await page.emulateMedia({ media: "print" });
    await page.evaluate(() => dispatchEvent(new Event("beforeprint")));
    const paper = page.locator("#paper");
    assert.equal(await paper.locator("td[bgcolor='#EAEAEA']").count(), await held.locator("td[bgcolor='#EAEAEA']").count());
    assert.ok(await group(paper, "Welcome").getByLabel("4").isChecked());
    assert.equal(await paper.locator("select").evaluate((list) => list.selectedOptions[0].text), "Manager");
    assert.ok((await paper.locator(".written").boundingBox()).height > 500);
    assert.equal(await page.locator("#surva").isVisible(), false);
    await page.evaluate(() => dispatchEvent(new Event("afterprint")));
    assert.equal(await paper.count(), 0);

    await page.emulateMedia({ media: "screen" });
    assert.equal(await held.locator("a[href='/official']").getAttribute("target"), "_top");
    await page.locator(".brand").click();
    await held.getByLabel("PIN", { exact: true }).waitFor();
    assert.equal(page.frames().length, 2);
});

test("a server that goes away loses nothing, and a shared computer keeps nothing", async () => {
    const { page, held, student } = await answering("while the server was away");
    await site.kill("SIGKILL");
    await send(held);
    await page.getByText("The server cannot be reached. Your answers are kept here.").waitFor();
    await site.start();
    await page.getByRole("button", { name: "Try again" }).click();
    await page.getByText("The answers that you had given are back.").waitFor();
    assert.equal(await drafts(page), 1);

    await page.getByLabel("This is a shared computer").check();
    assert.equal(await drafts(page), 0);
    await first(held).fill("not to be kept");
    await page.waitForTimeout(600);
    assert.equal(await drafts(page), 0);
    await send(held);
    await thanks(held).waitFor();
    assert.equal(plan(student), "not to be kept");
    // Whoever comes next and presses Back sees nothing of it, and sends nothing once more.
    await page.evaluate(() => history.back());
    await page.getByText("The answers of this visit have been saved already.").waitFor();
    assert.equal(await page.locator("#surva").isVisible(), false);
    await page.getByRole("button", { name: "Enter another PIN" }).click();
    await held.getByLabel("PIN", { exact: true }).waitFor();
});

test("a tab whose visit another tab has ended stores nothing under the other's name", async () => {
    const [, other] = site.waiting("Short workshop", 2);
    const { page, context, held, student } = await answering("of the first tab");
    await page.getByLabel("This is a shared computer").check();
    const second = await context.newPage();
    await second.goto(`${site.address}/fill`);
    await enter(second.frameLocator("#surva"), other.PIN);
    await second.frameLocator("#surva").getByRole("button", { name: "Accept answers" }).waitFor();
    await send(held);
    await page.getByText("Somebody has begun anew in another tab").waitFor();
    await page.getByRole("button", { name: "Go on" }).click();
    await page.getByText("The answers that you had given are back.").waitFor();
    await send(held);
    await thanks(held).waitFor();
    assert.deepEqual([plan(student), plan(other)], ["of the first tab", undefined]);
});

test("a thank-you page on another site opens in the whole window", async () => {
    const other = createServer((request, response) => response.end("elsewhere")).listen(0, "127.0.0.1").unref();
    await once(other, "listening");
    const thanks = `http://127.0.0.1:${other.address().port}/thanks?from=surva`;
    site.change(`update SurvaVersion set ThankYouPage='${thanks}' where SurvaVersionID=${site.version("Short workshop")}`);
    const { page, held, student } = await answering("thanked elsewhere");
    await send(held);
    await page.waitForURL(thanks);
    assert.equal(plan(student), "thanked elsewhere");
    await page.goto(`${site.address}/fill`);
    assert.equal(await drafts(page), 0);
    site.change(`update SurvaVersion set ThankYouPage='' where SurvaVersionID=${site.version("Short workshop")}`);
});

test("without scripts a plain link leads to surva.asp", async () => {
    const { page } = await visit(`/fill${openDay}`, { javaScriptEnabled: false });
    await page.getByRole("link", { name: "Fill in the surva" }).click();
    assert.ok(await page.getByText("You visit us as").isVisible());
    await page.goto(`${site.address}/`);
    await page.getByRole("link", { name: "Fill in the surva" }).click();
    assert.ok(await page.getByText("Enter your PIN number").isVisible());
});

test("by style alone, the whole line of a choice is its target, and short choices stand in one line", async () => {
    const { page } = await visit(`/surva.asp${openDay}`, { viewport: { width: 390, height: 844 } });
    const source = new Form(page).cell("How did you hear");
    const rows = source.locator("input");
    const line = await source.boundingBox();
    const second = await rows.nth(1).boundingBox();
    await page.mouse.click(line.x + line.width - 8, second.y + second.height / 2);
    assert.ok(await rows.nth(1).isChecked(), "a press at the line's end");

    const scale = new Form(page).cell("Welcome").locator("input");
    const places = await scale.evaluateAll((all) => all.map((one) => one.getBoundingClientRect().top));
    assert.equal(places.length, 5);
    assert.equal(new Set(places).size, 1, "1 to 5 stand in one line");
    await scale.nth(2).scrollIntoViewIfNeeded();
    const third = await scale.nth(2).boundingBox();
    await page.mouse.click(third.x + third.width + 5, third.y + third.height / 2);
    assert.ok(await scale.nth(2).isChecked(), "a press on the text meets its choice, not the next");
});
