// The public page as respondents use it.
import assert from "node:assert/strict";
import { after, before, test } from "node:test";
import { Form, Site, launchBrowser, logOn, openVisit, press } from "./site.js";

const wrongPin = "You entered incorrect PIN. Try again.";
const notAllAnswered = "You have not answered all required questions! Required questions are marked with red asterisk.";

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

test("a PIN leads over the personal details and a corrected form to the greetings", async () => {
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

    await logOn(site, page, student.PIN);
    assert.ok(await page.getByText(wrongPin).isVisible(), "a PIN is good for one form");
    assert.deepEqual(complaints, []);
});

test("a short surva comes straight after the PIN and without the site's frame", async () => {
    const [student] = site.waiting("Short workshop", 1);
    const { page, alerts, complaints } = await openVisit(browser);
    await logOn(site, page, student.PIN);
    assert.equal(await page.locator("img").count(), 0);

    const form = new Form(page);
    await form.answerRequired();
    await form.text("What is the first thing").fill("");
    await form.send();
    assert.deepEqual(alerts, [notAllAnswered], "an empty text is no answer");
    await form.text("What is the first thing").fill("Fewer slides.");
    await form.send();
    await page.waitForURL(`${site.address}/greetings/default1.asp`);
    assert.deepEqual(namedAnswers(student)["What is the first thing that you will put into practice?"], ["Fewer slides."]);
    assert.deepEqual(complaints, []);
});

test("a wrong PIN is told, an empty one is asked for again", async () => {
    const { page } = await openVisit(browser);
    for (const [pin, told] of [["999999999", true], ["' or ''='", false], ["", false]]) {
        await logOn(site, page, pin);
        assert.equal(await page.getByText(wrongPin).isVisible(), told, `PIN "${pin}"`);
        assert.equal(await page.getByText("Dear Customer").isVisible(), !pin.includes("'"), `PIN "${pin}"`);
        assert.equal(await page.getByText("Accept answers").count(), 0, `PIN "${pin}"`);
    }
});

test("the public link leads to the greetings without a PIN", async () => {
    const version = site.version("Open day");
    const { page, alerts, complaints } = await openVisit(browser);
    await page.goto(`${site.address}/surva.asp?version=${version}`);
    const form = new Form(page);
    await form.list("You visit us as").selectOption({ label: "Student" });
    await form.text("What did you miss?").fill("Coffee, and l'été");
    await form.send();
    assert.deepEqual(alerts, [notAllAnswered]);
    await form.answerRequired();
    await form.send();
    await page.waitForURL(`${site.address}/greetings/default0.asp`);

    const [visitor] = site.query("select * from AnonymousStudent order by AnonymousStudentID desc limit 1");
    assert.equal(visitor.IPAddress, "127.0.0.1");
    assert.equal(visitor.SurvaVersionID, version);
    assert.ok(visitor.FillDate >= visitor.CreateDate);
    const stored = answers(site.query(`select Content, coalesce(FieldValue, TextAnswer) as Answer from AnonymousMark
        join Question using (QuestionID) left join FieldValue using (FieldValueID)
        where StudentID=${visitor.AnonymousStudentID} order by AnonymousMarkID`));
    assert.deepEqual(stored["You visit us as"], ["Student"]);
    assert.deepEqual(stored["What did you miss?"], ["Coffee, and l'été"]);
    assert.deepEqual(complaints, []);
});

test("a surva that wants a PIN is refused to a public link", async () => {
    const { page } = await openVisit(browser);
    const visitors = site.value("select count(*) from AnonymousStudent");
    for (const version of [site.version("Training evaluation"), 987654]) {
        await page.goto(`${site.address}/surva.asp?version=${version}`);
        assert.ok(await page.getByText("Sorry, surva does not exist").isVisible(), `version ${version}`);
        assert.equal(await page.locator("form").count(), 0);
    }
    assert.equal(site.value("select count(*) from AnonymousStudent"), visitors);
});

test("two respondents at the same time keep their answers apart", async () => {
    const students = site.waiting("Short workshop", 2);
    const visits = await Promise.all(students.map(() => openVisit(browser)));
    const forms = visits.map(({ page }) => new Form(page));
    for (const [at, { page }] of visits.entries())
        await logOn(site, page, students[at].PIN);
    for (const [at, form] of forms.entries()) {
        await form.text("What is the first thing").fill(`plan of ${students[at].LastName}`);
        await form.answerRequired();
    }
    await Promise.all(forms.map((form) => form.send()));
    await Promise.all(visits.map(({ page }) => page.waitForURL("**/greetings/*")));
    for (const student of students) {
        assert.deepEqual(namedAnswers(student)["What is the first thing that you will put into practice?"],
            [`plan of ${student.LastName}`]);
    }
});

test("a form outlives a crash of the server", async () => {
    const [student] = site.waiting("Short workshop", 1);
    const { page } = await openVisit(browser);
    await logOn(site, page, student.PIN);
    const form = new Form(page);
    await form.answerRequired();
    await site.kill("SIGKILL");
    await site.serve(new URL(site.address).host);
    await form.send();
    await page.waitForURL(`${site.address}/greetings/default1.asp`);
    assert.equal(site.value(`select PIN from Participant where ParticipantID=${student.ParticipantID}`), "");
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
    site.query(`update Student set email='carmen.fernandezdelavega@wholesalers.example',
        LastName='Fernández de la Vega y Sánchez-Ostiz' where StudentID=${student.StudentID}`);
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
