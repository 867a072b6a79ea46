// Counts what axe-core finds on every page, public ones as respondents see them, in /fill:
//
//     SURVA_BINARY=build/dev/surva node axe.js [--all]
//
// Prints the findings of each page and their sum; --all shows each finding. Ends with 1 beyond what `most` allows. The
// bare pages of surva.asp, which hold no script and to which none can be added, are told and not counted.
import { readFileSync } from "node:fs";
import { Site, launchBrowser, openVisit } from "./site.js";
import { barePages, deskPages, filledPages, otherPages, staffPages } from "./tour.js";

const most = 60;
const source = readFileSync(new URL("node_modules/axe-core/axe.min.js", import.meta.url), "utf8");

// Each node that breaks a rule is a finding, in the page and in the frames that it holds.
async function findings(page) {
    for (const frame of page.frames())
        await frame.evaluate(source);
    const { violations } = await page.evaluate(() => window.axe.run(document, { resultTypes: ["violations"] }));
    return violations.flatMap(({ id, nodes }) => nodes.map(({ target, failureSummary }) => ({ id, target, failureSummary })));
}

export async function count(site, browser, tour, told = () => {}) {
    const counts = {};
    const { page, context } = await openVisit(browser, { bypassCSP: true });
    for await (const [name, shown] of tour(site, page)) {
        // The scripts of a staff page set its language when they have seen to the rest.
        await shown.waitForFunction(() => document.documentElement.lang || !document.querySelector("frameset, script[src*='Surva.js']"));
        await shown.waitForTimeout(200);
        const found = await findings(shown);
        counts[name] = found.length;
        told(name, found);
    }
    await context.close();
    return counts;
}

if (process.argv[1] === new URL(import.meta.url).pathname) {
    const all = process.argv.includes("--all");
    const site = await Site.start();
    const browser = await launchBrowser();
    const sums = {};
    for (const tour of [filledPages, otherPages, deskPages, staffPages, barePages]) {
        console.log(`${tour.name}:`);
        const counts = await count(site, browser, tour, (name, found) => {
            const rules = [...new Set(found.map(({ id }) => id))].map((id) => `${id} ${found.filter((one) => one.id === id).length}`);
            console.log(`  ${name.padEnd(30)} ${String(found.length).padStart(4)}  ${rules.join(", ")}`);
            for (const { id, target, failureSummary } of all ? found : [])
                console.log(`      ${id}: ${target.join(" ")}\n        ${failureSummary.replaceAll("\n", "\n        ")}`);
        });
        sums[tour.name] = Object.values(counts).reduce((sum, number) => sum + number, 0);
    }
    const sum = sums.filledPages + sums.otherPages + sums.deskPages + sums.staffPages;
    console.log(`${sum} findings, ${most} at most; ${sums.barePages} more on the bare pages`);
    await browser.close();
    await site.stop();
    process.exitCode = sum > most ? 1 : 0;
}
