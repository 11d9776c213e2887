// SPDX-License-Identifier: Apache-2.0
// Holds the state, and redraws what depends on the members that changed: once for each frame, however many changes came.

export class Store {
    #state = {};
    #watchers = [];
    #dirty = new Set();
    #afterPaint = [];
    #scheduled = false;

    get state() {
        return this.#state;
    }

    /// Calls draw(state) after a change of one of the members, and at once if there is a state.
    watch(members, draw) {
        this.#watchers.push({ members, draw });
        if (Object.keys(this.#state).length > 0) draw(this.#state);
    }

    /// Replaces the state. With painted, calls it when the screen shows the new one, which a hidden page never does.
    replace(state, painted) {
        for (const name of new Set([...Object.keys(state), ...Object.keys(this.#state)])) {
            if (state[name] !== this.#state[name]) this.#dirty.add(name);
        }
        this.#state = state;
        if (painted && !document.hidden) this.#afterPaint.push(painted);
        if (this.#scheduled) return;
        this.#scheduled = true;
        requestAnimationFrame(() => this.#draw());
    }

    /// Replaces some members.
    set(members) {
        this.replace({ ...this.#state, ...members });
    }

    #draw() {
        const dirty = this.#dirty;
        const painted = this.#afterPaint;
        this.#dirty = new Set();
        this.#afterPaint = [];
        this.#scheduled = false;
        for (const { members, draw } of this.#watchers) {
            if (members.some((name) => dirty.has(name))) draw(this.#state);
        }
        if (painted.length === 0) return;
        // A message that is posted in a frame arrives when that frame has been painted.
        const channel = new MessageChannel();
        channel.port1.onmessage = () => {
            channel.port1.close();
            for (const call of painted) call();
        };
        channel.port2.postMessage(null);
    }
}
