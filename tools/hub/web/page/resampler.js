// SPDX-License-Identifier: MIT
// Another sample rate, and a little faster or slower, without a seam between the pieces that come in.
//
// Browsers resample every audio buffer by itself, which clicks at each border; and a receiver's clock is never quite the
// sound card's. So the page does both itself: a windowed sinc, whose tables are looked up between two of its phases.

const taps = 32;
const phases = 128;

/** phases + 1 kernels of `taps` entries, one after the other. */
function makeTable(cutoff) {
    const table = new Float32Array((phases + 1) * taps);
    for (let phase = 0; phase <= phases; ++phase) {
        let sum = 0;
        for (let tap = 0; tap < taps; ++tap) {
            const x = tap - taps / 2 + 1 - phase / phases;
            const angle = Math.PI * x / (taps / 2);
            const window = Math.abs(x) < taps / 2 ? 0.42 + 0.5 * Math.cos(angle) + 0.08 * Math.cos(2 * angle) : 0;
            const value = window * (x === 0 ? 1 : Math.sin(Math.PI * cutoff * x) / (Math.PI * cutoff * x));
            table[phase * taps + tap] = value;
            sum += value;
        }
        for (let tap = 0; tap < taps; ++tap)
            table[phase * taps + tap] /= sum;
    }
    return table;
}

export class Resampler {
    constructor(from, to) {
        this.from = from;
        this.ratio = from / to;
        this.table = makeTable(Math.min(1, to / from) * 0.94);
        this.input = new Float32Array(taps);
        this.at = 0; // place of the next sample in `input`
        /** Seconds by which the sound is behind. */
        this.delay = taps / 2 / from;
    }

    /**
     * @param sound  what comes next
     * @param speed  1, or a little more to use it up faster
     * @returns what it completes, at the other rate
     */
    process(sound, speed) {
        const input = new Float32Array(this.input.length + sound.length);
        input.set(this.input);
        input.set(sound, this.input.length);
        const step = this.ratio * speed;
        const size = Math.max(0, Math.ceil((input.length - taps - this.at) / step));
        const output = new Float32Array(size);
        for (let made = 0; made < size; ++made, this.at += step)
            output[made] = this.#sample(input);
        const used = Math.floor(this.at);
        this.input = input.slice(used);
        this.at -= used;
        return output;
    }

    #sample(input) {
        const whole = Math.floor(this.at);
        const place = (this.at - whole) * phases;
        const phase = Math.floor(place);
        const share = place - phase;
        const lower = phase * taps;
        const upper = lower + taps;
        let a = 0;
        let b = 0;
        for (let tap = 0; tap < taps; ++tap) {
            const value = input[whole + tap];
            a += value * this.table[lower + tap];
            b += value * this.table[upper + tap];
        }
        return a + share * (b - a);
    }
}
