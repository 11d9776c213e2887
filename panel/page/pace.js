// SPDX-License-Identifier: Apache-2.0
// Work that is asked for more often than it should be done.

/// Calls work once the user has paused; an answer that a later call made late is dropped.
export function debounced(milliseconds, work, show) {
    let timer;
    let latest = 0;
    return (...input) => {
        clearTimeout(timer);
        const number = ++latest;
        timer = setTimeout(async () => {
            const result = await work(...input).catch((error) => ({ error: error.message }));
            if (number === latest) show(result);
        }, milliseconds);
    };
}

/// Does work milliseconds after it was asked for, once for all that ask until then, and never twice at a time.
export function paced(milliseconds, work) {
    let busy = false;
    let again = false;
    const run = async () => {
        again = false;
        await work();
        busy = false;
        if (again) ask();
    };
    const ask = () => {
        again = true;
        if (busy) return;
        busy = true;
        setTimeout(run, milliseconds);
    };
    return ask;
}
