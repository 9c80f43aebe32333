#!/usr/bin/env python3
# SPDX-License-Identifier: MIT
"""The hub behind nginx, configured as docs/examples/nginx-hub.conf says, with a certificate of the test's own.

    tls_proxy_test.py HUB EXAMPLE

nginx runs without privileges, with everything it writes in a folder of the test's own. All addresses are loopback ones.
"""

import base64
import contextlib
import http.client
import json
import os
import pathlib
import signal
import socket
import ssl
import struct
import subprocess
import sys
import tempfile
import time
import unittest

HUB, EXAMPLE = sys.argv[1], pathlib.Path(sys.argv[2])
NAME = "radio.example"
CLIENT = "127.0.0.7"  # another address than the proxy's
LIMIT = 60  # s, which only a broken build needs

MAIN = """
daemon off;
worker_processes 1;
pid {folder}/pid;
error_log stderr;
events {{}}
http {{
    access_log off;
    client_body_temp_path {folder}/body;
    proxy_temp_path {folder}/proxy;
    fastcgi_temp_path {folder}/fastcgi;
    uwsgi_temp_path {folder}/uwsgi;
    scgi_temp_path {folder}/scgi;
    include {folder}/hub.conf;
}}
"""


def free_port():
    with socket.socket() as probe:
        probe.bind(("127.0.0.1", 0))
        return probe.getsockname()[1]


def wait_for(port, process):
    until = time.monotonic() + LIMIT
    while time.monotonic() < until and process.poll() is None:
        with contextlib.suppress(OSError), socket.create_connection(("127.0.0.1", port)):
            return
        time.sleep(0.02)
    raise RuntimeError(f"nothing listens on {port}")


class Child:
    def __init__(self, command, port):
        self.process = subprocess.Popen(command, stderr=subprocess.PIPE)
        try:
            wait_for(port, self.process)
        except RuntimeError:
            self.end()
            raise

    def end(self):
        self.process.send_signal(signal.SIGTERM)
        print(self.process.communicate(timeout=LIMIT)[1].decode(), file=sys.stderr)


def configuration(folder, port, hub):
    """The example as it stands, but for its ports and the places of its certificate."""
    text = EXAMPLE.read_text()
    for given, here in (("listen 443 ssl", f"listen 127.0.0.1:{port} ssl"), (":50080", f":{hub}"),
                        ("/etc/ssl/radio.example", folder)):
        assert given in text, given
        text = text.replace(given, here)
    pathlib.Path(folder, "hub.conf").write_text(text)
    pathlib.Path(folder, "nginx.conf").write_text(MAIN.format(folder=folder))


def certificate(folder):
    subprocess.run(["openssl", "req", "-x509", "-newkey", "ec", "-pkeyopt", "ec_paramgen_curve:prime256v1", "-nodes",
                    "-days", "1", "-subj", f"/CN={NAME}", "-addext", f"subjectAltName=DNS:{NAME}",
                    "-keyout", f"{folder}/privkey.pem", "-out", f"{folder}/fullchain.pem"],
                   check=True, capture_output=True)


class WebSocket:
    """As much of one as a page's first words need."""

    def __init__(self, stream, host, headers=()):
        self.stream = stream
        key = base64.b64encode(os.urandom(16)).decode()
        lines = ["GET /socket HTTP/1.1", f"Host: {host}", "Upgrade: websocket", "Connection: Upgrade",
                 f"Sec-WebSocket-Key: {key}", "Sec-WebSocket-Version: 13", *headers]
        stream.sendall("\r\n".join(lines + ["", ""]).encode())
        answer = b""
        while not answer.endswith(b"\r\n\r\n"):
            answer += self.take(1)
        self.status = int(answer.split()[1])

    def take(self, size):
        data = b""
        while len(data) < size:
            part = self.stream.recv(size - len(data))
            if not part:
                raise EOFError
            data += part
        return data

    def say(self, message):
        text = json.dumps(message).encode()
        assert len(text) < 126
        self.stream.sendall(struct.pack("!BBI", 0x81, 0x80 | len(text), 0) + text)  # a mask of zeros

    def words(self, kind):
        while True:
            first, size = self.take(2)
            if size >= 126:
                size, = struct.unpack("!H" if size == 126 else "!Q", self.take(2 if size == 126 else 8))
            payload = self.take(size)
            if first == 0x81 and json.loads(payload)["type"] == kind:
                return json.loads(payload)


class TlsProxy(unittest.TestCase):
    def start(self, *options):
        folder = self.enterContext(tempfile.TemporaryDirectory())
        self.hub, self.proxy = free_port(), free_port()
        self.host = f"{NAME}:{self.proxy}"
        certificate(folder)
        configuration(folder, self.proxy, self.hub)
        off = ["--native", "0", "--rtl-tcp", "0", "--zmq", "0"]
        # No server is there: who comes, and who may steer, does not depend on one.
        hub = Child([HUB, "--server", f"127.0.0.1:{free_port()}", "--web", str(self.hub), "--web-host", NAME, *off, *options],
                    self.hub)
        self.addCleanup(hub.end)
        self.context = ssl.create_default_context(cafile=f"{folder}/fullchain.pem")
        nginx = Child(["/usr/sbin/nginx", "-p", folder, "-e", "stderr", "-c", f"{folder}/nginx.conf"], self.proxy)
        self.addCleanup(nginx.end)

    def secure(self):
        plain = socket.create_connection(("127.0.0.1", self.proxy), LIMIT, (CLIENT, 0))
        stream = self.context.wrap_socket(plain, server_hostname=NAME)
        self.addCleanup(stream.close)
        return stream

    def get(self, path, **headers):
        connection = http.client.HTTPConnection(NAME)
        connection.sock = self.secure()
        connection.request("GET", path, headers={"Host": self.host, **headers})
        answer = connection.getresponse()
        return answer, answer.read()

    def page(self, *headers, token=None):
        socket_ = WebSocket(self.secure(), self.host, [f"Origin: https://{self.host}", *headers])
        self.assertEqual(socket_.status, 101)
        socket_.words("welcome")
        socket_.say({"type": "hello", "token": token} if token else {"type": "hello"})
        return socket_

    def addresses(self):
        with contextlib.closing(http.client.HTTPConnection("127.0.0.1", self.hub, timeout=LIMIT)) as connection:
            connection.request("GET", "/status", headers={"Authorization": "Bearer secret"})
            status = json.loads(connection.getresponse().read())
        return [listener["address"] for listener in status["listeners"] if listener["detail"] != "waterfall"]

    def test_gives_the_page_and_its_files(self):
        self.start("--web-proxy", "127.0.0.1")
        answer, body = self.get("/")
        self.assertEqual(answer.status, 200)
        self.assertIn(b"<title>Feedline</title>", body)
        self.assertIn("default-src 'none'", answer.getheader("Content-Security-Policy"))
        self.assertEqual(self.get("/main.js")[0].getheader("Content-Type"), "text/javascript; charset=utf-8")

    def test_carries_the_socket_for_pages_of_its_own_only(self):
        self.start("--web-proxy", "127.0.0.1")
        state = self.page().words("state")
        self.assertEqual(state["lines"][0], "TCP Server: DISCONNECTED")
        foreign = WebSocket(self.secure(), self.host, ["Origin: https://evil.example"])
        self.assertEqual(foreign.status, 403)

    def test_a_named_proxy_names_whom_it_forwards_for(self):
        self.start("--web-proxy", "127.0.0.1", "--web-token", "secret")
        self.page("X-Forwarded-For: 192.0.2.1").words("state")
        self.assertEqual(self.addresses(), [CLIENT])

    def test_a_proxy_that_is_not_named_does_not(self):
        self.start("--web-token", "secret")
        self.page("X-Forwarded-For: 192.0.2.1").words("state")
        self.assertEqual(self.addresses(), ["127.0.0.1"])

    def test_who_comes_through_it_is_never_this_machine(self):
        for options in ((), ("--web-proxy", "127.0.0.1")):
            self.start(*options)
            state = self.page("X-Forwarded-For: 127.0.0.1").words("state")
            self.assertFalse(state["maySteer"])
            self.assertEqual(state["why"], "Only the hub's own machine may move the receiver.")
            self.assertEqual(self.get("/status")[0].status, 403)
            self.doCleanups()

    def test_the_token_steers_through_it(self):
        self.start("--web-proxy", "127.0.0.1", "--web-token", "secret")
        self.assertFalse(self.page(token="wrong").words("state")["maySteer"])
        self.assertTrue(self.page(token="secret").words("state")["maySteer"])
        self.assertEqual(self.get("/status", Authorization="Bearer secret")[0].status, 200)

    def test_without_it_this_machine_steers(self):
        self.start("--web-proxy", "127.0.0.9")
        direct = socket.create_connection(("127.0.0.1", self.hub), LIMIT)
        self.addCleanup(direct.close)
        socket_ = WebSocket(direct, f"127.0.0.1:{self.hub}")
        socket_.say({"type": "hello"})
        self.assertTrue(socket_.words("state")["maySteer"])


if __name__ == "__main__":
    unittest.main(argv=sys.argv[:1], verbosity=2)
