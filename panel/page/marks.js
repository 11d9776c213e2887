// SPDX-License-Identifier: Apache-2.0
// Measures, for who looks at the browser's performance timeline: from when the panel got an event to when the screen
// shows it, and from when the browser got it.

const KEPT = 1000;
let measured = 0;

function measure(name, start, detail) {
    performance.measure(name, { start, end: performance.now(), detail });
}

/// To be called when a change arrives; what it returns, when the change is painted.
export function measureEvents(events = []) {
    if (events.length === 0) return undefined;
    const arrival = performance.now();
    return () => {
        measured += events.length;
        if (measured > KEPT) {
            performance.clearMeasures();
            measured = events.length;
        }
        for (const event of events) {
            measure("event-to-pixels", Math.max(0, event.sent_ms - performance.timeOrigin), event.name);
            measure("arrival-to-pixels", arrival, event.name);
        }
    };
}
