// SPDX-License-Identifier: Apache-2.0
// A device on its way to a port: picked up with the mouse, a finger or the keyboard, aimed at a port, put down there.
// The state's member carry is {text, capture | from, aim, dragged}, or null.
import { announce } from "./announce.js";
import { element } from "./dom.js";
import { order } from "./request.js";
import { findPort, presentPorts } from "./state.js";
import { texts } from "./texts.js";

const DRAG_PIXELS = 6;

let store;
let dragged = false; // the click that may follow a drag is not one

const labelOf = (port) => findPort(store.state, port)?.label ?? "";

function aimAt(port) {
    const { carry } = store.state;
    if (!carry || carry.aim === port) return;
    store.set({ carry: { ...carry, aim: port } });
    if (port !== null) announce(texts.aimedAt(labelOf(port)));
}

function aimNext(step) {
    const ports = presentPorts(store.state).map((port) => port.port);
    const at = ports.indexOf(store.state.carry.aim);
    aimAt(ports[(at + step + ports.length) % ports.length]);
}

/// Takes {text, capture} or {text, from: port} into the hand; the mouse does its own aiming.
function pickUp(load, byMouse) {
    if (store.state.read_only) return;
    const free = presentPorts(store.state).find((port) => port.state === "empty");
    const aim = byMouse ? null : (load.from ?? free?.port ?? store.state.selected);
    store.set({ carry: { ...load, dragged: byMouse, aim } });
    announce(texts.pickedUp(load.text));
}

function cancel() {
    if (!store.state.carry) return;
    announce(texts.putBack(store.state.carry.text));
    store.set({ carry: null });
}

/// What is in a port makes way.
async function put(load, port) {
    if (findPort(store.state, port)?.state !== "empty" && !(await order("/api/unplug", { port }))) return false;
    return load.capture === undefined
        ? order("/api/move", { from: load.from, to: port })
        : order("/api/plug", { port, capture: load.capture });
}

/// Puts what is in the hand into a port.
export async function drop(port = store.state.carry?.aim) {
    const { carry } = store.state;
    if (!carry) return;
    if (port === null || port === undefined || port === carry.from) {
        cancel();
        return;
    }
    store.set({ carry: null, selected: port });
    if (await put(carry, port)) announce(texts.dropped(carry.text, labelOf(port)));
}

const KEYS = {
    ArrowLeft: () => aimNext(-1),
    ArrowUp: () => aimNext(-1),
    ArrowRight: () => aimNext(1),
    ArrowDown: () => aimNext(1),
    Enter: () => drop(),
    " ": () => drop(),
    Escape: cancel,
};

function portUnder(event) {
    const input = document.elementFromPoint(event.clientX, event.clientY)?.closest("[data-port]");
    return input ? Number(input.dataset.port) : null;
}

function drag(load, start) {
    let shade = null;
    const move = (event) => {
        if (!shade) {
            if (Math.hypot(event.clientX - start.clientX, event.clientY - start.clientY) < DRAG_PIXELS) return;
            pickUp(load, true);
            if (!store.state.carry) return end();
            shade = element("div", { class: "shade", text: load.text });
            document.body.append(shade);
        }
        shade.style.transform = `translate(${event.clientX + 12}px, ${event.clientY + 12}px)`;
        aimAt(portUnder(event));
    };
    const end = () => {
        for (const [name, listener] of listeners) document.removeEventListener(name, listener);
        shade?.remove();
    };
    const release = (event) => {
        end();
        if (!shade) return;
        dragged = true;
        drop(portUnder(event));
    };
    const listeners = [
        ["pointermove", move],
        ["pointerup", release],
        [
            "pointercancel",
            () => {
                end();
                cancel();
            },
        ],
    ];
    for (const [name, listener] of listeners) document.addEventListener(name, listener);
}

/// Lets the device at a node be dragged with the mouse: load() returns what it is, null for none.
export function makeDraggable(node, load) {
    node.addEventListener("pointerdown", (event) => {
        dragged = false;
        const loaded = event.button === 0 && event.pointerType !== "touch" && !store.state.carry ? load() : null;
        if (loaded) drag(loaded, event);
    });
}

/// The same for a button that also picks the device up when pressed: by the keyboard, and by a finger, which drags the
/// page.
export function makeCarriable(node, load) {
    makeDraggable(node, load);
    node.addEventListener("click", (event) => {
        const loaded = load();
        const { carry } = store.state;
        if (dragged && event.detail > 0) return;
        if (carry && carry.capture === loaded?.capture && carry.from === loaded?.from) cancel();
        else if (loaded) pickUp(loaded, false);
    });
}

export function startCarrying(theStore) {
    store = theStore;
    document.addEventListener(
        "keydown",
        (event) => {
            if (!store.state.carry || !KEYS[event.key] || event.target.matches("input, select, textarea")) return;
            event.preventDefault();
            event.stopPropagation();
            KEYS[event.key]();
        },
        { capture: true },
    );
    store.watch(["carry"], ({ carry }) => {
        document.body.classList.toggle("carrying", Boolean(carry));
        document.body.classList.toggle("dragging", Boolean(carry?.dragged));
    });
}
