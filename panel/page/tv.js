// SPDX-License-Identifier: Apache-2.0
// The back of the TV: its inputs, the cables, and the devices at their other ends.
import { drop, makeCarriable, makeDraggable } from "./carry.js";
import { byId, command, element, icon, reconcile, setAttribute, setIcon, setText } from "./dom.js";
import { order } from "./request.js";
import { presentPorts, typeOf } from "./state.js";
import { texts } from "./texts.js";

// An input is named by its kind and its number.
const connectorOf = (port) => `connector-${port.input.replace(/\d+$/, "")}`;

const stateText = (port) =>
    port.milliseconds !== null && port.state === "detected"
        ? texts.detectedIn(port.milliseconds)
        : (texts.portStates[port.state] ?? port.state);

const nameOf = (port) => port.device?.name || port.capture || texts.unnamed;

function tool(name, click) {
    const node = command("", click, { class: `tool ${name}`, "data-command": name });
    node.append(icon(name));
    return node;
}

class Input {
    #store;
    #port;
    #connector = icon(null, "connector");
    #label = element("span", { class: "label" });
    #whose = element("span", { class: "unseen" });
    #glyph = icon(null, "glyph");
    #name = element("span", { class: "name", dir: "auto" });
    #detail = element("span", { class: "detail", dir: "auto" });
    #time = element("span", { class: "time" });
    #face = element("button", { type: "button", class: "face", "data-command": "choose", click: () => this.#choose() });
    #move = tool("move");
    #unplug = tool("unplug", () => this.#pull());

    constructor(port, store) {
        this.#store = store;
        this.#port = port;
        const load = () => (this.#port.state === "empty" ? null : { from: this.#port.port, text: nameOf(this.#port) });
        makeDraggable(this.#face, load);
        makeCarriable(this.#move, load);
        this.#face.append(this.#whose, this.#glyph, this.#name, this.#detail, this.#time);
        this.node = element(
            "li",
            { class: "input", "data-port": port.port },
            element("div", { class: "socket" }, this.#connector, this.#label),
            element("div", { class: "cable" }),
            element(
                "div",
                { class: "device" },
                this.#face,
                element("div", { class: "tools" }, this.#move, this.#unplug),
            ),
        );
    }

    #choose() {
        if (this.#store.state.carry) drop(this.#port.port);
        else this.#store.set({ selected: this.#port.port });
    }

    #pull() {
        this.#face.focus(); // the button goes with the device
        order("/api/unplug", { port: this.#port.port });
    }

    update(port) {
        this.#port = port;
        const { carry } = this.#store.state;
        setAttribute(this.node, "data-state", port.state);
        this.node.classList.toggle("aimed", carry?.aim === port.port);
        setIcon(this.#connector, connectorOf(port));
        setText(this.#label, port.label);
        this.#updateFace(port, this.#store.state);
        const empty = port.state === "empty";
        this.#unplug.hidden = empty;
        this.#move.hidden = empty;
        setAttribute(this.#unplug, "aria-label", texts.unplug(port.label));
        setAttribute(this.#move, "aria-label", texts.move(nameOf(port), port.label));
        setAttribute(this.#move, "aria-pressed", carry?.from === port.port);
    }

    #updateFace(port, state) {
        const empty = port.state === "empty";
        const known = port.state === "detected" && port.device;
        const type = known ? typeOf(state, port.device.type) : { name: "", icon: "other" };
        const detail = known ? [type.name, port.device.detail].filter(Boolean).join(" · ") : "";
        const said = [empty ? texts.portStates.empty : nameOf(port), detail, empty ? "" : stateText(port)];
        setIcon(this.#glyph, empty ? "empty" : type.icon);
        for (const [index, node] of [this.#name, this.#detail, this.#time].entries()) setText(node, said[index]);
        setAttribute(this.#face, "aria-pressed", state.selected === port.port);
        setText(this.#whose, `${port.label} `);
    }
}

export function showTv(store) {
    const inputs = byId("inputs");
    store.watch(["ports", "types", "selected", "carry"], (state) => {
        const ports = presentPorts(state);
        inputs.style.setProperty("--inputs", ports.length);
        reconcile(
            inputs,
            ports,
            (port) => port.port,
            (port) => new Input(port, store),
        );
    });
}
