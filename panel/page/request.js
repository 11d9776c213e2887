// SPDX-License-Identifier: Apache-2.0
// Requests of the page to the server.
import { byId, setText } from "./dom.js";
import { texts } from "./texts.js";

const SHOWN_MS = 8000;
let hiding;

/// Shows what went wrong for some seconds.
export function showTrouble(text) {
    const place = byId("trouble");
    setText(place, text);
    place.hidden = false;
    clearTimeout(hiding);
    hiding = setTimeout(() => {
        place.hidden = true;
    }, SHOWN_MS);
}

async function fetchJson(path, options) {
    let answer;
    try {
        answer = await fetch(path, options);
    } catch {
        throw new Error(texts.unreachable);
    }
    const body = await answer.json().catch(() => ({ error: answer.statusText }));
    if (!answer.ok) throw new Error(body.error ?? answer.statusText);
    return body;
}

export const get = (path) => fetchJson(path, {});

export const post = (path, body) =>
    fetchJson(path, { method: "POST", headers: { "Content-Type": "application/json" }, body: JSON.stringify(body) });

/// Sends a command of the user; a refusal is shown. Resolves to whether it was executed.
export async function order(path, body) {
    try {
        await post(path, body);
        return true;
    } catch (error) {
        showTrouble(error.message);
        return false;
    }
}
