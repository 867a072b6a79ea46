// What the staff pages have from the browser: toolbar, pictures, help.
import assert from "node:assert/strict";
import { test } from "node:test";
import { openVisit, stage } from "./site.js";

const pages = ["default.asp", "CreateForm.asp", "schedule.asp?Action=P", "company.asp?Action=P", "student.asp?Action=P",
    "Trainer.asp?Action=P", "training.asp?Action=P", "stat.asp?Action=P", "browse.asp"];

const { site, browser } = await stage();

for (const address of pages) {
    test(`admin/${address} has a toolbar, all its pictures, and help`, async () => {
        const { page, context, alerts, complaints } = await openVisit(browser);
        await page.goto(`${site.address}/admin/${address}`);

        const toolbar = page.locator("nav.toolbar");
        const links = await toolbar.locator("a").evaluateAll((all) => all.map((link) => link.href));
        for (const offered of pages.map((other) => `${site.address}/admin/${other}`))
            assert.ok(links.includes(offered), `${offered} in ${links}`);
        assert.equal(links.at(-1), `${site.address}/fill`);
        assert.deepEqual(await toolbar.locator("[aria-current]").evaluateAll((all) => all.map((link) => link.href)),
            [`${site.address}/admin/${address}`]);

        await page.waitForLoadState("load");
        const missing = await page.evaluate(() => [...document.images]
            .filter((image) => image.naturalWidth === 0).map((image) => image.src));
        assert.deepEqual(missing, []);

        const opened = context.waitForEvent("page");
        await page.locator("img[alt=Help]").click();
        const help = await opened;
        await help.waitForLoadState("load");
        assert.match(help.url(), new RegExp(`/help\\.asp\\?topic=/admin/${address.split("?")[0]}$`, "i"));
        assert.ok(await help.getByRole("heading").count() > 0, "help has a heading");
        assert.equal(await page.title(), "surva");
        assert.deepEqual(alerts, []);
        assert.deepEqual(complaints, []);
    });
}

test("a staff page's help is about that page", async () => {
    const { page } = await openVisit(browser);
    const headings = new Set();
    for (const address of [...pages, "list.asp"]) {
        await page.goto(`${site.address}/admin/help.asp?topic=/admin/${address.split("?")[0]}`);
        headings.add(await page.getByRole("heading", { level: 1 }).first().innerText());
    }
    assert.equal(headings.size, pages.length + 1, `${[...headings]}`);
});
