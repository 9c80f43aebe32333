// SPDX-License-Identifier: MIT
// The page: what is listened to, and what everything else is told of it.

import { Player, soundAbilities } from "./audio.js";
import { Controls, steps } from "./controls.js";
import { formatFrequency } from "./format.js";
import { readLink, writeLink } from "./link.js";
import { BandDisplay } from "./view.js";
import { Wire } from "./wire.js";

// ?sound=adpcm and ?output=buffers ask for less than the browser can do, to try what others hear.
const query = new URLSearchParams(location.search);

/** What this browser remembers, if it may. */
const memory = {
    read() {
        try {
            return JSON.parse(localStorage.getItem("feedline")) ?? {};
        } catch {
            return {};
        }
    },
    write(changes) {
        try {
            localStorage.setItem("feedline", JSON.stringify({ ...this.read(), ...changes }));
        } catch {
            // A browser that keeps nothing: the next visit begins anew.
        }
    },
};

const kept = { volume: 0.7, muted: false, colours: "sea", ...memory.read() };

/** Broadcasts between 87.5 and 108 MHz, aeroplanes above them, and what is usual elsewhere. */
function usualMode(hertz) {
    if (hertz >= 87.5e6 && hertz <= 108e6)
        return "wfm";
    return hertz < 137e6 ? "am" : "nfm";
}

class Page {
    constructor(player) {
        this.player = player;
        this.modes = {};
        this.wanted = { agc: "medium", gain: 40, squelch: null, edges: {} };
        this.running = true;
        this.state = null;
        this.firstLosses = null;
        this.controls = new Controls(this.#actions(), kept);
        this.display = new BandDisplay(document.getElementById("band"), {
            tuned: hertz => this.tune(hertz),
            edges: (low, high) => this.setEdges(low, high),
            viewed: () => this.#viewed(),
        });
        this.display.setColours(kept.colours);
        this.player.setVolume(kept.volume, kept.muted);
        this.player.codecChanged = () => this.#sendSound();
        if (!player.abilities.any)
            this.controls.showNoSound("This browser plays no sound.");
        const address = new URL("socket", location.href);
        address.protocol = location.protocol === "https:" ? "wss:" : "ws:";
        address.search = address.hash = "";
        this.wire = new Wire(address, {
            opened: () => this.#hello(),
            words: message => this.#hear(message),
            frame: frame => this.#frame(frame),
            lost: seconds => this.#lost(seconds),
        });
        addEventListener("hashchange", () => this.#follow(location.hash));
        setInterval(() => this.#showDelay(), 500);
    }

    #actions() {
        return {
            tune: hertz => this.tune(hertz, true),
            step: hertz => this.tune(Math.max(0, (this.wanted.frequency ?? 0) + hertz), true),
            setMode: mode => this.setMode(mode),
            setEdges: (low, high) => this.setEdges(low, high),
            widen: factor => this.#widen(factor),
            set: changes => { Object.assign(this.wanted, changes); this.#listen(); },
            listen: () => this.listen(),
            setVolume: (volume, muted) => { this.player.setVolume(volume, muted); memory.write({ volume, muted }); },
            zoom: factor => this.#zoom(factor),
            pan: share => this.display.pan(share),
            whole: () => this.display.setView(null),
            centre: () => this.display.centreOn(this.wanted.frequency),
            setLevels: levels => this.display.setLevels(levels),
            setColours: colours => { this.display.setColours(colours); memory.write({ colours }); },
            run: () => this.#run(!this.running),
            setGain: (name, value) => this.#soon(`gain ${name}`, () => this.wire.send({ type: "gain", name, value })),
            useToken: token => { memory.write({ token }); this.wire.connect(); },
        };
    }

    // What the listener wants

    tune(hertz, show = false) {
        this.wanted.frequency = Math.round(hertz);
        this.wanted.mode ??= usualMode(hertz);
        this.#listen();
        const { low, span } = this.display.shown;
        if (show && (hertz < low || hertz > low + span))
            this.display.centreOn(hertz);
    }

    setMode(mode) {
        this.wanted.mode = mode;
        this.#listen();
    }

    setEdges(low, high) {
        this.wanted.edges[this.wanted.mode] = { low, high };
        this.#listen();
    }

    #widen(factor) {
        const { low, high } = this.#edges();
        const middle = Math.abs(low + high) < 1 ? 0 : low > 0 ? low : high < 0 ? high : (low + high) / 2;
        this.setEdges(middle + (low - middle) * factor, middle + (high - middle) * factor);
    }

    /** Around the station if it is in sight. */
    #zoom(factor) {
        const { low, span } = this.display.shown;
        const place = (this.wanted.frequency - low) / span;
        this.display.zoom(factor, place >= 0 && place <= 1 ? place : 0.5);
    }

    async listen() {
        if (this.player.playing)
            await this.player.stop();
        else if (!await this.player.start())
            this.controls.promise("This browser plays nothing: no sound device answers.");
        if (this.player.playing && !this.running)
            this.#run(true);
        this.controls.showPlaying(this.player.playing);
        this.#sendSound();
        this.#showDelay();
    }

    #run(on) {
        this.running = on;
        this.wire.send({ type: "run", on });
        this.controls.showRunning(on);
        this.#showNotice();
    }

    // What the hub is told

    #hello() {
        const { token } = memory.read();
        this.wire.send(token ? { type: "hello", token } : { type: "hello" });
        this.wire.send({ type: "run", on: this.running });
        this.#sendSound();
        this.#sendView();
        if (this.wanted.frequency !== undefined)
            this.#listen();
    }

    #edges() {
        const { mode, edges } = this.wanted;
        return edges[mode] ?? this.modes[mode] ?? { low: -4500, high: 4500 };
    }

    /** Shown at once, said to the hub as often as it likes to hear it. */
    #listen() {
        const { frequency, mode } = this.wanted;
        if (frequency === undefined || !this.modes[mode])
            return;
        this.#showStation();
        this.#soon("listen", () => this.#sendListening());
        this.#keepLink();
    }

    #sendListening() {
        const { frequency, mode, agc, gain, squelch } = this.wanted;
        const { low, high } = this.#edges();
        this.wire.send({ type: "listen", frequency, mode, low, high, agc, gain, squelch });
    }

    #sendSound() {
        this.player.forget();
        this.wire.send({ type: "sound", codec: this.player.playing ? this.player.codec : "off" });
    }

    #viewed() {
        this.#soon("view", () => this.#sendView());
        this.#keepLink();
    }

    #sendView() {
        const { low, span } = this.display.shown;
        if (this.display.band)
            this.wire.send({ type: "view", low, span });
    }

    /** At once, and then at most ten times a second; the last one is never left out. */
    #soon(name, action) {
        this.pending ??= {};
        const pending = this.pending[name] ??= {};
        pending.action = action;
        if (pending.timer)
            return;
        const go = () => {
            pending.timer = null;
            if (!pending.action)
                return;
            const next = pending.action;
            pending.action = null;
            next();
            pending.timer = setTimeout(go, 100);
        };
        go();
    }

    #keepLink() {
        clearTimeout(this.linkTimer);
        this.linkTimer = setTimeout(() => {
            const { frequency, mode } = this.wanted;
            if (frequency === undefined)
                return;
            history.replaceState(null, "", writeLink({ frequency, mode, view: this.display.view }));
            document.title = `${formatFrequency(frequency)} kHz ${mode.toUpperCase()} – Feedline`;
        }, 300);
    }

    #follow(hash) {
        const link = readLink(hash, Object.keys(this.modes));
        if (link.mode)
            this.wanted.mode = link.mode;
        if (link.frequency !== undefined)
            this.tune(link.frequency);
        if (link.view)
            this.display.setView(link.view);
    }

    // What the hub says

    #hear(message) {
        switch (message.type) {
            case "welcome": return this.#welcome(message);
            case "state": return this.#showState(message);
            case "listening": return this.#listening(message);
            case "goodbye": return this.#goodbye(message);
        }
    }

    #welcome({ modes, row, gains }) {
        this.farewell = "";
        this.controls.setGainTable(gains);
        this.display.row = row;
        const first = Object.keys(this.modes).length === 0;
        this.modes = modes;
        if (first)
            this.#follow(location.hash);
        else
            this.#listen();
    }

    #showState(state) {
        const { controls } = this;
        this.state = state;
        this.firstLosses ??= state.lost;
        controls.showLines(state.lines, [state.connected, state.connected ? state.running : null, null]);
        controls.showSteering(state.maySteer, state.token, state.why);
        controls.showRunning(this.running);
        controls.showGains(state.gains, state.mayTune);
        controls.showFacts({ tuner: this.#tunerWords(state), losses: this.#lossWords(state.lost) });
        if (state.rate > 0)
            this.display.setBand({ low: state.frequency - state.rate / 2, span: state.rate });
        if (this.wanted.frequency === undefined && state.frequency > 0) {
            this.wanted.mode = usualMode(state.frequency);
            this.tune(state.frequency);
        }
        if (state.rate > 0 && !this.viewKnown) {
            this.viewKnown = true;
            this.#sendView();
        }
        this.#showNotice();
    }

    #tunerWords({ maySteer, tuner, why, listeners }) {
        const people = listeners === 1 ? "You are the only listener." : `${listeners} listeners.`;
        return `${people} ${maySteer ? tuner : why}`;
    }

    #lossWords(lost) {
        const since = name => lost[name] - this.firstLosses[name];
        const words = [];
        if (since("network") > 0)
            words.push(`${since("network")} samples lost before the hub`);
        if (since("hub") > 0)
            words.push(`${since("hub")} in the hub`);
        if (since("you") > 0)
            words.push(`${since("you")} messages on their way to you`);
        if (this.player.runOut > 0)
            words.push(`sound ran out ${this.player.runOut} ×`);
        return words.join(", ");
    }

    #listening(message) {
        if (this.pending?.listen?.action)
            return;
        const { frequency, mode, low, high } = message;
        if (frequency !== this.wanted.frequency || mode !== this.wanted.mode)
            return;
        this.wanted.edges[mode] = { low, high };
        this.why = message.covered ? "" : message.why;
        this.#showStation();
        this.#showNotice();
    }

    #goodbye({ why }) {
        this.farewell = why;
        this.wire.beSlow();
        this.#showNotice();
    }

    #lost(seconds) {
        this.state = null;
        this.viewKnown = false;
        this.firstLosses = null;
        this.retry = seconds;
        this.player.forget();
        this.controls.showLines(["No connection to the hub", "", ""], [false, null, null]);
        this.#showNotice();
    }

    #frame(frame) {
        if (frame.type === "sound") {
            this.player.take(frame);
            this.controls.meter.show(frame.level);
            return;
        }
        this.seen = performance.now();
        this.display.add(frame);
        if (!this.player.playing)
            this.controls.meter.show(frame.level);
        this.controls.showLevels(this.display.levels);
        if (this.noticeWaits)
            this.#showNotice();
    }

    // What the listener sees

    #showStation() {
        const { frequency, mode } = this.wanted;
        const { low, high } = this.#edges();
        const { lowest, highest, narrowest } = this.modes[mode];
        const symmetric = mode === "am" || mode === "nfm" || mode === "wfm" || mode === "cw";
        this.display.setStation({ frequency, low, high, lowest, highest, narrowest, symmetric, clickStep: steps[mode].click });
        this.controls.showFrequency(frequency);
        this.controls.showListening({ ...this.wanted, low, high, lowest, highest });
    }

    #showNotice() {
        this.noticeWaits = false;
        this.controls.notice(this.#noticeWords());
    }

    #noticeWords() {
        const { state, farewell } = this;
        if (farewell)
            return farewell;
        if (!state)
            return this.retry ? "The hub does not answer. Trying again …" : "";
        if (!this.running)
            return "Stopped. Press Run to go on.";
        if (!state.connected)
            return "The server is not there. The hub goes on looking for it.";
        if (state.silent)
            return "The receiver sends nothing. The hub tries to wake it.";
        if (!state.covered && this.wanted.frequency !== undefined && state.rate > 0)
            return this.#outsideWords(state);
        if (performance.now() - (this.seen ?? -1e9) > 3000) {
            this.noticeWaits = true;
            return "Waiting for the receiver …";
        }
        return "";
    }

    #outsideWords(state) {
        const band = `${formatFrequency(state.frequency - state.rate / 2)} to ${formatFrequency(state.frequency + state.rate / 2)} kHz`;
        const why = state.maySteer ? this.why || "the receiver is somewhere else" : state.why.replace(/\.$/, "");
        return `${formatFrequency(this.wanted.frequency)} kHz is outside what is received, ${band}: ${why}. You hear silence.`;
    }

    #showDelay() {
        const delay = this.player.delay(this.wire.roundTrip);
        this.controls.showDelay(delay === null ? "" : `${delay.toFixed(2)} s from antenna to ear`);
    }
}

const abilities = await soundAbilities({ codec: query.get("sound"), output: query.get("output") });
/** For tests, and for who wants to look inside. */
globalThis.feedline = new Page(new Player(abilities));
