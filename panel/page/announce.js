// SPDX-License-Identifier: Apache-2.0
// What a screen reader says: the user's own steps at once, what happens on the ports at most once a second.
import { byId } from "./dom.js";
import { paced } from "./pace.js";
import { findPort, typeOf } from "./state.js";
import { texts } from "./texts.js";

const PAUSE_MS = 1000;

export function announce(text) {
    byId("announcer").textContent = text;
}

/// What became of a port since it was last looked at; null for nothing worth a word.
function newsOf(state, port, before) {
    if (!before || before.state === port.state) return null;
    if (port.state === "empty") return texts.nowEmpty(port.label);
    if (port.state !== "detected") return null;
    return texts.nowDetected(
        port.label,
        typeOf(state, port.device?.type).name,
        port.device?.name ?? "",
        port.milliseconds,
    );
}

export function announceDetections(store) {
    let before = null;
    const look = paced(PAUSE_MS, () => {
        const { state } = store;
        const news = state.ports.map((port) => newsOf(state, port, findPort({ ports: before }, port.port)));
        before = state.ports;
        const text = news.filter(Boolean).join(". ");
        if (text) announce(text);
    });
    store.watch(["ports"], ({ ports }) => {
        before ??= ports;
        look();
    });
}
