// SPDX-License-Identifier: Apache-2.0
// How a device was identified, as a picture of four columns: the evidence, the profile or rule that decides, the type, and
// what each function answers, by why it does. Lines join what led to what.
import { drawing, element, icon } from "./dom.js";
import { methodOf, typeOf } from "./state.js";
import { texts } from "./texts.js";

const box = (state, ...children) => element("li", { class: "box", "data-state": state }, ...children);
const title = (text) => element("strong", { text, dir: "auto" });
const line = (text) => element("span", { text, dir: "auto" });

function evidenceBoxes({ items = [], behind = [] }) {
    const boxes = items.map((item) => box(item.usable ? "used" : "refused", title(item.file), line(item.says)));
    for (const device of behind) {
        boxes.push(
            box("idle", title(texts.behind), line(typeof device === "string" ? device : JSON.stringify(device))),
        );
    }
    return boxes.length > 0 ? boxes : [box("idle", line(texts.noEvidence))];
}

const fileName = (path) => String(path).split("/").pop();

function deciderBoxes({ profile, rules = [] }) {
    const boxes = [
        profile
            ? box("used", title(texts.profile(profile.entry, fileName(profile.file))), line(texts.decides))
            : box("idle", title(texts.noProfile)),
    ];
    for (const rule of rules) {
        boxes.push(box(rule.applies ? "used" : "idle", title(rule.method), line(rule.found)));
    }
    return boxes;
}

const valueText = (value) =>
    value === null ? texts.untouched : typeof value === "string" ? `“${value}”` : String(value);

/// A name that breaks at its underscores.
const nameOf = (name) => element("code", {}, ...name.split(/(?<=_)/).flatMap((part) => [part, element("wbr")]));

function answerOf({ function: name, result, values = {} }) {
    const shown = Object.entries(values)
        .map(([key, value]) => `${key} ${valueText(value)}`)
        .join(", ");
    return element(
        "div",
        { class: "answer" },
        nameOf(name),
        line(result === 0 ? shown : `${texts.answerResult(result)}${shown ? `, ${shown}` : ""}`),
    );
}

/// Functions that answer for the same reason share a box.
function answerBoxes(answers = []) {
    const reasons = new Map();
    for (const answer of answers) reasons.set(answer.why, [...(reasons.get(answer.why) ?? []), answer]);
    return [...reasons].map(([why, same]) => box("used", title(why), ...same.map(answerOf)));
}

function curve(from, to, origin) {
    const start = { x: from.right - origin.left, y: from.top + from.height / 2 - origin.top };
    const end = { x: to.left - origin.left, y: to.top + to.height / 2 - origin.top };
    const half = (start.x + end.x) / 2;
    return `M${start.x} ${start.y}C${half} ${start.y} ${half} ${end.y} ${end.x} ${end.y}`;
}

export class Verdict {
    #place;
    #store;
    #columns = [];
    #lines = drawing("svg", { class: "threads", "aria-hidden": "true" });

    constructor(place, store) {
        this.#place = place;
        this.#store = store;
        place.className = "verdict";
        new ResizeObserver(() => this.#join()).observe(place);
    }

    /// Shows an explanation, or {error}.
    show({ error, evidence, record, answers }) {
        if (error) {
            this.#columns = [];
            this.#place.replaceChildren(element("p", { class: "hint", text: error }));
            return;
        }
        const known = evidence ?? {};
        const type = typeOf(this.#store.state, known.type ?? record?.DevType ?? 0);
        const method = methodOf(this.#store.state, known.method ?? record?.DMethod ?? 0);
        this.#columns = [
            [texts.evidence, evidenceBoxes(known)],
            [texts.deciders, evidence ? deciderBoxes(evidence) : []],
            [texts.type, [box("used", icon(type.icon, "glyph"), title(type.name), line(texts.byMethod(method)))]],
            [texts.answers, answerBoxes(answers)],
        ];
        this.#place.replaceChildren(
            this.#lines,
            ...this.#columns.map(([name, boxes]) =>
                element("section", {}, element("h4", { text: name }), element("ul", {}, ...boxes)),
            ),
        );
        this.#join();
    }

    #join() {
        const origin = this.#place.getBoundingClientRect();
        const paths = [];
        for (let i = 1; i < this.#columns.length; ++i) {
            const [before, after] = [this.#columns[i - 1][1], this.#columns[i][1]].map((boxes) =>
                boxes.filter((one) => one.dataset.state === "used"),
            );
            for (const from of before) {
                for (const to of after) {
                    const d = curve(from.getBoundingClientRect(), to.getBoundingClientRect(), origin);
                    paths.push(drawing("path", { d }));
                }
            }
        }
        this.#lines.replaceChildren(...paths);
    }
}
