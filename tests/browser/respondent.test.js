// The public page as respondents use it.
import assert from "node:assert/strict";
import { test } from "node:test";
import { Form, logOn, openVisit, press, stage } from "./site.js";

const notAllAnswered = "You have not answered all required questions! Required questions are marked with red asterisk.";

const { site, browser } = await stage();

// The answers that stand in the database, by the question's text: choices' texts, or the text, in order.
function answers(rows) {
    const found = {};
    for (const { Content, Answer } of rows)
        (found[Content] ??= []).push(Answer);
    return found;
}

function namedAnswers({ StudentID, ScheduleID }) {
    return answers(site.query(`select Content, coalesce(FieldValue, TextAnswer) as Answer from Mark
        join Question using (QuestionID) left join FieldValue using (FieldValueID)
        where StudentID=${StudentID} and ScheduleID=${ScheduleID} order by MarkID`));
}

test("what is typed and ticked in a browser is stored, comes back and is corrected", async () => {
    const [student] = site.waiting("Training evaluation", 1);
    const { page, alerts, complaints } = await openVisit(browser);
    await logOn(site, page, student.PIN);

    const details = await page.locator("body").innerText();
    for (const known of [student.FirstName, student.LastName, student.CompanyName])
        assert.ok(details.includes(known), `the details show ${known}`);
    const remark = "It's \"Sørensen\" – with an ø,\nand 5 % < 10 % & more";
    await page.locator("textarea[name=Notes]").fill(remark);
    await press(page, "Next");
    assert.equal(site.value(`select Message from Message where StudentID=${student.StudentID} order by MessageID desc`),
        remark.replace("\n", "\r\n"));

    const form = new Form(page);
    const praise = "Well explained – \"très bien\", it's all here.";
    await form.radio("Relevance to my work", "4").check();
    await form.box("Why did you attend?", "To prepare for a new task").check();
    await form.box("Why did you attend?", "To refresh what I knew").check();
    await form.list("Course materials").selectOption({ label: "2" });
    await form.text("What would you like to tell the trainer?").fill(praise);
    await form.send();

    assert.deepEqual(alerts, [notAllAnswered]);
    assert.ok(await form.radio("Relevance to my work", "4").isChecked());
    assert.ok(await form.box("Why did you attend?", "To prepare for a new task").isChecked());
    assert.ok(!await form.box("Why did you attend?", "To do my present work better").isChecked());
    assert.equal(await form.list("Course materials").locator("option:checked").textContent(), "2");
    assert.equal(await form.text("What would you like to tell the trainer?").inputValue(), praise);
    assert.equal(site.value(`select PIN from Participant where ParticipantID=${student.ParticipantID}`), student.PIN);

    await form.radio("Relevance to my work", "5").check();
    await form.box("Why did you attend?", "To refresh what I knew").uncheck();
    await form.answerRequired();
    await form.send();
    await page.waitForURL(`${site.address}/greetings/default0.asp`);
    assert.equal(alerts.length, 1);

    const stored = namedAnswers(student);
    assert.deepEqual(stored["Relevance to my work"], ["5"]);
    assert.deepEqual(stored["Why did you attend? Tick all that apply."], ["To prepare for a new task"]);
    assert.deepEqual(stored["Course materials"], ["2"]);
    assert.deepEqual(stored["What would you like to tell the trainer?"], [praise]);
    const [row] = site.query(`select PIN, abs(julianday(FillDate) - julianday('now', 'localtime')) * 86400 as Ago
        from Participant where ParticipantID=${student.ParticipantID}`);
    assert.equal(row.PIN, "");
    assert.ok(row.Ago < 120, `filled ${row.Ago} s ago`);

    assert.deepEqual(complaints, []);
});

test("markup in an answer comes back into the page and runs no script", async () => {
    const { page, alerts, complaints } = await openVisit(browser);
    await page.goto(`${site.address}/surva.asp?version=${site.version("Open day")}`);
    const form = new Form(page);
    await form.text("What did you miss?").fill(
        "</textarea><script id=planted>window.ran = 'script'</script><img src=images/none.gif onerror=\"window.ran = 'handler'\">" +
        "<a id=link href=\"javascript:void(window.ran = 'link')\">click</a>");
    await form.send();
    assert.equal(await page.locator("script#planted").count(), 1, "the markup is in the page");
    await page.locator("#link").click();
    await page.waitForFunction(() => document.images.length > 0 && [...document.images].every((image) => image.complete));
    assert.equal(await page.evaluate(() => window.ran), undefined);
    const refused = complaints.filter((text) => /Content Security Policy/.test(text));
    assert.equal(refused.length, 3, `script, handler and link are refused: ${complaints}`);
    assert.deepEqual(alerts, [notAllAnswered], "the page's own script runs all the same");
});

test("the pages fit a phone", async () => {
    const { page } = await openVisit(browser, { viewport: { width: 390, height: 844 }, isMobile: true, hasTouch: true });
    // The widest words: a long e-mail address and a double name.
    const [student] = site.waiting("Training evaluation", 1);
    await page.request.post(`${site.address}/admin/student.asp`, { form: { Update: "Update", StudentID: student.StudentID,
        CompanyID: site.value(`select CompanyID from Student where StudentID=${student.StudentID}`), FirstName: "Carmen",
        LastName: "Fernandez de la Vega y Sanchez-Ostiz", Email: "carmen.fernandezdelavega@wholesalers.example" } });
    const fits = async (name) => {
        const [needed, given] = await page.evaluate(() =>
            [document.documentElement.scrollWidth, document.documentElement.clientWidth]);
        assert.ok(needed <= given, `${name} needs ${needed} of ${given}`);
    };
    await page.goto(`${site.address}/surva.asp`);
    await fits("PIN page");
    await logOn(site, page, student.PIN);
    await fits("details page");
    await press(page, "Next");
    await fits("form");
    for (const greetings of ["default0.asp", "default1.asp"]) {
        await page.goto(`${site.address}/greetings/${greetings}`);
        await fits(greetings);
    }
});
