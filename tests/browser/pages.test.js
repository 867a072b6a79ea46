// Every page in the states that people meet: assistive technology finds nothing to object to, and none is wider than its
// window. Public pages are looked at as respondents see them, in /fill.
import assert from "node:assert/strict";
import { readFileSync } from "node:fs";
import { test } from "node:test";
import { Form, enter, fill, largestEvent, logOn, openVisit, press, stage } from "./site.js";

const { site, browser } = await stage();
const axe = readFileSync(new URL("node_modules/axe-core/axe.min.js", import.meta.url), "utf8");
const [full] = site.waiting("Training evaluation", 1);
const [short] = site.waiting("Short workshop", 1);
const [waiting, answered] = [largestEvent(site, "<>"), largestEvent(site, "=")];
// The look of a form without the site's frame.
site.change(`update SurvaVersion set DisplayMenu=0 where SurvaVersionID=${site.version("Short workshop")}`);
// The widest words: a long e-mail address, a double name, and one without an end. Now the history has an entry, too.
for (const [StudentID, LastName] of [[full.StudentID, "Fernandez de la Vega y Sanchez-Ostiz"], [1, "x".repeat(60)]])
    await fetch(`${site.address}/admin/student.asp`, { method: "POST", body: new URLSearchParams({ Update: "Update", StudentID, LastName,
        CompanyID: 3, FirstName: "Carmen", Email: "carmen.fernandezdelavega@wholesalers.example" }) });

// A tour's steps are addresses, or what is done on the page before; a step that opens another page returns it.
function respondents(page) {
    const held = page.frameLocator("#surva");
    const accept = held.getByRole("button", { name: "Accept answers" });
    const start = page.getByRole("button", { name: "Fill in the surva" });
    const next = held.getByRole("button", { name: "Next" });
    const refused = async (version) => {
        await page.goto(`${site.address}/fill?version=${version}`);
        await start.click();
        await page.getByRole("button", { name: "Enter a PIN" }).waitFor();
    };
    return {
        start: () => page.goto(`${site.address}/fill?PIN=${full.PIN}`).then(() => start.waitFor()),
        pin: () => page.goto(`${site.address}/`).then(() => held.getByLabel("PIN", { exact: true }).waitFor()),
        wrong: () => enter(held, "999999999").then(() => held.getByText("You entered incorrect PIN").waitFor()),
        details: () => enter(held, full.PIN).then(() => next.waitFor()),
        form: () => next.click().then(() => accept.waitFor()),
        incomplete: () => accept.click().then(() => page.locator("#open.urgent").waitFor()),
        short: () => page.goto(`${site.address}/fill`).then(() => enter(held, short.PIN)).then(() => accept.waitFor()),
        refused: () => refused(987654),
        error: () => refused("none"),
    };
}

// The same without /fill around it, as a browser without scripts has it.
function bare(page) {
    return {
        pin: "surva.asp",
        wrong: () => logOn(site, page, "999999999"),
        details: () => logOn(site, page, full.PIN),
        form: () => press(page, "Next"),
        incomplete: () => new Form(page).send(),
        short: () => logOn(site, page, short.PIN),
        open: `surva.asp?version=${site.version("Open day")}`,
        refused: "surva.asp?version=987654",
        error: "surva.asp?version=none",
    };
}

function others() {
    return Object.fromEntries(["greetings/default0.asp", "greetings/default1.asp", "nowhere", "admin/help.asp",
        "admin/help.asp?topic=/admin/schedule.asp"].map((address) => [address, address]));
}

// Our own pages.
function desk(page) {
    const addresses = ["report", `report?event=${answered}`, "trends", "trends?trainer=1&by=quarter", "export", "slips",
        `slips?event=${waiting}`, `poster?version=${site.version("Open day")}`, "import", "mail", `mail?event=${waiting}`, "privacy",
        "privacy?name=N", "privacy?student=1", "history", "account", "sign-in", `import?event=${waiting}`];
    return { ...Object.fromEntries(addresses.map((address) => [address, `admin/${address}`])), "import looked at": async () => {
        await page.getByLabel(/copied out/).fill("Surname\tFirst name\tE-mail\tCompany\nLarsen\tIda\ti@x.example\tNordhaven Logistics A/S\nNobody\t\t\t\n");
        await page.getByRole("button", { name: "Look at it first" }).click();
        await page.getByText(/\d+ new, /).waitFor();
    } };
}

function staff(page) {
    const version = site.version("Training evaluation");
    const layout = site.value(`select SurvaLayoutID from SurvaLayout join Question using (QuestionID)
        where SurvaVersionID=${version} and QuestionType=4 order by PositionID limit 1`);
    const follow = async (link) => {
        const loaded = page.waitForEvent("load");
        await page.locator(link).first().click();
        await loaded;
    };
    const next = (values = {}, choice) => async () => {
        await fill(page, values);
        if (choice)
            await page.locator(choice).check();
        await press(page, "Next");
    };
    const search = (part) => () => fill(page, { [`BYear${part}`]: "2025", [`EYear${part}`]: "2090" }).then(() => press(page, "Search"));
    const records = ["company", "student", "trainer", "training"].map((record) => ({
        [`${record} new`]: `admin/${record}.asp?Add=1`,
        [`${record} search`]: `admin/${record}.asp?Action=P`,
        [`${record} list`]: () => press(page, "Search"),
        [record]: () => follow("a[href*='Modify=' i]"),
    }));
    return {
        start: "admin/default.asp",
        survas: "admin/CreateForm.asp",
        copy: "admin/CreateForm.asp?CreateNewSurva=1",
        question: `admin/CreateForm.asp?SurvaVersion=${version}&ModifyQuestion=${layout}`,
        preview: `admin/CreateForm.asp?Preview=${version}`,
        properties: `admin/CreateForm.asp?View=${version}`,
        layout: () => press(page, "Layout definition"),
        phrase: () => follow("a[href*='AddQuestion=-1']"),
        "no phrase": next(),
        "layout again": () => press(page, "Back"),
        "phrase again": () => follow("a[href*='AddQuestion=-1']"),
        role: next({ question: "How was it?" }),
        kind: next({}, "[name=AnswerType][value='2']"),
        options: next({}, "[name=QuestionType][value='4']"),
        values: next({ NumberOfValues: "2" }),
        "layout with a question more": next({ CkbVal1: "Good", CkbVal2: "I was \"absent\"" }),
        events: "admin/schedule.asp?Action=P",
        "new event": "admin/schedule.asp?Add=1",
        event: `admin/schedule.asp?ModSch1=${answered}`,
        PINs: `admin/list.asp?Schedule=${answered}`,
        participants: () => page.goto(`${site.address}/admin/schedule.asp?ModSch0=${answered}`)
            .then(() => page.frameLocator("frame[name=bottom]").locator("form").waitFor()),
        ...Object.assign({}, ...records),
        month: "admin/stat.asp?Action=P",
        week: "admin/stat.asp?BrowseWeek=1",
        remarks: "admin/stat.asp?Remarks=1",
        criteria: "admin/stat.asp?Criteria=1",
        count: search(""),
        figures: "admin/browse.asp?Stats=1",
        forms: `admin/browse.asp?BrowseForms=1&ScheduleID=${answered}`,
        form: async () => {
            const opened = page.waitForEvent("popup");
            await page.locator("a[target=preview]").first().click();
            const preview = await opened;
            await preview.waitForLoadState("load");
            return preview;
        },
        "criteria of anonymous forms": "admin/stat.asp?CriteriaA=1",
        "count of anonymous forms": search("A"),
        "figures of anonymous forms": "admin/browse.asp?StatsA=1",
        "anonymous forms": "admin/browse.asp?BrowseFormsA=1",
        error: "admin/schedule.asp?Action=P&M=13",
    };
}

// What each page of a tour breaks: a finding is a node that breaks a rule, in the page or in a frame that it holds. A page
// that is wider than its window counts as one more.
async function findings(tour, options) {
    const { page, context, alerts } = await openVisit(browser, { bypassCSP: true, ...options });
    const all = [];
    for (const [name, step] of Object.entries(tour(page))) {
        const opened = typeof step === "string" ? await page.goto(`${site.address}/${step}`) : await step();
        const looked = opened?.frames ? opened : page;
        // The scripts of a staff page set its language when they have seen to the rest.
        await looked.waitForFunction(() => document.documentElement.lang || !document.querySelector("frameset, script[src*='Surva.js']"));
        await looked.waitForTimeout(200);
        for (const frame of looked.frames())
            await frame.evaluate(axe);
        const { violations } = await looked.evaluate(() => window.axe.run(document, { resultTypes: ["violations"] }));
        all.push(...violations.flatMap(({ id, nodes }) => nodes.map(({ target, failureSummary }) => `${name}: ${id}: ${target.join(" ")}: ${failureSummary}`)));
        if (await looked.evaluate(() => document.documentElement.scrollWidth > document.documentElement.clientWidth))
            all.push(`${name}: wider than its window`);
        if (looked !== page)
            await looked.close();
    }
    await context.close();
    return { all, alerts };
}

for (const [tour, ...widths] of [[respondents, 1280, 320], [others, 1280], [desk, 1280, 320]]) {
    test(`pages of ${tour.name} shut nobody out and fit their windows`, async () => {
        for (const width of widths)
            assert.deepEqual((await findings(tour, { viewport: { width, height: 800 } })).all, []);
    });
}

// The list of PIN numbers has no language, main landmark, heading or place for its two tables, for it holds no script that
// could give them, and its bytes are fixed; "Slips" prints the same PINs and has none of these.
test("pages of staff shut nobody out but for the list of PINs, and a question comes of the wizard", async () => {
    const { all, alerts } = await findings(staff);
    assert.deepEqual(all.map((finding) => finding.split(":")[0]), Array(5).fill("PINs"), `${all.join("\n")}`);
    assert.deepEqual(alerts, ["You have not entered question phrase or a group name !"]);
    assert.deepEqual(site.query(`select FieldValue from FieldValue join Question using (QuestionID) where Content||''='How was it?'
        order by FieldValueID`).map(({ FieldValue }) => FieldValue), ["Good", "I was \"absent\""]);
});

test("bare pages fit a phone", async () => {
    const { all } = await findings(bare, { viewport: { width: 390, height: 844 }, isMobile: true, hasTouch: true });
    assert.deepEqual(all.filter((finding) => finding.endsWith("window")), []);
});
