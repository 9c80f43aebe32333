// SPDX-License-Identifier: MIT
// What the hub has encoded, back to sound: samples from -1 to 1 in a Float32Array.

const steps = Int16Array.of(
    7, 8, 9, 10, 11, 12, 13, 14, 16, 17, 19, 21, 23, 25, 28, 31, 34, 37, 41, 45, 50, 55, 60, 66, 73, 80, 88, 97, 107, 118,
    130, 143, 157, 173, 190, 209, 230, 253, 279, 307, 337, 371, 408, 449, 494, 544, 598, 658, 724, 796, 876, 963, 1060,
    1166, 1282, 1411, 1552, 1707, 1878, 2066, 2272, 2499, 2749, 3024, 3327, 3660, 4026, 4428, 4871, 5358, 5894, 6484, 7132,
    7845, 8630, 9493, 10442, 11487, 12635, 13899, 15289, 16818, 18500, 20350, 22385, 24623, 27086, 29794, 32767);
const indexChanges = Int8Array.of(-1, -1, -1, -1, 2, 4, 6, 8);
const blockHeader = 4; // bytes: the predicted sample, the index, 0

/** One block of IMA ADPCM that begins with its own state, so that a lost block spoils no other. */
export function decodeAdpcm(block, samples) {
    const sound = new Float32Array(samples);
    let predicted = (block[0] | block[1] << 8) << 16 >> 16;
    let index = Math.min(block[2], steps.length - 1);
    for (let at = 0; at < samples; ++at) {
        const both = block[blockHeader + (at >> 1)];
        const code = at & 1 ? both >> 4 : both & 15;
        const step = steps[index];
        let change = step >> 3;
        if (code & 4) change += step;
        if (code & 2) change += step >> 1;
        if (code & 1) change += step >> 2;
        predicted = Math.max(-32768, Math.min(32767, predicted + (code & 8 ? -change : change)));
        index = Math.max(0, Math.min(steps.length - 1, index + indexChanges[code & 7]));
        sound[at] = predicted / 32768;
    }
    return sound;
}

const opusConfiguration = { codec: "opus", sampleRate: 48000, numberOfChannels: 1 };

/** Whether the browser decodes Opus; only where the page is secure does it say so. */
export async function canDecodeOpus() {
    if (!("AudioDecoder" in globalThis))
        return false;
    try {
        return (await AudioDecoder.isConfigSupported(opusConfiguration)).supported === true;
    } catch {
        return false;
    }
}

/** Opus by the browser's own decoder, which gives its results later, in order. */
export class OpusDecoder {
    /** @param decoded  (sound, rate, about), `about` as it was given to decode() */
    constructor(decoded, failed) {
        this.about = [];
        this.time = 0; // us
        this.decoder = new AudioDecoder({
            output: data => {
                const sound = new Float32Array(data.numberOfFrames);
                data.copyTo(sound, { planeIndex: 0, format: "f32-planar" });
                const rate = data.sampleRate;
                data.close();
                decoded(sound, rate, this.about.shift());
            },
            error: failed,
        });
        this.decoder.configure(opusConfiguration);
    }

    decode(packet, seconds, about) {
        this.about.push(about);
        this.decoder.decode(new EncodedAudioChunk({ type: "key", timestamp: this.time, data: packet }));
        this.time += Math.round(seconds * 1e6);
    }

    close() {
        if (this.decoder.state !== "closed")
            this.decoder.close();
    }
}
