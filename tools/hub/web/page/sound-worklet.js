// SPDX-License-Identifier: MIT
// Plays what the page posts, on the browser's audio thread. Says how much it has left.

const size = 1 << 17; // samples, 2.7 s at 48,000
const reportEvery = 8; // calls of process(), 21 ms at 48,000

class SoundPlayer extends AudioWorkletProcessor {
    constructor() {
        super();
        this.ring = new Float32Array(size);
        this.read = 0;
        this.written = 0;
        this.calls = 0;
        this.port.onmessage = ({ data }) => this.#take(data);
    }

    #take(sound) {
        if (sound === "forget") {
            this.read = this.written;
            return;
        }
        for (const sample of sound)
            this.ring[this.written++ % size] = sample;
        if (this.written - this.read > size)
            this.read = this.written - size;
    }

    process(_inputs, [[output]]) {
        const ready = Math.min(output.length, this.written - this.read);
        for (let at = 0; at < ready; ++at)
            output[at] = this.ring[this.read++ % size];
        if (++this.calls % reportEvery === 0)
            this.port.postMessage({ played: this.read, at: currentTime });
        return true;
    }
}

registerProcessor("sound-player", SoundPlayer);
