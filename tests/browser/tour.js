// Every page of the site in the states that people meet, one after the other: what looks at all pages begins here.
// Yields [name, page]; the page shows that state until the next is asked for.
import { Form, logOn, press } from "./site.js";

// The look of a form without the site's frame.
function bare(site) {
    site.change(`update SurvaVersion set DisplayMenu=0 where SurvaVersionID=${site.version("Short workshop")}`);
}

// What a respondent meets on his way.
export async function* filledPages(site, page) {
    const [full] = site.waiting("Training evaluation", 1);
    const [short] = site.waiting("Short workshop", 1);
    bare(site);
    const held = page.frameLocator("#surva");
    const enter = async (pin) => {
        await held.getByLabel("PIN", { exact: true }).fill(pin);
        await held.getByRole("button", { name: "OK" }).click();
    };
    const accept = held.getByRole("button", { name: "Accept answers" });

    await page.goto(`${site.address}/fill?PIN=${full.PIN}`);
    await page.getByRole("button", { name: "Fill in the surva" }).waitFor();
    yield ["fill-start", page];
    await page.goto(`${site.address}/`);
    await held.getByLabel("PIN", { exact: true }).waitFor();
    yield ["fill-pin", page];
    await enter("999999999");
    await held.getByText("You entered incorrect PIN").waitFor();
    yield ["fill-pin-wrong", page];
    await enter(full.PIN);
    await held.getByRole("button", { name: "Next" }).waitFor();
    yield ["fill-details", page];
    await held.getByRole("button", { name: "Next" }).click();
    await accept.waitFor();
    yield ["fill-form", page];
    await accept.click();
    await page.locator("#open.urgent").waitFor();
    yield ["fill-form-incomplete", page];
    await page.goto(`${site.address}/fill`);
    await enter(short.PIN);
    await accept.waitFor();
    yield ["fill-form-short", page];
    for (const version of [987654, "none"]) {
        await page.goto(`${site.address}/fill?version=${version}`);
        await page.getByRole("button", { name: "Fill in the surva" }).click();
        await held.locator("blockquote").waitFor();
        yield [`fill-refused-${version}`, page];
    }
}

// The same without /fill around it, as a browser without scripts has it.
export async function* barePages(site, page) {
    const at = (address) => page.goto(`${site.address}/${address}`);
    const [full] = site.waiting("Training evaluation", 1);
    const [short] = site.waiting("Short workshop", 1);

    bare(site);
    await at("surva.asp");
    yield ["pin", page];
    await logOn(site, page, "999999999");
    yield ["pin-wrong", page];
    await logOn(site, page, full.PIN);
    yield ["details", page];
    await press(page, "Next");
    yield ["form", page];
    await new Form(page).send();
    yield ["form-incomplete", page];
    await logOn(site, page, short.PIN);
    yield ["form-short", page];
    await at(`surva.asp?version=${site.version("Open day")}`);
    yield ["form-open", page];
    await at("surva.asp?version=987654");
    yield ["refused", page];
    await at("surva.asp?version=none");
    yield ["error", page];
}

export async function* otherPages(site, page) {
    const at = (address) => page.goto(`${site.address}/${address}`);
    await at("greetings/default0.asp");
    yield ["greetings0", page];
    await at("greetings/default1.asp");
    yield ["greetings1", page];
    await at("nowhere");
    yield ["status-404", page];
}

export async function* staffPages(site, page) {
    const at = (address) => page.goto(`${site.address}/admin/${address}`);
    const version = site.version("Training evaluation");
    const events = (order) => site.value(`select ScheduleID from Participant where PIN='' collate nocase group by ScheduleID
        order by count(*) ${order} limit 1`);
    const event = events("desc");
    const layout = site.value(`select SurvaLayoutID from SurvaLayout join Question using (QuestionID)
        where SurvaVersionID=${version} and QuestionType=4 order by PositionID limit 1`);

    await at("default.asp");
    yield ["start", page];

    await at("CreateForm.asp");
    yield ["survas", page];
    await at("CreateForm.asp?CreateNewSurva=1");
    yield ["survas-copy", page];
    await at(`CreateForm.asp?View=${version}`);
    yield ["survas-properties", page];
    await press(page, "Layout definition");
    yield ["survas-layout", page];
    await at(`CreateForm.asp?SurvaVersion=${version}&ModifyQuestion=${layout}`);
    yield ["survas-question", page];
    await at(`CreateForm.asp?Preview=${version}`);
    yield ["survas-preview", page];
    await at(`CreateForm.asp?View=${version}`);
    await press(page, "Layout definition");
    await page.locator("a[href*='AddQuestion=-1']").click();
    await page.locator("[name=question]").waitFor();
    yield ["wizard-phrase", page];
    await page.locator("[name=question]").fill("How was it?");
    await press(page, "Next");
    yield ["wizard-role", page];
    await page.locator("[name=AnswerType][value='2']").check();
    await press(page, "Next");
    yield ["wizard-kind", page];
    await page.locator("[name=QuestionType][value='1']").check();
    await press(page, "Next");
    yield ["wizard-options", page];
    await page.locator("[name=NumberOfValues]").fill("3");
    await press(page, "Next");
    yield ["wizard-values", page];

    await at("schedule.asp?Action=P");
    yield ["events", page];
    await at("schedule.asp?Add=1");
    yield ["events-add", page];
    await at(`schedule.asp?ModSch1=${event}`);
    yield ["events-modify", page];
    await at(`schedule.asp?ModSch0=${event}`);
    await page.frameLocator("frame[name=bottom]").locator("form").waitFor();
    yield ["events-participants", page];
    await at(`list.asp?Schedule=${events("asc")}`);
    yield ["events-pins", page];

    for (const record of ["company", "student", "trainer", "training"]) {
        await at(`${record}.asp?Action=P`);
        yield [`${record}-search`, page];
        await press(page, "Search");
        yield [`${record}-list`, page];
        await page.locator("a[href*='Modify=' i]").first().click();
        await page.waitForLoadState("load");
        yield [`${record}-modify`, page];
        await at(`${record}.asp?Add=1`);
        yield [`${record}-add`, page];
    }

    await at("stat.asp?Action=P");
    yield ["statistics-month", page];
    await at("stat.asp?BrowseWeek=1");
    yield ["statistics-week", page];
    await at("stat.asp?Remarks=1");
    yield ["statistics-remarks", page];
    await at("stat.asp?Criteria=1");
    yield ["statistics-criteria", page];
    await page.locator("[name=BYear]").fill("2025");
    await page.locator("[name=EYear]").fill("2027");
    await press(page, "Search");
    yield ["filled-count", page];
    await at(`browse.asp?Stats=1`);
    yield ["filled-figures", page];
    await at(`browse.asp?BrowseForms=1&ScheduleID=${event}`);
    yield ["filled-list", page];
    const opened = page.waitForEvent("popup");
    await page.locator("a[target=preview]").first().click();
    const preview = await opened;
    await preview.waitForLoadState("load");
    yield ["filled-form", preview];
    await preview.close();
    await at("stat.asp?CriteriaA=1");
    yield ["statistics-criteria-anonymous", page];
    await page.locator("[name=BYearA]").fill("2025");
    await page.locator("[name=EYearA]").fill("2027");
    await press(page, "Search");
    await at("browse.asp?StatsA=1");
    yield ["filled-figures-anonymous", page];
    await at("browse.asp?BrowseFormsA=1");
    yield ["filled-list-anonymous", page];
    await at("schedule.asp?Action=P&M=13");
    yield ["staff-error", page];
    await at("help.asp");
    yield ["help", page];
    await at("help.asp?topic=/admin/schedule.asp");
    yield ["help-events", page];
}

// Our own pages, in their states.
export async function* deskPages(site, page) {
    const at = (address) => page.goto(`${site.address}/admin/${address}`);
    // Behind "||" a text is compared as it is; only surva knows the column's own order.
    const largest = (pin) => site.value(`select ScheduleID from Participant where PIN||''${pin}'' group by 1
        order by count(*) desc, 1 limit 1`);
    const waiting = largest("<>");
    const answered = largest("=");
    const addresses = {
        "report-choose": "report", "report": `report?event=${answered}`, "trends": "trends",
        "trends-trainer": "trends?trainer=1&by=quarter", "export": "export", "slips-choose": "slips",
        "slips": `slips?event=${waiting}`, "poster": `poster?version=${site.version("Open day")}`, "import": "import",
        "import-event": `import?event=${waiting}`, "mail-choose": "mail", "mail": `mail?event=${waiting}`,
        "privacy": "privacy", "privacy-found": "privacy?name=N", "privacy-student": "privacy?student=1",
        "history": "history", "account": "account", "sign-in": "sign-in",
    };
    for (const [name, address] of Object.entries(addresses)) {
        await at(address);
        yield [name, page];
    }
    await at(`import?event=${waiting}`);
    await page.getByLabel(/copied out/).fill("Surname\tFirst name\tE-mail\tCompany\nLarsen\tIda\ti@x.example\tNordhaven Logistics A/S\nNobody\t\t\t\n");
    await page.getByRole("button", { name: "Look at it first" }).click();
    await page.getByText(/\d+ new, /).waitFor();
    yield ["import-looked-at", page];
}
