// crash.mjs [short|long] [SCENARIO...]: kills what serves, while people fill in forms, and looks at what is stored then.
// Every acceptance that was thanked for must be stored exactly once and whole, nobody's under another's name, none that
// was said not to be; who was in the middle of his form goes on with it. Ends with 1 if anything of this does not hold.
import { rmSync } from "node:fs";
import path from "node:path";
import { setTimeout as sleep } from "node:timers/promises";
import { Browser, Crowd, judge, seed } from "./people.mjs";
import { Nginx, Node, Postgres, scratch, sqliteQuery, until } from "./stage.mjs";

const [length = "short", ...wanted] = process.argv.slice(2);
const kills = length === "long" ? 10 : 1;
const loadMs = 700;  // before each kill
const people = 20000;
const browsers = 16;
const sleepers = 3;  // of each kill: have logged on, and go on after it

const folder = scratch();
let serial = 0;

async function postgresSite(options = []) {
    const server = new Postgres(path.join(folder, `pg${++serial}`), options);
    await server.make();
    await server.start();
    server.query("create database surva");
    return server;
}

// Rows of person, mark and the number of answers. Counted here: other tools do not know the texts' collation in a file.
function marksOf(stage, table) {
    const counts = new Map();
    for (const line of stage.query(`select StudentID, TextAnswer from ${table}`).split("\n").filter(Boolean)) counts.set(line, (counts.get(line) ?? 0) + 1);
    return [...counts].map(([line, count]) => [Number(line.split("\t")[0]), line.split("\t")[1], count]);
}

// Plays one scenario: `stage` has ports to ask, kill(round) that kills and brings back, and query(sql).
async function play(name, stage) {
    const crowd = new Crowd(stage.ports, people);
    crowd.begin(browsers);
    await crowd.nextThanks();
    let late = 0;
    for (let round = 0; round < kills; ++round) {
        const waiting = [];
        for (let i = 0; i < sleepers; ++i) {
            const browser = new Browser(stage.ports, i);
            const student = people + 1 + round * sleepers + i;
            const entry = await browser.ask("/surva.asp", { PIN: `p${student}` });
            if (!entry?.body.includes("name=FormAccepted")) throw new Error(`${name}: no form for ${student}: ${entry?.status}`);
            waiting.push({ browser, student });
        }
        await sleep(loadMs);
        await stage.kill(round);
        await crowd.nextThanks();
        for (const { browser, student } of waiting) {
            if (!(await crowd.accept(browser, student))) ++late;
            browser.close();
        }
    }
    await crowd.end();
    const { faults, unthanked } = judge(crowd.attempts, marksOf(stage, "Mark"), marksOf(stage, "AnonymousMark"));
    if (late > 0) faults.push(`${late} of ${kills * sleepers} people could not go on with their forms`);
    const denied = crowd.attempts.filter((attempt) => attempt.fate === "denied").length;
    console.log(`${name.padEnd(10)} ${String(kills).padStart(3)} kills, ${crowd.thanked} thanked, ${unthanked} stored without thanks, ` +
        `${denied} told that nothing was stored, longest silence ${crowd.longestSilence} ms; ${faults.length} faults`);
    for (const fault of faults.slice(0, 20)) console.log(`           ${fault}`);
    return faults.length === 0;
}

const kSeed = seed(people + 1000);

const scenarios = {
    // One surva on a file.
    async sqlite() {
        const file = path.join(folder, "surva.db");
        const node = new Node(`sqlite:${file}`);
        // Only surva itself can write the file.
        const server = await postgresSite();
        const source = new Node(`postgresql://postgres@/surva?host=${server.folder}`);
        source.init();
        server.query(`begin; ${kSeed} commit;`, "surva");
        node.copyOf(source);
        await server.stop("SIGINT");
        await node.start();
        const good = await play("sqlite", {
            ports: [node.port],
            query: (sql) => sqliteQuery(file, sql),
            // Without its log of changes it ends by itself.
            kill: async () => {
                await node.kill();
                await node.start();
                await sleep(loadMs);
                rmSync(`${file}-wal`);
                await node.ended;
                await node.start();
            },
        });
        await node.stop();
        return good;
    },

    // One surva over PostgreSQL: it, the server, both.
    async postgres() {
        const server = await postgresSite();
        const node = new Node(`postgresql://postgres@/surva?host=${server.folder}`);
        node.init();
        server.query(`begin; ${kSeed} commit;`, "surva");
        await node.start();
        let good = true;
        for (const [name, victims] of [["surva", [node]], ["server", [server]], ["both", [server, node]]]) {
            if (name !== "surva") server.query("delete from Mark; delete from AnonymousMark; update Participant set PIN='p' || StudentID", "surva");
            good = (await play(name, {
                ports: [node.port],
                query: (sql) => server.query(sql, "surva"),
                kill: async () => {
                    await Promise.all(victims.map((victim) => victim.kill()));
                    for (const victim of victims) await victim.start();
                },
            })) && good;
        }
        await node.stop();
        await server.stop("SIGINT");
        return good;
    },

    // Two nodes behind nginx, one of which dies.
    async nodes() {
        const server = await postgresSite();
        const nodes = [1, 2].map(() => new Node(`postgresql://postgres@/surva?host=${server.folder}`));
        nodes[0].init();
        server.query(`begin; ${kSeed} commit;`, "surva");
        for (const node of nodes) await node.start();
        const nginx = new Nginx(path.join(folder, `nginx${++serial}`), nodes);
        await nginx.start();
        const good = await play("nodes", {
            ports: [nginx.port],
            query: (sql) => server.query(sql, "surva"),
            kill: async (round) => {
                await nodes[round % 2].kill();
                await sleep(500);
                await nodes[round % 2].start();
            },
        });
        await nginx.stop();
        for (const node of nodes) await node.stop();
        await server.stop("SIGINT");
        return good;
    },

    // A primary with a synchronous standby, which takes over; each browser asks the two nodes in turn.
    async standby() {
        let primary = await postgresSite();
        let standby = new Postgres(path.join(folder, `pg${++serial}`));
        const dsn = `postgresql://postgres@/surva?host=${primary.folder},${standby.folder}&target_session_attrs=read-write`;
        const follow = async () => {
            await standby.copyOf(primary);
            await standby.start();
            primary.query("alter system set synchronous_standby_names = '*'");
            primary.query("select pg_reload_conf()");
            await until("the standby", () => primary.query("select sync_state from pg_stat_replication") === "sync");
        };
        const nodes = [1, 2].map(() => new Node(dsn));
        nodes[0].init();
        primary.query(`begin; ${kSeed} commit;`, "surva");
        for (const node of nodes) await node.start();
        const good = await play("standby", {
            ports: nodes.map((node) => node.port),
            query: (sql) => primary.query(sql, "surva"),
            kill: async () => {
                await follow();
                await sleep(loadMs);
                await primary.kill();
                await standby.promote();
                [primary, standby] = [standby, primary];
            },
        });
        for (const node of nodes) await node.stop();
        await primary.stop("SIGINT");
        return good;
    },
};

let good = true;
for (const name of wanted.length > 0 ? wanted : Object.keys(scenarios)) good = (await scenarios[name]()) && good;
process.exit(good ? 0 : 1);
