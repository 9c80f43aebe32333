// SPDX-License-Identifier: MIT
// From the hub's sound frames to the loudspeaker, by whatever the browser offers:
//
//   codec   Opus by WebCodecs, where the page is secure; ADPCM decoded here, anywhere
//   output  an AudioWorklet, where the page is secure; audio buffers scheduled one after the other, anywhere
//
// Sound waits here for a tenth of a second or so, which covers what the network takes now longer, now shorter. How much of
// that was needed shows in the least that was left when a frame came. The resampler runs a little faster or slower so that
// this least stays what it should be, which also takes up that no two clocks are alike; when far too much waits, because
// the network held everything back for a moment, some of it is thrown away.

import { OpusDecoder, canDecodeOpus, decodeAdpcm } from "./codec.js";
import { Resampler } from "./resampler.js";

const firstLead = 0.12; // s of silence that sound begins with
const mostLead = 0.3; // s of silence; what would wait longer than this and a little is thrown away at once
const leadGrowth = 1.4; // each time that sound runs out
const slack = 0.045; // s that are to be left when the latest frame comes
const tooMuch = 0.11; // s of slack beyond that are thrown away
const windowLength = 1; // s over which the least is taken
const windows = 4; // of them are remembered
const mostCorrection = 0.004; // of the speed: 7 cents, which nobody hears
const correctionPerSecond = 0.06; // of slack too much
const startLimit = 8000; // ms that a browser may take to begin
const usualOutputLatency = 0.05; // s from the context to the ear, where the browser cannot be asked
const opusLookAhead = 0.0065; // s that the codec's transform needs
const longestGap = 10; // frames that silence stands for

/** Buffers that begin where the last one ends. */
class BufferOutput {
    constructor(context, target) {
        this.context = context;
        this.target = target;
        this.next = 0; // frame of the context's time that is free
    }
    static async make(context, target) {
        return new BufferOutput(context, target);
    }
    get name() { return "buffers"; }

    /** Seconds of sound that wait; negative when there was a gap. */
    lead() {
        return this.next / this.context.sampleRate - this.context.currentTime;
    }
    begin(lead) {
        this.next = Math.ceil((this.context.currentTime + lead) * this.context.sampleRate);
    }
    play(sound) {
        const buffer = this.context.createBuffer(1, sound.length, this.context.sampleRate);
        buffer.copyToChannel(sound, 0);
        const source = this.context.createBufferSource();
        source.buffer = buffer;
        source.connect(this.target);
        source.start(this.next / this.context.sampleRate);
        this.next += sound.length;
    }
    close() {}
}

/** A ring that the audio thread reads. */
class WorkletOutput {
    constructor(context, node) {
        this.context = context;
        this.node = node;
        this.written = 0;
        this.played = 0; // samples, at the time of the last report
        this.reported = context.currentTime;
        node.port.onmessage = ({ data }) => {
            this.played = data.played;
            this.reported = data.at;
        };
    }
    static async make(context, target) {
        await context.audioWorklet.addModule("sound-worklet.js");
        const node = new AudioWorkletNode(context, "sound-player", { numberOfInputs: 0, outputChannelCount: [1] });
        node.connect(target);
        return new WorkletOutput(context, node);
    }
    get name() { return "worklet"; }

    lead() {
        const since = (this.context.currentTime - this.reported) * this.context.sampleRate;
        return (this.written - this.played - Math.max(0, since)) / this.context.sampleRate;
    }
    begin(lead) {
        this.node.port.postMessage("forget");
        this.played = this.written;
        this.reported = this.context.currentTime;
        this.play(new Float32Array(Math.ceil(lead * this.context.sampleRate)));
    }
    play(sound) {
        this.written += sound.length;
        this.node.port.postMessage(sound, [sound.buffer]);
    }
    close() {
        this.node.disconnect();
    }
}

/** What the browser can do here. `wishes` may ask for less: {codec: "adpcm", output: "buffers"}. */
export async function soundAbilities(wishes = {}) {
    const worklets = "AudioWorkletNode" in globalThis && globalThis.isSecureContext;
    return {
        any: "AudioContext" in globalThis,
        codec: wishes.codec !== "adpcm" && await canDecodeOpus() ? "opus" : "adpcm",
        output: wishes.output !== "buffers" && worklets ? "worklet" : "buffers",
    };
}

export class Player {
    constructor(abilities) {
        this.abilities = abilities;
        this.codec = abilities.codec;
        this.volume = 0.7;
        this.muted = false;
        /** Times that sound ran out, and frames that never came. */
        this.runOut = 0;
        this.missing = 0;
        /** Called when the codec has to be another one. */
        this.codecChanged = () => {};
    }

    get playing() {
        return this.output !== undefined;
    }

    /** Only from within a click or a key: browsers play nothing otherwise. False when this one plays nothing even so. */
    async start() {
        this.context ??= new AudioContext({ latencyHint: "interactive" });
        if (!await this.#begins())
            return false;
        if (!this.gain) {
            this.gain = new GainNode(this.context);
            this.tap = new AnalyserNode(this.context, { fftSize: 32768, smoothingTimeConstant: 0 });
            this.gain.connect(this.tap).connect(this.context.destination);
        }
        this.setVolume(this.volume, this.muted);
        const kind = this.abilities.output === "worklet" ? WorkletOutput : BufferOutput;
        try {
            this.output = await kind.make(this.context, this.gain);
        } catch {
            this.output = await BufferOutput.make(this.context, this.gain);
        }
        this.lead = firstLead;
        this.forget();
        return true;
    }

    /** Waits until the context's time goes on: devices take a while to wake up. */
    async #begins() {
        const { context } = this;
        const from = context.currentTime;
        context.resume();
        for (const until = performance.now() + startLimit; performance.now() < until;) {
            await new Promise(resolve => setTimeout(resolve, 20));
            if (context.state === "running" && context.currentTime > from)
                return true;
        }
        return false;
    }

    async stop() {
        this.output?.close();
        this.output = undefined;
        this.forget();
        await this.context?.suspend();
    }

    setVolume(volume, muted) {
        this.volume = volume;
        this.muted = muted;
        // The square makes even steps of the slider even steps of loudness.
        this.gain?.gain.setTargetAtTime(muted ? 0 : volume * volume * 1.6, this.context.currentTime, 0.015);
    }

    /** What comes next does not continue what came. */
    forget() {
        this.sequence = undefined;
        this.resampler = undefined;
        this.opus?.close();
        this.opus = undefined;
        this.begun = false;
        this.behind = 0;
        this.#watchAnew();
    }

    /** A sound frame from the hub. */
    take(frame) {
        if (!this.playing)
            return;
        this.#fillGap(frame);
        const seconds = frame.samples / frame.rate;
        const about = { age: frame.age };
        if (frame.codec === "adpcm")
            this.#play(decodeAdpcm(frame.payload, frame.samples), frame.rate, about);
        else if (frame.codec === "opus")
            this.#opusDecoder().decode(frame.payload, seconds, about);
        else
            this.#play(new Float32Array(frame.samples), frame.rate, about);
    }

    #fillGap(frame) {
        const missing = this.sequence === undefined ? 0 : frame.sequence - this.sequence & 0xffff;
        this.sequence = frame.sequence + 1 & 0xffff;
        if (missing === 0 || missing > 0x8000)
            return;
        this.missing += missing;
        for (let gap = 0; gap < Math.min(missing, longestGap); ++gap)
            this.#play(new Float32Array(frame.samples), frame.rate, { age: frame.age });
    }

    #opusDecoder() {
        this.opus ??= new OpusDecoder((sound, rate, about) => this.#play(sound, rate, { age: about.age + opusLookAhead }),
            () => {
                this.codec = "adpcm";
                this.opus = undefined;
                this.codecChanged();
            });
        return this.opus;
    }

    #play(sound, rate, about) {
        if (!this.playing)
            return;
        if (this.resampler?.from !== rate)
            this.resampler = new Resampler(rate, this.context.sampleRate);
        let lead = this.output.lead();
        if (!this.begun || lead < 0)
            lead = this.#begin();
        this.#watch(lead);
        if (this.excess > tooMuch || lead > mostLead + 0.03) {
            this.excess -= sound.length / rate;
            return;
        }
        const correction = correctionPerSecond * this.excess;
        const speed = 1 + Math.max(-mostCorrection, Math.min(mostCorrection, correction));
        this.output.play(this.resampler.process(sound, speed));
        this.behind = about.age + lead + this.resampler.delay;
    }

    /** For the first time, or because sound has run out. */
    #begin() {
        if (this.begun) {
            ++this.runOut;
            this.lead = Math.min(mostLead, this.lead * leadGrowth);
        }
        this.begun = true;
        this.output.begin(this.lead);
        this.#watchAnew();
        return this.lead;
    }

    #watchAnew() {
        this.least = [];
        this.excess = 0;
    }

    /** Learns how much sound is left in the worst case. */
    #watch(lead) {
        const now = this.context.currentTime;
        if (this.least.length === 0 || now - this.windowBegan > windowLength) {
            if (this.least.length > 0)
                this.excess = Math.min(...this.least) - slack;
            this.windowBegan = now;
            this.least.push(lead);
            if (this.least.length > windows)
                this.least.shift();
        }
        this.least[this.least.length - 1] = Math.min(this.least.at(-1), lead);
    }

    // Firefox answers with a lock held that its audio thread may need for the answer, and hangs at times.
    #outputLatency() {
        if ("mozInnerScreenX" in globalThis)
            return usualOutputLatency;
        return this.context.outputLatency || this.context.baseLatency || 0;
    }

    /**
     * Seconds from the hub's receiving a sample to the ear's hearing it; null while nothing plays.
     * @param roundTrip  of a message to the hub and back, s
     */
    delay(roundTrip) {
        if (!this.playing || !this.begun || this.behind === 0)
            return null;
        return this.behind + (roundTrip ?? 0) / 2 + this.#outputLatency();
    }
}
