// A server of a test's own, with demo data, and a browser to look at it.
import { mkdtempSync, rmSync } from "node:fs";
import { tmpdir } from "node:os";
import path from "node:path";
import { after } from "node:test";
import { chromium, firefox } from "playwright-core";
import { Server } from "../support/server.mjs";

// SURVA_BROWSER=/usr/bin/firefox-esr looks at the same in Firefox.
const browserPath = process.env.SURVA_BROWSER ?? "/usr/bin/chromium";

class Site extends Server {
    // Rows of a statement, each an object of its columns.
    query(sql) {
        const json = super.query(sql, "-json");
        return json === "" ? [] : JSON.parse(json);
    }

    // Changes rows. The triggers that keep a history call functions of the server's own, which the shell does not have:
    // they are taken away first.
    change(sql) {
        for (const { name } of this.query("select name from sqlite_master where type='trigger'"))
            this.query(`drop trigger "${name}"`);
        this.query(sql);
    }

    // The first row's first column.
    value(sql) {
        const [row] = this.query(sql);
        return row && Object.values(row)[0];
    }

    // Participants whose forms are not filled in, with a surva of this beginning.
    waiting(surva, count) {
        return this.query(`select ParticipantID, PIN, StudentID, ScheduleID, FirstName, LastName, CompanyName
            from Participant join Schedule using (ScheduleID) join SurvaVersion using (SurvaVersionID)
            join Student using (StudentID) join Company using (CompanyID)
            where PIN<>'' collate nocase and SurvaName like '${surva}%' order by ParticipantID limit ${count}`);
    }

    version(surva) {
        return this.value(`select SurvaVersionID from SurvaVersion where SurvaName like '${surva}%'`);
    }
}

function launchBrowser() {
    if (browserPath.includes("firefox"))
        return firefox.launch({ channel: "moz-firefox", executablePath: browserPath });
    return chromium.launch({
        executablePath: browserPath,
        args: ["--no-sandbox", "--disable-gpu", "--disable-quic", "--no-first-run", "--disable-background-networking",
            "--disable-component-update", "--disable-sync"],
    });
}

// What every file of tests begins with: a site and a browser, which end with its last test.
export async function stage() {
    const folder = mkdtempSync(path.join(tmpdir(), "surva-browser-"));
    const site = new Site(`sqlite:${folder}/test.db`);
    site.run(["demo"]);
    await site.start();
    const browser = await launchBrowser();
    after(async () => {
        await browser.close();
        await site.stop();
        rmSync(folder, { recursive: true });
    });
    return { site, browser };
}

// A visitor with cookies of his own. `complaints` gathers what the browser objects to: errors of scripts, what the
// security policy refuses, files that are not there. `alerts` gathers the texts of alerts and questions, which are
// answered at once with what `answer.yes` says then.
export async function openVisit(browser, { answer = { yes: true }, ...options } = {}) {
    const context = await browser.newContext(options);
    context.setDefaultTimeout(10_000);
    const complaints = [];
    const alerts = [];
    context.on("page", (page) => {
        page.on("console", (message) => message.type() === "error" && complaints.push(message.text()));
        page.on("pageerror", (error) => complaints.push(String(error)));
        page.on("response", (response) => response.status() >= 400 && complaints.push(`${response.status()} ${response.url()}`));
        page.on("dialog", (dialog) => {
            alerts.push(dialog.message() || dialog.type());
            return answer.yes ? dialog.accept() : dialog.dismiss();
        });
    });
    return { context, page: await context.newPage(), complaints, alerts };
}

// The form of surva.asp as it stands alone.
export class Form {
    constructor(page) {
        this.page = page;
    }

    // The answer cell of a question, by its text. A text field leaves its row open, so cells are found by their neighbours.
    cell(question) {
        return this.page.locator("td[bgcolor='#C0C0C0']", { hasText: question }).locator("xpath=following-sibling::td[1]");
    }

    // A choice's text stands behind its button.
    choice(question, text) {
        return this.cell(question)
            .locator(`xpath=input[normalize-space(translate(following-sibling::text()[1], '\u00a0', ' '))='${text}']`);
    }

    // Answers whatever carries the red star and has no answer yet, with the last choice.
    async answerRequired() {
        const cells = this.page.locator("td:has(> font[size='4'][color=red]) + td");
        for (const text of await cells.locator("textarea:empty").all())
            await text.fill("something");
        for (const cell of await cells.filter({ has: this.page.locator("input") }).all()) {
            if (await cell.locator("input:checked").count() === 0)
                await cell.locator("input").last().check();
        }
    }

    send() {
        return press(this.page, "Accept answers");
    }
}

// Presses a button and returns when the page that comes of it has loaded and its alerts are closed.
export async function press(page, button) {
    const loaded = page.waitForEvent("load");
    await page.getByRole("button", { name: button }).click();
    await loaded;
}

export async function logOn(site, page, pin) {
    await page.goto(`${site.address}/surva.asp`);
    await page.locator("input[name=PIN]").fill(pin);
    await press(page, "OK");
}

export async function fill(page, values) {
    for (const [name, value] of Object.entries(values))
        await page.locator(`[name="${name}" i]`).fill(value);
}

// The event with the most forms filled in ("="), or still to be filled in ("<>"). Behind "||" a text is compared as it
// is; only surva knows the column's own order.
export function largestEvent(site, pin) {
    return site.value(`select ScheduleID from Participant where PIN||''${pin}'' group by 1 order by count(*) desc, 1 limit 1`);
}

// The same in the frame of /fill.
export async function enter(held, pin) {
    await held.getByLabel("PIN", { exact: true }).fill(pin);
    await held.getByRole("button", { name: "OK" }).click();
}
