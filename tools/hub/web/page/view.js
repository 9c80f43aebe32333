// SPDX-License-Identifier: MIT
// Spectrum and waterfall: what is drawn, and what pointers do to it.
//
// Every row keeps the frequencies that it shows, so the whole history is drawn anew, in its right place, whenever the view
// moves; rows that come later bring the detail.

import { colourNames, makeColours } from "./colours.js";
import { formatFrequency, formatLevel, scaleLabel, scaleOf } from "./format.js";

const rowsPerSecond = 10;
const scaleHeight = 22; // CSS pixels, of the frequency scale
const flagHeight = 16;
const narrowestSpan = 4000; // Hz
const dragThreshold = 4; // CSS pixels that a click may move
const accent = "#f0b649";

export class BandDisplay {
    /**
     * @param element   holds the two canvases
     * @param handlers  tuned(hertz), edges(low, high), viewed(view or null for the whole band)
     */
    constructor(element, handlers) {
        this.element = element;
        this.handlers = handlers;
        this.spectrum = element.querySelector("#spectrum");
        this.waterfall = element.querySelector("#waterfall");
        this.cursor = element.querySelector("#cursor");
        this.row = { floor: -160, step: 0.625 };
        this.band = null; // {low, span} that is received
        this.view = null; // {low, span} that is shown; null: the whole band
        this.station = null; // {frequency, low, high, lowest, highest, symmetric, clickStep}
        this.levels = { low: -125, high: -60, automatic: true };
        this.rows = []; // newest first
        this.trace = null;
        this.pointers = new Map();
        this.setColours(colourNames[0]);
        this.history = document.createElement("canvas");
        this.calm = matchMedia("(prefers-reduced-motion: reduce)");
        new ResizeObserver(() => this.#resize()).observe(element);
        this.#listenToPointers();
        this.#resize();
        requestAnimationFrame(() => this.#frame());
    }

    /** What is shown, or would be if there were a band. */
    get shown() {
        return this.view ?? this.band ?? { low: 0, span: 1 };
    }

    setBand(band) {
        if (this.band && this.band.low === band.low && this.band.span === band.span)
            return;
        this.band = band;
        if (this.view)
            this.view = this.#within(this.view);
        this.#redrawAll();
    }

    setStation(station) {
        this.station = station;
        this.dirty = true;
    }

    setView(view) {
        this.view = view && this.#within(view);
        this.handlers.viewed(this.view);
        this.#redrawAll();
    }

    /** By a factor, below 1 for closer, around a place that stays where it is (0 to 1 from the left). */
    zoom(factor, place = 0.5) {
        if (!this.band)
            return;
        const { low, span } = this.shown;
        const wanted = Math.max(narrowestSpan, span * factor);
        if (wanted >= this.band.span)
            this.setView(null);
        else
            this.setView({ low: low + place * (span - wanted), span: wanted });
    }

    pan(share) {
        const { low, span } = this.shown;
        if (this.view)
            this.setView({ low: low + share * span, span });
    }

    centreOn(hertz) {
        const { span } = this.shown;
        if (this.view)
            this.setView({ low: hertz - span / 2, span });
    }

    setColours(name) {
        this.colours = makeColours(name);
        this.#relight();
    }

    setLevels(levels) {
        Object.assign(this.levels, levels);
        this.#relight();
    }

    /** A row from the hub. */
    add(row) {
        const now = performance.now();
        this.rowTime = now;
        this.rows.unshift(row);
        this.rows.length = Math.min(this.rows.length, this.rowsKept);
        this.#follow(row);
        if (this.levels.automatic)
            this.#adaptLevels(row);
        this.head = (this.head - 1 + this.rowsKept) % this.rowsKept;
        this.#paintRow(row, this.head);
        this.dirty = true;
    }

    /** The level at a frequency in the newest row, dBFS; null where there is none. */
    levelAt(hertz) {
        const row = this.rows[0];
        const point = row ? Math.floor((hertz - row.low) / row.span * row.points.length) : -1;
        return row && point >= 0 && point < row.points.length ? this.#dBFS(row.points[point]) : null;
    }

    // Places

    #dBFS(level) {
        return this.row.floor + this.row.step * level;
    }

    frequencyAt(x) {
        const { low, span } = this.shown;
        return low + x / this.width * span;
    }

    placeOf(hertz) {
        const { low, span } = this.shown;
        return (hertz - low) / span * this.width;
    }

    #within(view) {
        const span = Math.min(Math.max(view.span, narrowestSpan), this.band?.span ?? Infinity);
        if (!this.band)
            return { low: view.low, span };
        const low = Math.max(this.band.low, Math.min(view.low, this.band.low + this.band.span - span));
        return { low, span };
    }

    // Drawing

    #resize() {
        this.ratio = Math.min(3, window.devicePixelRatio || 1);
        for (const canvas of [this.spectrum, this.waterfall]) {
            canvas.width = Math.max(1, Math.round(canvas.clientWidth * this.ratio));
            canvas.height = Math.max(1, Math.round(canvas.clientHeight * this.ratio));
        }
        this.width = this.spectrum.clientWidth || 1; // CSS pixels, like all that has to do with pointers
        this.rowHeight = Math.max(1, Math.round(1.6 * this.ratio));
        this.rowsKept = Math.ceil(this.waterfall.height / this.rowHeight) + 1;
        this.rows.length = Math.min(this.rows.length, this.rowsKept);
        this.history.width = this.waterfall.width;
        this.history.height = this.rowsKept;
        this.pixels = new ImageData(this.history.width, this.rowsKept);
        this.words = new Uint32Array(this.pixels.data.buffer);
        this.line = new ImageData(this.history.width, 1);
        this.lineWords = new Uint32Array(this.line.data.buffer);
        this.#redrawAll();
    }

    /** The picture of each level, for the range of levels in force. */
    #relight() {
        const { low, high } = this.levels;
        this.light = Uint32Array.from({ length: 256 }, (_, level) =>
            this.colours[Math.max(0, Math.min(255, Math.round(255 * (this.#dBFS(level) - low) / (high - low))))]);
        this.#redrawAll();
    }

    #redrawAll() {
        this.stale = true;
        this.dirty = true;
    }

    #repaintHistory() {
        this.stale = false;
        this.head = 0;
        this.words.fill(this.colours[0]);
        this.rows.forEach((row, at) => this.#paint(row, this.words, at * this.history.width));
        this.history.getContext("2d").putImageData(this.pixels, 0, 0);
    }

    #paintRow(row, at) {
        if (this.stale)
            return;
        this.#paint(row, this.lineWords, 0);
        this.history.getContext("2d").putImageData(this.line, 0, at);
    }

    /**
     * One pixel a column: the highest of the points that it touches, so that no carrier falls between two columns; a
     * straight line between two points where they are far apart.
     */
    #paint(row, words, offset) {
        const { low, span } = this.shown;
        const { points } = row;
        const width = this.history.width;
        const step = span / width / row.span * points.length;
        let place = (low - row.low) / row.span * points.length;
        const dark = this.colours[0];
        for (let x = 0; x < width; ++x, place += step) {
            if (place + step <= 0 || place >= points.length)
                words[offset + x] = dark;
            else
                words[offset + x] = this.light[step > 0.5 ? highest(points, place, step) : between(points, place + step / 2)];
        }
    }

    /** The line of the spectrum follows the rows: up fast, down slowly. */
    #follow(row) {
        const same = this.trace && this.trace.low === row.low && this.trace.span === row.span;
        if (!same) {
            this.trace = { low: row.low, span: row.span, levels: Float32Array.from(row.points, level => this.#dBFS(level)) };
            return;
        }
        const { levels } = this.trace;
        for (let point = 0; point < levels.length; ++point) {
            const level = this.#dBFS(row.points[point]);
            levels[point] += (level > levels[point] ? 0.6 : 0.25) * (level - levels[point]);
        }
    }

    /** Dark a little below what most points show, bright a little above the strongest. */
    #adaptLevels(row) {
        const counts = new Uint32Array(256);
        for (const level of row.points)
            ++counts[level];
        const all = row.points.length - counts[0];
        if (all < row.points.length / 8)
            return;
        const share = wanted => {
            let level = 0;
            for (let seen = 0; level < 255 && seen < wanted * all;)
                seen += counts[++level];
            return this.#dBFS(level);
        };
        const low = share(0.3) - 3;
        const high = Math.max(low + 45, share(0.999) + 4);
        const fast = this.rows.length < 5 ? 1 : 0.08;
        this.aim ??= { low, high };
        this.aim.low += fast * (low - this.aim.low);
        this.aim.high += fast * (high - this.aim.high);
        const moved = Math.max(Math.abs(this.aim.low - this.levels.low), Math.abs(this.aim.high - this.levels.high));
        if (moved > 2.5 || this.rows.length < 5)
            this.setLevels({ low: this.aim.low, high: this.aim.high });
    }

    #frame() {
        requestAnimationFrame(() => this.#frame());
        if (this.stale)
            this.#repaintHistory();
        this.#drawWaterfall();
        if (this.dirty) {
            this.dirty = false;
            this.#drawSpectrum();
        }
    }

    /** Rows slide in evenly, whenever they come. */
    #drawWaterfall() {
        const since = (performance.now() - (this.rowTime ?? 0)) / 1000 * rowsPerSecond;
        const slide = this.calm.matches ? 1 : Math.min(1, since);
        if (slide === 1 && this.drawn === this.rows[0] && !this.dirty)
            return;
        this.drawn = slide === 1 ? this.rows[0] : null;
        const context = this.waterfall.getContext("2d", { alpha: false });
        const { width, height } = this.history;
        const top = Math.round(this.rowHeight * (slide - 1));
        const later = height - this.head;
        context.imageSmoothingEnabled = false;
        context.drawImage(this.history, 0, this.head, width, later, 0, top, width, later * this.rowHeight);
        if (this.head > 0)
            context.drawImage(this.history, 0, 0, width, this.head, 0, top + later * this.rowHeight, width, this.head * this.rowHeight);
        this.#drawStationLines(context);
    }

    #drawStationLines(context) {
        if (!this.station)
            return;
        const { frequency, low, high } = this.station;
        context.fillStyle = accent;
        for (const [hertz, alpha] of [[frequency + low, 0.35], [frequency, 0.7], [frequency + high, 0.35]]) {
            context.globalAlpha = alpha;
            context.fillRect(Math.round(this.placeOf(hertz) * this.ratio), 0, Math.max(1, Math.round(this.ratio * 0.75)), this.waterfall.height);
        }
        context.globalAlpha = 1;
    }

    #drawSpectrum() {
        const context = this.spectrum.getContext("2d", { alpha: false });
        context.setTransform(this.ratio, 0, 0, this.ratio, 0, 0);
        const height = this.spectrum.height / this.ratio;
        const ground = height - scaleHeight;
        context.fillStyle = "#080c11";
        context.fillRect(0, 0, this.width, height);
        const bottom = this.levels.low - 4;
        const top = this.levels.high + 6;
        const y = level => flagHeight + (top - level) / (top - bottom) * (ground - flagHeight);
        this.#drawLevelScale(context, bottom, top, y, ground);
        this.#drawPassBand(context, ground);
        this.#drawTrace(context, y, ground);
        this.#drawFrequencyScale(context, ground, height);
        this.#drawFlag(context);
    }

    get font() {
        return `${this.width > 2200 ? 15 : 11.5}px ${getComputedStyle(document.documentElement).fontFamily}`;
    }

    #drawLevelScale(context, bottom, top, y, ground) {
        const { step, first } = scaleOf(bottom, top - bottom, ground, 34);
        context.font = this.font;
        context.textBaseline = "bottom";
        context.textAlign = "left";
        for (let level = first; level < top; level += step) {
            context.fillStyle = "#17212b";
            context.fillRect(0, Math.round(y(level)), this.width, 1);
            if (y(level) < ground - 2 && y(level) > flagHeight + 8) {
                context.fillStyle = "#657686";
                context.fillText(String(level).replace("-", "\u2212"), 5, y(level) - 1);
            }
        }
    }

    #drawPassBand(context, ground) {
        if (!this.station)
            return;
        const { frequency, low, high } = this.station;
        const left = this.placeOf(frequency + low);
        const right = this.placeOf(frequency + high);
        context.fillStyle = accent + "26";
        context.fillRect(left, 0, Math.max(1, right - left), ground);
        context.fillStyle = accent + "b0";
        context.fillRect(left, 0, 1, ground);
        context.fillRect(right, 0, 1, ground);
        context.fillStyle = accent;
        context.fillRect(this.placeOf(frequency) - 0.5, flagHeight, 1, ground - flagHeight);
    }

    #drawTrace(context, y, ground) {
        if (!this.trace)
            return;
        const { low, span, levels } = this.trace;
        const width = span / this.shown.span * this.width / levels.length; // of a point
        const left = this.placeOf(low);
        context.beginPath();
        context.moveTo(left, ground);
        levels.forEach((level, point) => {
            const x = left + (point + 0.5) * width;
            if (x >= -width && x <= this.width + width)
                context.lineTo(x, Math.min(ground, y(level)));
        });
        context.strokeStyle = "#9fd0dc";
        context.lineWidth = 1;
        context.lineJoin = "round";
        context.stroke();
        context.lineTo(Math.min(this.width + width, left + width * levels.length), ground);
        context.closePath();
        const fill = context.createLinearGradient(0, flagHeight, 0, ground);
        fill.addColorStop(0, "#6fb9c955");
        fill.addColorStop(1, "#2d5f7718");
        context.fillStyle = fill;
        context.fill();
    }

    #drawFrequencyScale(context, ground, height) {
        const { low, span } = this.shown;
        context.fillStyle = "#0d141c";
        context.fillRect(0, ground, this.width, height - ground);
        const { step, minor, first } = scaleOf(low, span, this.width, this.width > 2200 ? 130 : 84);
        context.fillStyle = "#3d4f60";
        for (let at = Math.ceil(low / minor); at * minor <= low + span; ++at)
            context.fillRect(Math.round(this.placeOf(at * minor)), ground, 1, 4);
        context.font = this.font;
        context.textBaseline = "middle";
        context.textAlign = "center";
        const unitWidth = context.measureText("MHz").width + 10;
        for (let hertz = first; hertz <= low + span; hertz += step) {
            const x = this.placeOf(hertz);
            const text = scaleLabel(hertz, step);
            const half = context.measureText(text).width / 2;
            context.fillStyle = "#8a9bab";
            context.fillRect(Math.round(x), ground, 1, 6);
            if (x - half > 2 && x + half < this.width - unitWidth)
                context.fillText(text, x, ground + scaleHeight / 2 + 3);
        }
        context.textAlign = "right";
        context.fillStyle = "#657686";
        context.fillText("MHz", this.width - 5, ground + scaleHeight / 2 + 3);
    }

    /** The handle to tune with; at the edge that the station is beyond, an arrow. */
    #drawFlag(context) {
        if (!this.station)
            return;
        const x = this.placeOf(this.station.frequency);
        context.fillStyle = accent;
        context.font = this.font;
        context.textBaseline = "middle";
        if (x < 0 || x > this.width) {
            const text = formatFrequency(this.station.frequency);
            context.textAlign = x < 0 ? "left" : "right";
            context.fillText(x < 0 ? "◀ " + text : text + " ▶", x < 0 ? 6 : this.width - 6, flagHeight / 2 + 2);
            return;
        }
        context.beginPath();
        context.moveTo(x - 7, 0);
        context.lineTo(x + 7, 0);
        context.lineTo(x + 7, flagHeight - 6);
        context.lineTo(x, flagHeight);
        context.lineTo(x - 7, flagHeight - 6);
        context.closePath();
        context.fill();
    }

    // Pointers

    #listenToPointers() {
        const { element } = this;
        element.addEventListener("pointerdown", event => this.#down(event));
        element.addEventListener("pointermove", event => this.#move(event));
        element.addEventListener("pointerup", event => this.#up(event));
        element.addEventListener("pointercancel", event => this.#leave(event));
        element.addEventListener("pointerleave", () => { this.cursor.hidden = true; });
        element.addEventListener("wheel", event => this.#wheel(event), { passive: false });
    }

    #placeOfEvent(event) {
        const box = this.element.getBoundingClientRect();
        return { x: event.clientX - box.left, y: event.clientY - box.top };
    }

    /** What a pointer would take hold of. */
    #handleAt(place, touch) {
        if (!this.station || place.y > this.spectrum.clientHeight - scaleHeight)
            return "view";
        const reach = touch ? 20 : 7;
        const { frequency, low, high } = this.station;
        const distance = hertz => Math.abs(place.x - this.placeOf(hertz));
        if (place.y < flagHeight + (touch ? 14 : 4) && distance(frequency) < reach + 4)
            return "flag";
        const nearest = distance(frequency + low) < distance(frequency + high) ? "low" : "high";
        const outside = nearest === "low" ? place.x <= this.placeOf(frequency + low) + reach / 2
            : place.x >= this.placeOf(frequency + high) - reach / 2;
        return distance(frequency + this.station[nearest]) < reach && outside ? nearest : "view";
    }

    #down(event) {
        if (event.button !== 0)
            return;
        this.element.setPointerCapture(event.pointerId);
        const place = this.#placeOfEvent(event);
        this.pointers.set(event.pointerId, place);
        this.cursor.hidden = true;
        const touch = event.pointerType !== "mouse";
        this.drag = { handle: this.#handleAt(place, touch), from: place, view: this.shown, moved: false, both: !event.shiftKey };
        if (this.pointers.size === 2)
            this.drag = { handle: "pinch", start: this.#pinch(), view: this.shown, moved: true };
        this.element.classList.toggle("moving", this.drag.handle === "flag");
    }

    #move(event) {
        const place = this.#placeOfEvent(event);
        if (!this.pointers.has(event.pointerId)) {
            this.#hover(place, event.pointerType);
            return;
        }
        this.pointers.set(event.pointerId, place);
        const { drag } = this;
        drag.moved ||= Math.hypot(place.x - drag.from.x, place.y - drag.from.y) > dragThreshold;
        if (!drag.moved || !this.band)
            return;
        if (drag.handle === "pinch")
            this.#dragPinch();
        else if (drag.handle === "view")
            this.#dragView(place);
        else if (drag.handle === "flag")
            this.handlers.tuned(this.#rounded(this.frequencyAt(place.x)));
        else
            this.#dragEdge(place);
    }

    #up(event) {
        const place = this.#placeOfEvent(event);
        const click = this.pointers.has(event.pointerId) && this.drag && !this.drag.moved && this.band;
        if (click && this.drag.handle === "view")
            this.handlers.tuned(this.#rounded(this.frequencyAt(place.x)));
        this.#leave(event);
    }

    #leave(event) {
        this.pointers.delete(event.pointerId);
        this.element.classList.remove("moving");
        // The finger that stays goes on dragging from where it is.
        const [rest] = this.pointers.values();
        this.drag = rest && { handle: "view", from: rest, view: this.shown, moved: true };
    }

    #hover(place, type) {
        if (type !== "mouse" || !this.band)
            return;
        const handle = this.#handleAt(place, false);
        this.element.classList.toggle("edge", handle === "low" || handle === "high");
        this.element.classList.toggle("flag", handle === "flag");
        const hertz = this.frequencyAt(place.x);
        const level = this.levelAt(hertz);
        this.cursor.hidden = false;
        this.cursor.textContent = `${formatFrequency(Math.round(hertz))} kHz` + (level === null ? "" : `   ${formatLevel(level)}`);
        const left = Math.min(place.x + 14, this.width - this.cursor.offsetWidth - 4);
        this.cursor.style.transform = `translate(${left}px, ${Math.max(4, place.y - 28)}px)`;
    }

    #dragView(place) {
        const { view, from } = this.drag;
        if (view.span < this.band.span)
            this.setView({ low: view.low + (from.x - place.x) / this.width * view.span, span: view.span });
    }

    #pinch() {
        const [a, b] = [...this.pointers.values()];
        return { middle: (a.x + b.x) / 2 / this.width, distance: Math.max(24, Math.abs(a.x - b.x)) };
    }

    #dragPinch() {
        const { start, view } = this.drag;
        const { middle, distance } = this.#pinch();
        const span = Math.max(narrowestSpan, view.span * start.distance / distance);
        const held = view.low + start.middle * view.span; // this frequency stays under the fingers
        this.setView(span >= this.band.span ? null : { low: held - middle * span, span });
    }

    #dragEdge(place) {
        const { frequency, lowest, highest: top, narrowest, symmetric } = this.station;
        const hertz = Math.round((this.frequencyAt(place.x) - frequency) / 10) * 10;
        let { low, high } = this.station;
        if (this.drag.handle === "low") {
            low = Math.max(lowest, Math.min(hertz, symmetric && this.drag.both ? -narrowest / 2 : high - narrowest));
            high = symmetric && this.drag.both ? -low : high;
        } else {
            high = Math.min(top, Math.max(hertz, symmetric && this.drag.both ? narrowest / 2 : low + narrowest));
            low = symmetric && this.drag.both ? -high : low;
        }
        this.handlers.edges(low, high);
    }

    #wheel(event) {
        event.preventDefault();
        if (!this.band)
            return;
        const lines = event.deltaMode === WheelEvent.DOM_DELTA_LINE ? 30 : 1;
        if (event.shiftKey || Math.abs(event.deltaX) > Math.abs(event.deltaY))
            this.pan((event.deltaX || event.deltaY) * lines / 1200);
        else
            this.zoom(Math.exp(Math.max(-120, Math.min(120, event.deltaY * lines)) / 320), this.#placeOfEvent(event).x / this.width);
    }

    /** To a step that a person would choose, and that is no coarser than the pointer. */
    #rounded(hertz) {
        const pixel = this.shown.span / this.width;
        const coarsest = this.station?.clickStep ?? 1000;
        const step = [10000, 5000, 1000, 500, 100, 50, 10].find(each => each <= coarsest && each <= 2 * pixel) ?? 10;
        return Math.max(0, Math.round(hertz / step) * step);
    }
}

function highest(points, place, step) {
    const last = Math.min(points.length - 1, Math.ceil(place + step) - 1);
    let level = 0;
    for (let at = Math.max(0, Math.floor(place)); at <= last; ++at)
        if (points[at] > level)
            level = points[at];
    return level;
}

function between(points, place) {
    const at = Math.max(0, Math.min(points.length - 1, place - 0.5));
    const lower = Math.floor(at);
    const upper = Math.min(points.length - 1, lower + 1);
    return Math.round(points[lower] + (at - lower) * (points[upper] - points[lower]));
}
