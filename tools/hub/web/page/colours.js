// SPDX-License-Identifier: MIT
// Colours for levels. Lightness only ever rises, and evenly, so that they read the same to every eye, and in grey; the
// darkest is the page's own ground.

/** Each: lightness, chroma and hue (degrees) of OKLCH at even distances. */
const courses = {
    sea: [[0.145, 0.015, 255], [0.27, 0.075, 262], [0.42, 0.105, 245], [0.57, 0.1, 215], [0.72, 0.12, 175], [0.86, 0.15, 125], [0.97, 0.11, 105]],
    ember: [[0.145, 0.015, 255], [0.26, 0.09, 290], [0.4, 0.14, 330], [0.55, 0.17, 10], [0.69, 0.17, 45], [0.83, 0.15, 80], [0.97, 0.1, 100]],
    grey: [[0.145, 0.012, 255], [0.97, 0.005, 255]],
};

export const colourNames = Object.keys(courses);

/** 256 colours, one 32-bit number each, as the pixels of a canvas have them (little-endian RGBA). */
export function makeColours(name) {
    const course = courses[name] ?? courses.sea;
    return Uint32Array.from({ length: 256 }, (_, level) => {
        const place = level / 255 * (course.length - 1);
        const at = Math.min(course.length - 2, Math.floor(place));
        const share = place - at;
        const from = toLab(course[at]);
        const to = toLab(course[at + 1]);
        const [red, green, blue] = toRgb(from.map((value, axis) => value + share * (to[axis] - value)));
        return (255 << 24 | blue << 16 | green << 8 | red) >>> 0;
    });
}

function toLab([lightness, chroma, hue]) {
    const angle = hue * Math.PI / 180;
    return [lightness, chroma * Math.cos(angle), chroma * Math.sin(angle)];
}

// OKLab to linear light, and that to sRGB.
function toRgb([lightness, a, b]) {
    const l = (lightness + 0.3963377774 * a + 0.2158037573 * b) ** 3;
    const m = (lightness - 0.1055613458 * a - 0.0638541728 * b) ** 3;
    const s = (lightness - 0.0894841775 * a - 1.2914855480 * b) ** 3;
    return [
        4.0767416621 * l - 3.3077115913 * m + 0.2309699292 * s,
        -1.2684380046 * l + 2.6097574011 * m - 0.3413193965 * s,
        -0.0041960863 * l - 0.7034186147 * m + 1.7076147010 * s,
    ].map(linear => {
        const value = Math.max(0, Math.min(1, linear));
        return Math.round(255 * (value <= 0.0031308 ? 12.92 * value : 1.055 * value ** (1 / 2.4) - 0.055));
    });
}
