// What is killed: PostgreSQL servers, nodes of surva, and an nginx in front of two of them. All of it lies in one folder,
// which goes with the test, and listens on the loopback interface or on sockets in the folder.
import { execFile, execFileSync, spawn, spawnSync } from "node:child_process";
import { once } from "node:events";
import { chmodSync, mkdirSync, mkdtempSync, readFileSync, rmSync, writeFileSync } from "node:fs";
import { connect, createServer } from "node:net";
import path from "node:path";
import { setTimeout as sleep } from "node:timers/promises";
import { fileURLToPath } from "node:url";
import { promisify } from "node:util";
import { Server, binary } from "../support/server.mjs";

const run = promisify(execFile);
const here = (file) => fileURLToPath(new URL(file, import.meta.url));

// A socket's path must be short.
const folder = mkdtempSync("/tmp/surva-crash-");
chmodSync(folder, 0o755);
process.on("exit", () => rmSync(folder, { recursive: true, force: true }));
let serial = 0;
const fresh = (name) => path.join(folder, `${name}${++serial}`);

function ask(tool, ...args) {
    return execFileSync(tool, args, { encoding: "utf8", maxBuffer: 1 << 28, stdio: ["ignore", "pipe", "pipe"] }).trimEnd();
}

export async function until(what, condition, seconds = 30) {
    const end = Date.now() + seconds * 1000;
    while (!(await condition())) {
        if (Date.now() > end) throw new Error(`waited ${seconds} s for ${what}`);
        await sleep(20);
    }
}

export class Postgres {
    folder = fresh("pg");
    dsn = `postgresql://postgres@/surva?host=${this.folder}`;

    #script(action, ...args) {
        return run(here("../support/postgres.sh"), [action, this.folder, ...args]);
    }

    static async make() {
        const server = new Postgres();
        await server.#script("start");
        server.query("create database surva", "postgres");
        return server;
    }

    // In the place of what was there before.
    async follow(primary) {
        mkdirSync(this.folder, { recursive: true });
        rmSync(path.join(this.folder, "data"), { recursive: true, force: true });
        execFileSync("chown", [`--reference=${primary.folder}`, this.folder]);
        await this.#script("tool", "pg_basebackup", "-h", primary.folder, "-U", "postgres", "-D", "data", "-R", "-c", "fast", "--no-sync");
        await this.start();
        primary.query("alter system set synchronous_standby_names = '*'");
        primary.query("select pg_reload_conf()");
        await until("the standby", () => primary.query("select sync_state from pg_stat_replication") === "sync");
        const { stderr } = spawnSync(binary, ["check", "--dsn", this.dsn], { encoding: "utf8" });
        if (!/is a standby's and cannot be written; name the primary/.test(stderr)) throw new Error(`a standby is taken: ${stderr}`);
    }

    // It refuses to start while one of those that were killed is not quite gone.
    start() {
        return until("PostgreSQL", () => this.#script("tool", "pg_ctl", "-D", "data", "-l", "log", "-o", `-k ${this.folder}`, "-w", "start")
            .then(() => true, () => false));
    }

    // As a power cut would end it, with all that it has begun.
    async kill() {
        const pid = Number(readFileSync(path.join(this.folder, "data/postmaster.pid"), "utf8").split("\n")[0]);
        process.kill(pid, "SIGSTOP");  // or it might begin another meanwhile
        for (const one of [...ask("ps", "-o", "pid=", "--ppid", `${pid}`).split("\n").map(Number), pid]) {
            try { process.kill(one, "SIGKILL"); } catch {}
        }
    }

    promote() {
        return this.#script("tool", "pg_ctl", "promote", "-D", "data", "-w");
    }

    stop() {
        return this.#script("stop");
    }

    query(sql, database = "surva") {
        return ask("psql", "-h", this.folder, "-U", "postgres", "-d", database, "-AtXq", "-F", "\t", "-v", "ON_ERROR_STOP=1", "-c", sql);
    }
}

// Between surva and a server; what is on its way when it is cut arrives in part or not at all.
export class Wire {
    folder = fresh("wire");
    dsn = `postgresql://postgres@/surva?host=${this.folder}`;
    #ends = new Set();
    #whole = true;

    constructor(server) {
        mkdirSync(this.folder);
        createServer((near) => {
            if (!this.#whole) return near.destroy();
            const far = connect(`${server.folder}/.s.PGSQL.5432`);
            for (const end of [near, far]) {
                this.#ends.add(end);
                end.on("error", () => {}).on("close", () => this.#ends.delete(end));
            }
            near.pipe(far).pipe(near);
        }).listen(`${this.folder}/.s.PGSQL.5432`).unref();
    }

    cut() {
        this.#whole = false;
        for (const end of this.#ends) end.destroy();
    }
    mend() {
        this.#whole = true;
    }
}

// A node of surva. What slows strangers down would slow a crowd behind one proxy.
export class Node extends Server {
    constructor(dsn = `sqlite:${fresh("surva.db")}`) {
        super(dsn, "--error-log", "off", "--wrong-pins", "off", "--public-writes", "off");
    }

    query(sql) {
        return super.query(sql, "-separator", "\t");
    }
}

// The site file of deploy/cluster over nodes of our own, without TLS.
export async function startNginx(nodes) {
    const server = createServer().listen(0, "127.0.0.1");
    await once(server, "listening");
    const { port } = server.address();
    await promisify(server.close.bind(server))();
    let site = readFileSync(here("../../deploy/cluster/nginx-site.conf"), "utf8");
    for (const [pattern, text] of [...nodes.map((node) => [/server 192\.0\.2\.\d+:8080/, `server ${new URL(node.address).host}`]),
        [/listen 443 ssl[^;]*;/, `listen 127.0.0.1:${port};`], [/\n\s*ssl_certificate[^;]*;\n\s*ssl_certificate_key[^;]*;/, ""]]) {
        if (!pattern.test(site)) throw new Error(`deploy/cluster/nginx-site.conf has no ${pattern}`);
        site = site.replace(pattern, text);
    }
    const home = fresh("nginx");
    mkdirSync(home);
    writeFileSync(`${home}/nginx.conf`, `daemon off; worker_processes 1; pid nginx.pid; error_log stderr error;
        events { worker_connections 512; }
        http { access_log off; client_body_temp_path body; proxy_temp_path proxy; fastcgi_temp_path f; uwsgi_temp_path u; scgi_temp_path s;
        ${site} }`);
    const child = spawn("nginx", ["-p", home, "-c", `${home}/nginx.conf`, "-e", "stderr"], { stdio: "ignore" });
    process.on("exit", () => child.kill());
    return `http://127.0.0.1:${port}`;
}
