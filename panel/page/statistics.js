// SPDX-License-Identifier: Apache-2.0
// What has been detected since the panel started, counted.
import { byId, element, setText } from "./dom.js";
import { bars } from "./plots.js";
import { methodOf, typeOf } from "./state.js";
import { texts } from "./texts.js";

export function showStatistics(store) {
    const total = element("p", { class: "hint" });
    const plots = element("div", { class: "plots" });
    byId("statistics").append(total, plots);
    const types = bars(plots, texts.statisticsTypes);
    const methods = bars(plots, texts.statisticsMethods);
    const times = bars(plots, texts.statisticsTimes);
    store.watch(["statistics", "types", "methods"], (state) => {
        const { statistics } = state;
        if (!statistics) return;
        setText(total, texts.total(statistics.total));
        types(
            statistics.types.map(({ type, count }) => {
                const { name, icon } = typeOf(state, type);
                return { label: name, icon, count };
            }),
        );
        methods(statistics.methods.map(({ method, count }) => ({ label: methodOf(state, method), count })));
        times(statistics.times.map(({ milliseconds, count }) => ({ label: texts.upTo(milliseconds), count })));
    });
}
