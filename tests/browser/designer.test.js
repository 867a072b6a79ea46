// The questionnaire designer, from an empty database to a filled-in form.
import assert from "node:assert/strict";
import { after, before, test } from "node:test";
import { Form, Site, launchBrowser, openVisit } from "./site.js";

let site;
let browser;

before(async () => {
    site = await Site.start({ demo: false });
    browser = await launchBrowser();
});

after(async () => {
    await browser?.close();
    await site?.stop();
});

// SURVA_SCREENSHOTS names a folder for pictures of the pages on the way.
async function picture(page, name) {
    if (process.env.SURVA_SCREENSHOTS)
        await page.screenshot({ path: `${process.env.SURVA_SCREENSHOTS}/${name}.png`, fullPage: true });
}

class Designer {
    constructor(page) {
        this.page = page;
    }

    open() {
        return this.page.goto(`${site.address}/admin/CreateForm.asp`);
    }

    // Every button and link leads to another page; it is there when these return, and its alert is closed.
    async follow(target) {
        const loaded = this.page.waitForEvent("load");
        await target.click();
        await loaded;
    }

    press(button) {
        return this.follow(this.page.getByRole("button", { name: button, exact: true }));
    }

    pressPicture(alt) {
        return this.follow(this.page.getByAltText(alt));
    }

    // The cell in which a row's buttons stand, by the row's text.
    row(text) {
        return this.page.locator(`xpath=//*[self::td or self::th][input[@name='CnfDelQuestion']][contains(., '${text}')]`);
    }

    // The rows' texts in their order, numbers and stars included.
    async rows() {
        const texts = await this.page.locator("xpath=//*[self::td or self::th][input[@name='CnfDelQuestion']]").allInnerTexts();
        return texts.map((text) => text.replace(/\s+/g, " ").trim());
    }

    pressIn(text, alt) {
        return this.follow(this.row(text).getByAltText(alt));
    }

    // Goes through the wizard: at the end of the form, or above a row. `options` and `values` are filled in by their
    // names; an option `true` is a radio button, named `name=value`.
    async add({ phrase, role, kind, options = {}, values = {}, above }) {
        if (above)
            await this.pressIn(above, "Add new question or group above this one");
        else
            await this.pressPicture("Add a new question or main group");
        await this.page.locator("input[name=question]").fill(phrase);
        await this.press("Next");
        await this.page.locator("tr", { hasText: new RegExp(`^\\s*${role}`) }).last().locator("input").check();
        await this.press("Next");
        if (!kind)
            return;
        await this.page.locator("tr", { hasText: new RegExp(`^\\s*${kind}`) }).last().locator("input").check();
        await this.press("Next");
        for (const [name, value] of Object.entries(options)) {
            if (value === true)
                await this.page.locator(`input[name=${name.split("=")[0]}][value='${name.split("=")[1]}']`).check();
            else
                await this.page.locator(`input[name=${name}]`).fill(value);
        }
        await this.press("Next");
        if (kind === "Text field")
            return;
        for (const [name, value] of Object.entries(values))
            await this.page.locator(`input[name=${name}]`).fill(value);
        await this.press("Next");
    }
}

test("a surva is built from nothing, opened to all and filled in", async () => {
    const { page, context, alerts, complaints } = await openVisit(browser);
    const designer = new Designer(page);
    await designer.open();
    assert.equal(await page.locator("input[name=Number]").count(), 0);

    await designer.follow(page.getByRole("link", { name: "an empty surva" }));
    assert.equal(await page.locator("input[name=SurvaName]").inputValue(), "Empty Surva");
    await page.locator("input[name=SurvaName]").fill("Été – a first surva");
    await page.locator("input[name=RequireAuthorisation][value='0']").check();
    await designer.press("Save properties changes");
    assert.ok(await page.getByText("Link to surva").isVisible());
    await picture(page, "properties");
    await designer.press("Layout definition");
    assert.deepEqual(await designer.rows(), []);
    assert.equal(await page.getByRole("button", { name: "Delete selected" }).count(), 0);

    // A phrase left blank is asked for again.
    await designer.pressPicture("Add a new question or main group");
    await designer.press("Next");
    assert.deepEqual(alerts, ["You have not entered question phrase or a group name !"]);
    await picture(page, "wizard-phrase");
    await designer.press("Back");

    await designer.add({ phrase: "The trainer", role: "Main Group" });
    await designer.add({ phrase: "Please judge", role: "Label" });
    await designer.add({
        phrase: "How was the room?", role: "Main Question", kind: "Radio button",
        options: { NumberOfValues: "3", "LineRows=2": true, "AnswerIsRequired=1": true },
        values: { CkbVal1: "Good", CkbVal2: "Fair", CkbVal3: "Poor" },
    });
    await designer.add({
        phrase: "Why so?", role: "Sub Question", kind: "Text field", options: { SizeY: "3", SizeX: "40" },
    });
    await designer.add({
        phrase: "Clarity", role: "Sub Question", kind: "Combo box", above: "How was the room?",
        options: { NumberOfValues: "2", NumberOfRows: "1" }, values: { CmbVal2: "Clear", CmbVal3: "Obscure" },
    });
    await designer.add({
        phrase: "Manner", role: "Sub Question", kind: "CheckBox", above: "How was the room?",
        options: { NumberOfValues: "2", "AnswerIsRequired=1": true }, values: { CkbVal1: "Friendly", CkbVal2: "Funny" },
    });
    await designer.add({ phrase: "The rest", role: "Main Group", above: "How was the room?" });
    await designer.add({ phrase: "A slip", role: "Label" });
    assert.deepEqual(await designer.rows(), ["The trainer", "1. Please judge", "Clarity", "Manner*", "The rest",
        "1. How was the room?*", "Why so?", "2. A slip"]);
    await picture(page, "editor");

    await designer.pressIn("Manner", "Move one level up");
    await designer.pressIn("A slip", "Move one level up");
    assert.deepEqual((await designer.rows()).slice(2), ["Manner*", "Clarity", "The rest", "1. How was the room?*",
        "2. A slip", "Why so?"]);
    await designer.pressIn("A slip", "Move one level down");
    await designer.press("Delete selected");
    assert.equal((await designer.rows()).length, 8, "nothing was marked");
    await designer.row("A slip").locator("input[name=CnfDelQuestion]").check();
    await designer.press("Delete selected");
    assert.deepEqual((await designer.rows()).slice(5), ["1. How was the room?*", "Why so?"]);

    await designer.pressIn("How was the room?", "Modify this group or question");
    await page.locator("input[name=Question]").fill("How was the \"blue\" room?");
    await page.locator("input[name=LineRows][value='0']").check();
    await designer.press("Save properties changes");
    await designer.pressPicture("Add new answer");
    await page.locator("input[name=FV4]").fill("I was absent");
    await designer.press("Save answers changes");
    await designer.follow(
        page.locator("tr", { has: page.locator("input[name=FV2]") }).last().getByAltText("Delete this answer"));
    assert.deepEqual(await page.locator("input[name^=FV]").evaluateAll((all) => all.map((input) => input.value)),
        ["Good", "Poor", "I was absent"]);
    await picture(page, "question");
    await designer.press("Back");
    assert.ok((await designer.rows()).includes("1. How was the \"blue\" room?*"));

    // A copy shares the questions, and goes.
    await designer.follow(page.getByRole("link", { name: "an existing surva" }));
    await page.locator("input[name=SurvaVersionID]").check();
    await designer.press("Next");
    assert.equal(await page.locator("input[name=SurvaName]").inputValue(), "Copy of: Été – a first surva");
    await designer.press("Layout definition");
    await designer.pressIn("Clarity", "Modify this group or question");
    await page.locator("input[name=Question]").fill("Clearness");
    await designer.press("Save properties changes");
    await designer.press("Back");
    await designer.press("surva properties");
    await designer.press("List of survas");
    await page.locator("input[name=Number]").first().check();
    await designer.press("Change");
    await picture(page, "list");
    assert.equal(await page.getByAltText("Delete Surva").count(), 1, "the default cannot go");
    await page.locator("tr", { hasText: /^\s*Été – a first surva/ }).last().locator("input").check();
    await designer.press("Change");
    await designer.pressPicture("Delete Surva");
    assert.equal(await page.locator("input[name=Number]").count(), 1);

    const opened = context.waitForEvent("page");
    await page.getByAltText("Preview Surva").click();
    const preview = await opened;
    await preview.waitForLoadState("load");
    assert.ok(await preview.getByText("Clearness").isVisible(), "the copy's change shows in its source");
    assert.equal(await preview.getByRole("button").count(), 0);
    await picture(preview, "preview");

    await designer.pressPicture("Modify Surva");
    const link = page.locator("a[target=_prev]");
    assert.match(await link.innerText(), /^http:\/\/127\.0\.0\.1\/surva\.asp\?version=1$/);
    // The link carries no port.
    await page.goto(`${site.address}/${(await link.getAttribute("href")).split("/").pop()}`);
    const form = new Form(page);
    await form.radio("How was the \"blue\" room?", "I was absent").check();
    await form.box("Manner", "Funny").check();
    await form.list("Clearness").selectOption({ label: "Clear" });
    await form.text("Why so?").fill("It's a long story");
    await picture(page, "form");
    await form.send();
    await page.waitForURL(`${site.address}/greetings/default0.asp`);
    const stored = site.query(`select Content, coalesce(FieldValue, TextAnswer) as Answer from AnonymousMark
        join Question using (QuestionID) left join FieldValue using (FieldValueID) order by AnonymousMarkID`);
    assert.deepEqual(stored, [
        { Content: "Manner", Answer: "Funny" },
        { Content: "Clearness", Answer: "Clear" },
        { Content: "How was the \"blue\" room?", Answer: "I was absent" },
        { Content: "Why so?", Answer: "It's a long story" },
    ]);
    assert.deepEqual(complaints, []);
});
