// SPDX-License-Identifier: Apache-2.0
// The log, with a filter. It follows the newest line unless one has scrolled away from it.
import { byId, element, reconcile } from "./dom.js";
import { texts } from "./texts.js";

const SHOWN = 200;

const createLine = (line) => ({
    node: element(
        "li",
        { "data-priority": line.priority },
        element("span", { class: "tag", text: line.priority }),
        element("span", { class: "text", dir: "auto", text: line.text }),
    ),
});

function choosePriorities(select, lines) {
    for (const priority of new Set(lines.map((line) => line.priority))) {
        if ([...select.options].some((option) => option.value === priority)) continue;
        select.append(element("option", { value: priority, text: texts.priorities[priority] ?? priority }));
    }
}

export function showLog(store) {
    const filter = element("input", { type: "search", placeholder: texts.filter, "aria-label": texts.filterLog });
    const priority = element(
        "select",
        { "aria-label": texts.priority },
        element("option", { value: "", text: texts.allPriorities }),
    );
    const list = element("ol", { class: "log lines", tabindex: "0", "aria-labelledby": "log-title" });
    byId("log").append(element("div", { class: "row" }, filter, priority), list);
    const draw = ({ log = [] }) => {
        choosePriorities(priority, log);
        const wanted = filter.value.toLowerCase();
        const shown = log.filter(
            (line) => line.text.toLowerCase().includes(wanted) && (!priority.value || line.priority === priority.value),
        );
        const follows = list.scrollTop + list.clientHeight >= list.scrollHeight - 4;
        reconcile(list, shown.slice(-SHOWN), (line) => line, createLine);
        if (follows) list.scrollTop = list.scrollHeight;
    };
    filter.addEventListener("input", () => draw(store.state));
    priority.addEventListener("change", () => draw(store.state));
    store.watch(["log"], draw);
}
