// Our own pages in a browser: that nobody is kept out of them, what they print, and that other programs read what they
// give away.
import assert from "node:assert/strict";
import { readFileSync } from "node:fs";
import { test } from "node:test";
import jsQR from "jsqr";
import { PNG } from "pngjs";
import readXlsxFile from "read-excel-file/node";
import { openVisit, stage } from "./site.js";

const axe = readFileSync(new URL("node_modules/axe-core/axe.min.js", import.meta.url), "utf8");

const { site, browser } = await stage();
// Behind "||" a text is compared as it is; only surva knows the column's own order.
const largest = (pin) => site.value(`select ScheduleID from Participant where PIN||''${pin}'' group by 1
    order by count(*) desc, 1 limit 1`);
const waiting = largest("<>");
const answered = largest("=");

const pages = () => ["report", `report?event=${answered}`, "trends", "trends?trainer=1&by=quarter", "export",
    `slips?event=${waiting}`, "poster?version=3", "import", `import?event=${waiting}`, `mail?event=${waiting}`,
    "privacy?name=N", "privacy?student=1", "history", "account"];

for (const width of [1280, 390]) {
    test(`our own pages shut nobody out and fit ${width} px`, async () => {
        const { page, context, complaints } = await openVisit(browser, { viewport: { width, height: 800 } });
        for (const address of pages()) {
            await page.goto(`${site.address}/admin/${address}`);
            assert.ok(await page.evaluate(() => document.documentElement.scrollWidth <= innerWidth), `${address} is too wide`);
            await page.evaluate(axe);
            const { violations } = await page.evaluate(() => window.axe.run(document));
            assert.deepEqual(violations.map(({ id, nodes }) => `${id}: ${nodes[0].html}`), [], address);
        }
        assert.deepEqual(complaints, []);
        await context.close();
    });
}

test("a calendar leads to an event's report, an event to its slips", async () => {
    const { page, context, complaints } = await openVisit(browser);
    await page.goto(`${site.address}/admin/schedule.asp?Action=P`);
    await page.locator("a.to-desk", { hasText: "Report" }).first().click();
    assert.equal(await page.locator("h1").innerText(), "Event report");
    await page.goto(`${site.address}/admin/schedule.asp?ModSch0=${waiting}`);
    await page.frameLocator("frame[name=top]").locator("a.to-desk", { hasText: "Slips" }).click();
    await page.waitForURL(/\/admin\/slips\?event=/);
    assert.deepEqual(complaints, []);
    await context.close();
});

test("a slip's code leads a telephone to the form", async () => {
    const { page, context } = await openVisit(browser);
    await page.goto(`${site.address}/admin/slips?event=${waiting}`);
    const slip = page.locator(".slip").nth(1);
    const image = PNG.sync.read(await slip.locator("svg.qr").screenshot());
    const code = jsQR(new Uint8ClampedArray(image.data), image.width, image.height);
    assert.equal(code.data, `${site.address}/fill?PIN=${await slip.locator(".pin").innerText()}`);
    const paper = (await page.pdf({ preferCSSPageSize: true })).toString("latin1");
    const slips = await page.locator(".slip").count();
    assert.equal(paper.match(/\/Type\s*\/Page\b/g).length, Math.ceil(slips / 8));
    await context.close();
});

test("an export is asked for twice without leaving the page", async () => {
    const { page, context } = await openVisit(browser);
    await page.goto(`${site.address}/admin/export`);
    for (const as of ["xlsx", "csv"]) {
        await page.getByLabel("As", { exact: true }).selectOption(as);
        const download = page.waitForEvent("download");
        await page.getByRole("button", { name: "Export" }).click();
        assert.match((await download).suggestedFilename(), new RegExp(`^surva-forms-.*\\.${as}$`));
    }
    await context.close();
});

test("a workbook is read by another program, and texts stay texts", async () => {
    const body = new FormData();
    body.set("kind", "students");
    body.set("do", "store");
    body.set("text", "Surname,E-mail,Company,Phone\nFormula,f@x.example,Nordhaven Logistics A/S,+1+1\n_x000D_ ]]> 😀 <&,,Nordhaven Logistics A/S,\n");
    await fetch(`${site.address}/admin/import`, { method: "POST", body });
    const rows = async (query) => {
        const answer = await fetch(`${site.address}/admin/export?${query}`);
        assert.equal(answer.status, 200);
        const [sheet] = await readXlsxFile(Buffer.from(await answer.arrayBuffer()));
        return sheet.data;
    };
    const forms = await rows("what=forms&as=xlsx");
    assert.equal(forms.length - 1, site.value("select count(*) from Participant where coalesce(PIN,'')||''=''"));
    const scale = forms[0].findIndex((heading) => /Relevance to my work$/.test(heading));
    assert.ok(forms.slice(1).every((row) => [null, 1, 2, 3, 4, 5].includes(row[scale])));
    const students = await rows("what=students&as=xlsx");
    assert.equal(students.length - 1, site.value("select count(*) from Student"));
    assert.ok(students.some((row) => row.includes("+1+1")));
    assert.ok(students.some((row) => row.includes("_x000D_ ]]> 😀 <&")));
});

test("a list is enrolled, and its event closed", async () => {
    const { page, context } = await openVisit(browser);
    await page.goto(`${site.address}/admin/import?event=${waiting}`);
    await page.getByLabel(/copied out/).fill("Surname\tFirst name\tE-mail\tCompany\nŁaz\tŻaneta\tz@x.example\tNordhaven Logistics A/S\n");
    await page.getByRole("button", { name: "Look at it first" }).click();
    await page.getByText("1 new, 0 changed, 0 double, 0 wrong").waitFor();
    await page.getByRole("button", { name: "Store all of it" }).click();
    await page.getByText("All is stored").waitFor();
    const [{ PIN }] = site.query("select PIN from Participant order by ParticipantID desc limit 1");
    await page.goto(`${site.address}/admin/slips?event=${waiting}`);
    await page.locator(".slip", { hasText: "Żaneta Łaz" }).waitFor();
    await page.getByLabel("Last day for answers").fill("2020-01-01");
    await page.getByRole("button", { name: "Keep" }).click();
    const closed = await page.goto(`${site.address}/surva.asp?PIN=${PIN}`);
    assert.equal(closed.status(), 410);
    assert.match(await page.locator("main").innerText(), /open until 1 January 2020/);
    await page.goto(`${site.address}/fill?PIN=${PIN}`);
    await page.getByRole("button", { name: "Fill in the surva" }).click();
    await page.frameLocator("#surva").getByText("open until 1 January 2020").waitFor();
    assert.equal(await page.locator("#told").innerText(), "");
    await context.close();
});
