// What is killed: PostgreSQL servers, nodes of surva, and an nginx in front of two of them. All of it lies in one folder
// and listens on the loopback interface or on sockets in the folder.
import { execFile, execFileSync, spawn } from "node:child_process";
import { once } from "node:events";
import { chmodSync, existsSync, mkdirSync, mkdtempSync, readFileSync, readdirSync, rmSync, writeFileSync } from "node:fs";
import { createServer } from "node:net";
import path from "node:path";
import { createInterface } from "node:readline";
import { setTimeout as sleep } from "node:timers/promises";
import { promisify } from "node:util";

const kAllRows = 1 << 28;  // bytes of the longest answer to a query

const surva = process.env.SURVA_BINARY;
if (!surva || !existsSync(surva)) throw new Error("SURVA_BINARY must name the surva to test; ctest sets it");

async function freePort() {
    const server = createServer().listen(0, "127.0.0.1");
    await once(server, "listening");
    const { port } = server.address();
    server.close();
    await once(server, "close");
    return port;
}

export async function until(what, condition, seconds = 30) {
    const end = Date.now() + seconds * 1000;
    while (!(await condition())) {
        if (Date.now() > end) throw new Error(`waited ${seconds} s for ${what}`);
        await sleep(20);
    }
}

function childrenOf(pid) {
    const listed = execFileSync("ps", ["-e", "-o", "pid=,ppid="], { encoding: "utf8" });
    return listed.split("\n").map((line) => line.trim().split(/\s+/).map(Number)).filter(([, parent]) => parent === pid).map(([child]) => child);
}

class Process {
    child;

    async begin(command, args, options) {
        this.child = spawn(command, args, { stdio: ["ignore", "pipe", "pipe"], ...options });
        this.ended = once(this.child, "exit");
        this.ended.catch(() => {});
        this.child.stderr.resume();
        this.words = "";
        this.child.stderr.on("data", (text) => (this.words = (this.words + text).slice(-20000)));
    }

    // As a power cut would end it, with all that it has begun.
    async kill() {
        const { pid } = this.child;
        process.kill(pid, "SIGSTOP");  // or it might begin another meanwhile
        for (const one of [pid, ...childrenOf(pid)]) {
            try { process.kill(one, "SIGKILL"); } catch {}
        }
        await this.ended;
    }

    async stop(signal = "SIGTERM") {
        if (this.child?.exitCode !== null || this.child.signalCode !== null) return;
        this.child.kill(signal);
        await this.ended;
    }
}

const asRoot = process.getuid() === 0;
const owner = asRoot ? ["-u", "-g"].map((which) => Number(execFileSync("id", [which, "postgres"]))) : [];
const asOwner = asRoot ? { uid: owner[0], gid: owner[1] } : {};
const binaries = existsSync("/usr/lib/postgresql/15/bin") ? "/usr/lib/postgresql/15/bin"
    : path.dirname(execFileSync("which", ["pg_ctl"], { encoding: "utf8" }).trim());

export class Postgres extends Process {
    constructor(folder, options = []) {
        super();
        this.folder = folder;
        this.options = options;
        mkdirSync(folder);
        if (asRoot) execFileSync("chown", ["postgres:", folder]);
    }

    tool(name, args) {
        return promisify(execFile)(path.join(binaries, name), args, { cwd: this.folder, ...asOwner });
    }

    make() {
        return this.tool("initdb", ["-D", "data", "-U", "postgres", "--auth=trust", "-E", "UTF8", "--locale=C.UTF-8", "--no-sync"]);
    }

    copyOf(primary) {
        rmSync(path.join(this.folder, "data"), { recursive: true, force: true });
        return this.tool("pg_basebackup", ["-h", primary.folder, "-U", "postgres", "-D", "data", "-R", "-c", "fast", "--no-sync"]);
    }

    async start() {
        // A process that is killed leaves what it had written to the system, so that nothing need be forced to the disk.
        const begin = () => this.begin(path.join(binaries, "postgres"), ["-D", "data", "-k", this.folder, "-c", "listen_addresses=",
            "-c", "fsync=off", ...this.options.flatMap((option) => ["-c", option])], { cwd: this.folder, ...asOwner });
        await begin();
        await until("PostgreSQL", async () => {
            // It refuses to start while one of those that were killed is not quite gone.
            if (this.child.exitCode !== null) await begin();
            try { return this.query("select 1") === "1"; } catch { return false; }
        });
    }

    query(sql, database = "postgres") {
        return execFileSync("psql", ["-h", this.folder, "-U", "postgres", "-d", database, "-AtXq", "-F", "\t", "-v", "ON_ERROR_STOP=1", "-c", sql],
            { encoding: "utf8", maxBuffer: kAllRows, stdio: ["ignore", "pipe", "pipe"] }).trimEnd();
    }

    promote() {
        return this.tool("pg_ctl", ["promote", "-D", "data", "-w"]);
    }
}

// Options that slow strangers down, and would slow a crowd behind one proxy.
const help = execFileSync(surva, ["serve", "--help"], { encoding: "utf8" });
const openHanded = ["wrong-pins", "public-writes"].filter((name) => help.includes(`--${name} `)).flatMap((name) => [`--${name}`, "off"]);

export class Node extends Process {
    constructor(dsn) {
        super();
        this.dsn = dsn;
    }

    init() {
        execFileSync(surva, ["init", "--dsn", this.dsn], { stdio: "pipe" });
    }

    copyOf(other) {
        execFileSync(surva, ["copy", "--from", other.dsn, "--to", this.dsn], { stdio: "pipe" });
    }

    async start() {
        this.port ??= await freePort();
        await this.begin(surva, ["serve", "--dsn", this.dsn, "--listen", `127.0.0.1:${this.port}`, "--access-log", "off", ...openHanded]);
        const lines = createInterface({ input: this.child.stdout });
        const ended = this.ended.then(([code]) => { throw new Error(`surva ended with ${code} before it served: ${this.words}`); });
        await Promise.race([once(lines, "line"), ended]);
        ended.catch(() => {});
    }
}

// The site file of deploy/cluster over nodes of our own, without TLS.
export class Nginx extends Process {
    constructor(folder, nodes) {
        super();
        this.folder = folder;
        this.nodes = nodes;
    }

    async start() {
        this.port = await freePort();
        let site = readFileSync(new URL("../../deploy/cluster/nginx-site.conf", import.meta.url), "utf8");
        const put = (pattern, text) => {
            if (!pattern.test(site)) throw new Error(`deploy/cluster/nginx-site.conf has no ${pattern}`);
            site = site.replace(pattern, text);
        };
        this.nodes.forEach((node) => put(/server 192\.0\.2\.\d+:8080/, `server 127.0.0.1:${node.port}`));
        put(/listen 443 ssl[^;]*;/, `listen 127.0.0.1:${this.port};`);
        put(/\n\s*ssl_certificate[^;]*;\n\s*ssl_certificate_key[^;]*;/, "");
        mkdirSync(this.folder);
        writeFileSync(path.join(this.folder, "nginx.conf"), `
            daemon off; worker_processes 1; pid nginx.pid; error_log stderr error;
            events { worker_connections 512; }
            http { access_log off; client_body_temp_path body; proxy_temp_path proxy; fastcgi_temp_path f; uwsgi_temp_path u; scgi_temp_path s;
            ${site} }`);
        await this.begin("nginx", ["-p", this.folder, "-c", path.join(this.folder, "nginx.conf"), "-e", "stderr"]);
        this.child.stdout.resume();
        await sleep(200);
        if (this.child.exitCode !== null) throw new Error(`nginx ended: ${this.words}`);
    }
}

// A folder that goes with the test. A socket's path must be short.
export function scratch() {
    const folder = mkdtempSync("/tmp/surva-crash-");
    chmodSync(folder, 0o755);
    process.on("exit", () => rmSync(folder, { recursive: true, force: true }));
    return folder;
}

export function sqliteQuery(file, sql) {
    return execFileSync("sqlite3", ["-separator", "\t", "-cmd", ".timeout 5000", file, sql], { encoding: "utf8", maxBuffer: kAllRows }).trimEnd();
}
