// SPDX-License-Identifier: Apache-2.0
// The profiles as a text to be tried out: which captures would be classified otherwise.
import { button, byId, element, icon, reconcile } from "./dom.js";
import { debounced } from "./pace.js";
import { get, post, showTrouble } from "./request.js";
import { typeOf } from "./state.js";
import { texts } from "./texts.js";

const PAUSE_MS = 250;

const shortOf = (found) => [found.type_name, found.brand, found.device].filter(Boolean).join(" · ");

const createChange = (store) => (capture) => ({
    node: element(
        "li",
        {},
        element("strong", { text: capture.name, dir: "auto" }),
        element(
            "span",
            { class: "from" },
            icon(typeOf(store.state, capture.before.type).icon),
            element("span", { class: "unseen", text: texts.before }),
            element("span", { text: shortOf(capture.before), dir: "auto" }),
        ),
        element(
            "span",
            { class: "to" },
            icon(typeOf(store.state, capture.after.type).icon),
            element("span", { class: "unseen", text: texts.after }),
            element("span", { text: shortOf(capture.after), dir: "auto" }),
        ),
    ),
});

export function showProfiles(store) {
    const text = element("textarea", { rows: 14, spellcheck: "false", "aria-label": texts.profilesText });
    const paths = element("p", { class: "hint", dir: "auto" });
    const errors = element("ul", { class: "remarks" });
    const changes = element("ul", { class: "differences" });
    const none = element("p", { class: "hint", text: texts.profilesUnchanged });
    const show = ({ error, errors: found = [], captures = [] }) => {
        const changed = captures.filter((capture) => capture.changed);
        const wrong = error ? [error] : found;
        none.hidden = changed.length > 0 || wrong.length > 0;
        reconcile(
            errors,
            wrong,
            (one) => one,
            (one) => ({ node: element("li", { text: one, dir: "auto" }) }),
        );
        reconcile(changes, changed, (capture) => JSON.stringify(capture), createChange(store));
    };
    const attempt = debounced(PAUSE_MS, () => post("/api/profiles/try", { text: text.value }), show);
    const load = async () => {
        const answer = await get("/api/profiles").catch((error) => showTrouble(error.message));
        if (!answer) return;
        text.value = answer.text;
        paths.textContent = answer.paths.join(", ");
        show({});
    };
    text.addEventListener("input", attempt);
    byId("profiles").append(
        paths,
        text,
        element("div", { class: "row" }, button(texts.profilesLoad, load, { "data-command": "load" })),
        element("div", { role: "status" }, none, errors),
        changes,
    );
    load();
}
