"""The daemon beside a hostile library and on a full disk."""
import contextlib
import itertools
import os
import re
import signal
import subprocess

from common import (Kind, OPERATIONS, SCRATCH, ZANCTL, hostile, machine, no_cores, run, wait_for)
from library import MODES


LINES = re.compile(rb"#Time .*|#HH:MM:SS .*| \d\d:\d\d:[0-5]\d [ \d-]+")


def whole_lines(kind, file, *what):
    content = file.read_bytes() if file.exists() else b""
    kind.expect(not content or content.endswith(b"\n"), "half a line in", file, content[-100:],
                *what)
    wrong = [line for line in content.split(b"\n")[:-1] if not LINES.fullmatch(line)]
    kind.expect(not wrong, "lines", wrong[:2], *what)
    return content.count(b"\n")


def pid_in(state):
    file = SCRATCH / state / "run/zanctl_daemon.pid"
    return int(file.read_bytes().rstrip(b"\0") or 0) if file.exists() else 0


def daemon_lives(state):
    try:
        return os.readlink(f"/proc/{pid_in(state)}/exe") == ZANCTL
    except OSError:
        return False


def attack_daemon():
    with Kind("the daemon with hostile libraries") as kind:
        state, lines = "daemon", 0
        environment = machine(state, "--virtual-clock")

        def sample(what, variables, close=()):
            nonlocal lines
            folder = SCRATCH / f"log{kind.runs}"
            kind.runs += 1
            found = run(["daemon", "-d", "600", "-p", folder], {**environment, **variables},
                        stdout=subprocess.DEVNULL, stderr=subprocess.DEVNULL,
                        preexec_fn=lambda: (no_cores(), [os.close(number) for number in close]))
            dies = "abort" in what or "segv" in what
            kind.expect(found.status == 0 or (dies and found.status in (-6, -11)), found, what)
            wait_for(lambda: not daemon_lives(state) or (
                folder.exists() and sum(file.stat().st_size for file in folder.iterdir()) > 5000))
            if daemon_lives(state):
                os.kill(pid_in(state), signal.SIGKILL)
                wait_for(lambda: not daemon_lives(state))
            for file in folder.iterdir() if folder.exists() else ():
                lines += whole_lines(kind, file, what)
        for modes in MODES:
            sample(modes, {"HOSTILE": modes})
        for closed in itertools.product((0, 1), repeat=3):
            streams = [number for number in range(3) if closed[number]]
            sample(f"closed {streams}", {"HOSTILE": "noise"}, streams)
        for operation, how in itertools.product(OPERATIONS, ("abort", "segv")):
            if operation.startswith("nvmlVgpu") or "Topology" in operation: continue
            sample(f"{how} in {operation}", {"HOSTILE": f"{how},operation={operation}"})
        print(f"the daemon with hostile libraries: {lines} lines")


def attack_full_disk():
    with Kind("a full disk") as kind:
        state, lines = "full", 0
        environment = {**machine(state, "--virtual-clock"), "HOSTILE": "gpus=5"}
        disk = SCRATCH / "disk"
        disk.mkdir()
        for pages in range(1, 6):
            for filled in range(0, 4096, 819):
                subprocess.run(["mount", "-t", "tmpfs", "-o", f"size={pages * 4096}", "tmpfs", disk],
                               check=True)
                try:
                    log = disk / "dmon-1"
                    with open(disk / "filler", "wb") as filler:
                        with contextlib.suppress(OSError):
                            filler.write(b"x" * filled)
                    kind.runs += 3
                    run(["daemon", "-d", "1", "-p", disk], environment, stdout=subprocess.DEVNULL)
                    kind.expect(wait_for(lambda: not daemon_lives(state)), "the daemon goes on")
                    for file in disk.glob("dmon-*"):
                        lines += whole_lines(kind, file, pages, filled)
                        file.unlink()
                    for command in (("dmon", "-c", "500"), ("-q", "-l", "1")):
                        found = run([*command, "-f", log], environment)
                        kind.expect(b"Failed to write the log file" in found.out, pages,
                                    filled, found)
                        log.unlink(missing_ok=True)
                finally:
                    if daemon_lives(state): os.kill(pid_in(state), signal.SIGKILL)
                    wait_for(lambda: not daemon_lives(state))
                    subprocess.run(["umount", "-l", disk], check=True)
        print(f"a full disk: {lines} lines")
