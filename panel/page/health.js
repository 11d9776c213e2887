// SPDX-License-Identifier: Apache-2.0
// Whether everything that the panel shows is there: in the title line, and as a banner while something is missing.
import { byId, element, reconcile, setAttribute, setText } from "./dom.js";
import { texts } from "./texts.js";

function chipsOf({ online, service, version, read_only: readOnly }) {
    const bus = online && service?.bus;
    const chips = [
        { text: texts.chips.panel, good: online, otherwise: texts.chips.disconnected },
        { text: texts.chips.bus, good: bus, otherwise: texts.chips.disconnected },
        { text: texts.chips.service, good: bus && service?.running, otherwise: texts.chips.notRunning },
    ];
    if (readOnly) chips.push({ text: texts.chips.readOnly });
    if (version) chips.push({ text: texts.chips.version(version) });
    return chips;
}

function createChip() {
    const name = element("span");
    const said = element("span", { class: "unseen" });
    const node = element("li", { class: "chip" }, name, said);
    const update = (chip) => {
        setText(name, chip.text);
        setAttribute(node, "data-good", chip.good === undefined ? "" : Boolean(chip.good));
        setText(said, chip.good === undefined ? "" : chip.good ? texts.chips.there : chip.otherwise);
    };
    return { node, update };
}

function bannerOf({ online, service }) {
    if (!online) return texts.banner.panel;
    if (!service?.bus) return texts.banner.bus;
    return service.running ? "" : texts.banner.service;
}

export function showHealth(store) {
    store.watch(["online", "service", "version", "read_only", "tools"], (state) => {
        reconcile(byId("health"), chipsOf(state), (chip) => chip.text, createChip);
        const banner = byId("banner");
        setText(banner, bannerOf(state));
        banner.hidden = banner.textContent === "";
        document.body.classList.toggle("read-only", Boolean(state.read_only));
        byId("report").hidden = !state.tools;
    });
}
