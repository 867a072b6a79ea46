// A surva of a test's own, on the loopback interface.
import { execFileSync, spawn } from "node:child_process";
import { once } from "node:events";
import { createInterface } from "node:readline";

export const binary = process.env.SURVA_BINARY;
if (!binary)
    throw new Error("SURVA_BINARY must name the surva to test; ctest sets it");

export class Server {
    #listen = "127.0.0.1:0";
    #options;
    #child;
    #ended;

    constructor(dsn, ...options) {
        this.dsn = dsn;
        this.#options = options;
    }

    // Another command than serving, on the same database.
    run(words, input = "") {
        return execFileSync(binary, [...words, "--dsn", this.dsn], { encoding: "utf8", input });
    }

    // Where it has been before. Returns when it has told its address.
    async start() {
        const options = ["serve", "--dsn", this.dsn, "--listen", this.#listen, "--access-log", "off", ...this.#options];
        this.#child = spawn(binary, options, { stdio: ["ignore", "pipe", "inherit"] });
        this.#ended = once(this.#child, "exit");
        const ended = this.#ended.then(([code]) => { throw new Error(`surva ended with ${code} before it served`); });
        const [line] = await Promise.race([once(createInterface({ input: this.#child.stdout }), "line"), ended]);
        ended.catch(() => {});
        this.address = line.match(/http:\/\/[^/\s]+/)[0];
        this.#listen = new URL(this.address).host;
    }

    async kill(signal = "SIGKILL") {
        this.#child.kill(signal);
        return (await this.#ended)[0];
    }

    // It must end well.
    async stop() {
        const code = await this.kill("SIGTERM");
        if (code !== 0)
            throw new Error(`surva ended with ${code}`);
    }

    // What the SQLite shell says to a statement. It does not know our collation: texts are compared, and sorted, with
    // another one named.
    query(sql, ...options) {
        return execFileSync("sqlite3", [...options, "-cmd", ".timeout 5000", this.dsn.slice("sqlite:".length), sql],
            { encoding: "utf8", maxBuffer: 1 << 28 });
    }
}
