"""A Prometheus of one's own, and what runs below a process: for scripts/fleet and the tests."""
import collections
import contextlib
import itertools
import json
import os
import re
import signal
import subprocess
import time
import urllib.error
import urllib.parse
import urllib.request
from pathlib import Path

ENDING = signal.SIGINT, signal.SIGTERM, signal.SIGHUP


@contextlib.contextmanager
def uninterrupted():
    """Lets signals that end a script wait, until what it starts is also known to it."""
    came = []
    former = {number: signal.signal(number, lambda signum, _: came.append(signum))
              for number in ENDING}
    try:
        yield
    finally:
        for number, handler in former.items():
            signal.signal(number, handler)
        for number in came[:1]:
            signal.raise_signal(number)


def wait_until(condition, seconds, pause=0.5):
    """What the condition gives at last, true or not."""
    end = time.monotonic() + seconds
    while not (result := condition()) and time.monotonic() < end:
        time.sleep(pause)
    return result


def stat_fields(pid):
    """Those of /proc/PID/stat behind the name: the state, the parent and so on."""
    return Path(f"/proc/{pid}/stat").read_text().rpartition(")")[2].split()


def program(pid):
    """The name of what runs, at most 15 characters; empty when it has ended."""
    with contextlib.suppress(OSError):
        return Path(f"/proc/{pid}/comm").read_text().strip()
    return ""


class Processes:
    """The processes of this computer, as they are now."""

    def __init__(self):
        self.children = collections.defaultdict(list)
        for entry in Path("/proc").glob("[0-9]*"):
            with contextlib.suppress(OSError):
                self.children[int(stat_fields(entry.name)[1])].append(int(entry.name))

    def below(self, pid):
        """The process and all that it started."""
        return [pid, *itertools.chain(*(self.below(child) for child in self.children[pid]))]


def processor_seconds(pids):
    """That their threads have run; the kernel's ticks are too coarse for a scrape."""
    total = 0
    for pid in pids:
        for thread in Path(f"/proc/{pid}/task").glob("*/schedstat"):
            with contextlib.suppress(OSError):
                total += int(thread.read_text().split()[0])
    return total / 1e9


def memory(pids):
    """Bytes; of what processes share, each counts its part."""
    total = 0
    for pid in pids:
        with contextlib.suppress(OSError):
            rollup = Path(f"/proc/{pid}/smaps_rollup").read_text()
            total += sum(int(size) * 1024 for size in re.findall(r"^Pss: +(\d+)", rollup, re.M))
    return total


def end_all(processes, seconds):
    """Asks processes of ours to end, and kills what is below those that do not, and then them."""
    for process in processes:
        process.terminate()
    left = processes
    for wait in (seconds, 5):
        end = time.monotonic() + wait
        left = [process for process in left if not has_ended(process, end - time.monotonic())]
        known = Processes()
        for pid in itertools.chain(*(known.below(process.pid)[1:] for process in left)):
            with contextlib.suppress(ProcessLookupError):
                os.kill(pid, signal.SIGKILL)
    for process in left:
        process.kill()
        process.wait()


def has_ended(process, seconds):
    with contextlib.suppress(subprocess.TimeoutExpired):
        process.wait(max(0, seconds))
    return process.returncode is not None


class Prometheus:
    """A server with its data in a directory, on a port that was free."""

    def __init__(self, directory, config, *options):
        self.log = Path(directory, "prometheus.log")
        self.command = [
            "prometheus", f"--config.file={config}", f"--storage.tsdb.path={directory}/data",
            "--web.listen-address=127.0.0.1:0", *options]

    def __enter__(self):
        try:
            with open(self.log, "w") as output, uninterrupted():
                self.process = subprocess.Popen(self.command, stdout=output, stderr=output,
                                                stdin=subprocess.DEVNULL, start_new_session=True)
            wait_until(lambda: self.process.poll() is not None or self.listens(), 60)
            if not self.listens() or not wait_until(self.is_ready, 60):
                raise SystemExit(f"Prometheus does not start:\n{self.log.read_text()[-2000:]}")
        except BaseException:
            self.__exit__()
            raise
        return self

    def __exit__(self, *_):
        end_all([self.process], 30)

    def listens(self):
        address = re.search(r'msg="Listening on" address=(\S+)', self.log.read_text())
        self.url = f"http://{address[1]}" if address else ""
        return self.url

    def is_ready(self):
        try:
            with urllib.request.urlopen(f"{self.url}/-/ready", timeout=10) as answer:
                return answer.status == 200
        except urllib.error.URLError:
            return False

    def ask(self, path, **parameters):
        address = f"{self.url}/api/v1/{path}?{urllib.parse.urlencode(parameters)}"
        try:
            with urllib.request.urlopen(address, timeout=60) as answer:
                return json.load(answer)["data"]
        except urllib.error.HTTPError as error:
            raise SystemExit(f"{parameters}: {json.load(error)['error']}") from None

    def query(self, expression, **parameters):
        """Pairs of labels and value."""
        result = self.ask("query", query=expression, **parameters)["result"]
        return [(sample["metric"], float(sample["value"][1])) for sample in result]

    def value(self, expression):
        """Of an expression of one sample; 0 when there is none."""
        return next((value for _, value in self.query(expression)), 0.0)
