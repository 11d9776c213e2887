// SPDX-License-Identifier: Apache-2.0
// The stream of the server: a snapshot, then changes. The browser comes back by itself after a break, with the number of
// the last change, and gets what it missed; where the server ended the stream for good, it is opened again.
import { measureEvents } from "./marks.js";
import { afterChange } from "./state.js";

const RETRY_MS = 1000;

export function openStream(store) {
    const source = new EventSource("/api/stream");
    // What is of the page itself stays: the server has no member of these names.
    const own = () => ({ selected: store.state.selected, carry: store.state.carry });

    source.addEventListener("snapshot", (message) => {
        store.replace({ ...own(), ...afterChange({}, JSON.parse(message.data)), online: true });
    });
    source.addEventListener("change", (message) => {
        const change = JSON.parse(message.data);
        store.replace({ ...afterChange(store.state, change), online: true }, measureEvents(change.events));
    });
    source.addEventListener("open", () => store.set({ online: true }));
    source.addEventListener("error", () => {
        store.set({ online: false });
        if (source.readyState === EventSource.CLOSED) setTimeout(() => openStream(store), RETRY_MS);
    });
}
