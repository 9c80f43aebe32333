# SPDX-License-Identifier: MIT
"""The idle inhibitor of the real program, against stand-ins of the desktop's services on private buses.

usage: session_inhibitor_test.py PROGRAM
"""

import os
import pathlib
import select
import signal
import socket
import subprocess
import sys
import tempfile
import time
import unittest

import dbus
import dbusmock

PROGRAM = None
LIMIT = 30  # seconds, far beyond what anything here takes


class Program:
    """The server, without a receiver, on a port that the system chooses."""

    def __init__(self, **buses):
        self.folder = tempfile.TemporaryDirectory()
        settings = pathlib.Path(self.folder.name, "feedline", "feedline.conf")
        settings.parent.mkdir()
        # A type of no receiver; only the low 16 bits of the port count, and 0 is any port.
        settings.write_text("[General]\nsdrType=2\nsdrPortNumber=65536\n")
        environment = {
            name: value for name, value in os.environ.items() if not name.startswith(("DBUS_", "XDG_"))
        }
        environment |= {"XDG_CONFIG_HOME": self.folder.name, **buses}
        self.process = subprocess.Popen(
            [PROGRAM], env=environment, stdout=subprocess.DEVNULL, stderr=subprocess.PIPE
        )
        self.log = b""

    def wait_for_log(self, text):
        deadline = time.monotonic() + LIMIT
        while text not in self.log:
            left = deadline - time.monotonic()
            ready = select.select([self.process.stderr], [], [], max(left, 0))[0]
            read = os.read(self.process.stderr.fileno(), 65536) if ready else b""
            if not read:
                raise AssertionError(f"{text} was not logged but {self.log}")
            self.log += read

    def end(self):
        self.process.send_signal(signal.SIGTERM)
        self.log += self.process.communicate(timeout=LIMIT)[1]
        self.folder.cleanup()
        return self.process.returncode


def wait_until(condition):
    deadline = time.monotonic() + LIMIT
    while not condition():
        if time.monotonic() > deadline:
            raise AssertionError("waited in vain")
        time.sleep(0.01)


NOWHERE = "unix:path=/nonexistent/bus"


class SessionManager(dbusmock.DBusTestCase):
    """A desktop whose session manager can inhibit idleness."""

    NAME = "org.gnome.SessionManager"
    CONTROLS = "org.feedline.Server1"  # of the program, on a connection of their own

    @classmethod
    def setUpClass(cls):
        cls.start_session_bus()
        cls.bus = cls.get_dbus()

    def setUp(self):
        self.server = self.spawn_server(self.NAME, "/org/gnome/SessionManager", self.NAME)
        self.manager = self.bus.get_object(self.NAME, "/org/gnome/SessionManager")
        self.mock = dbus.Interface(self.manager, dbusmock.MOCK_IFACE)
        self.callers = []

    def tearDown(self):
        self.server.terminate()
        self.server.wait()

    def calls(self):
        return [
            [str(argument) if isinstance(argument, str) else int(argument) for argument in arguments]
            for _, _, arguments in self.mock.GetCalls()
        ]

    def unique_names(self):
        return {name for name in self.bus.list_names() if name.startswith(":")}

    def test_is_asked_once_and_the_connection_is_held_until_the_end(self):
        self.mock.AddMethod(self.NAME, "Inhibit", "susu", "u", "ret = 7")
        before = self.unique_names()
        program = Program(DBUS_SESSION_BUS_ADDRESS=os.environ["DBUS_SESSION_BUS_ADDRESS"],
                          DBUS_SYSTEM_BUS_ADDRESS=NOWHERE)
        program.wait_for_log(b"So long, app nap")
        self.assertEqual(self.calls(), [["feedline", 0, "receiving OSC messages", 8]])
        wait_until(lambda: self.bus.name_has_owner(self.CONTROLS))
        controls = {str(self.bus.get_name_owner(self.CONTROLS))}
        self.assertEqual(len(self.unique_names() - before - controls), 1)
        self.assertEqual(program.end(), 0)
        wait_until(lambda: self.unique_names() <= before)
        self.assertEqual(program.log.count(b"So long, app nap"), 1)

    def test_a_refusal_is_silent(self):
        self.mock.AddMethod(
            self.NAME, "Inhibit", "susu", "u",
            "raise dbus.exceptions.DBusException('no', name='org.freedesktop.DBus.Error.AccessDenied')"
        )
        program = Program(DBUS_SESSION_BUS_ADDRESS=os.environ["DBUS_SESSION_BUS_ADDRESS"],
                          DBUS_SYSTEM_BUS_ADDRESS=NOWHERE)
        wait_until(lambda: self.calls())
        self.assertEqual(program.end(), 0)
        self.assertNotIn(b"app nap", program.log)


class LoginManager(dbusmock.DBusTestCase):
    """A machine without a desktop: only the login manager can inhibit idleness."""

    @classmethod
    def setUpClass(cls):
        cls.start_system_bus()
        cls.bus = cls.get_dbus(system_bus=True)

    def test_is_asked_once_and_the_descriptor_is_held_until_the_end(self):
        server, login = self.spawn_server_template("logind", {}, stdout=subprocess.DEVNULL)
        self.addCleanup(server.wait)
        self.addCleanup(server.terminate)
        manager = dbus.Interface(login, "org.freedesktop.login1.Manager")
        program = Program(DBUS_SESSION_BUS_ADDRESS=NOWHERE,
                          DBUS_SYSTEM_BUS_ADDRESS=os.environ["DBUS_SYSTEM_BUS_ADDRESS"])
        program.wait_for_log(b"So long, app nap")
        inhibitors = [tuple(map(str, inhibitor[:4])) for inhibitor in manager.ListInhibitors()]
        self.assertEqual(inhibitors, [("idle", "Feedline", "receiving OSC messages", "block")])
        self.assertEqual(program.end(), 0)
        wait_until(lambda: not manager.ListInhibitors())


class NoBus(unittest.TestCase):
    """Where there is nobody to ask, launch goes on without a word."""

    def launch_and_end(self, address):
        program = Program(DBUS_SESSION_BUS_ADDRESS=address, DBUS_SYSTEM_BUS_ADDRESS=address)
        program.wait_for_log(b"SetUpTcpServer")
        self.assertEqual(program.end(), 0)
        self.assertNotIn(b"app nap", program.log)

    def test_no_bus(self):
        self.launch_and_end(NOWHERE)

    def test_an_address_that_would_start_a_bus(self):
        self.launch_and_end("autolaunch:")

    def test_a_bus_that_never_answers(self):
        with tempfile.TemporaryDirectory() as folder, socket.socket(socket.AF_UNIX) as silent:
            silent.bind(folder + "/bus")
            silent.listen()
            self.launch_and_end("unix:path=" + folder + "/bus")


if __name__ == "__main__":
    PROGRAM = sys.argv.pop(1)
    unittest.main(verbosity=2)
