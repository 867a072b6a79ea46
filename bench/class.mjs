// class.mjs PORT [VISITORS] [SECONDS] [SPREAD]: a class that begins at the same moment. Every half second 400 of the
// visitors ask for their next page within SPREAD milliseconds (100): the PIN page, the form by the public link of surva
// SURVA, its acceptance. Prints, for each page, how many were asked for, how many were not answered well, and how long
// the answers took.
import http from "node:http";
import { setTimeout as sleep } from "node:timers/promises";

const [port, visitors = 500, seconds = 12, spread = 100] = process.argv.slice(2).map(Number);
const surva = process.env.SURVA ?? "2";
const kBurst = 400;
const kEvery = 500;

class Visitor {
    agent = new http.Agent({ keepAlive: true, maxSockets: 1 });
    cookie = "";
    step = 0;
    fields = [];
    busy = false;
}

const pages = ["PIN page", "form", "acceptance"];
const times = pages.map(() => []);
const bad = pages.map(() => new Map());

function ask(visitor, path, body) {
    return new Promise((resolve, reject) => {
        const headers = { Cookie: visitor.cookie };
        if (body) Object.assign(headers, { "Content-Type": "application/x-www-form-urlencoded", "Content-Length": body.length });
        const request = http.request({ host: "127.0.0.1", port, path, method: body ? "POST" : "GET", headers, agent: visitor.agent }, (response) => {
            let text = "";
            response.setEncoding("latin1");
            response.on("data", (part) => (text += part));
            response.on("end", () => resolve({ status: response.statusCode, headers: response.headers, text }));
        });
        request.on("error", reject);
        request.end(body);
    });
}

async function act(visitor) {
    visitor.busy = true;
    const step = visitor.step;
    const begin = process.hrtime.bigint();
    let outcome;
    try {
        const body = step === 2 ? [`FormAccepted=${surva}`, ...visitor.fields.map((name) => `${name}=${"fine+".repeat(4)}`)].join("&") : undefined;
        const answer = await ask(visitor, step === 1 ? `/surva.asp?version=${surva}` : "/surva.asp", body);
        outcome = answer.status;
        const [set] = answer.headers["set-cookie"] ?? [];
        if (set) visitor.cookie = set.split(";")[0];
        if (step === 1) visitor.fields = [...answer.text.matchAll(/<textarea[^>]* name="(\d+)"/g)].map(([, name]) => name);
    } catch (error) {
        outcome = error.code;
    }
    times[step].push(Number(process.hrtime.bigint() - begin) / 1e6);
    if (outcome !== 200 && !(step === 2 && outcome === 302)) bad[step].set(outcome, (bad[step].get(outcome) ?? 0) + 1);
    visitor.step = (step + 1) % 3;
    visitor.busy = false;
}

const crowd = Array.from({ length: visitors }, (_, i) => Object.assign(new Visitor(), { step: 0, order: i }));
for (let i = 0; i < visitors; i += 25) await Promise.all(crowd.slice(i, i + 25).map(act));  // connections stand
for (const list of times) list.length = 0;

const began = Date.now();
let next = 0;
for (let burst = 0; burst * kEvery < seconds * 1000; ++burst) {
    for (let i = 0; i < kBurst; ++i) {
        const visitor = crowd[next++ % visitors];
        if (!visitor.busy) setTimeout(() => act(visitor), (spread * i) / kBurst);
    }
    await sleep(Math.max(0, began + (burst + 1) * kEvery - Date.now()));
}
await sleep(1000);
for (const [step, page] of pages.entries()) {
    const sorted = times[step].sort((a, b) => a - b);
    const at = (share) => (sorted[Math.floor((sorted.length - 1) * share)] ?? 0).toFixed(1).padStart(7);
    const others = [...bad[step]].map(([outcome, count]) => `${count} x ${outcome}`).join(", ") || "none";
    console.log(`${page.padEnd(10)} ${String(sorted.length).padStart(5)} asked for, not answered well: ${others}; ms: half ${at(0.5)}, p99 ${at(0.99)}, longest ${at(1)}`);
}
process.exit(0);
