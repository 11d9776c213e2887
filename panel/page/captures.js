// SPDX-License-Identifier: Apache-2.0
// The captures, to be plugged into a port.
import { makeCarriable } from "./carry.js";
import { byId, element, icon, reconcile, setAttribute, setIcon, setText } from "./dom.js";
import { typeOf } from "./state.js";
import { texts } from "./texts.js";

function createCapture(first, store) {
    let capture = first;
    const glyph = icon(null, "glyph");
    const name = element("span", { class: "name", dir: "auto" });
    const detail = element("span", { class: "detail", dir: "auto" });
    const node = element(
        "button",
        { type: "button", class: "capture", "data-command": "carry", "data-name": first.name },
        glyph,
        name,
        detail,
    );
    makeCarriable(node, () => ({ capture: capture.name, text: capture.name }));
    const update = (now) => {
        capture = now;
        const type = typeOf(store.state, capture.type);
        setIcon(glyph, type.icon);
        setText(name, capture.name);
        const called = [capture.brand, capture.device].filter(Boolean).join(" ");
        setText(detail, capture.valid ? [type.name, called].filter(Boolean).join(" · ") : texts.invalidCapture);
        setAttribute(node, "aria-pressed", store.state.carry?.capture === capture.name);
        node.disabled = Boolean(store.state.read_only);
    };
    return { node: element("li", {}, node), update };
}

export function showCaptures(store) {
    const filter = element("input", { type: "search", placeholder: texts.filter, "aria-label": texts.filterCaptures });
    const list = element("ul", { class: "captures", tabindex: "0", "aria-labelledby": "captures-title" });
    byId("captures").append(filter, list);
    const draw = (state) => {
        const wanted = filter.value.toLowerCase();
        const shown = (state.captures ?? []).filter((capture) =>
            [capture.name, capture.brand, capture.device].some((text) => text?.toLowerCase().includes(wanted)),
        );
        reconcile(
            list,
            shown,
            (capture) => capture.name,
            (capture) => createCapture(capture, store),
        );
    };
    filter.addEventListener("input", () => draw(store.state));
    store.watch(["captures", "types", "carry", "read_only"], draw);
}
