// SPDX-License-Identifier: MIT
// The page's buttons and sliders, its words, and its keys.

import { formatFrequency, formatLevel, parseFrequency } from "./format.js";
import { colourNames } from "./colours.js";

const $ = id => document.getElementById(id);

/** What arrow keys move, and the coarsest step of a click, in Hz. */
export const steps = {
    am: { key: 1000, click: 1000 }, usb: { key: 100, click: 100 }, lsb: { key: 100, click: 100 },
    cw: { key: 10, click: 10 }, nfm: { key: 2500, click: 500 }, wfm: { key: 50000, click: 10000 },
};
const modeKeys = { a: "am", u: "usb", l: "lsb", c: "cw", n: "nfm", w: "wfm" };
const agcSpeeds = ["off", "fast", "medium", "slow"];

const keyList = [
    ["Space", "listen, or stop"], ["← →", "tune; with Shift ten times as far, with Alt a tenth"], ["f", "type a frequency: 7.1M, 7100"],
    ["a u l c n w", "AM, USB, LSB, CW, NFM, WFM"], ["[ ]", "narrower, wider pass-band"], ["g", "next AGC speed"],
    ["s", "squelch at the present level, or off"], ["m", "mute"], ["↑ ↓", "volume"], ["+ −", "zoom"],
    ["Page ↑ ↓", "move the view"], ["Home, 0", "centre on the station; the whole band"], ["?", "this list"],
];

/** Meters fall slowly, so that the eye can follow. */
class Meter {
    constructor() {
        this.level = -140;
        this.peak = -140;
        this.peakSince = 0;
        this.wordsSince = 0;
    }

    show(dBFS) {
        const now = performance.now();
        this.level = Math.max(dBFS, this.level + 0.25 * (dBFS - this.level));
        if (this.level >= this.peak || now - this.peakSince > 1500) {
            this.peak = this.level;
            this.peakSince = now;
        }
        $("level").style.transform = `scaleX(${share(this.level)})`;
        $("peak").style.left = `calc(${100 * share(this.peak)}% - 1px)`;
        if (now - this.wordsSince < 200)
            return;
        this.wordsSince = now;
        $("reading").textContent = formatLevel(this.level);
        $("meter").setAttribute("aria-valuenow", Math.round(this.level));
    }
}

function share(dBFS) {
    return Math.max(0, Math.min(1, (dBFS + 140) / 140));
}

export class Controls {
    /**
     * @param actions  what a listener can do: tune(hertz), step(hertz), setMode(name), setEdges(low, high), set({agc, gain,
     *                 squelch}), listen(), setVolume(volume, muted), zoom(factor), pan(share), whole(), centre(),
     *                 setLevels(levels), setColours(name), run(), setGain(name, value), useToken(token)
     */
    constructor(actions, kept) {
        this.actions = actions;
        this.meter = new Meter();
        this.mode = "am";
        this.#fill(kept);
        this.#connect();
        document.addEventListener("keydown", event => this.#key(event));
    }

    #fill(kept) {
        $("colours").append(...colourNames.map(name => new Option(name, name, false, name === kept.colours)));
        $("keyList").append(...keyList.flatMap(([keys, words]) => [element("dt", keys), element("dd", words)]));
        $("volume").value = Math.round(100 * kept.volume);
        $("mute").setAttribute("aria-pressed", kept.muted);
        const options = Object.values(modeKeys).map(mode => {
            const label = element("label", "");
            const input = document.createElement("input");
            input.type = "radio";
            input.name = "mode";
            input.value = mode;
            label.append(input, mode.toUpperCase());
            return label;
        });
        $("modes").append(...options);
    }

    #connect() {
        const { actions } = this;
        const on = (id, type, action) => $(id).addEventListener(type, action);
        on("tuning", "submit", event => { event.preventDefault(); this.#typed(); });
        on("frequency", "focus", event => event.target.select());
        on("frequency", "blur", () => this.showFrequency(this.frequency, true));
        on("frequency", "input", () => $("frequency").removeAttribute("aria-invalid"));
        on("frequency", "wheel", event => { event.preventDefault(); actions.step(-Math.sign(event.deltaY) * steps[this.mode].key); });
        on("listen", "click", () => actions.listen());
        on("mute", "click", () => this.#mute());
        on("volume", "input", () => this.#volume());
        on("modes", "change", event => actions.setMode(event.target.value));
        on("agc", "change", () => actions.set({ agc: $("agc").value }));
        on("gain", "input", () => actions.set({ gain: Number($("gain").value) }));
        on("squelch", "input", () => this.#squelch(Number($("squelch").value)));
        for (const id of ["lowEdge", "highEdge"])
            on(id, "change", () => actions.setEdges(Number($("lowEdge").value), Number($("highEdge").value)));
        on("zoomIn", "click", () => actions.zoom(0.5));
        on("zoomOut", "click", () => actions.zoom(2));
        on("whole", "click", () => actions.whole());
        on("centre", "click", () => actions.centre());
        on("automatic", "change", () => this.#levels());
        on("floor", "input", () => this.#levels());
        on("ceiling", "input", () => this.#levels());
        on("colours", "change", () => actions.setColours($("colours").value));
        on("run", "click", () => actions.run());
        on("help", "click", () => $("keys").showModal());
        on("more", "click", () => this.#more());
        on("tokenButton", "click", () => $("tokenDialog").showModal());
        on("tokenForm", "submit", event => event.submitter?.value === "ok" && actions.useToken($("token").value));
    }

    // What the listener does

    #typed() {
        const hertz = parseFrequency($("frequency").value);
        if (hertz === null) {
            $("frequency").setAttribute("aria-invalid", "true");
            return;
        }
        this.actions.tune(hertz);
        $("frequency").blur();
        $("band").focus({ preventScroll: true });
    }

    #volume() {
        this.actions.setVolume(Number($("volume").value) / 100, $("mute").getAttribute("aria-pressed") === "true");
    }

    #mute() {
        const muted = $("mute").getAttribute("aria-pressed") !== "true";
        $("mute").setAttribute("aria-pressed", muted);
        this.#volume();
    }

    #squelch(level) {
        const off = level <= Number($("squelch").min);
        this.actions.set({ squelch: off ? null : level });
    }

    #levels() {
        const automatic = $("automatic").checked;
        $("floor").disabled = $("ceiling").disabled = automatic;
        const low = Number($("floor").value);
        this.actions.setLevels(automatic ? { automatic } : { automatic, low, high: Math.max(low + 10, Number($("ceiling").value)) });
    }

    #more() {
        const open = document.body.classList.toggle("open");
        $("more").setAttribute("aria-expanded", open);
        $("more").textContent = open ? "Less" : "More";
    }

    #key(event) {
        if (event.ctrlKey || event.metaKey || document.querySelector("dialog[open]"))
            return;
        const typing = event.target.matches("input:not([type=radio]):not([type=checkbox]), select");
        if (typing) {
            if (event.key === "Escape")
                event.target.blur();
            return;
        }
        const action = this.#actionFor(event);
        if (!action)
            return;
        event.preventDefault();
        action();
    }

    #actionFor(event) {
        const { actions } = this;
        const far = (event.shiftKey ? 10 : 1) * (event.altKey ? 0.1 : 1) * steps[this.mode].key;
        const radio = event.target.matches("input[type=radio]");
        const pressing = event.target.matches("button, input[type=checkbox]");
        switch (event.key) {
            case " ": return pressing ? null : () => actions.listen();
            case "ArrowLeft": return radio ? null : () => actions.step(-far);
            case "ArrowRight": return radio ? null : () => actions.step(far);
            case "ArrowUp": return radio ? null : () => this.#louder(5);
            case "ArrowDown": return radio ? null : () => this.#louder(-5);
            case "+": case "=": return () => actions.zoom(0.5);
            case "-": return () => actions.zoom(2);
            case "PageUp": return () => actions.pan(0.25);
            case "PageDown": return () => actions.pan(-0.25);
            case "Home": return () => actions.centre();
            case "0": return () => actions.whole();
            case "f": return () => $("frequency").focus();
            case "m": return () => this.#mute();
            case "g": return () => actions.set({ agc: agcSpeeds[(agcSpeeds.indexOf($("agc").value) + 1) % agcSpeeds.length] });
            case "s": return () => actions.set({ squelch: this.squelch === null ? Math.round(this.meter.level) : null });
            case "[": return () => actions.widen(1 / 1.2);
            case "]": return () => actions.widen(1.2);
            case "?": return () => $("keys").showModal();
        }
        const mode = event.altKey ? undefined : modeKeys[event.key.toLowerCase()];
        return mode ? () => actions.setMode(mode) : null;
    }

    #louder(change) {
        $("volume").value = Number($("volume").value) + change;
        this.#volume();
    }

    // What the listener sees

    showFrequency(hertz, anyway = false) {
        this.frequency = hertz;
        if (hertz === undefined || (!anyway && document.activeElement === $("frequency")))
            return;
        $("frequency").value = formatFrequency(hertz);
        $("frequency").style.setProperty("--characters", $("frequency").value.length);
        $("frequency").removeAttribute("aria-invalid");
    }

    showListening({ mode, low, high, lowest, highest, agc, gain, squelch }) {
        this.mode = mode;
        this.squelch = squelch;
        for (const input of $("modes").querySelectorAll("input"))
            input.checked = input.value === mode;
        for (const [id, value] of [["lowEdge", low], ["highEdge", high]]) {
            Object.assign($(id), { min: lowest, max: highest });
            if (document.activeElement !== $(id))
                $(id).value = Math.round(value);
        }
        $("agc").value = agc;
        $("gainRow").hidden = agc !== "off";
        $("gain").value = gain;
        $("squelch").value = squelch ?? $("squelch").min;
        $("squelchWord").textContent = squelch === null ? "off" : formatLevel(squelch);
        $("threshold").hidden = squelch === null;
        $("threshold").style.left = `${100 * share(squelch ?? -140)}%`;
    }

    showLevels({ low, high, automatic }) {
        $("automatic").checked = automatic;
        $("floor").disabled = $("ceiling").disabled = automatic;
        if (automatic) {
            $("floor").value = low;
            $("ceiling").value = high;
        }
    }

    showPlaying(playing) {
        document.body.classList.toggle("playing", playing);
        $("listenIcon").textContent = playing ? "■" : "▶";
        $("listenWord").textContent = playing ? "Stop" : "Listen";
    }

    /** What stands beside the button until sound plays. */
    promise(words) {
        setText($("promise"), words);
    }

    showNoSound(why) {
        $("listen").disabled = true;
        this.promise(why);
    }

    /** @param lines  the server's own; @param good  for each, whether it is as it should be */
    showLines(lines, good) {
        const items = $("lines").children;
        lines.forEach((line, at) => {
            setText(items[at], line);
            items[at].className = good[at] === null ? "" : good[at] ? "good" : "bad";
        });
    }

    showRunning(running) {
        $("run").textContent = running ? "Stop the picture" : "Run";
    }

    showSteering(maySteer, byToken, why) {
        $("tokenButton").hidden = maySteer || !byToken;
        setText($("tokenWhy"), why);
    }

    /** @param table  the gains there are: {name, label, highest}, a highest of 0 for a switch */
    setGainTable(table) {
        this.gains = table.map(gain => this.#gainControl(gain));
        $("gains").replaceChildren($("gains").querySelector("legend"), ...this.gains.map(({ label }) => label));
    }

    #gainControl({ name, label: word, highest }) {
        const label = element("label", "");
        const input = document.createElement("input");
        const value = element("output", "");
        const isSwitch = highest === 0;
        Object.assign(input, isSwitch ? { type: "checkbox" } : { type: "range", min: 0, max: highest, value: 0 });
        input.addEventListener("input", () => {
            value.textContent = isSwitch ? "" : input.value;
            this.actions.setGain(name, isSwitch ? Number(input.checked) : Number(input.value));
        });
        label.className = isSwitch ? "check" : "";
        label.append(...isSwitch ? [input, word] : [element("span", word), input, value]);
        return { label, input, value };
    }

    /** @param values  in the table's order, or null where there are none; @param may  they may be set from here */
    showGains(values, may) {
        $("gains").hidden = !values;
        $("gains").disabled = !may;
        this.gains?.forEach(({ input, value }, at) => {
            if (!values || document.activeElement === input && input.matches(":active"))
                return;
            input.checked = values[at] !== 0;
            if (input.type === "range") {
                input.value = values[at];
                setText(value, String(values[at]));
            }
        });
    }

    showFacts({ tuner, losses }) {
        setText($("tuner"), tuner);
        setText($("losses"), losses);
    }

    showDelay(words) {
        setText($("delay"), words);
    }

    notice(words) {
        setText($("notice"), words);
    }
}

/** Without touching what is the same, so that screen readers are not told again. */
function setText(node, text) {
    if (node.textContent !== text)
        node.textContent = text;
}

function element(name, text) {
    const made = document.createElement(name);
    made.textContent = text;
    return made;
}
