// SPDX-License-Identifier: Apache-2.0
// Plots as tables whose bars are drawn, so that they can be read as well as looked at.
import { drawing, element, icon, reconcile, setText } from "./dom.js";

function createRow(row) {
    const bar = drawing("rect", { class: "bar", x: 0, y: 0, height: 10, rx: 2 });
    const value = element("td", { class: "number" });
    const node = element(
        "tr",
        {},
        element("th", { scope: "row" }, row.icon ? icon(row.icon) : null, element("span", { text: row.label })),
        element(
            "td",
            { class: "plot", "aria-hidden": "true" },
            drawing("svg", { viewBox: "0 0 100 10", preserveAspectRatio: "none" }, bar),
        ),
        value,
    );
    const update = ({ count, share }) => {
        setText(value, String(count));
        bar.setAttribute("width", 100 * share);
    };
    return { node, update };
}

/// A bar for each {label, count, icon}; what it returns draws them again.
export function bars(place, title) {
    const body = element("tbody");
    place.append(element("table", { class: "bars" }, element("caption", { text: title }), body));
    return (rows) => {
        const most = Math.max(1, ...rows.map((row) => row.count));
        reconcile(
            body,
            rows.map((row) => ({ ...row, share: row.count / most })),
            (row) => row.label,
            createRow,
        );
    };
}

const HEIGHT = 36;
const STEP = 14;

/// The times of a port's detections, the newest last, as columns.
export function columns(entries, titleOf) {
    const most = Math.max(1, ...entries.map((entry) => entry.milliseconds ?? 0));
    return drawing(
        "svg",
        { class: "columns", viewBox: `0 0 ${Math.max(1, entries.length) * STEP} ${HEIGHT}`, "aria-hidden": "true" },
        ...entries.map((entry, index) => {
            const height = Math.max(3, (HEIGHT * (entry.milliseconds ?? 0)) / most);
            return drawing(
                "rect",
                { class: "bar", x: index * STEP, y: HEIGHT - height, width: STEP - 4, height, rx: 2 },
                drawing("title", { text: titleOf(entry) }),
            );
        }),
    );
}
