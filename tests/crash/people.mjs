// Respondents at kiosks: several people, one after the other, at each browser. Every attempt at a form bears a mark of
// its own in all its answers, so that what is stored tells whose it is and whether it is whole.
import { setTimeout as sleep } from "node:timers/promises";

export const kQuestions = 8;
const kLayout = 100;  // the first row's key
const kNamed = 1;     // keys of the two survas: with PINs, and open to all
const kOpen = 2;

// Tables for `count` people with PINs.
export function seed(count) {
    return `
        insert into SurvaVersion (SurvaVersionID, SurvaName, RequireAuthorisation, RequirePersonalDataPreview, ThankYouPage, DisplayMenu)
            values (${kNamed}, 'Named', -1, 0, 'greetings/default1.asp', 0), (${kOpen}, 'Open', 0, 0, 'greetings/default1.asp', 0);
        insert into Company (CompanyID, CompanyName) values (1, 'Company');
        insert into Training (TrainingID, TrainingName, SurvaVersionID) values (1, 'Training', 1);
        insert into Schedule (ScheduleID, TrainingID, SurvaVersionID, BeginDate, EndDate)
            values (1, 1, 1, '2024-01-01 00:00:00', '2024-01-02 00:00:00');
        insert into Question (QuestionID, Content, AnswerType, QuestionType, SizeX, SizeY, LineRows, Required)
            select i, 'Question ' || i, 2, 3, 40, 3, -1, -1 from generate_series(1, ${kQuestions}) i;
        insert into SurvaLayout (SurvaLayoutID, SurvaVersionID, QuestionID, PositionID)
            select ${kLayout} * surva + i, surva, i, i from generate_series(1, ${kQuestions}) i, generate_series(${kNamed}, ${kOpen}) surva;
        insert into Student (StudentID, CompanyID, FirstName, LastName) select i, 1, 'First', 'Last' from generate_series(1, ${count}) i;
        insert into Participant (ParticipantID, ScheduleID, StudentID, PIN) select i, 1, i, 'p' || i from generate_series(1, ${count}) i`;
}

const pinOf = (student) => `p${student}`;

export class Crowd {
    attempts = [];  // { mark, student (null for nobody's), fate: "thanked" | "denied" | "open" }
    thanked = 0;
    longestSilence = 0;  // between two thanks, in milliseconds
    ended = false;
    #nextStudent = 1;
    #people = [];
    #lastThanks = Date.now();

    // `addresses` are tried in turn by each browser.
    constructor(addresses, count) {
        this.addresses = addresses;
        this.count = count;
    }

    begin(browsers) {
        for (let i = 0; i < browsers; ++i) this.#people.push(this.#kiosk(i));
        this.#people.push(this.#passers());
    }
    async end() {
        this.ended = true;
        await Promise.all(this.#people);
    }
    async nextThanks(seconds = 60) {
        const had = this.thanked;
        const end = Date.now() + seconds * 1000;
        while (this.thanked === had) {
            if (Date.now() > end) throw new Error(`nobody was thanked for ${seconds} s`);
            await sleep(5);
        }
    }

    // Each without a cookie, so that the page's own statements are the first to meet what was killed.
    async #passers() {
        while (!this.ended) {
            await new Browser(this.addresses).ask("/surva.asp", { NeXt: 1, Notes: "Passing by" });
            await sleep(10);
        }
    }

    async #kiosk(number) {
        const browser = new Browser(this.addresses, number);
        for (let turn = number; !this.ended; ++turn) {
            if (turn % 3 === 0) {
                await this.#person(browser, null);
            } else {
                if (this.#nextStudent > this.count) return;
                await this.#person(browser, this.#nextStudent++);
            }
        }
    }

    async #person(browser, student) {
        while (!this.ended) {
            // Who types a PIN has seen the page that asks for it.
            const welcome = await browser.ask("/surva.asp");
            if (!welcome?.body.includes("name=PIN")) {
                await sleep(20);
                continue;
            }
            const entry = student === null ? await browser.ask(`/surva.asp?version=${kOpen}`) : await browser.ask("/surva.asp", { PIN: pinOf(student) });
            if (entry?.body.includes("incorrect PIN")) return;  // an attempt that nobody thanked for was stored
            if (entry?.body.includes("name=FormAccepted") && (await this.accept(browser, student))) return;
            if (!entry || entry.status !== 200) await sleep(20);
        }
    }

    // Whether it was thanked for.
    async accept(browser, student) {
        const attempt = { mark: `${student ?? "nobody"}-${this.attempts.length}`, student, fate: "open" };
        this.attempts.push(attempt);
        const surva = student === null ? kOpen : kNamed;
        const form = { FormAccepted: surva };
        for (let question = 1; question <= kQuestions; ++question) form[kLayout * surva + question] = attempt.mark;
        const answer = await browser.ask("/surva.asp", form);
        if (answer?.status === 302) {
            attempt.fate = "thanked";
            ++this.thanked;
            this.longestSilence = Math.max(this.longestSilence, Date.now() - this.#lastThanks);
            this.#lastThanks = Date.now();
        } else if (answer?.body.includes("nothing of it was stored") || answer?.body.includes("The server is busy")) {
            attempt.fate = "denied";
        }
        return attempt.fate === "thanked";
    }
}

export class Browser {
    #cookies = new Map();

    constructor(addresses, first = 0) {
        this.addresses = addresses;
        this.turn = first;
    }

    // The answer, or null if none came.
    async ask(path, form) {
        try {
            const response = await fetch(this.addresses[this.turn++ % this.addresses.length] + path, {
                method: form ? "POST" : "GET", body: form && new URLSearchParams(form), redirect: "manual", signal: AbortSignal.timeout(15_000),
                headers: { Cookie: [...this.#cookies].map(([name, value]) => `${name}=${value}`).join("; ") } });
            const body = await response.text();
            const given = response.headers.get("Set-Cookie") ?? "";  // Debian's Node knows them as one line alone
            for (const [, name, value] of given.matchAll(/(?:^|, )([^=;, ]+)=([^;]*)/g)) this.#cookies.set(name, value);
            return { status: response.status, body };
        } catch {
            return null;
        }
    }
}

// What is wrong with what is stored; `rows` are student, mark and the number of answers of each kind of person.
export function judge(attempts, named, open) {
    const byMark = new Map(attempts.map((attempt) => [attempt.mark, attempt]));
    const faults = [];
    const stored = new Map();
    for (const [rows, kind] of [[named, "named"], [open, "open"]]) {
        const seen = new Set();
        for (const [person, mark, count] of rows) {
            const attempt = byMark.get(mark);
            if (!attempt) { faults.push(`unknown mark ${mark}`); continue; }
            if (seen.has(person)) faults.push(`${kind} ${person} has answers of two attempts`);
            seen.add(person);
            if (count !== kQuestions) faults.push(`${mark} has ${count} answers of ${kQuestions}`);
            if (kind === "named" && attempt.student !== person) faults.push(`${mark} stands under ${person}`);
            if (kind === "open" && attempt.student !== null) faults.push(`${mark} stands under nobody`);
            if (stored.has(mark)) faults.push(`${mark} is stored twice`);
            stored.set(mark, attempt);
            if (attempt.fate === "denied") faults.push(`${mark} was stored, and its sender told that it was not`);
        }
    }
    for (const attempt of attempts) {
        if (attempt.fate === "thanked" && !stored.has(attempt.mark)) faults.push(`${attempt.mark} was thanked for and is gone`);
    }
    const unthanked = [...stored.values()].filter((attempt) => attempt.fate !== "thanked").length;
    return { faults, unthanked };
}
