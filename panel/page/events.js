// SPDX-License-Identifier: Apache-2.0
// The events as they came, the newest first.
import { byId, element, reconcile } from "./dom.js";
import { texts } from "./texts.js";

const SHOWN = 100;

const clockOf = (time) => /T([\d:]+)/.exec(time)?.[1] ?? time;

const createEvent = (event) => ({
    node: element(
        "li",
        { class: "event" },
        element("time", { datetime: event.time, text: clockOf(event.time) }),
        element("span", { class: "tag", text: event.name, title: texts.eventType(event.type) }),
        element("span", { class: "text", dir: "auto", text: event.text }),
    ),
});

export function showEvents(store) {
    const list = element("ol", { class: "events lines", tabindex: "0", "aria-labelledby": "events-title" });
    const none = element("p", { class: "hint", text: texts.noEvents });
    byId("events").append(none, list);
    store.watch(["events"], ({ events = [] }) => {
        none.hidden = events.length > 0;
        reconcile(list, events.slice(-SHOWN).reverse(), (event) => event, createEvent);
    });
}
