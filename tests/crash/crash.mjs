// crash.mjs [short|long] [SCENARIO...]: kills what serves, while people fill in forms, and looks at what is stored then.
// Every acceptance that was thanked for must be stored exactly once and whole, nobody's under another's name, none that
// was said not to be; who was in the middle of his form goes on with it. Ends with 1 if anything of this does not hold.
import { execFileSync } from "node:child_process";
import { setTimeout as sleep } from "node:timers/promises";
import { Browser, Crowd, judge, seed } from "./people.mjs";
import { Node, Postgres, Wire, startNginx } from "./stage.mjs";
import { binary } from "../support/server.mjs";

const [length = "short", ...wanted] = process.argv.slice(2);
const kills = length === "long" ? 10 : 1;
const loadMs = 700;  // before each kill
const people = 20000;
const browsers = 16;
const sleepers = 3;  // of each kill: have logged on, and go on after it

// Rows of person, mark and the number of answers. Counted here: other tools do not know the texts' collation in a file.
function marksOf(store, table) {
    const counts = new Map();
    for (const line of store.query(`select StudentID, TextAnswer from ${table}`).split("\n").filter(Boolean)) counts.set(line, (counts.get(line) ?? 0) + 1);
    return [...counts].map(([line, count]) => [Number(line.split("\t")[0]), line.split("\t")[1], count]);
}

let good = true;

// Plays one scenario: `kill(round)` kills and brings back, `store` is asked what is stored then.
async function play(name, addresses, store, kill) {
    const crowd = new Crowd(addresses, people);
    crowd.begin(browsers);
    await crowd.nextThanks();
    let late = 0;
    for (let round = 0; round < kills; ++round) {
        const waiting = [];
        for (let i = 0; i < sleepers; ++i) {
            const browser = new Browser(addresses, i);
            const student = people + 1 + round * sleepers + i;
            const entry = await browser.ask("/surva.asp", { PIN: `p${student}` });
            if (!entry?.body.includes("name=FormAccepted")) throw new Error(`${name}: no form for ${student}: ${entry?.status}`);
            waiting.push({ browser, student });
        }
        await sleep(loadMs);
        await kill(round);
        await crowd.nextThanks();
        for (const { browser, student } of waiting) {
            if (!(await crowd.accept(browser, student))) ++late;
        }
    }
    await crowd.end();
    const { faults, unthanked } = judge(crowd.attempts, marksOf(store, "Mark"), marksOf(store, "AnonymousMark"));
    if (late > 0) faults.push(`${late} of ${kills * sleepers} people could not go on with their forms`);
    const denied = crowd.attempts.filter((attempt) => attempt.fate === "denied").length;
    console.log(`${name.padEnd(10)} ${String(kills).padStart(3)} kills, ${crowd.thanked} thanked, ${unthanked} stored without thanks, ` +
        `${denied} told that nothing was stored, longest silence ${crowd.longestSilence} ms; ${faults.length} faults`);
    for (const fault of faults.slice(0, 20)) console.log(`           ${fault}`);
    good &&= faults.length === 0;
}

// A server with the tables of many people, and so many nodes at them.
async function site(count, dsn) {
    const server = await Postgres.make();
    const nodes = Array.from({ length: count }, () => new Node(dsn?.(server) ?? server.dsn));
    new Node(server.dsn).run(["init"]);
    server.query(seed(people + 1000));
    for (const node of nodes) await node.start();
    return { server, nodes, end: async () => {
        for (const node of nodes) await node.stop();
        await server.stop();
    } };
}

const scenarios = {
    // One surva on a file, whose rows only surva itself can write.
    async sqlite() {
        const { nodes: [seeded], end } = await site(1);
        const node = new Node();
        execFileSync(binary, ["copy", "--from", seeded.dsn, "--to", node.dsn], { stdio: "ignore" });
        await end();
        await node.start();
        await play("sqlite", [node.address], node, async () => {
            await node.kill();
            await node.start();
        });
        await node.stop();
    },

    // One surva over PostgreSQL: it, the server, both.
    async postgres() {
        const { server, nodes: [node], end } = await site(1);
        for (const [name, victims] of [["surva", [node]], ["server", [server]], ["both", [server, node]]]) {
            server.query("delete from Mark; delete from AnonymousMark; update Participant set PIN='p' || StudentID");
            await play(name, [node.address], server, async () => {
                await Promise.all(victims.map((victim) => victim.kill()));
                for (const victim of victims) await victim.start();
            });
        }
        await end();
    },

    // One surva whose wire to the server breaks, stays so for a moment, and breaks again.
    async wire() {
        let wire;
        const { server, nodes: [node], end } = await site(1, (server) => (wire = new Wire(server)).dsn);
        await play("wire", [node.address], server, async () => {
            for (let pause = 0; pause < 400; pause += 40) {
                wire.cut();
                await sleep(pause);
                wire.mend();
                await sleep(100);
            }
        });
        await end();
    },

    // Two nodes behind nginx, one of which dies.
    async nodes() {
        const { server, nodes, end } = await site(2);
        await play("nodes", [await startNginx(nodes)], server, async (round) => {
            await nodes[round % 2].kill();
            await sleep(500);
            await nodes[round % 2].start();
        });
        await end();
    },

    // A primary with a synchronous standby, which takes over; each browser asks the two nodes in turn.
    async standby() {
        let standby = new Postgres();
        const { server, nodes, end } = await site(2, ({ dsn }) => `${dsn},${standby.folder}&target_session_attrs=read-write`);
        let primary = server;
        const store = { query: (sql) => primary.query(sql) };
        await play("standby", nodes.map(({ address }) => address), store, async () => {
            await standby.follow(primary);
            await sleep(loadMs);
            await primary.kill();
            await standby.promote();
            [primary, standby] = [standby, primary];
        });
        await end();
        await standby.stop();
        await primary.stop();
    },
};

for (const name of wanted.length > 0 ? wanted : Object.keys(scenarios)) await scenarios[name]();
process.exit(good ? 0 : 1);
