// The questionnaire designer, from an empty database to a filled-in form.
import assert from "node:assert/strict";
import { test } from "node:test";
import { Form, openVisit, stage } from "./site.js";

const { site, browser } = await stage({ demo: false });

test("a surva is built and filled in as a browser understands its pages", async () => {
    const { page, context, alerts, complaints } = await openVisit(browser);
    // Every button and link leads to another page; it is there when these return, and its alert is closed.
    const follow = async (target) => {
        const loaded = page.waitForEvent("load");
        await target.click();
        await loaded;
    };
    const push = (name) => follow(page.getByRole("button", { name, exact: true }));
    // The cell in which a row's buttons stand, by the row's text.
    const row = (text = "") => page.locator("td:has(> [name=CnfDelQuestion]), th:has(> [name=CnfDelQuestion])", { hasText: text });
    const pick = (text) => page.locator("tr", { hasText: new RegExp(`^\\s*${text}`) }).last().locator("input").check();
    // Goes through the wizard, from the press on a picture. A setting `true` is a radio button, named "name=value".
    const add = async (picture, phrase, role, kind, ...steps) => {
        await follow(picture);
        await page.locator("input[name=question]").fill(phrase);
        await push("Next");
        await pick(role);
        await push("Next");
        if (kind)
            await pick(kind);
        for (const settings of kind ? [{}, ...steps] : []) {
            for (const [name, value] of Object.entries(settings)) {
                const [control, choice] = name.split("=");
                await (choice ? page.locator(`input[name=${control}][value='${choice}']`).check() : page.locator(`input[name=${control}]`).fill(value));
            }
            await push("Next");
        }
    };

    await page.goto(`${site.address}/admin/CreateForm.asp`);
    await follow(page.getByRole("link", { name: "an empty surva" }));
    await page.locator("input[name=SurvaName]").fill("Été – a first surva");
    await page.locator("input[name=RequireAuthorisation][value='0']").check();
    await push("Save properties changes");
    await push("Layout definition");
    // A phrase left blank is asked for again.
    const last = page.getByAltText("Add a new question or main group");
    await follow(last);
    await push("Next");
    assert.deepEqual(alerts, ["You have not entered question phrase or a group name !"]);
    await push("Back");

    await add(last, "The trainer", "Main Group");
    await add(last, "How was the room?", "Main Question", "Radio button",
        { NumberOfValues: "2", "LineRows=2": true, "AnswerIsRequired=1": true }, { CkbVal1: "Good", CkbVal2: "Poor" });
    await add(last, "Why so?", "Sub Question", "Text field", { SizeY: "3", SizeX: "40" });
    await add(row("How was the room?").getByAltText("Add new question or group above this one"), "Manner", "Sub Question",
        "CheckBox", { NumberOfValues: "2", "AnswerIsRequired=1": true }, { CkbVal1: "Friendly", CkbVal2: "Funny" });
    await add(last, "A slip", "Label");
    await follow(row("A slip").getByAltText("Move one level up"));
    await row("A slip").locator("input[name=CnfDelQuestion]").check();
    await push("Delete selected");
    assert.deepEqual((await row().allInnerTexts()).map((text) => text.replace(/\s+/g, " ").trim()),
        ["The trainer", "Manner*", "1. How was the room?*", "Why so?"]);

    await follow(row("How was the room?").getByAltText("Modify this group or question"));
    await page.locator("input[name=FV2]").fill("I was \"absent\"");
    await push("Save answers changes");
    await page.goto(`${site.address}/admin/CreateForm.asp`);
    const opened = context.waitForEvent("page");
    await page.getByAltText("Preview Surva").click();
    const preview = await opened;
    await preview.getByText("I was \"absent\"").waitFor();
    assert.equal(await preview.getByRole("button").count(), 0);

    await page.goto(`${site.address}/surva.asp?version=1`);
    const form = new Form(page);
    await form.choice("How was the room?", "I was \"absent\"").check();
    await form.choice("Manner", "Funny").check();
    await form.cell("Why so?").locator("textarea").fill("It's a long story");
    await form.send();
    await page.waitForURL(`${site.address}/greetings/default0.asp`);
    assert.deepEqual(site.query(`select coalesce(FieldValue, TextAnswer) as Answer from AnonymousMark
        left join FieldValue using (FieldValueID) order by AnonymousMarkID`).map(({ Answer }) => Answer),
    ["Funny", "I was \"absent\"", "It's a long story"]);
    assert.deepEqual(complaints, []);
});
