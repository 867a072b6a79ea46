// Every page of the site in the states that people meet, one after the other: what looks at all pages begins here.
// Yields [name, page]; the page shows that state until the next is asked for.
import { Form, enter, logOn, press } from "./site.js";

// The look of a form without the site's frame.
function bare(site) {
    site.change(`update SurvaVersion set DisplayMenu=0 where SurvaVersionID=${site.version("Short workshop")}`);
}

// The event with the most forms filled in ("="), or still to be filled in ("<>"). Behind "||" a text is compared as it
// is; only surva knows the column's own order.
export function largestEvent(site, pin) {
    return site.value(`select ScheduleID from Participant where PIN||''${pin}'' group by 1 order by count(*) desc, 1 limit 1`);
}

// What a respondent meets on his way.
export async function* filledPages(site, page) {
    const [full] = site.waiting("Training evaluation", 1);
    const [short] = site.waiting("Short workshop", 1);
    bare(site);
    const held = page.frameLocator("#surva");
    const accept = held.getByRole("button", { name: "Accept answers" });
    const start = page.getByRole("button", { name: "Fill in the surva" });

    await page.goto(`${site.address}/fill?PIN=${full.PIN}`);
    await start.waitFor();
    yield ["fill-start", page];
    await page.goto(`${site.address}/`);
    await held.getByLabel("PIN", { exact: true }).waitFor();
    yield ["fill-pin", page];
    await enter(held, "999999999");
    await held.getByText("You entered incorrect PIN").waitFor();
    yield ["fill-pin-wrong", page];
    await enter(held, full.PIN);
    await held.getByRole("button", { name: "Next" }).waitFor();
    yield ["fill-details", page];
    await held.getByRole("button", { name: "Next" }).click();
    await accept.waitFor();
    yield ["fill-form", page];
    await accept.click();
    await page.locator("#open.urgent").waitFor();
    yield ["fill-form-incomplete", page];
    await page.goto(`${site.address}/fill`);
    await enter(held, short.PIN);
    await accept.waitFor();
    yield ["fill-form-short", page];
    for (const version of [987654, "none"]) {
        await page.goto(`${site.address}/fill?version=${version}`);
        await start.click();
        await page.getByRole("button", { name: "Enter a PIN" }).waitFor();
        yield [`fill-refused-${version}`, page];
    }
}

// The same without /fill around it, as a browser without scripts has it.
export async function* barePages(site, page) {
    const at = (address) => page.goto(`${site.address}/surva.asp${address}`);
    const [full] = site.waiting("Training evaluation", 1);
    const [short] = site.waiting("Short workshop", 1);
    bare(site);
    await at("");
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
    for (const [name, version] of [["form-open", site.version("Open day")], ["refused", 987654], ["error", "none"]]) {
        await at(`?version=${version}`);
        yield [name, page];
    }
}

// Each address under its name.
async function* addressed(site, page, addresses) {
    for (const [name, address] of Object.entries(addresses)) {
        await page.goto(`${site.address}/${address}`);
        yield [name, page];
    }
}

export function otherPages(site, page) {
    return addressed(site, page, { greetings0: "greetings/default0.asp", greetings1: "greetings/default1.asp",
        "status-404": "nowhere", help: "admin/help.asp", "help-events": "admin/help.asp?topic=/admin/schedule.asp" });
}

export async function* staffPages(site, page) {
    const at = (address) => page.goto(`${site.address}/admin/${address}`);
    const version = site.version("Training evaluation");
    const event = largestEvent(site, "=");
    const layout = site.value(`select SurvaLayoutID from SurvaLayout join Question using (QuestionID)
        where SurvaVersionID=${version} and QuestionType=4 order by PositionID limit 1`);
    const search = async (part) => {
        await page.locator(`[name=BYear${part}]`).fill("2025");
        await page.locator(`[name=EYear${part}]`).fill("2090");
        await press(page, "Search");
    };

    yield* addressed(site, page, { start: "admin/default.asp", survas: "admin/CreateForm.asp",
        "survas-copy": "admin/CreateForm.asp?CreateNewSurva=1",
        "survas-question": `admin/CreateForm.asp?SurvaVersion=${version}&ModifyQuestion=${layout}`,
        "survas-preview": `admin/CreateForm.asp?Preview=${version}`,
        "survas-properties": `admin/CreateForm.asp?View=${version}` });
    await press(page, "Layout definition");
    yield ["survas-layout", page];
    await page.locator("a[href*='AddQuestion=-1']").click();
    await page.locator("[name=question]").waitFor();
    yield ["wizard-phrase", page];
    await page.locator("[name=question]").fill("How was it?");
    for (const [step, answer] of [["role", "[name=AnswerType][value='2']"], ["kind", "[name=QuestionType][value='1']"],
        ["options", ""], ["values", ""]]) {
        await press(page, "Next");
        yield [`wizard-${step}`, page];
        if (answer)
            await page.locator(answer).check();
    }

    yield* addressed(site, page, { events: "admin/schedule.asp?Action=P", "events-add": "admin/schedule.asp?Add=1",
        "events-modify": `admin/schedule.asp?ModSch1=${event}`, "events-pins": `admin/list.asp?Schedule=${event}` });
    await at(`schedule.asp?ModSch0=${event}`);
    await page.frameLocator("frame[name=bottom]").locator("form").waitFor();
    yield ["events-participants", page];

    for (const record of ["company", "student", "trainer", "training"]) {
        await at(`${record}.asp?Add=1`);
        yield [`${record}-add`, page];
        await at(`${record}.asp?Action=P`);
        yield [`${record}-search`, page];
        await press(page, "Search");
        yield [`${record}-list`, page];
        const loaded = page.waitForEvent("load");
        await page.locator("a[href*='Modify=' i]").first().click();
        await loaded;
        yield [`${record}-modify`, page];
    }

    yield* addressed(site, page, { "statistics-month": "admin/stat.asp?Action=P", "statistics-week": "admin/stat.asp?BrowseWeek=1",
        "statistics-remarks": "admin/stat.asp?Remarks=1", "statistics-criteria": "admin/stat.asp?Criteria=1" });
    await search("");
    yield ["filled-count", page];
    yield* addressed(site, page, { "filled-figures": "admin/browse.asp?Stats=1",
        "filled-list": `admin/browse.asp?BrowseForms=1&ScheduleID=${event}` });
    const opened = page.waitForEvent("popup");
    await page.locator("a[target=preview]").first().click();
    const preview = await opened;
    await preview.waitForLoadState("load");
    yield ["filled-form", preview];
    await preview.close();
    await at("stat.asp?CriteriaA=1");
    yield ["statistics-criteria-anonymous", page];
    await search("A");
    yield* addressed(site, page, { "filled-figures-anonymous": "admin/browse.asp?StatsA=1",
        "filled-list-anonymous": "admin/browse.asp?BrowseFormsA=1", "staff-error": "admin/schedule.asp?Action=P&M=13" });
}

// Our own pages, in their states.
export async function* deskPages(site, page) {
    const [waiting, answered] = [largestEvent(site, "<>"), largestEvent(site, "=")];
    yield* addressed(site, page, Object.fromEntries(Object.entries({
        "report-choose": "report", "report": `report?event=${answered}`, "trends": "trends",
        "trends-trainer": "trends?trainer=1&by=quarter", "export": "export", "slips-choose": "slips",
        "slips": `slips?event=${waiting}`, "poster": `poster?version=${site.version("Open day")}`, "import": "import",
        "mail-choose": "mail", "mail": `mail?event=${waiting}`, "privacy": "privacy", "privacy-found": "privacy?name=N",
        "privacy-student": "privacy?student=1", "history": "history", "account": "account", "sign-in": "sign-in",
        "import-event": `import?event=${waiting}` }).map(([name, address]) => [name, `admin/${address}`])));
    await page.getByLabel(/copied out/).fill("Surname\tFirst name\tE-mail\tCompany\nLarsen\tIda\ti@x.example\tNordhaven Logistics A/S\nNobody\t\t\t\n");
    await page.getByRole("button", { name: "Look at it first" }).click();
    await page.getByText(/\d+ new, /).waitFor();
    yield ["import-looked-at", page];
}
