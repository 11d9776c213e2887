// SPDX-License-Identifier: Apache-2.0
// All that is known of the chosen port: how it was identified, the record, the history.
import { byId, command, element, reconcile, setText } from "./dom.js";
import { paced } from "./pace.js";
import { columns } from "./plots.js";
import { get, order } from "./request.js";
import { findPort, methodOf, presentPorts, typeOf } from "./state.js";
import { texts } from "./texts.js";
import { Verdict } from "./verdict.js";

const PAUSE_MS = 150; // of changes of the port, before its explanation is asked for again

function createField() {
    const name = element("dt");
    const value = element("dd", { dir: "auto" });
    const update = ([key, content]) => {
        setText(name, key);
        setText(value, String(content));
    };
    return { node: element("div", {}, name, value), update };
}

function showActions(store) {
    const act = (path, extra) => () => order(path, { port: store.state.selected, ...extra });
    const download = element("a", { class: "button", download: true, text: texts.downloadCapture });
    byId("port").append(
        element(
            "div",
            { class: "row actions" },
            command(texts.deny, act("/api/deny"), { "data-command": "deny" }),
            command(texts.forget, act("/api/forget"), { "data-command": "forget" }),
            command(texts.startTwc, act("/api/twc", { command: "start" }), { "data-command": "twc-start" }),
            command(texts.endTwc, act("/api/twc", { command: "end" }), { "data-command": "twc-end" }),
            download,
        ),
    );
    store.watch(["selected"], ({ selected }) => {
        download.href = `/api/capture?port=${selected}`;
    });
}

function showVerdict(store) {
    const place = element("div");
    byId("port").append(element("h3", { text: texts.verdict }), place);
    const verdict = new Verdict(place, store);
    let asked = null;
    const ask = paced(PAUSE_MS, async () => {
        const port = store.state.selected;
        const explanation = await get(`/api/explain?port=${port}`).catch((error) => ({ error: error.message }));
        if (port === store.state.selected) verdict.show(explanation);
    });
    store.watch(["selected", "ports", "types"], (state) => {
        const port = findPort(state, state.selected);
        const key = JSON.stringify([port?.port, port?.state, port?.capture, port?.record]);
        if (!port || key === asked) return;
        asked = key;
        ask();
    });
}

function showRecord(store) {
    const list = element("dl", { class: "facts" });
    const none = element("p", { class: "hint", text: texts.noRecord });
    byId("port").append(element("h3", { text: texts.record }), none, list);
    store.watch(["selected", "ports"], (state) => {
        const record = findPort(state, state.selected)?.record ?? {};
        none.hidden = Object.keys(record).length > 0;
        reconcile(list, Object.entries(record), ([key]) => key, createField);
    });
}

const createPast = (state) => (entry) => ({
    node: element(
        "tr",
        {},
        element("td", { text: typeOf(state, entry.type).name }),
        element("td", { text: entry.name, dir: "auto" }),
        element("td", { text: methodOf(state, entry.method) }),
        element("td", { text: entry.time_text }),
    ),
});

function showHistory(store) {
    const rows = element("tbody");
    const none = element("p", { class: "hint", text: texts.noHistory });
    const table = element(
        "table",
        {},
        element(
            "thead",
            {},
            element("tr", {}, ...texts.historyColumns.map((text) => element("th", { scope: "col", text }))),
        ),
        rows,
    );
    const plot = element("div");
    byId("port").append(
        element("h3", { text: texts.history }),
        none,
        plot,
        element("div", { class: "wide", tabindex: "0", role: "group", "aria-label": texts.history }, table),
    );
    store.watch(["selected", "ports", "types"], (state) => {
        const history = findPort(state, state.selected)?.history ?? [];
        none.hidden = history.length > 0;
        table.hidden = history.length === 0;
        plot.replaceChildren(
            columns(history, (entry) => texts.took(typeOf(state, entry.type).name, entry.milliseconds)),
        );
        const newestFirst = history.map((entry, index) => ({ ...entry, index })).toReversed();
        reconcile(rows, newestFirst, (entry) => JSON.stringify(entry), createPast(state));
    });
}

export function showPort(store) {
    store.watch(["selected", "ports"], (state) => {
        const ports = presentPorts(state);
        if (ports.length > 0 && !findPort({ ports }, state.selected)) store.set({ selected: ports[0].port });
        setText(byId("port-title"), findPort(state, state.selected)?.label ?? texts.noPort);
    });
    for (const show of [showActions, showVerdict, showRecord, showHistory]) show(store);
}
