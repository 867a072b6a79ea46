// The questionnaire designer, from an empty database to a filled-in form.
import assert from "node:assert/strict";
import { test } from "node:test";
import { Form, openVisit, stage } from "./site.js";

const { site, browser } = await stage({ demo: false });

// SURVA_SCREENSHOTS names a folder for pictures of the pages on the way.
async function picture(page, name) {
    if (process.env.SURVA_SCREENSHOTS)
        await page.screenshot({ path: `${process.env.SURVA_SCREENSHOTS}/${name}.png`, fullPage: true });
}

class Designer {
    constructor(page) {
        this.page = page;
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

test("a surva is built and filled in as a browser understands its pages", async () => {
    const { page, context, alerts, complaints } = await openVisit(browser);
    const designer = new Designer(page);
    await page.goto(`${site.address}/admin/CreateForm.asp`);
    await designer.follow(page.getByRole("link", { name: "an empty surva" }));
    await page.locator("input[name=SurvaName]").fill("Été – a first surva");
    await page.locator("input[name=RequireAuthorisation][value='0']").check();
    await designer.press("Save properties changes");
    await picture(page, "properties");
    await designer.press("Layout definition");

    // A phrase left blank is asked for again.
    await designer.pressPicture("Add a new question or main group");
    await designer.press("Next");
    assert.deepEqual(alerts, ["You have not entered question phrase or a group name !"]);
    await designer.press("Back");

    await designer.add({ phrase: "The trainer", role: "Main Group" });
    await designer.add({
        phrase: "How was the room?", role: "Main Question", kind: "Radio button",
        options: { NumberOfValues: "2", "LineRows=2": true, "AnswerIsRequired=1": true },
        values: { CkbVal1: "Good", CkbVal2: "Poor" },
    });
    await designer.add({
        phrase: "Why so?", role: "Sub Question", kind: "Text field", options: { SizeY: "3", SizeX: "40" },
    });
    await designer.add({
        phrase: "Manner", role: "Sub Question", kind: "CheckBox", above: "How was the room?",
        options: { NumberOfValues: "2", "AnswerIsRequired=1": true }, values: { CkbVal1: "Friendly", CkbVal2: "Funny" },
    });
    await designer.add({ phrase: "A slip", role: "Label" });
    await designer.pressIn("A slip", "Move one level up");
    await designer.row("A slip").locator("input[name=CnfDelQuestion]").check();
    await designer.press("Delete selected");
    assert.deepEqual(await designer.rows(), ["The trainer", "Manner*", "1. How was the room?*", "Why so?"]);
    await picture(page, "editor");

    await designer.pressIn("How was the room?", "Modify this group or question");
    await page.locator("input[name=FV2]").fill("I was \"absent\"");
    await designer.press("Save answers changes");
    await picture(page, "question");
    await page.goto(`${site.address}/admin/CreateForm.asp`);
    const opened = context.waitForEvent("page");
    await page.getByAltText("Preview Surva").click();
    const preview = await opened;
    await preview.waitForLoadState("load");
    assert.equal(await preview.getByRole("button").count(), 0);

    await page.goto(`${site.address}/surva.asp?version=1`);
    const form = new Form(page);
    await form.radio("How was the room?", "I was \"absent\"").check();
    await form.box("Manner", "Funny").check();
    await form.text("Why so?").fill("It's a long story");
    await form.send();
    await page.waitForURL(`${site.address}/greetings/default0.asp`);
    const stored = site.query(`select coalesce(FieldValue, TextAnswer) as Answer from AnonymousMark
        left join FieldValue using (FieldValueID) order by AnonymousMarkID`);
    assert.deepEqual(stored.map(({ Answer }) => Answer), ["Funny", "I was \"absent\"", "It's a long story"]);
    assert.deepEqual(complaints, []);
});
