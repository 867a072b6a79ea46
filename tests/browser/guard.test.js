// Staff sign in; other people's pages and stored markup change nothing.
import assert from "node:assert/strict";
import { createServer } from "node:http";
import { once } from "node:events";
import { after, test } from "node:test";
import { openVisit, press, stage } from "./site.js";

const password = "three blue cranes";
const { site, browser } = await stage();
let lure = "";
const evil = createServer((request, response) => {
    response.setHeader("Content-Type", "text/html");
    response.end(`<!DOCTYPE html><body>${lure}</body>`);
}).listen(0, "127.0.0.1");
await once(evil, "listening");
after(() => evil.close());

const survas = () => site.value("select count(*) from SurvaVersion");
const victim = () => site.value("select SurvaVersionID from SurvaVersion order by SurvaVersionID limit 1");

// Markup that has a browser ask for an address by itself.
const asking = (address) => [`<meta http-equiv=refresh content="0;url=${address}">`, `<object data="${address}"></object>`,
    ...["img", "iframe", "embed", "video", "audio", "script"].map((tag) => `<${tag} src="${address}"></${tag}>`),
    ...["prefetch", "stylesheet"].map((kind) => `<link rel=${kind} href="${address}">`), `<input type=image src="${address}">`,
    `<body background="${address}">`, `<div style="background:url('${address}')">x</div>`, `<img srcset="${address} 2x">`,
    `<style>@import "${address}"; td { background: url(${address}) }</style>`, `<svg><image href="${address}"/></svg>`];

// Until an account is made, the pages are open to this machine, as they are to everybody who has let something in.
test("other sites' pages delete no surva", async () => {
    const before = survas();
    const address = `${site.address}/admin/CreateForm.asp?DeleteSurva=${victim()}`;
    const forms = `<form id=f method=post action="${site.address}/admin/CreateForm.asp">
        <input name=DeleteSurva value=${victim()}></form>`;
    const [refresh, ...loads] = asking(address);
    const lures = [refresh, loads.join(""), `<script>fetch("${address}", { mode: "no-cors", credentials: "include" })</script>`,
        `<script>location = "${address}"</script>`, `<script>window.open("${address}")</script>`, `${forms}<script>f.submit()</script>`];
    for (const host of ["127.0.0.1", "localhost"]) {
        for (lure of lures) {
            const { page, context } = await openVisit(browser);
            await page.goto(`http://${host}:${evil.address().port}/`, { waitUntil: "commit" });
            await page.waitForTimeout(300);
            await context.close();
            assert.equal(survas(), before, `${host}: ${lure}`);
        }
        // A person's click as well.
        lure = `<a href="${address}">A prize</a>${forms}<button form=f>Another</button>`;
        for (const name of ["A prize", "Another"]) {
            const { page, context } = await openVisit(browser);
            await page.goto(`http://${host}:${evil.address().port}/`);
            await page.getByText(name, { exact: true }).click();
            await page.waitForURL(/admin/);
            await page.waitForLoadState("load");
            assert.equal(survas(), before, `${host}: a click on ${name}`);
            await context.close();
        }
    }
});

test("markup in a remark acts neither by itself nor by a click", async () => {
    const before = survas();
    const address = `CreateForm.asp?DeleteSurva=${victim()}`;
    const { page, context } = await openVisit(browser);
    const post = (form) => context.request.post(`${site.address}/surva.asp`, { form });
    await post({ PIN: site.waiting("", 1)[0].PIN });
    for (const remark of asking(address))
        await post({ NeXt: "1", Notes: remark });
    const remarksPage = `${site.address}/admin/stat.asp?Remarks=1`;
    await page.goto(remarksPage);
    await page.waitForTimeout(800);
    assert.equal(page.url(), remarksPage, "no page refreshes itself");
    assert.equal(survas(), before, "by itself");

    const form = (rest) => `</form><form ${rest}><input type=hidden name=DeleteSurva value=${victim()}><input type=submit id=lure value=see></form>`;
    for (const lure of [`<a id=lure href="${address}">see</a>`, form("method=post action=\"CreateForm.asp\""),
        "<a id=lure style=\"position:fixed;inset:0;opacity:0\" href=\"student.asp?Add=1\">see</a>",
        form("action=\"http://127.0.0.1:9/\""), form("action=\"CreateForm.asp\" style=\"opacity:0\"")]) {
        site.change(`update Message set Message='${lure}' where MessageID=(select min(MessageID) from Message)`);
        await page.goto(remarksPage);
        await page.locator("html[lang=en]").waitFor();
        await page.locator("#lure").click({ force: true });
        await page.waitForTimeout(200);
        // What a person sees and presses may lead to the page that refuses it.
        assert.ok(page.url() === remarksPage || lure.includes("method=post"), lure);
        assert.equal(survas(), before, lure);
    }
});

test("staff sign in and come where they wanted to go, by a link on another site too", async () => {
    site.run(["staff", "add", "anna", "--role", "owner"], `${password}\n`);
    const { page } = await openVisit(browser);
    const wanted = `${site.address}/admin/browse.asp?ReadCriteria=1`;
    // A server that knew of no account looks again after a second.
    for (let i = 0; i < 100 && !page.url().includes("/admin/sign-in?to="); ++i) {
        await page.goto(wanted);
        await page.waitForTimeout(50);
    }
    await page.getByLabel("Name").fill("anna");
    await page.getByLabel("Password").fill(password);
    await press(page, "Sign in");
    assert.equal(page.url(), wanted);

    // A link on another site opens the page, though its cookie is kept back at first: a page between leads there.
    lure = `<a href="${site.address}/admin/stat.asp?Action=P">Look</a>`;
    await page.goto(`http://localhost:${evil.address().port}/`);
    await page.getByText("Look").click();
    await page.getByRole("link", { name: "Week" }).first().waitFor();
    assert.equal(page.url(), `${site.address}/admin/stat.asp?Action=P`);
});
