// SPDX-License-Identifier: Apache-2.0
// The recordings: taken, downloaded, and opened as a time line.
import { button, byId, command, element, reconcile, setText } from "./dom.js";
import { order } from "./request.js";
import { texts } from "./texts.js";
import { Timeline } from "./timeline.js";

const addressOf = (name) => `/api/recordings/${encodeURIComponent(name)}`;

function createRecording(open) {
    return ({ name }) => {
        const size = element("span", { class: "hint" });
        const link = element("a", {
            class: "button",
            href: addressOf(name),
            download: name,
            text: texts.downloadShort,
        });
        link.setAttribute("aria-label", texts.download(name));
        const node = element(
            "li",
            { class: "recording" },
            element("span", { class: "name", text: name, dir: "auto" }),
            size,
            button(texts.timeline, () => open(name), {
                "aria-label": texts.showTimeline(name),
                "data-command": "timeline",
            }),
            link,
        );
        return { node, update: (recording) => setText(size, texts.bytes(recording.bytes)) };
    };
}

function showRecorder(store, place) {
    const start = command(texts.startRecording, () => order("/api/record", { command: "start" }), {
        "data-command": "record",
    });
    const stop = command(texts.stopRecording, () => order("/api/record", { command: "stop" }), {
        "data-command": "stop-record",
    });
    const name = element("span", { class: "hint", role: "status" });
    place.append(element("div", { class: "row" }, start, stop, name));
    store.watch(["recorder"], ({ recorder }) => {
        start.hidden = Boolean(recorder?.active);
        stop.hidden = !recorder?.active;
        setText(name, recorder?.active ? texts.recordingNow(recorder.name ?? "") : "");
    });
}

export function showRecordings(store) {
    const place = byId("recordings");
    showRecorder(store, place);
    const none = element("p", { class: "hint", text: texts.noRecordings });
    const list = element("ul", { class: "plain" });
    place.append(none, list);
    const timeline = new Timeline(place, store, addressOf);
    // A panel without a place for recordings, or without the tool that takes them, has no part of the page for them.
    store.watch(["recordings", "tools", "version"], ({ recordings, tools }) => {
        place.hidden = !tools || !recordings;
        if (place.hidden) return;
        none.hidden = recordings.length > 0;
        reconcile(
            list,
            recordings,
            (recording) => recording.name,
            createRecording((name) => timeline.open(name)),
        );
    });
}
