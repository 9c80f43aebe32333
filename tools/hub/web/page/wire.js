// SPDX-License-Identifier: MIT
// The one WebSocket to the hub, and its messages. docs/web.md has them all.

const soundFrame = 1;
const rowFrame = 2;
const headerBytes = { [soundFrame]: 12, [rowFrame]: 24 };
const codecs = ["silence", "adpcm", "opus"];

/** The parts of a binary message; null for one that is none. */
export function readFrame(buffer) {
    const data = new DataView(buffer);
    const type = data.byteLength > 0 ? data.getUint8(0) : 0;
    if (!headerBytes[type] || data.byteLength < headerBytes[type])
        return null;
    const common = {
        sequence: data.getUint16(2, true),
        level: data.getInt16(4, true) / 10,
        age: data.getUint16(6, true) / 1000,
    };
    const payload = new Uint8Array(buffer, headerBytes[type]);
    if (type === rowFrame)
        return { type: "row", ...common, low: data.getFloat64(8, true), span: data.getFloat64(16, true), points: payload };
    return {
        type: "sound", ...common, codec: codecs[data.getUint8(1)], rate: 100 * data.getUint16(8, true),
        samples: data.getUint16(10, true), payload,
    };
}

const shortestPause = 500; // ms
const longestPause = 5000; // ms
const pingPeriod = 2000; // ms
const silenceLimit = 7000; // ms without any message: the connection is dead

/**
 * Connects, and connects again whenever the connection is lost. Handlers: opened(), words(message) for JSON, frame(frame),
 * lost(seconds until the next try).
 */
export class Wire {
    constructor(address, handlers) {
        this.address = address;
        this.handlers = handlers;
        this.pause = shortestPause;
        /** Seconds that a message takes there and back; null while unknown. */
        this.roundTrip = null;
        setInterval(() => this.#watch(), pingPeriod);
        this.connect();
    }

    connect() {
        clearTimeout(this.timer);
        this.socket?.close();
        const socket = new WebSocket(this.address);
        socket.binaryType = "arraybuffer";
        this.socket = socket;
        this.heard = performance.now();
        socket.onopen = () => this.handlers.opened();
        socket.onmessage = event => this.#take(socket, event.data);
        socket.onclose = () => this.#lose(socket);
    }

    send(message) {
        if (this.socket.readyState === WebSocket.OPEN)
            this.socket.send(JSON.stringify(message));
    }

    #take(socket, data) {
        if (socket !== this.socket)
            return;
        this.heard = performance.now();
        if (typeof data !== "string") {
            const frame = readFrame(data);
            if (frame)
                this.handlers.frame(frame);
            return;
        }
        const message = JSON.parse(data);
        if (message.type === "welcome")
            this.pause = shortestPause;
        if (message.type === "pong")
            this.roundTrip = (performance.now() - message.at) / 1000;
        else
            this.handlers.words(message);
    }

    #lose(socket) {
        if (socket !== this.socket)
            return;
        this.roundTrip = null;
        this.handlers.lost(this.pause / 1000);
        this.timer = setTimeout(() => this.connect(), this.pause);
        this.pause = Math.min(longestPause, this.pause * 1.6);
    }

    /** Says that the next try may take longer: the hub is full. */
    beSlow() {
        this.pause = longestPause;
    }

    #watch() {
        if (this.socket.readyState === WebSocket.OPEN && performance.now() - this.heard > silenceLimit)
            this.connect();
        else
            this.send({ type: "ping", at: performance.now() });
    }
}
