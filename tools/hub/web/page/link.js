// SPDX-License-Identifier: MIT
// The address of the page holds what is heard and what is seen: #f=7200&m=am&c=7150&s=192 (kilohertz: frequency, mode,
// and the centre and the width of the view).

import { highestFrequency } from "./format.js";

/** Returns only what the text has and what makes sense: {frequency, mode, view: {low, span}}. */
export function readLink(hash, modes) {
    const texts = new URLSearchParams(hash.replace(/^#/, ""));
    const kilohertz = name => {
        const number = Number.parseFloat(texts.get(name));
        return number >= 0 && number * 1000 <= highestFrequency ? Math.round(number * 1000) : undefined;
    };
    const link = {};
    const frequency = kilohertz("f");
    const centre = kilohertz("c");
    const span = kilohertz("s");
    if (frequency !== undefined)
        link.frequency = frequency;
    if (modes.includes(texts.get("m")))
        link.mode = texts.get("m");
    if (centre !== undefined && span > 0)
        link.view = { low: centre - span / 2, span };
    return link;
}

/** @param view  null for the whole band */
export function writeLink({ frequency, mode, view }) {
    const texts = ["f=" + frequency / 1000, "m=" + mode];
    if (view)
        texts.push("c=" + Math.round(view.low + view.span / 2) / 1000, "s=" + Math.round(view.span) / 1000);
    return "#" + texts.join("&");
}
