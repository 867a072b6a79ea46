// Counts what axe-core finds on every page, public ones as respondents see them, in /fill:
//
//     SURVA_BINARY=build/dev/surva node axe.js [--all]
//
// Prints the findings of each page and their sum; --all shows each finding. Ends with 1 beyond what `most` allows.
//
// Five are left, all on the list of PIN numbers: it has no language, main landmark, heading or place for its two tables,
// for it holds no script that could give them, and its bytes are fixed; "Slips" prints the same PINs and has none. The
// bare pages of surva.asp have none for the same reason: they are told, and not counted, since /fill is the way to them.
import { readFileSync } from "node:fs";
import { Site, launchBrowser, openVisit } from "./site.js";
import { barePages, deskPages, filledPages, otherPages, staffPages } from "./tour.js";

const most = 60;
const source = readFileSync(new URL("node_modules/axe-core/axe.min.js", import.meta.url), "utf8");

// What each page of a tour breaks, by its name: a finding is a node that breaks a rule, in the page or in a frame that it
// holds. A page that is wider than its window counts as one more.
export async function findings(site, browser, tour, { told = () => {}, ...options } = {}) {
    const all = {};
    const { page, context } = await openVisit(browser, { bypassCSP: true, ...options });
    for await (const [name, shown] of tour(site, page)) {
        // The scripts of a staff page set its language when they have seen to the rest.
        await shown.waitForFunction(() => document.documentElement.lang || !document.querySelector("frameset, script[src*='Surva.js']"));
        await shown.waitForTimeout(200);
        for (const frame of shown.frames())
            await frame.evaluate(source);
        const { violations } = await shown.evaluate(() => window.axe.run(document, { resultTypes: ["violations"] }));
        all[name] = violations.flatMap(({ id, nodes }) => nodes.map(({ target, failureSummary }) => `${id}: ${target.join(" ")}: ${failureSummary}`));
        if (await shown.evaluate(() => document.documentElement.scrollWidth > document.documentElement.clientWidth))
            all[name].push("width: wider than its window");
        told(name, all[name]);
    }
    await context.close();
    return all;
}

// Those of them that have any.
export function broken(all) {
    return Object.entries(all).filter(([, found]) => found.length > 0);
}

if (process.argv[1] === new URL(import.meta.url).pathname) {
    const site = await Site.start();
    const browser = await launchBrowser();
    const sums = {};
    for (const tour of [filledPages, otherPages, deskPages, staffPages, barePages]) {
        console.log(`${tour.name}:`);
        const told = (name, found) => {
            console.log(`  ${name.padEnd(30)} ${String(found.length).padStart(4)}  ${[...new Set(found.map((one) => one.split(":")[0]))].join(", ")}`);
            if (process.argv.includes("--all"))
                found.forEach((one) => console.log(`      ${one.replaceAll("\n", "\n        ")}`));
        };
        sums[tour.name] = Object.values(await findings(site, browser, tour, { told })).flat().length;
    }
    const sum = sums.filledPages + sums.otherPages + sums.deskPages + sums.staffPages;
    console.log(`${sum} findings, ${most} at most; ${sums.barePages} more on the bare pages`);
    await browser.close();
    await site.stop();
    process.exitCode = sum > most ? 1 : 0;
}
