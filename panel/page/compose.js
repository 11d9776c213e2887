// SPDX-License-Identifier: Apache-2.0
// A device that does not exist, said by its fields: what it would be classified as, while one types.
import { byId, command, element, icon, reconcile, setIcon, setText } from "./dom.js";
import { debounced } from "./pace.js";
import { order, post } from "./request.js";
import { presentPorts, typeOf } from "./state.js";
import { texts } from "./texts.js";

const PAUSE_MS = 120;

const FIELDS = {
    vendor: { maxlength: 8 },
    product: { maxlength: 16 },
    source_information: { type: "number", min: 0, max: 255 },
    osd: { maxlength: 14 },
    device_type: { type: "number", min: 0, max: 255 },
    aksv: { maxlength: 10, pattern: "[0-9a-fA-F]{10}", title: texts.notAKey },
};

const contentOf = (input) => (input.type === "number" && input.value !== "" ? Number(input.value) : input.value);

/// The device that the filled fields describe.
function deviceOf(inputs) {
    const filled = Object.entries(inputs).filter(([, input]) => input.value !== "");
    return Object.fromEntries(filled.map(([name, input]) => [name, contentOf(input)]));
}

function makeVerdict(store) {
    const glyph = icon("empty", "glyph");
    const name = element("strong");
    const detail = element("span", { dir: "auto" });
    const remarks = element("ul", { class: "remarks" });
    const node = element(
        "div",
        { class: "would-be", role: "status", "aria-label": texts.wouldBe },
        glyph,
        element("div", {}, name, detail, remarks),
    );
    const show = (found) => {
        setIcon(glyph, found.error ? "other" : typeOf(store.state, found.type).icon);
        setText(name, found.error ?? typeOf(store.state, found.type).name);
        const parts = [found.brand, found.device, found.provider, found.codeset, found.profile];
        const said = found.error
            ? []
            : [texts.byMethod(found.method_name), ...parts.filter((part) => typeof part === "string")];
        setText(detail, said.filter(Boolean).join(" · "));
        reconcile(
            remarks,
            found.remarks ?? [],
            (remark) => remark,
            (text) => ({ node: element("li", { text, dir: "auto" }) }),
        );
    };
    return { node, show };
}

function portChoice(store) {
    const select = element("select", { class: "changes", "aria-label": texts.plugInto });
    store.watch(["ports"], (state) => {
        reconcile(
            select,
            presentPorts(state),
            (port) => port.port,
            (port) => ({
                node: element("option", { value: port.port, text: port.label }),
            }),
        );
    });
    return select;
}

export function showCompose(store) {
    const inputs = {};
    const form = element("form", { class: "fields", submit: (event) => event.preventDefault() });
    for (const [name, attributes] of Object.entries(FIELDS)) {
        inputs[name] = element("input", { name, autocomplete: "off", spellcheck: "false", ...attributes });
        form.append(element("label", {}, element("span", { text: texts.fields[name] }), inputs[name]));
    }
    const { node, show } = makeVerdict(store);
    const classify = debounced(PAUSE_MS, () => post("/api/classify", { device: deviceOf(inputs) }), show);
    form.addEventListener("input", classify);
    const port = portChoice(store);
    const plug = command(texts.plug, () => order("/api/plug", { port: Number(port.value), device: deviceOf(inputs) }), {
        "data-command": "plug",
    });
    byId("compose").append(form, node, element("div", { class: "row" }, port, plug));
    classify();
}
