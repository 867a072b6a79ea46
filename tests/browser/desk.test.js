// Our own pages in a browser: where they lead, what they print, and that other programs read what they give away.
import assert from "node:assert/strict";
import { test } from "node:test";
import jsQR from "jsqr";
import { PNG } from "pngjs";
import readXlsxFile from "read-excel-file/node";
import { largestEvent, openVisit, press, stage } from "./site.js";

const { site, browser } = await stage();
const waiting = largestEvent(site, "<>");

async function open(address) {
    const visit = await openVisit(browser);
    await visit.page.goto(`${site.address}/admin/${address}`);
    return visit;
}

test("a calendar leads to an event's report, an event to its slips, a slip's code to the form", async () => {
    const { page, complaints } = await open("schedule.asp?Action=P");
    await page.locator("a.to-desk", { hasText: "Report" }).first().click();
    assert.equal(await page.locator("h1", { hasText: /^Event/ }).innerText(), "Event report");
    await page.goto(`${site.address}/admin/schedule.asp?ModSch0=${waiting}`);
    await page.frameLocator("frame[name=top]").locator("a.to-desk", { hasText: "Slips" }).click();
    await page.waitForURL(/\/admin\/slips\?event=/);
    const slip = page.locator(".slip").nth(1);
    const image = PNG.sync.read(await slip.locator("svg.qr").screenshot());
    const code = jsQR(new Uint8ClampedArray(image.data), image.width, image.height);
    assert.equal(code.data, `${site.address}/fill?PIN=${await slip.locator(".pin").innerText()}`);
    const paper = (await page.pdf({ preferCSSPageSize: true })).toString("latin1");
    assert.equal(paper.match(/\/Type\s*\/Page\b/g).length, Math.ceil(await page.locator(".slip").count() / 8));
    assert.deepEqual(complaints, []);
});

test("an export is asked for twice without leaving the page; another program reads it, and texts stay texts", async () => {
    const body = new FormData();
    for (const [name, value] of Object.entries({ kind: "students", do: "store",
        text: "Surname,E-mail,Company,Phone\nFormula,f@x.example,Nordhaven Logistics A/S,+1+1\n_x000D_ ]]> 😀 <&,,Nordhaven Logistics A/S,\n" }))
        body.set(name, value);
    await fetch(`${site.address}/admin/import`, { method: "POST", body });
    const { page } = await open("export");
    const exported = async (as) => {
        await page.getByLabel("As", { exact: true }).selectOption(as);
        const download = page.waitForEvent("download");
        await page.getByRole("button", { name: "Export" }).click();
        assert.match((await download).suggestedFilename(), new RegExp(`^surva-.*\\.${as}$`));
        return (await download).path();
    };
    await exported("csv");
    const [{ data: forms }] = await readXlsxFile(await exported("xlsx"));
    assert.equal(forms.length - 1, site.value("select count(*) from Participant where coalesce(PIN,'')||''=''"));
    const scale = forms[0].findIndex((heading) => /Relevance to my work$/.test(heading));
    assert.ok(forms.slice(1).every((row) => [null, 1, 2, 3, 4, 5].includes(row[scale])));
    await page.getByLabel("What", { exact: true }).selectOption("students");
    const [{ data: students }] = await readXlsxFile(await exported("xlsx"));
    assert.equal(students.length - 1, site.value("select count(*) from Student"));
    for (const text of ["+1+1", "_x000D_ ]]> 😀 <&"])
        assert.ok(students.some((row) => row.includes(text)), text);
});

test("a list is enrolled after a look at it; who comes after the event's last day is told so", async () => {
    const { page } = await open(`import?event=${waiting}`);
    await page.getByLabel(/copied out/).fill("Surname\tFirst name\tE-mail\tCompany\nŁaz\tŻaneta\tz@x.example\tNordhaven Logistics A/S\n");
    await page.getByRole("button", { name: "Look at it first" }).click();
    await page.getByText("1 new, 0 changed, 0 double, 0 wrong").waitFor();
    await page.getByRole("button", { name: "Store all of it" }).click();
    await page.getByText("All is stored").waitFor();
    await page.goto(`${site.address}/admin/slips?event=${waiting}`);
    const PIN = await page.locator(".slip", { hasText: "Żaneta Łaz" }).locator(".pin").innerText();
    await page.getByLabel("Last day for answers").fill("2020-01-01");
    await press(page, "Keep");
    await page.goto(`${site.address}/fill?PIN=${PIN}`);
    await page.getByRole("button", { name: "Fill in the surva" }).click();
    await page.frameLocator("#surva").getByText("open until 1 January 2020").waitFor();
    assert.equal(await page.locator("#told").innerText(), "");
});
