// SPDX-License-Identifier: Apache-2.0
// The time line of a recording: what is in it by kind, and the player's place.
import { command, drawing, element, setText } from "./dom.js";
import { get, order, showTrouble } from "./request.js";
import { texts } from "./texts.js";

const WIDTH = 1000;
const LANE = 16;
const SPEEDS = [0.5, 1, 2, 4, 10];

/// A lane for each kind of entry, a tick for each entry.
function drawEntries({ length, entries }) {
    const kinds = [...new Set(entries.map((entry) => entry.kind))];
    const ticks = entries.map((entry) =>
        drawing(
            "rect",
            {
                class: "bar",
                x: (WIDTH * entry.at) / (length || 1),
                y: kinds.indexOf(entry.kind) * LANE + 2,
                width: 3,
                height: LANE - 4,
            },
            drawing("title", { text: `${entry.at.toFixed(2)} ${entry.text}` }),
        ),
    );
    const picture = drawing(
        "svg",
        {
            viewBox: `0 0 ${WIDTH} ${Math.max(1, kinds.length) * LANE}`,
            preserveAspectRatio: "none",
            "aria-hidden": "true",
        },
        ...ticks,
    );
    picture.style.height = `${Math.max(1, kinds.length) * LANE}px`;
    const names = element("ul", { class: "lanes" }, ...kinds.map((kind) => element("li", { text: kind })));
    return element("div", { class: "timeline" }, names, picture);
}

export class Timeline {
    #store;
    #addressOf;
    #name = null;
    #sliding = false;
    #title = element("h3", { dir: "auto" });
    #picture = element("div");
    #slider = element("input", { type: "range", min: 0, step: 0.1, value: 0, "aria-label": texts.position });
    #speed = element("select", { class: "changes", "aria-label": texts.speed });
    #place = element("p", { class: "hint" });
    #panel;

    constructor(parent, store, addressOf) {
        this.#store = store;
        this.#addressOf = addressOf;
        for (const speed of SPEEDS) {
            this.#speed.append(element("option", { value: speed, text: texts.speedOf(speed), selected: speed === 1 }));
        }
        this.#slider.addEventListener("input", () => {
            this.#sliding = true;
        });
        this.#slider.addEventListener("change", () => {
            this.#sliding = false;
            this.#send("seek");
        });
        const buttons = ["play", "pause", "stop"].map((name) =>
            command(texts[name], () => this.#send(name), { "data-command": name }),
        );
        this.#panel = element(
            "div",
            { hidden: true },
            this.#title,
            this.#picture,
            this.#slider,
            this.#place,
            element("div", { class: "row" }, ...buttons, this.#speed),
        );
        parent.append(this.#panel);
        store.watch(["player", "read_only"], (state) => this.#follow(state));
    }

    async open(name) {
        try {
            const line = await get(`${this.#addressOf(name)}/timeline`);
            this.#name = name;
            setText(this.#title, texts.showTimeline(name));
            this.#slider.max = line.length;
            this.#slider.value = 0;
            this.#picture.replaceChildren(drawEntries(line));
            this.#panel.hidden = false;
            this.#follow(this.#store.state);
        } catch (error) {
            showTrouble(error.message);
        }
    }

    #send(name) {
        order("/api/play", {
            name: this.#name,
            command: name,
            at: Number(this.#slider.value),
            speed: Number(this.#speed.value),
        });
    }

    #follow({ player, read_only: readOnly }) {
        this.#slider.disabled = Boolean(readOnly);
        const ours = player?.name === this.#name && this.#name !== null;
        if (ours && !this.#sliding) this.#slider.value = player.at;
        const state = ours ? (texts.playerState[player.state] ?? player.state) : texts.playerState.stopped;
        setText(this.#place, `${state} · ${texts.seconds(Number(this.#slider.value), Number(this.#slider.max))}`);
    }
}
