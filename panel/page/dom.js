// SPDX-License-Identifier: Apache-2.0
// Makes elements. Text goes in as text alone: nothing here reads markup.

const SVG = "http://www.w3.org/2000/svg";

function fill(node, properties, children) {
    for (const [name, value] of Object.entries(properties)) {
        if (value === undefined || value === null || value === false) continue;
        if (typeof value === "function") node.addEventListener(name, value);
        else if (name === "text") node.textContent = value;
        else node.setAttribute(name, value === true ? "" : value);
    }
    node.append(...children.filter((child) => child !== null && child !== undefined));
    return node;
}

/// An element with attributes, listeners (functions, by the event's name), text and children.
export const element = (tag, properties = {}, ...children) => fill(document.createElement(tag), properties, children);

/// The same in a drawing.
export const drawing = (tag, properties = {}, ...children) =>
    fill(document.createElementNS(SVG, tag), properties, children);

export const byId = (id) => document.getElementById(id);

export const button = (text, click, properties = {}) =>
    element("button", { type: "button", text, click, ...properties });

/// A button that changes what the service or the TV does, which a page that may only read does not have.
export const command = (text, click, properties = {}) =>
    button(text, click, { ...properties, class: `changes ${properties.class ?? ""}` });

export function setText(node, text) {
    const wanted = text ?? "";
    if (node.textContent !== wanted) node.textContent = wanted;
}

export function setAttribute(node, name, value) {
    if (node.getAttribute(name) !== String(value)) node.setAttribute(name, value);
}

/// An image in the colour of the text. One that is not there is replaced.
export function setIcon(node, name) {
    if (node.dataset.icon === name) return;
    node.dataset.icon = name;
    const show = (found) => {
        if (node.dataset.icon === name) node.style.maskImage = `url("/page/icons/${found}.svg")`;
    };
    const probe = new Image();
    probe.onload = () => show(name);
    probe.onerror = () => show("other");
    probe.src = `/page/icons/${encodeURIComponent(name)}.svg`;
}

export function icon(name, kind = "icon") {
    const node = element("span", { class: kind, "aria-hidden": "true" });
    if (name) setIcon(node, name);
    return node;
}

const viewsIn = new WeakMap();

/// Makes parent's children views of items, in their order. create(item) returns {node, update(item)}; the view of an item
/// with the same key is kept, and with it what has the focus.
export function reconcile(parent, items, keyOf, create) {
    const old = viewsIn.get(parent) ?? new Map();
    const views = new Map(items.map((item) => [keyOf(item), null]));
    for (const [key, view] of old) {
        if (!views.has(key)) view.node.remove();
    }
    let place = parent.firstChild;
    for (const item of items) {
        const view = old.get(keyOf(item)) ?? create(item);
        views.set(keyOf(item), view);
        view.update?.(item);
        if (view.node === place) place = place.nextSibling;
        else parent.insertBefore(view.node, place);
    }
    viewsIn.set(parent, views);
}
