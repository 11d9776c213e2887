// SPDX-License-Identifier: Apache-2.0
// Puts the page together: each part shows what it watches of the state, and the stream keeps the state up to date.
import { announceDetections } from "./announce.js";
import { showCaptures } from "./captures.js";
import { startCarrying } from "./carry.js";
import { showCompose } from "./compose.js";
import { showControls } from "./controls.js";
import { showEvents } from "./events.js";
import { showHealth } from "./health.js";
import { showLog } from "./log.js";
import { showPort } from "./port.js";
import { showProfiles } from "./profiles.js";
import { showRecordings } from "./recordings.js";
import { showStatistics } from "./statistics.js";
import { Store } from "./store.js";
import { openStream } from "./stream.js";
import { texts } from "./texts.js";
import { showTv } from "./tv.js";

const PARTS = [
    showHealth,
    startCarrying,
    showTv,
    showCaptures,
    showPort,
    showEvents,
    showControls,
    showStatistics,
    showCompose,
    showProfiles,
    showRecordings,
    showLog,
    announceDetections,
];

const store = new Store();
document.title = texts.title;
for (const node of document.querySelectorAll("[data-text]")) node.textContent = texts[node.dataset.text];
for (const start of PARTS) start(store);
openStream(store);
