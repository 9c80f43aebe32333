// SPDX-License-Identifier: MIT
// What a person does with the page, and what he sees and hears. `run` starts it, with the server and the receiver.

import assert from "node:assert/strict";
import { spawn } from "node:child_process";
import { createWriteStream } from "node:fs";
import { setTimeout as pause } from "node:timers/promises";

const { FEEDLINE_BROWSER, FEEDLINE_KIND, FEEDLINE_PAGE, FEEDLINE_HUB, FEEDLINE_WORK, FEEDLINE_PUPPETEER, FEEDLINE_ONLY } = process.env;
const { default: puppeteer } = await import(FEEDLINE_PUPPETEER);
const secure = FEEDLINE_KIND === "secure";
const limit = 30000; // ms, which only a broken build needs

// The hub

let hub;
async function startHub() {
    const [program, ...parameters] = FEEDLINE_HUB.split(" ");
    hub = spawn(program, parameters, { stdio: ["ignore", "ignore", "pipe"] });
    hub.stderr.pipe(createWriteStream(`${FEEDLINE_WORK}/hub.log`, { flags: "a" }));
    await eventually(async () => (await fetch(FEEDLINE_PAGE)).ok, "the hub answers");
}
async function stopHub() {
    const ended = new Promise(resolve => hub.once("exit", resolve));
    hub.kill("SIGTERM");
    await ended;
}

async function eventually(condition, what) {
    let last;
    for (const until = Date.now() + limit; Date.now() < until; await pause(50)) {
        try {
            last = await condition();
            if (last)
                return last;
        } catch (error) {
            last = error;
        }
    }
    throw new Error(`never: ${what}; last: ${last}`);
}

// The browser

function launch() {
    if (FEEDLINE_BROWSER === "firefox")
        return puppeteer.launch({ browser: "firefox", executablePath: "/usr/bin/firefox-esr", headless: true, protocolTimeout: 2 * limit });
    const quiet = ["--no-sandbox", "--disable-gpu", "--disable-quic", "--no-first-run", "--disable-background-networking",
        "--disable-component-update", "--disable-sync", "--autoplay-policy=user-gesture-required"];
    return puppeteer.launch({ executablePath: "/usr/bin/chromium", headless: true, args: quiet, protocolTimeout: 2 * limit });
}

const desk = { width: 1280, height: 800 };

/** A page on which nothing may go wrong unseen. */
async function visit(context, link = "", { viewport = desk, before } = {}) {
    const page = await context.newPage();
    page.errors = [];
    page.on("pageerror", error => page.errors.push(error.message));
    await page.setViewport(viewport);
    if (before)
        await page.evaluateOnNewDocument(before);
    await page.goto(FEEDLINE_PAGE + link);
    await eventually(() => page.evaluate(() => globalThis.feedline?.display.rows.length >= 5), "rows come");
    return page;
}
async function leave(page) {
    assert.deepEqual(page.errors, []);
    await page.close();
}

const text = (page, selector) => page.$eval(selector, element => (element.value ?? element.textContent).replace(/\s/g, ""));
const shown = (page, selector) => page.$eval(selector, element => element.textContent);
async function frequencyIs(page, words) {
    await eventually(async () => await text(page, "#frequency") === words, `frequency ${words}`);
    assert.ok(await page.$eval("#frequency", field => field.scrollWidth <= field.clientWidth), `${words} fits`);
}
const heardAt = (page, hertz) => eventually(async () =>
    await page.evaluate(() => feedline.wanted.frequency) === hertz, `tuned to ${hertz}`);

/** The strongest column of the waterfall's lower half, 0 to 1 from the left. */
const brightestColumn = page => page.evaluate(() => {
    const canvas = document.getElementById("waterfall");
    const rows = Math.min(20, canvas.height - 2);
    const { data } = canvas.getContext("2d").getImageData(0, 2, canvas.width, rows);
    const light = new Float64Array(canvas.width);
    for (let at = 0; at < data.length; at += 4)
        light[at / 4 % canvas.width] += 0.2126 * data[at] + 0.7152 * data[at + 1] + 0.0722 * data[at + 2];
    return (light.indexOf(Math.max(...light)) + 0.5) / canvas.width;
});

/** The strongest tone in what the page's audio graph gives to the loudspeaker. */
const tone = page => page.evaluate(() => {
    const { tap, context } = feedline.player;
    const levels = new Float32Array(tap.frequencyBinCount);
    tap.getFloatFrequencyData(levels);
    const peak = levels.indexOf(Math.max(...levels));
    return { hertz: peak * context.sampleRate / tap.fftSize, level: levels[peak] };
});

async function hears(page, hertz) {
    let heard;
    await eventually(async () => {
        heard = await tone(page);
        return heard.level > -45 && Math.abs(heard.hertz - hertz) < 8;
    }, `a tone of ${hertz} Hz`).catch(error => {
        throw new Error(`${error.message}; heard ${JSON.stringify(heard)}`);
    });
}

/** What is cut off by the edges of the screen. */
function misfits() {
    const all = [...document.querySelectorAll("header *, footer *, canvas")].filter(each => each.checkVisibility?.() ?? each.offsetParent);
    return all.filter(each => !each.closest(".hidden, .segments input") && !each.classList.contains("hidden")).filter(each => {
        const box = each.getBoundingClientRect();
        return box.width > 0 && (box.left < -1 || box.right > innerWidth + 1 || box.top < -1 || box.bottom > innerHeight + 1);
    }).map(each => `${each.tagName}#${each.id}.${each.className}`);
}

/** Controls and words that lie on one another, or beyond the sides. */
function overlaps() {
    const seen = [...document.querySelectorAll("footer button, footer input:not([type=radio]), footer select, footer output, footer legend:not(.hidden), #lines li, #reading, #frequency")]
        .map(each => ({ each, box: each.getBoundingClientRect() })).filter(({ box }) => box.width > 0 && box.height > 0);
    const name = ({ each }) => each.id || `${each.tagName} ${each.textContent}`;
    const wide = seen.filter(({ box }) => box.left < -1 || box.right > innerWidth + 1).map(one => `${name(one)} is cut off`);
    const pairs = seen.flatMap((one, at) => seen.slice(at + 1).filter(({ box }) =>
        Math.min(box.right, one.box.right) - Math.max(box.left, one.box.left) > 1 &&
        Math.min(box.bottom, one.box.bottom) - Math.max(box.top, one.box.top) > 1).map(other => `${name(one)} on ${name(other)}`));
    return [...wide, ...pairs];
}

// What is tested

const tests = {
    async "the carrier stands at its frequency in the waterfall's pixels"(context) {
        const page = await visit(context);
        // So that only one carrier is the brightest.
        await page.evaluate(() => feedline.display.setLevels({ automatic: false, low: -120, high: -15 }));
        const whole = (7150 - (7100 - 384)) / 768;
        await eventually(async () => Math.abs(await brightestColumn(page) - whole) < 2.5 / desk.width, "7150 in the whole band");
        await page.evaluate(() => feedline.display.setView({ low: 7140e3, span: 40e3 }));
        await eventually(async () => Math.abs(await brightestColumn(page) - 0.25) < 4 / desk.width, "7150 in a part of it");
        await leave(page);
    },

    async "a tone of 1000 Hz comes out of the audio graph"(context) {
        for (const [query, codec, output] of secure
            ? [["", "opus", "worklet"], ["?output=buffers", "opus", "buffers"], ["?sound=adpcm", "adpcm", "worklet"], ["?sound=adpcm&output=buffers", "adpcm", "buffers"]]
            : [["", "adpcm", "buffers"]]) {
            const page = await visit(context, `${query}#f=7255&m=am`);
            assert.equal(await page.evaluate(() => isSecureContext), secure);
            await page.click("#listen");
            await hears(page, 1000);
            assert.deepEqual(await page.evaluate(() => [feedline.player.codec, feedline.player.output.name]), [codec, output]);
            await leave(page);
        }
    },

    async "nothing plays before a click, and the page says so"(context) {
        const page = await visit(context, "#f=7255&m=am");
        assert.equal(await shown(page, "#promise"), "Nothing plays before you press this.");
        assert.equal(await page.evaluate(() => feedline.player.context), undefined);
        await page.click("#listen");
        await hears(page, 1000);
        await page.click("#listen");
        await eventually(() => page.evaluate(() => feedline.player.context.state === "suspended"), "it is quiet again");
        await leave(page);
    },

    async "from antenna to ear it takes less than half a second, and the page says how much"(context) {
        const page = await visit(context, "#f=7255&m=am");
        await page.click("#listen");
        await hears(page, 1000);
        const said = await eventually(async () => /^0\.[0-4]\d s from antenna to ear$/.exec(await shown(page, "#delay")), "a short delay");
        console.log(`   ${said[0]}`);
        await leave(page);
    },

    async "a click tunes"(context) {
        const page = await visit(context, "#f=7100&m=am");
        const at = (7200 - (7100 - 384)) / 768 * desk.width;
        const box = await (await page.$("#waterfall")).boundingBox();
        await page.mouse.click(box.x + at, box.y + box.height / 2);
        await heardAt(page, 7200e3);
        await frequencyIs(page, "7200.000");
        await eventually(async () => page.url().includes("f=7200&m=am"), "the link follows");
        await leave(page);
    },

    async "frequencies are typed as people write them"(context) {
        const page = await visit(context, "#f=7100&m=am");
        for (const [typed, hertz, shows] of [["7.2M", 7200e3, "7200.000"], ["7150", 7150e3, "7150.000"], ["7 075,5", 7075500, "7075.500"]]) {
            await page.focus("#frequency");
            await page.keyboard.type(typed);
            await page.keyboard.press("Enter");
            await heardAt(page, hertz);
            await frequencyIs(page, shows);
        }
        await page.focus("#frequency");
        await page.keyboard.type("nonsense");
        await page.keyboard.press("Enter");
        assert.equal(await page.$eval("#frequency", input => input.getAttribute("aria-invalid")), "true");
        await page.keyboard.press("Escape");
        await frequencyIs(page, "7075.500");
        await leave(page);
    },

    async "the keyboard does everything"(context) {
        const page = await visit(context, "#f=7255&m=am");
        await page.focus("#band");
        await page.keyboard.press("ArrowRight");
        await heardAt(page, 7256e3);
        await page.keyboard.press("ArrowLeft");
        await heardAt(page, 7255e3);
        await page.keyboard.press("u");
        await eventually(() => page.evaluate(() => feedline.wanted.mode === "usb"), "USB");
        await page.keyboard.press("a");
        await page.keyboard.press("+");
        await eventually(() => page.evaluate(() => feedline.display.shown.span === 384000), "closer");
        await page.keyboard.press("0");
        await eventually(() => page.evaluate(() => feedline.display.view === null), "the whole band");
        const before = await page.evaluate(() => feedline.wanted.edges.am.high);
        await page.keyboard.press("]");
        await eventually(() => page.evaluate(high => feedline.wanted.edges.am.high > high, before), "a wider pass-band");
        await page.keyboard.press(" ");
        await hears(page, 1000);
        await page.keyboard.press("m");
        await eventually(async () => (await tone(page)).level < -80, "it is mute");
        await page.keyboard.press("?");
        await eventually(() => page.$eval("#keys", dialog => dialog.open), "the list of keys");
        await page.keyboard.press("Escape");
        await leave(page);
    },

    async "an edge of the pass-band is dragged"(context) {
        const page = await visit(context, "#f=7200&m=usb&c=7200&s=20");
        const [from, height] = await page.evaluate(() => [feedline.display.placeOf(7202850), feedline.display.spectrum.clientHeight / 2]);
        const box = await (await page.$("#spectrum")).boundingBox();
        await page.mouse.move(box.x + from, box.y + height);
        await page.mouse.down();
        await page.mouse.move(box.x + from + 1000 / 20000 * desk.width, box.y + height, { steps: 5 });
        await page.mouse.up();
        await eventually(() => page.evaluate(() => Math.abs(feedline.wanted.edges.usb.high - 3850) <= 30), "3850 Hz");
        assert.equal(await page.evaluate(() => feedline.wanted.edges.usb.low), 150);
        await leave(page);
    },

    async "the wheel zooms around its place, and a drag moves the view"(context) {
        const page = await visit(context);
        const box = await (await page.$("#waterfall")).boundingBox();
        const x = box.x + 0.75 * box.width;
        const y = box.y + 50;
        const under = await page.evaluate(at => feedline.display.frequencyAt(at), x);
        await page.mouse.move(x, y);
        for (let turns = 0; turns < 4; ++turns)
            await page.mouse.wheel({ deltaY: -120 });
        await eventually(() => page.evaluate(() => feedline.display.shown.span < 200000), "closer");
        assert.ok(Math.abs(await page.evaluate(at => feedline.display.frequencyAt(at), x) - under) < 100);
        await page.mouse.down();
        await page.mouse.move(x - 200, y, { steps: 5 });
        await page.mouse.up();
        assert.ok(Math.abs(await page.evaluate(at => feedline.display.frequencyAt(at), x - 200) - under) < 100);
        await leave(page);
    },

    async "a link holds frequency, mode and view"(context) {
        const page = await visit(context, "#f=7030&m=cw&c=7030&s=24");
        await frequencyIs(page, "7030.000");
        assert.equal(await page.evaluate(() => feedline.wanted.mode), "cw");
        assert.deepEqual(await page.evaluate(() => feedline.display.shown), { low: 7018e3, span: 24e3 });
        await page.evaluate(() => { location.hash = "#f=7200&m=am"; });
        await heardAt(page, 7200e3);
        await leave(page);
    },

    async "two pages hear two stations at once"(context) {
        const first = await visit(context, "#f=7255&m=am");
        await first.click("#listen");
        await hears(first, 1000);
        // A carrier 700 Hz above the frequency tuned to is a tone of 700 Hz in USB.
        const second = await visit(context, "#f=7149.3&m=usb");
        await second.click("#listen");
        await hears(second, 700);
        await first.bringToFront();
        await hears(first, 1000);
        await leave(second);
        await leave(first);
    },

    async "it goes on by itself when the hub comes back"(context) {
        const page = await visit(context, "#f=7255&m=am");
        await page.click("#listen");
        await hears(page, 1000);
        await stopHub();
        await eventually(async () => await shown(page, "#notice") === "The hub does not answer. Trying again …", "it says so");
        await startHub();
        await eventually(async () => await shown(page, "#notice") === "", "it is back");
        await hears(page, 1000);
        assert.equal(await page.evaluate(() => feedline.wanted.frequency), 7255e3);
        await leave(page);
    },

    async "what the server says stands there in its words"(context) {
        const page = await visit(context, "#f=7255&m=am");
        assert.deepEqual(await page.$$eval("#lines li", items => items.map(item => item.textContent)),
            ["TCP Server: CONNECTED", "AirSpyHF+ RUNNING", "Center Frequency: 7100.000 kHz"]);
        const words = await eventually(() => shown(page, "#tuner"), "who may tune");
        assert.match(words, secure ? /You came first: you move the receiver\./ : /Only the hub's own machine may move the receiver\./);
        await leave(page);
    },

    async "a frequency outside the band moves the receiver, or says why not"(context) {
        const page = await visit(context, "#f=7255&m=am");
        await page.evaluate(() => feedline.tune(100e6));
        await frequencyIs(page, "100000.000");
        await page.focus("#frequency");
        await page.keyboard.type("9.4M");
        await page.keyboard.press("Enter");
        if (secure) {
            await eventually(async () => (await shown(page, "#lines li:nth-child(3)")) === "Center Frequency: 9400.000 kHz", "it moves");
            await page.evaluate(() => feedline.tune(7.1e6));
            await eventually(async () => (await shown(page, "#lines li:nth-child(3)")) === "Center Frequency: 7100.000 kHz", "and back");
        } else {
            await eventually(async () => /is outside what is received.*Only the hub's own machine may move the receiver\. You hear silence\./
                .test(await shown(page, "#notice")), "it says why");
        }
        await leave(page);
    },

    async "a page that cannot play says so, and shows everything else"(context) {
        const page = await visit(context, "#f=7255&m=am", { before: () => { delete globalThis.AudioContext; } });
        assert.equal(await shown(page, "#promise"), "This browser plays no sound.");
        assert.equal(await page.$eval("#listen", button => button.disabled), true);
        await eventually(async () => /\d dBFS/.test(await shown(page, "#reading")), "the meter goes on");
        await leave(page);
    },

    async "every control has a name"(context) {
        const page = await visit(context);
        const nameless = await page.$$eval("button, input, select, [role]", controls => controls
            .filter(control => !(control.getAttribute("aria-label") || control.labels?.[0]?.textContent.trim() ||
                control.textContent.trim() || control.getAttribute("role") === "status"))
            .map(control => control.outerHTML));
        assert.deepEqual(nameless, []);
        await leave(page);
    },

    async "it fits a telephone, a tablet, a desk and a wall"(context) {
        for (const [width, height] of [[360, 640], [390, 844], [740, 360], [820, 1180], [1280, 720], [1920, 1080], [3840, 2160]]) {
            const page = await visit(context, "", { viewport: { width, height } });
            assert.deepEqual(await page.evaluate(misfits), [], `${width} x ${height}`);
            assert.deepEqual(await page.evaluate(overlaps), [], `${width} x ${height}`);
            const waterfall = await (await page.$("#waterfall")).boundingBox();
            assert.ok(waterfall.height > 0.2 * height && waterfall.width > 0.99 * width, `waterfall at ${width} x ${height}`);
            if (await page.$eval("#more", button => button.offsetParent !== null)) {
                await page.click("#more");
                await eventually(() => page.$eval("#panel", panel => panel.offsetParent !== null), "the panel opens");
                assert.deepEqual(await page.evaluate(overlaps), [], `the panel at ${width} x ${height}`);
            }
            await leave(page);
        }
    },
};

// Each remembers only what is its own.
async function passes(browser, name, test) {
    const begin = Date.now();
    const context = await browser.createBrowserContext();
    try {
        await test(context);
        console.log(`ok: ${name} (${Date.now() - begin} ms)`);
        return true;
    } catch (error) {
        console.log(`FAILED: ${name}\n${error.stack}`);
        return false;
    } finally {
        await context.close();
    }
}

let failures = 0;
await startHub();
const browser = await launch();
for (const [name, test] of Object.entries(tests))
    if ((!FEEDLINE_ONLY || new RegExp(FEEDLINE_ONLY).test(name)) && !await passes(browser, name, test))
        ++failures;
await browser.close();
await stopHub();
process.exit(failures ? 1 : 0);
