// SPDX-License-Identifier: Apache-2.0
// The state as the server sends it, and what a change makes of it. Pure: nothing here touches the page.

const KEPT = 500;

const append = (old = [], added) => [...old, ...added].slice(-KEPT);

const byPort = (old, changed) =>
    old ? old.map((port) => changed.find((other) => other.port === port.port) ?? port) : changed;

// Every other member is replaced.
const MERGES = { ports: byPort, events: append, log: append };

/// The state after a change: its members replace those of the same name, except as above.
export function afterChange(state, change) {
    const next = { ...state };
    for (const [name, value] of Object.entries(change)) {
        next[name] = Object.hasOwn(MERGES, name) ? MERGES[name](state[name], value) : value;
    }
    return next;
}

/// The ports that this TV has.
export const presentPorts = (state) => (state.ports ?? []).filter((port) => port.present);

export const findPort = (state, number) => state.ports?.find((port) => port.port === number);

/// What is known of a device type; of one that the server did not list, its number.
export const typeOf = (state, number) =>
    state.types?.find((type) => type.type === number) ?? { type: number, name: String(number), icon: "other" };

export const methodOf = (state, number) => state.methods?.[number] ?? String(number);
