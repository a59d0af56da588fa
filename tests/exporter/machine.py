"""A simulated machine that runs the exporter, and what a scraper does with it."""
import contextlib
import http.client
import json
import os
import re
import signal
import socket
import subprocess
import tempfile
import time
from pathlib import Path

BINARIES = Path(os.environ["ZANCTL_BINARIES"])
HOSTILE = os.environ["ZANCTL_HOSTILE_LIBRARY"]  # the directory that holds it
HOSTS = ["one-gpu", "eight-gpu", "vgpu-host", "failing-host", "large-host"]
OPEN_METRICS = "application/openmetrics-text;version=1.0.0,text/plain;q=0.5"
SAMPLE = re.compile(r"^(\w+)(?:\{(.*)\})? (\S+)$")
LABEL = re.compile(r'(\w+)="((?:[^"\\]|\\.)*)"')


def eventually(condition, seconds=20):
    """Waits until something holds, and gives it."""
    end = time.monotonic() + seconds
    while not (found := condition()):
        assert time.monotonic() < end, "it does not come about"
        time.sleep(0.02)
    return found


def samples(text):
    """Values by name and labels, each a frozen set of pairs."""
    found = {}
    for line in text.splitlines():
        if line.startswith("#"):
            continue
        name, labels, value = SAMPLE.match(line).groups()
        key = (name, frozenset(LABEL.findall(labels or "")))
        assert key not in found, f"{line} stands twice"
        found[key] = float(value)
    return found


def select(found, name, **labels):
    """The values of a metric whose labels are these, by GPU."""
    values = {}
    for (metric, pairs), value in found.items():
        pairs = dict(pairs)
        if metric == name and all(pairs.get(key) == text for key, text in labels.items()):
            values[pairs.get("gpu", "")] = value
    return values


class Machine:
    def __init__(self, host="eight-gpu", hostile=False, options=()):
        self._files = tempfile.TemporaryDirectory()
        self.directory = Path(self._files.name)
        self.mood = self.directory / "mood"
        if hostile:
            self.be("")
        self.trace = self.directory / "trace"
        self.host = host
        if isinstance(host, dict):
            self.host = str(self.directory / "host.json")
            self.describe(host)
        self.libraries = HOSTILE if hostile else ""
        self.options = list(options)
        self.processes = []

    def __enter__(self):
        return self

    def __exit__(self, *_):
        for process in self.processes:
            if process.poll() is None:
                # The launcher ends with what it launched.
                os.kill(int((self.directory / "pid").read_text()), signal.SIGKILL)
            process.wait()
        self._files.cleanup()

    def describe(self, host):
        # A machine that is running reads its description as a whole or not at all.
        draft = self.directory / "draft.json"
        draft.write_text(json.dumps(host))
        draft.rename(self.host)

    def be(self, modes, text=b"text"):
        """What the hostile library is to do; see tests/support/hostile_library.c."""
        self.mood.write_bytes(b"gpus=3,named,%b\n%b" % (modes.encode(), text))

    def command(self, program, *arguments, setting=""):
        libraries = f"LD_LIBRARY_PATH={self.libraries}:$LD_LIBRARY_PATH" if self.libraries else ""
        script = f'{setting} echo $$ > {self.directory}/pid; {libraries} HOSTILE_FILE={self.mood} exec "$@"'
        return [BINARIES / "zansim", "--host", self.host, "--state", self.directory / "state",
                "--trace", self.trace, *self.options, "--", "/bin/bash", "-c", script, "bash",
                BINARIES / program, *arguments]

    def run(self, program, *arguments, setting="", timeout=60):
        return subprocess.run(self.command(program, *arguments, setting=setting), text=True,
                              capture_output=True, timeout=timeout)

    def serve(self, *arguments, setting=""):
        if not any("listen" in word or "socket" in word for word in arguments):
            arguments = ("--web.listen-address=127.0.0.1:0", *arguments)
        return Exporter(self, self.command("zanctl-exporter", *arguments, setting=setting))


class Exporter:
    def __init__(self, machine, command):
        self.errors = machine.directory / "errors"
        with open(self.errors, "w") as errors:
            self.process = subprocess.Popen(command, stderr=errors, stdin=subprocess.DEVNULL)
        machine.processes.append(self.process)
        line = eventually(lambda: re.search(r"listening on (\S+):(\d+)\n", self.errors.read_text()))
        self.address, self.port = line[1].strip("[]"), int(line[2])
        self.pid = int((machine.directory / "pid").read_text())

    def get(self, path="/metrics", method="GET", context=None, timeout=60, **headers):
        """Status, text and headers."""
        if context is None:
            connection = http.client.HTTPConnection(self.address, self.port, timeout=timeout)
        else:
            connection = http.client.HTTPSConnection("localhost", self.port, timeout=timeout,
                                                     context=context)
        with contextlib.closing(connection):
            names = {name.replace("_", "-"): value for name, value in headers.items()}
            connection.request(method, path, headers=names)
            response = connection.getresponse()
            return response.status, response.read().decode(), dict(response.getheaders())

    def scrape(self, seconds=None, **headers):
        if seconds is not None:
            headers["X_Prometheus_Scrape_Timeout_Seconds"] = str(seconds)
        status, text, _ = self.get(**headers)
        assert status == 200, text
        return samples(text)

    def connect(self, data=b""):
        connection = socket.create_connection((self.address, self.port), timeout=60)
        connection.sendall(data)
        return connection

    def children(self):
        return Path(f"/proc/{self.pid}/task/{self.pid}/children").read_text().split()

    def sockets(self):
        # Unlike a walk over them, this minds no descriptor that is closed meanwhile.
        listing = ["ls", "-l", f"/proc/{self.pid}/fd"]
        return subprocess.run(listing, text=True, capture_output=True).stdout.count("socket:")

    def memory(self):
        """Resident bytes of the process and its child."""
        pages = [int(Path(f"/proc/{pid}/statm").read_text().split()[1])
                 for pid in (self.pid, *self.children())]
        return sum(pages) * os.sysconf("SC_PAGE_SIZE")

    def end(self):
        os.kill(self.pid, signal.SIGTERM)
        return self.process.wait(timeout=20)
