# SPDX-License-Identifier: Apache-2.0
# What the tests of hb_exporter in other programs share: a wispd, an exporter, and a headless Chromium.
#
# Chromium is driven through chromedriver, whose protocol is JSON over HTTP, so Python's own library is enough.
import base64
import ctypes
import json
import os
import shutil
import signal
import socket
import subprocess
import tempfile
import time
import urllib.error
import urllib.request

GENEROUS = 30  # seconds: an event that takes longer is a fault


def wait_until(condition, what, limit=GENEROUS):
    """Returns the first true value of condition()."""
    end = time.monotonic() + limit
    while True:
        value = condition()
        if value:
            return value
        if time.monotonic() > end:
            raise AssertionError("not within %s s: %s" % (limit, what))
        time.sleep(0.01)


class Temp_Dir:
    def __init__(self):
        self.path = tempfile.mkdtemp(prefix="hbx.")

    def file(self, name):
        return os.path.join(self.path, name)

    def remove(self):
        shutil.rmtree(self.path, ignore_errors=True)


LIBC = ctypes.CDLL(None)
PR_SET_PDEATHSIG = 1


def end_with_parent():
    """The child is killed as well if the test is."""
    LIBC.prctl(PR_SET_PDEATHSIG, signal.SIGKILL)


class Child:
    """A process that this one started. Only its own number is signalled."""

    def __init__(self, command, log, environment=None):
        self.log = log
        with open(log, "ab") as output:
            self.process = subprocess.Popen(command, stdin=subprocess.DEVNULL, stdout=output, stderr=output,
                                            preexec_fn=end_with_parent,
                                            env=dict(os.environ, **(environment or {})))

    def send(self, number):
        if self.process.poll() is None:
            self.process.send_signal(number)

    def end(self, number=signal.SIGTERM):
        if self.process.poll() is None:
            self.process.send_signal(signal.SIGCONT)
            self.process.send_signal(number)
        try:
            self.process.wait(GENEROUS)
        except subprocess.TimeoutExpired:
            self.process.kill()
            self.process.wait()
            raise AssertionError("it does not end: " + self.text())

    def text(self):
        with open(self.log, encoding="utf-8", errors="replace") as log:
            return log.read()

    def wait_for_text(self, text, after=0):
        def said():
            if self.process.poll() is not None:
                raise AssertionError("it ended: " + self.text())
            return text in self.text()[after:]
        wait_until(said, "'%s' in %s" % (text, self.log))


def cluster_file(nodes, networks=2, name="demo", names=None):
    """A configuration for wispd. The first node is the local one, and every node is up."""
    names = names or {}
    text = "[cluster]\nname = %s\nlocal_node = %d\nmax_nodes = %d\nadapters_per_node = %d\n" % (
        json.dumps(name), nodes[0], max(nodes) + 1, networks)
    for network in range(networks):
        text += '[[network]]\nnumber = %d\nname = "net_%s"\ntype = "ether"\n' % (
            network, "abcdefgh"[network] if networks <= 8 else network)
    for node in nodes:
        text += "[[node]]\nnumber = %d\n" % node
        if node in names:
            text += "name = %s\n" % json.dumps(names[node])
        for network in range(networks):
            text += '[[node.adapter]]\nnetwork = %d\naddress = "10.%d.%d.%d"\ntype = "eth%d"\n' % (
                network, network + 1, node // 256, node % 256, network)
    return text


class Wispd:
    def __init__(self, build, directory, configuration):
        self.program = os.path.join(build, "bin", "wispd")
        self.directory = directory
        self.socket = directory.file("s")
        self.child = None
        with open(directory.file("cluster.toml"), "w", encoding="utf-8") as file:
            file.write(configuration)

    def start(self):
        log = self.directory.file("wispd.log")
        before = os.path.getsize(log) if os.path.exists(log) else 0
        self.child = Child([self.program, "--config", self.directory.file("cluster.toml"), "--foreground",
                            "--socket", self.socket], log, {"HA_DOMAIN_NAME": "", "HA_SYSPAR_NAME": ""})
        self.child.wait_for_text("listening on " + self.socket, before)
        return self

    def command(self, do, **arguments):
        """Sends one line to the control socket; it must succeed."""
        with socket.socket(socket.AF_UNIX) as stream:
            stream.settimeout(GENEROUS)
            stream.connect(self.socket + ".control")
            stream.sendall((json.dumps(dict(arguments, do=do)) + "\n").encode())
            answer = b""
            while not answer.endswith(b"\n"):
                part = stream.recv(65536)
                if not part:
                    break
                answer += part
        if not json.loads(answer).get("ok"):
            raise AssertionError("%s: %s" % (do, answer))

    def kill(self):
        self.child.process.kill()
        self.child.process.wait()

    def stop(self):
        if self.child is not None and self.child.process.poll() is None:
            self.child.end()
        elif self.child is not None:
            # A killed one leaves segments and a semaphore set; the next one removes them at its end.
            self.start()
            self.child.end()
        self.child = None


class Exporter:
    def __init__(self, build, directory, wispd_socket):
        self.program = os.path.join(build, "bin", "hb_exporter")
        self.directory = directory
        self.socket = wispd_socket
        self.address = "127.0.0.1:0"
        self.child = None
        self.url = ""

    def start(self):
        log = self.directory.file("exporter.log")
        before = os.path.getsize(log) if os.path.exists(log) else 0
        self.child = Child([self.program, "--socket", self.socket, "--listen", self.address], log)
        self.child.wait_for_text("serving http", before)
        line = [line for line in self.child.text()[before:].splitlines() if "serving http" in line][0]
        self.url = line.split("serving ")[1].split("/,")[0]
        self.address = self.url.split("//")[1]  # a restarted one has the same
        return self

    def get(self, path):
        with urllib.request.urlopen(self.url + path, timeout=GENEROUS) as answer:
            return answer.read().decode()

    def stop(self):
        if self.child is not None:
            self.child.end()
            self.child = None


class Chromium:
    """One headless browser with one page."""

    PROGRAMS = ("chromium", "chromedriver")

    @classmethod
    def missing(cls):
        return [program for program in cls.PROGRAMS if shutil.which(program) is None]

    def __init__(self, width=1280, height=900):
        self.directory = Temp_Dir()
        self.driver = Child(["chromedriver", "--port=0"], self.directory.file("driver.log"),
                            {"HOME": self.directory.path, "TMPDIR": self.directory.path})
        self.session = None
        try:
            self.driver.wait_for_text("was started successfully on port ")
            port = self.driver.text().split("was started successfully on port ")[1].split(".")[0]
            self.url = "http://127.0.0.1:%d" % int(port)
            options = ["--headless=new", "--disable-gpu", "--disable-dev-shm-usage", "--hide-scrollbars",
                       "--force-color-profile=srgb", "--no-first-run", "--disable-background-networking",
                       "--user-data-dir=" + self.directory.file("profile"),
                       "--window-size=%d,%d" % (width, height)]
            if os.geteuid() == 0:
                options.append("--no-sandbox")  # its sandbox does not work for root
            answer = self.call("POST", "/session", {"capabilities": {"alwaysMatch": {
                "browserName": "chrome",
                "goog:chromeOptions": {"binary": shutil.which("chromium"), "args": options},
                "goog:loggingPrefs": {"browser": "ALL"}}}})
            self.session = answer["sessionId"]
            self.resize(width, height)
        except BaseException:
            self.stop()
            raise

    def call(self, method, path, body=None):
        data = None if body is None else json.dumps(body).encode()
        request = urllib.request.Request(self.url + path, data, {"Content-Type": "application/json"}, method=method)
        try:
            with urllib.request.urlopen(request, timeout=2 * GENEROUS) as answer:
                return json.load(answer)["value"]
        except urllib.error.HTTPError as error:
            raise AssertionError("%s %s: %s" % (method, path, error.read().decode()[:2000]))

    def tool(self, command, **parameters):
        """A command of the browser's developer tools."""
        return self.call("POST", "/session/%s/goog/cdp/execute" % self.session, {"cmd": command, "params": parameters})

    def open(self, url):
        self.call("POST", "/session/%s/url" % self.session, {"url": url})

    def run(self, script, *arguments):
        return self.call("POST", "/session/%s/execute/sync" % self.session, {"script": script, "args": list(arguments)})

    def resize(self, width, height):
        self.tool("Emulation.setDeviceMetricsOverride", width=width, height=height, deviceScaleFactor=1, mobile=False)

    def use_scheme(self, scheme):
        self.tool("Emulation.setEmulatedMedia", features=[{"name": "prefers-color-scheme", "value": scheme},
                                                          {"name": "prefers-reduced-motion", "value": "reduce"}])

    def press(self, key, modifiers=0):
        codes = {"Tab": 9, "Enter": 13, "Escape": 27, "End": 35, "Home": 36, "ArrowLeft": 37, "ArrowUp": 38,
                 "ArrowRight": 39, "ArrowDown": 40}
        code = codes.get(key, ord(key[0].upper()))
        text = {"Enter": "\r"}.get(key, key if len(key) == 1 else "")
        common = {"key": key, "windowsVirtualKeyCode": code, "modifiers": modifiers}
        self.tool("Input.dispatchKeyEvent", type="keyDown" if text else "rawKeyDown", text=text, **common)
        self.tool("Input.dispatchKeyEvent", type="keyUp", **common)

    def wait(self, expression, what=None, limit=GENEROUS):
        return wait_until(lambda: self.run("return " + expression), what or expression, limit)

    def console_errors(self):
        entries = self.call("POST", "/session/%s/se/log" % self.session, {"type": "browser"})
        return [entry["message"] for entry in entries if entry["level"] == "SEVERE"]

    def picture(self, path):
        image = self.call("GET", "/session/%s/screenshot" % self.session)
        with open(path, "wb") as file:
            file.write(base64.b64decode(image))

    def stop(self):
        try:
            if self.session is not None:
                self.call("DELETE", "/session/" + self.session)
                self.session = None
        finally:
            self.driver.end()
            self.directory.remove()
