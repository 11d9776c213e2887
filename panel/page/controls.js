// SPDX-License-Identifier: Apache-2.0
// What concerns the TV as a whole: the first-setup scan, the optical scan, the TWC check, what is switched on.
import { byId, command, element, reconcile, setAttribute, setText } from "./dom.js";
import { order } from "./request.js";
import { findPort } from "./state.js";
import { texts } from "./texts.js";

const commands = (path, names) =>
    element(
        "div",
        { class: "row" },
        ...names.map((name) =>
            command(texts.commands[name], () => order(path, { command: name }), { "data-command": name }),
        ),
    );

function showScan(store, place) {
    const progress = element("progress", { max: 100, value: 0, "aria-label": texts.scan });
    const stage = element("p", { class: "hint" });
    place.append(
        element("h3", { text: texts.scan }),
        progress,
        stage,
        commands("/api/scan", ["start", "stop", "resume"]),
    );
    store.watch(["scan", "ports"], (state) => {
        const { scan } = state;
        if (!scan) return;
        progress.value = scan.percent;
        const port = findPort(state, scan.port)?.label;
        const ended = texts.scanFound(scan.stage, scan.found);
        setText(stage, scan.active ? texts.scanRuns(scan.stage, scan.percent, port) : ended);
    });
}

function showOptical(store, place) {
    const activity = element("p", { class: "hint" });
    place.append(element("h3", { text: texts.opticalScan }), activity, commands("/api/optical", ["start", "stop"]));
    store.watch(["optical"], ({ optical }) => setText(activity, optical?.active ? texts.running : texts.idle));
}

function showTwc(store, place) {
    const status = element("p", { class: "hint" });
    place.append(element("h3", { text: texts.twc }), status);
    store.watch(["twc", "ports"], (state) => {
        setText(status, texts.twcStatus(state.twc?.text ?? "", findPort(state, state.twc?.port)?.label));
    });
}

function createFeature() {
    const name = element("dt");
    const value = element("dd");
    const update = ([key, on]) => {
        setText(name, texts.features[key] ?? key);
        setText(value, on ? texts.yes : texts.no);
        setAttribute(value, "data-on", on);
    };
    return { node: element("div", {}, name, value), update };
}

function showFeatures(store, place) {
    const list = element("dl", { class: "facts" });
    place.append(element("h3", { text: texts.featuresTitle }), list);
    store.watch(["features"], ({ features = {} }) =>
        reconcile(list, Object.entries(features), ([key]) => key, createFeature),
    );
}

export function showControls(store) {
    for (const show of [showScan, showOptical, showTwc, showFeatures]) {
        const place = element("div", { class: "control" });
        byId("controls").append(place);
        show(store, place);
    }
}
