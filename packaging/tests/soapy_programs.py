# SPDX-License-Identifier: MIT
"""SDR programs with the SoapySDR module and on the hub, over emulated receivers; run by packaging/check-programs.

usage: soapy_programs.py BUILD OUTPUT [NAME...]: in a network, a mount and a process space of its own. One line a check:
what was heard. Ends with 1 when one fails.
"""

import json
import os
import pathlib
import re
import shutil
import socket
import subprocess
import sys
import time

import numpy

sys.path.insert(0, str(pathlib.Path(__file__).resolve().parents[2] / "tests/support"))
from feedline_kit import LIMIT, wait_until  # noqa: E402

PORT = 50000
CARRIER, LEVEL = 7.150e6, -20.0  # of the emulator's own scene: Hz, dBFS
CENTRE = 7.1e6
FIRST = f"driver=feedline,port={PORT}"
SCREEN = (1400, 900)

BUILD, OUTPUT = (pathlib.Path(argument) for argument in sys.argv[1:3])
SOURCE = pathlib.Path(__file__).resolve().parents[2]
MODULES = BUILD / "tools/soapy/modules"
CARRIER_PY = SOURCE / "tests/tools/soapy/carrier.py"
PYTHON = "/usr/bin/python3"


class Failed(Exception):
    """What is wrong, in one line."""


def require(holds, words):
    if not holds:
        raise Failed(words)


class Room:
    """A check's own folder, home and programs, which end with it."""

    def __init__(self, name):
        self.folder = OUTPUT / name
        shutil.rmtree(self.folder, ignore_errors=True)
        self.folder.mkdir(parents=True)
        self.programs = []
        runtime = self.folder / "run"
        runtime.mkdir(mode=0o700)
        self.environment = {
            "PATH": os.environ["PATH"], "LANG": "C.UTF-8", "HOME": str(self.folder),
            "XDG_CONFIG_HOME": str(self.folder / "config"), "XDG_RUNTIME_DIR": str(runtime),
            # No module of the system's beside ours: some look for devices in the network.
            "SOAPY_SDR_ROOT": "/nonexistent", "SOAPY_SDR_PLUGIN_PATH": str(MODULES)}

    def __enter__(self):
        return self

    def __exit__(self, *_):
        for program in reversed(self.programs):
            program.terminate()
            try:
                program.wait(10)
            except subprocess.TimeoutExpired:
                program.kill()

    def start(self, name, *command, **more):
        """A program that runs on; what it says goes to NAME.log."""
        with open(self.folder / f"{name}.log", "wb") as log:
            program = subprocess.Popen([str(word) for word in command], stdout=log, stderr=log,
                                       stdin=subprocess.DEVNULL, env=self.environment | more)
        self.programs.append(program)
        return program

    def output(self, name, *command, **more):
        """What a program says that ends by itself."""
        with open(self.folder / f"{name}.log", "wb") as log:
            done = subprocess.run([str(word) for word in command], stdout=subprocess.PIPE, stderr=log,
                                  stdin=subprocess.DEVNULL, env=self.environment | more, check=False,
                                  timeout=2 * LIMIT)
        text = done.stdout.decode(errors="replace")
        with open(self.folder / f"{name}.log", "a", encoding="utf-8") as log:
            log.write(text)
        require(done.returncode == 0, f"{name} ended with {done.returncode}; {self.folder}/{name}.log")
        return text

    def log(self, name):
        return (self.folder / f"{name}.log").read_text(errors="replace")

    def server(self, receiver="hf", **more):
        """Listens when this returns."""
        settings = self.folder / "feedline.conf"
        kind = {"hf": 0, "airspy": 1}[receiver]
        settings.write_text(f"[General]\nsdrType={kind}\nsdrPortNumber={PORT}\nsdrUdpAdr=127.0.0.1\n")
        self.start("server", BUILD / "emulator/feedline-emulated", receiver, BUILD / "programs/feedlined",
                   FEEDLINE_SETTINGS=str(settings), **more)
        wait_until(lambda: "Waiting for incoming connections" in self.log("server"), "for the server")

    def display(self):
        """And somewhere for sound to go."""
        self.start("display", "Xvfb", ":7", "-screen", "0", f"{SCREEN[0]}x{SCREEN[1]}x24", "-nolisten", "tcp")
        self.start("sound", "pulseaudio", "-n", "--load=module-null-sink sink_name=nowhere",
                   "--load=module-native-protocol-unix", "--exit-idle-time=-1", "--disallow-exit")
        self.environment |= {"DISPLAY": ":7", "QT_QPA_PLATFORM": "xcb"}
        wait_until(lambda: subprocess.run(["xdotool", "getmouselocation"], env=self.environment, check=False,
                                          capture_output=True).returncode == 0, "for the display")
        wait_until(lambda: (self.folder / "run/pulse/native").exists(), "for the sound")

    def screenshot(self, name):
        """Kept as a picture; returned as grey levels."""
        subprocess.run(["import", "-window", "root", self.folder / f"{name}.png"], env=self.environment, check=True)
        grey = subprocess.run(["import", "-window", "root", "-depth", "8", "gray:-"], env=self.environment,
                              check=True, capture_output=True).stdout
        return numpy.frombuffer(grey, numpy.uint8).reshape(SCREEN[1], SCREEN[0])


def judge(found, bin_width):
    """A carrier, as programs report it."""
    require(abs(found["frequency"] - CARRIER) <= bin_width, f"carrier at {found['frequency']} Hz")
    require(abs(found["level_dbfs"] - LEVEL) <= 1.5, f"carrier of {found['level_dbfs']} dBFS")
    return f"carrier at {found['frequency'] / 1e6:.6f} MHz, {found['level_dbfs']:.1f} dBFS"


def check_utility():
    with Room("utility") as room:
        room.server()
        begin = time.monotonic()
        found = room.output("find", "SoapySDRUtil", "--find=driver=feedline")
        took = time.monotonic() - begin
        require(f"label = Feedline 127.0.0.1:{PORT}" in found, "the server was not found")
        require("accepted" not in room.log("server"), "finding has connected")
        probed = room.output("probe", "SoapySDRUtil", f"--probe={FIRST}")
        for words in ("hardware=AirSpyHF+", "Sample rates: 0.768 MSps", "Native format: CS16"):
            require(words in probed, f"the probe does not say {words}")
        # Its loop ends with an interrupt only; every few seconds it tells the rate since its start.
        room.start("rate", "stdbuf", "-oL", "SoapySDRUtil", f"--args={FIRST},rate=768000", "--rate=768000",
                   "--direction=RX")
        told = wait_until(lambda: re.findall(r"([\d.]+) Msps\t", room.log("rate"))[1:], "for the rate")
        require(abs(float(told[0]) - 0.768) < 0.02, f"the rate is {told[0]} MS/s")
        return f"found in {took * 1e3:.0f} ms without connecting; probed; rate {told[0]} MS/s"


def check_python():
    with Room("python") as room:
        room.server()
        return judge(json.loads(room.output("carrier", PYTHON, CARRIER_PY, FIRST, CENTRE)), 100)


def check_gnuradio():
    with Room("gnuradio") as room:
        room.server()
        heard = []
        for kind in ("fc32", "sc16"):
            text = room.output(kind, PYTHON, SOURCE / "packaging/tests/soapy_flowgraph.py", FIRST, kind, CENTRE)
            heard.append(f"{kind}: {judge(json.loads(text.splitlines()[-1]), 12)}")
        return "; ".join(heard)


GQRX = f"""[General]
configversion=3
crashed=false
[input]
device="soapy=0,{FIRST}"
frequency={CENTRE:.0f}
sample_rate=768000
[remote_control]
enabled=true
port=7356
allowed_hosts=127.0.0.1
"""


class Gqrx:
    """Receives AM, and is worked through its remote-control port."""

    def __init__(self, room, settings):
        file = room.folder / "gqrx.conf"
        file.write_text(settings)
        room.start("gqrx", "gqrx", "-c", file)
        self.remote = None
        wait_until(self.connect, "for the remote control")
        require(self.ask("U DSP 1") == "RPRT 0", "it cannot be started")
        self.ask("M AM")

    def connect(self):
        try:
            self.remote = socket.create_connection(("127.0.0.1", 7356), LIMIT).makefile("rw")
            return True
        except OSError:
            return False

    def ask(self, command):
        self.remote.write(command + "\n")
        self.remote.flush()
        return self.remote.readline().strip()

    def level_at(self, frequency):
        """dBFS."""
        require(self.ask(f"F {frequency:.0f}") == "RPRT 0", "it cannot be tuned")
        time.sleep(2)  # for its meter
        return float(self.ask("l STRENGTH"))


def check_gqrx():
    with Room("gqrx") as room:
        room.server()
        room.display()
        gqrx = Gqrx(room, GQRX)
        wait_until(lambda: gqrx.level_at(CARRIER) > LEVEL - 1.5, "for the carrier")
        carrier, beside = gqrx.level_at(CARRIER), gqrx.level_at(CARRIER + 10e3)
        require(abs(carrier - LEVEL) < 1.5, f"{carrier} dBFS at the carrier")
        require(beside < carrier - 40, f"{beside} dBFS beside it")
        gqrx.level_at(7.2e6)
        room.screenshot("gqrx")
        return f"{carrier:.1f} dBFS at the carrier, {beside:.1f} beside it"


def check_cubicsdr():
    with Room("cubicsdr") as room:
        room.server()
        room.display()
        room.start("cubicsdr", "CubicSDR")
        wait_until(lambda: "SDR enumerator done" in room.log("cubicsdr"), "for its list of devices")
        require("label = Feedline 127.0.0.1" in room.log("cubicsdr"), "the server is not in its list")
        require("accepted" not in room.log("server"), "listing has connected")
        time.sleep(5)  # for its windows
        room.screenshot("devices")
        for place in ((504, 280), (638, 628)):  # the device, Start
            subprocess.run(["xdotool", "mousemove", *map(str, place), "click", "1"], env=room.environment, check=True)
            time.sleep(1)
        wait_until(lambda: "starting readLoop" in room.log("cubicsdr"), "for its start")
        time.sleep(8)
        # The whole band's waterfall stands below the middle, with the station of 100 MHz in its middle.
        waterfall = room.screenshot("waterfall")[445:540, 265:1320].mean(axis=0)
        middle, edge = waterfall[480:580].mean(), waterfall[200:260].mean()
        require(middle > 2 * edge, f"brightness {middle:.0f} at the station, {edge:.0f} beside it")
        return f"listed without connecting; brightness {middle:.0f} at the station, {edge:.0f} beside it"


def sensor_signal(rate):
    """A thermometer's telegram as it is on the air, on-off keyed: 21.5 degrees, 48 %, channel 2."""
    def keyed(on, microseconds):
        return numpy.full(int(microseconds * 1e-6 * rate), float(on))

    def bits(value, count):
        return [value >> (count - 1 - at) & 1 for at in range(count)]

    telegram = bits(0x5A, 8) + [1, 0] + bits(1, 2) + bits(215, 12) + bits(15, 4) + bits(48, 8)
    pulses = []
    for bit in telegram:
        pulses += [keyed(1, 500), keyed(0, 2000 if bit else 1000)]
    pulses += [keyed(1, 500), keyed(0, 4000)]
    envelope = numpy.concatenate([keyed(0, 50_000)] + 12 * pulses + [keyed(0, 300_000)])
    noise = numpy.random.default_rng(1).standard_normal((2, len(envelope))) * 0.003
    carrier = 0.3 * envelope * numpy.exp(2j * numpy.pi * 20e3 / rate * numpy.arange(len(envelope)))
    pairs = numpy.stack([carrier.real + noise[0], carrier.imag + noise[1]], axis=1)
    return numpy.round(pairs * 32000).astype("<i2")


def check_rtl_433():
    with Room("rtl_433") as room:
        recording = room.folder / "sensor.raw"
        sensor_signal(2.5e6).tofile(recording)
        room.server("airspy", FEEDLINE_EMULATOR_RECORDING=str(recording))
        said = room.output("rtl_433", "rtl_433", "-d", FIRST, "-f", "433.92M", "-s", "2500k", "-F", "json", "-T", "10")
        recording.unlink()
        readings = [json.loads(line) for line in said.splitlines() if line.startswith("{")]
        require(readings, "nothing was decoded")
        first = readings[0]
        require((first["temperature_C"], first["humidity"], first["channel"]) == (21.5, 48, 2), f"decoded {first}")
        return f"{len(readings)} telegrams: {first['model']}, {first['temperature_C']} degrees, {first['humidity']} %"


BUS = """<!DOCTYPE busconfig PUBLIC "-//freedesktop//DTD D-Bus Bus Configuration 1.0//EN"
 "http://www.freedesktop.org/standards/dbus/1.0/busconfig.dtd">
<busconfig><type>session</type><listen>unix:path=PATH</listen><policy context="default"><allow user="*"/><allow own="*"/>
<allow send_destination="*" eavesdrop="true"/><allow eavesdrop="true"/></policy></busconfig>
"""


def announce(room):
    """SoapySDRServer ends when there is no daemon to announce it."""
    bus = room.folder / "bus"
    (room.folder / "bus.conf").write_text(BUS.replace("PATH", str(bus)))
    (room.folder / "avahi.conf").write_text("[server]\nallow-interfaces=lo\nenable-dbus=yes\n")
    subprocess.run(["mount", "-t", "tmpfs", "tmpfs", "/run"], check=True)
    os.mkdir("/run/avahi-daemon")
    room.environment["DBUS_SYSTEM_BUS_ADDRESS"] = f"unix:path={bus}"
    room.start("bus", "dbus-daemon", f"--config-file={room.folder}/bus.conf", "--nofork", "--nopidfile")
    wait_until(bus.exists, "for the bus")
    room.start("avahi", "avahi-daemon", "-f", room.folder / "avahi.conf", "--no-drop-root", "--no-chroot", "--no-rlimits")
    wait_until(lambda: "startup complete" in room.log("avahi"), "for the daemon that announces")


# An AirSpy gives a recording at half its level.
HUB_CENTRE, HUB_CARRIER, HUB_LEVEL = 433.92e6, 434.22e6, LEVEL - 6.0  # Hz, dBFS
GQRX_OVER_RTL_TCP = GQRX.replace(f"soapy=0,{FIRST}", "rtl_tcp=127.0.0.1:1234").replace(
    f"frequency={CENTRE:.0f}", f"frequency={HUB_CENTRE:.0f}").replace("sample_rate=768000", "sample_rate=1200000")


def sensor_and_carrier(rate):
    """The sensor's telegram, weaker, beside a carrier of LEVEL that goes on over the recording's end."""
    pairs = sensor_signal(rate) // 4
    pairs = pairs[:len(pairs) // 1000 * 1000]
    turns = numpy.exp(2j * numpy.pi * (HUB_CARRIER - HUB_CENTRE) / rate * numpy.arange(len(pairs)))
    carrier = 10 ** (LEVEL / 20) * 32768 * numpy.stack([turns.real, turns.imag], axis=1)
    return (pairs + numpy.round(carrier)).astype("<i2")


def judge_at(frequency, level, bin_width):
    require(abs(frequency - HUB_CARRIER) <= bin_width, f"carrier at {frequency} Hz")
    require(abs(level - HUB_LEVEL) <= 1.5, f"carrier of {level} dBFS")
    return f"{frequency / 1e6:.4f} MHz {level:.1f} dBFS"


def hear_with_gqrx(gqrx):
    """Its 8-bit samples come with a gain of the hub's, so only the difference is known."""
    def difference():
        return gqrx.level_at(HUB_CARRIER) - gqrx.level_at(HUB_CARRIER + 40e3)

    wait_until(lambda: difference() > 25, "for gqrx to hear the carrier")
    return f"gqrx {difference():.0f} dB over what is beside it"


def check_hub():
    """Everybody at once on one receiver; each hears what it should."""
    with Room("hub") as room:
        recording = room.folder / "sensor_and_carrier.raw"
        sensor_and_carrier(2.5e6).tofile(recording)
        room.server("airspy", FEEDLINE_EMULATOR_RECORDING=str(recording))
        room.start("hub", BUILD / "tools/hub/feedline-hub", f"--frequency={HUB_CENTRE:.0f}",
                   "--rate=2500000")
        wait_until(lambda: subprocess.run([BUILD / "tools/hub/feedline-hub", "--status"], env=room.environment,
                                          check=False, capture_output=True).returncode == 0, "for the hub")
        room.display()
        gqrx = Gqrx(room, GQRX_OVER_RTL_TCP)
        probes = {f"probe {at}": room.start(
            f"probe{at}", BUILD / "tools/probe/feedline-probe", "stream", "127.0.0.1:50001", f"--bind=127.0.0.{at}",
            f"--tune={HUB_CENTRE:.0f}", "--seconds=8", "--json") for at in (2, 3)}
        rest = {
            "rtl_433": room.start("rtl_433", "rtl_433", "-d", "rtl_tcp:127.0.0.1:1234", "-f", "433.92M", "-s", "250k",
                                  "-F", "json", "-T", "10"),
            "GNU Radio fc32": room.start("fc32", PYTHON, SOURCE / "docs/examples/zmq_flowgraph.py", "127.0.0.1", 50010),
            "GNU Radio sc16": room.start("sc16", PYTHON, SOURCE / "docs/examples/zmq_flowgraph.py", "127.0.0.1", 50010,
                                         "sc16"),
            "SoapySDR": room.start("soapy", PYTHON, CARRIER_PY, "driver=feedline,port=50001,bind=127.0.0.4",
                                   HUB_CENTRE)}
        heard = [hear_with_gqrx(gqrx)]
        room.screenshot("gqrx")
        for name, program in (probes | rest).items():
            require(program.wait(LIMIT) == 0, f"{name} ended with {program.returncode}")
        for at in (2, 3):
            told = json.loads(room.log(f"probe{at}").splitlines()[-1])
            require(told["lost"] == 0, f"probe {at} lost {told['lost']} datagrams")
            carrier = told["carrier"]
            heard.append(f"probe {at} " + judge_at(carrier["frequency_hz"], carrier["level_dbfs"], 1000) + ", 0 lost")
        for kind in ("fc32", "sc16"):
            khz, level = re.search(r"([\d.]+) kHz (-[\d.]+) dBFS", room.log(kind)).groups()
            heard.append(f"GNU Radio {kind} " + judge_at(float(khz) * 1e3, float(level), 1000))
        told = json.loads(room.log("soapy").splitlines()[-1])
        heard.append("SoapySDR " + judge_at(told["frequency"], told["level_dbfs"], 1000))
        readings = [json.loads(line) for line in room.log("rtl_433").splitlines() if line.startswith("{")]
        require(readings, "rtl_433 decoded nothing")
        require((readings[0]["temperature_C"], readings[0]["humidity"]) == (21.5, 48), f"decoded {readings[0]}")
        heard.append(f"rtl_433 {len(readings)} telegrams")
        recording.unlink()
        return "; ".join(heard)


def check_remote():
    with Room("remote") as room:
        room.server()
        announce(room)
        room.start("soapysdrserver", "stdbuf", "-oL", "SoapySDRServer", "--bind=127.0.0.1:55132")
        wait_until(lambda: "Press Ctrl+C" in room.log("soapysdrserver"), "for SoapySDRServer")
        arguments = f"driver=remote,remote=tcp://127.0.0.1:55132,remote:driver=feedline,port={PORT}"
        del room.environment["SOAPY_SDR_ROOT"], room.environment["SOAPY_SDR_PLUGIN_PATH"]
        return judge(json.loads(room.output("carrier", PYTHON, CARRIER_PY, arguments, CENTRE).splitlines()[-1]), 100)


CHECKS = {"utility": check_utility, "python": check_python, "gnuradio": check_gnuradio, "gqrx": check_gqrx,
          "cubicsdr": check_cubicsdr, "rtl_433": check_rtl_433, "remote": check_remote,
          "hub": check_hub}


def main(names):
    unknown = [name for name in names if name not in CHECKS]
    if unknown:
        sys.exit(f"no such check: {', '.join(unknown)}; there are {', '.join(CHECKS)}")
    subprocess.run(["ip", "link", "set", "lo", "up", "multicast", "on"], check=True)
    failures = 0
    for name in names or CHECKS:
        try:
            print(f"ok      {name}: {CHECKS[name]()}", flush=True)
        except (Failed, subprocess.SubprocessError, OSError, ValueError, KeyError) as failure:
            failures += 1
            print(f"FAILED  {name}: {failure}", flush=True)
    sys.exit(1 if failures else 0)


main(sys.argv[3:])
