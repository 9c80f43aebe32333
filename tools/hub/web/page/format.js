// SPDX-License-Identifier: MIT
// Numbers as people read and type them.

const units = { k: 1e3, m: 1e6, g: 1e9 };

/**
 * "7.1M", "7100k", "7100" (kilohertz), "7 100,5", "7100000" (too many for kilohertz, so hertz).
 * Returns hertz, or null for what is no frequency.
 */
export function parseFrequency(text) {
    const match = /^([0-9]+\.?[0-9]*|\.[0-9]+)(hz|[kmg](?:hz)?)?$/.exec(
        text.toLowerCase().replace(/[\s\u2009\u202f']/g, "").replace(",", "."));
    if (!match)
        return null;
    const number = Number(match[1]);
    const unit = match[2] ?? "";
    let hertz = number * (unit === "hz" ? 1 : (units[unit[0]] ?? 1e3));
    if (unit === "" && hertz > highestFrequency)
        hertz = number;
    hertz = Math.round(hertz);
    return hertz <= highestFrequency ? hertz : null;
}

export const highestFrequency = 0xffffffff; // Hz: 32 bits

/** Kilohertz with three decimals, in groups: "100 000.000". */
export function formatFrequency(hertz) {
    const [whole, part] = (hertz / 1000).toFixed(3).split(".");
    return whole.replace(/\B(?=(\d{3})+$)/g, "\u2009") + "." + part;
}

/** As short as it can be without losing anything: "7.1 MHz", "12.5 kHz", "850 Hz". */
export function formatWidth(hertz) {
    const size = Math.abs(hertz);
    if (size >= 1e6)
        return trim(hertz / 1e6, 3) + " MHz";
    if (size >= 1e3)
        return trim(hertz / 1e3, 2) + " kHz";
    return Math.round(hertz) + " Hz";
}

function trim(number, decimals) {
    return String(Number(number.toFixed(decimals)));
}

/** The minus sign of typography, and a fixed number of characters for levels. */
export function formatLevel(dBFS) {
    const rounded = Math.round(dBFS);
    return (rounded < 0 ? "\u2212" : "") + Math.abs(rounded) + " dBFS";
}

/**
 * Where a scale has its lines: steps of 1, 2 or 5 times a power of ten, at least `apart` pixels from each other.
 * Returns {step, minor, first}; minor is the distance of the short lines.
 */
export function scaleOf(low, span, pixels, apart) {
    const least = span / Math.max(1, pixels / apart);
    const power = 10 ** Math.floor(Math.log10(least));
    const factor = [1, 2, 5, 10].find(each => each * power >= least * 0.999999);
    const step = factor * power;
    const minor = factor === 2 ? step / 4 : step / 5;
    return { step, minor, first: Math.ceil(low / step) * step };
}

/** A label for a line of the frequency scale, in MHz with as many decimals as the step needs. */
export function scaleLabel(hertz, step) {
    const decimals = Math.max(1, Math.min(6, 6 - Math.floor(Math.log10(step) + 1e-9)));
    return (hertz / 1e6).toFixed(decimals);
}
