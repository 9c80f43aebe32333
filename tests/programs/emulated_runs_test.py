# SPDX-License-Identifier: MIT
"""feedline-emulated and ./run --emulated as somebody without any settings starts them.

usage: emulated_runs_test.py SOURCE-TREE BUILD-TREE
"""

import os
import pathlib
import select
import shutil
import signal
import subprocess
import sys
import tempfile
import time
import unittest

SOURCES = BUILD = None
LIMIT = 60  # seconds, reached by a broken program only
OPENED = {  # What the log has only when the receiver was opened.
    "hf": "airspyhf_set_samplerate err 0",
    "airspy": "airspy_set_samplerate err 0",
}


class Account(unittest.TestCase):
    """A fresh home, and programs started from there."""

    def setUp(self):
        folder = tempfile.TemporaryDirectory()
        self.addCleanup(folder.cleanup)
        self.home = pathlib.Path(folder.name)
        self.settings = self.home / ".config" / "feedline"
        self.environment = {
            "PATH": os.environ["PATH"],
            "HOME": folder.name,
            "QT_QPA_PLATFORM": "offscreen",
            "DBUS_SESSION_BUS_ADDRESS": "unix:path=/nonexistent",
            "DBUS_SYSTEM_BUS_ADDRESS": "unix:path=/nonexistent",
        } | {name: value for name, value in os.environ.items() if name.endswith("SAN_OPTIONS")}

    def emulated(self, *arguments, **more):
        """What a command that ends by itself prints, its errors and its status."""
        return subprocess.run(
            [BUILD / "emulator" / "feedline-emulated", *arguments], env=self.environment | more,
            capture_output=True, text=True, timeout=LIMIT, check=False)

    def log_of(self, command, until="SetUpTcpServer", **more):
        """The log of a server that is ended when the text has come."""
        with subprocess.Popen(command, env=self.environment | more, stdout=subprocess.DEVNULL,
                              stderr=subprocess.PIPE) as process:
            log, deadline = b"", time.monotonic() + LIMIT
            while until.encode() not in log:
                left = max(deadline - time.monotonic(), 0)
                ready = select.select([process.stderr], [], [], left)[0]
                read = os.read(process.stderr.fileno(), 65536) if ready else b""
                if not read:
                    process.kill()
                    raise AssertionError(f"no {until} but {log.decode()}")
                log += read
            process.send_signal(signal.SIGTERM)
            self.assertEqual(process.wait(LIMIT), 0)
        return log.decode()

    def serves(self, receivers, opened, program="feedlined"):
        log = self.log_of([BUILD / "emulator" / "feedline-emulated", receivers,
                           BUILD / "programs" / program])
        self.assertIn(OPENED[opened], log)

    def saved(self, receivers):
        return (self.settings / f"emulated-{receivers}.conf").read_text().splitlines()


class EmulatedRun(Account):
    def test_each_receiver_is_served_on_a_fresh_account(self):
        for receivers, opened, kind in (("hf", "hf", 0), ("airspy", "airspy", 1), ("both", "hf", 0)):
            with self.subTest(receivers):
                self.serves(receivers, opened)
                self.assertIn(f"sdrType={kind}", self.saved(receivers))
        self.assertEqual({path.name for path in self.settings.iterdir()},
                         {f"emulated-{name}.conf" for name in ("hf", "airspy", "both")})

    def test_the_window_serves_it_too(self):
        if not (BUILD / "programs" / "feedline").exists():
            self.skipTest("built without a window")
        self.serves("airspy", "airspy", "feedline")

    def test_the_receiver_that_is_there_is_opened_whatever_was_chosen_before(self):
        self.settings.mkdir(parents=True)
        file = self.settings / "emulated-airspy.conf"
        file.write_text("[General]\nsdrPortNumber=50017\nsdrType=0\nsdrUdpAdr=192.0.2.1\n")
        self.serves("airspy", "airspy")
        self.assertEqual(sorted(self.saved("airspy")),
                         ["[General]", "sdrPortNumber=50017", "sdrType=1", "sdrUdpAdr=192.0.2.1"])

    def test_of_both_the_one_chosen_last_is_opened(self):
        self.settings.mkdir(parents=True)
        (self.settings / "emulated-both.conf").write_text("[General]\nsdrType=1\n")
        self.serves("both", "airspy")

    def test_the_users_own_settings_are_neither_read_nor_changed(self):
        self.settings.mkdir(parents=True)
        own = self.settings / "feedline.conf"
        own.write_text("[General]\nsdrPortNumber=4711\nsdrType=2\n")
        self.serves("hf", "hf")
        self.assertEqual(own.read_text(), "[General]\nsdrPortNumber=4711\nsdrType=2\n")
        self.assertIn("sdrPortNumber=50000", self.saved("hf"))

    def test_the_desktops_settings_stay_where_they_are(self):
        given = {"XDG_CONFIG_HOME": str(self.home / "configuration"), "XDG_CONFIG_DIRS": "/etc/xdg"}
        printed = self.emulated("hf", "env", **given).stdout.splitlines()
        changed = set(printed) - {f"{name}={value}" for name, value in (self.environment | given).items()}
        self.assertEqual({line.split("=")[0] for line in changed} - {"_", "PWD", "SHLVL"},
                         {"FEEDLINE_EMULATOR_DEVICES", "FEEDLINE_SETTINGS", "LD_LIBRARY_PATH"})
        self.assertIn(f"FEEDLINE_SETTINGS={self.home}/configuration/feedline/emulated-hf.conf", printed)

    def test_a_file_that_the_caller_names_is_used_as_it_is(self):
        file = self.home / "mine.conf"
        file.write_text("[General]\nsdrType=0\n")
        printed = self.emulated("airspy", "env", FEEDLINE_SETTINGS=str(file)).stdout.splitlines()
        self.assertIn(f"FEEDLINE_SETTINGS={file}", printed)
        self.assertEqual(file.read_text(), "[General]\nsdrType=0\n")

    def test_settings_that_cannot_be_written_are_said_and_hold_nothing_up(self):
        done = self.emulated("airspy", "echo", "started", HOME="/dev/null")
        self.assertEqual((done.returncode, done.stdout), (0, "started\n"))
        self.assertEqual(done.stderr,
                         "feedline-emulated: cannot write /dev/null/.config/feedline/emulated-airspy.conf\n")

    def test_an_unknown_receiver_is_refused(self):
        done = self.emulated("fm", "true")
        self.assertEqual(done.returncode, 2)
        self.assertIn("usage:", done.stderr)


class Run(Account):
    """./run in a tree whose build is this one, so that nothing is installed or built."""

    def setUp(self):
        super().setUp()
        self.tree = self.home / "tree"
        (self.tree / "build").mkdir(parents=True)
        (self.tree / "scripts").mkdir()
        shutil.copy(SOURCES / "run", self.tree)
        shutil.copy(SOURCES / "scripts" / "common.sh", self.tree / "scripts")
        (self.tree / "build" / "server").symlink_to(BUILD)
        tools = self.home / "tools"
        tools.mkdir()
        for name, answer in (("cmake", "exit 0"), ("dpkg-query", "echo installed")):
            (tools / name).write_text(f"#!/bin/sh\n{answer}\n")
            (tools / name).chmod(0o755)
        self.environment["PATH"] = f"{tools}:{self.environment['PATH']}"

    def test_each_receiver_is_served_on_a_fresh_account(self):
        for receivers, opened in (("hf", "hf"), ("airspy", "airspy"), ("both", "hf")):
            with self.subTest(receivers):
                log = self.log_of([self.tree / "run", "--emulated", receivers, "--no-window"])
                self.assertIn(OPENED[opened], log)
                self.assertTrue((self.settings / f"emulated-{receivers}.conf").exists())

    def test_without_emulation_the_users_settings_count(self):
        self.settings.mkdir(parents=True)
        (self.settings / "feedline.conf").write_text("[General]\nsdrType=2\nsdrPortNumber=65536\n")
        log = self.log_of([self.tree / "run", "--no-window"])
        self.assertIn("portToUse 65536", log)


if __name__ == "__main__":
    SOURCES, BUILD = pathlib.Path(sys.argv.pop(1)), pathlib.Path(sys.argv.pop(1))
    unittest.main(verbosity=2)
