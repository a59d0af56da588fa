"""A program in a pseudo terminal, and the screen that a person would see."""

import fcntl
import os
import pty
import select
import signal
import struct
import subprocess
import termios
import time

import pyte

BINARIES = os.environ["ZANCTL_BINARIES"]
PATIENCE = 30  # s, on a machine that has other things to do


class Screen(pyte.Screen):
    """With what xterm has and the emulator lacks: scrolling by lines, and repeated characters."""

    def scroll(self, lines, edge, move):
        margins = self.margins or pyte.screens.Margins(0, self.lines - 1)
        row, self.cursor.y = self.cursor.y, getattr(margins, edge)
        for _ in range(lines):
            move()
        self.cursor.y = row

    def scroll_up(self, lines=1):
        self.scroll(lines, "bottom", self.index)

    def scroll_down(self, lines=1):
        self.scroll(lines, "top", self.reverse_index)

    def draw(self, data):
        self.last = data[-1:]
        super().draw(data)

    def repeat(self, count=1):
        super().draw(self.last * count)


class Stream(pyte.ByteStream):
    csi = {**pyte.ByteStream.csi, "S": "scroll_up", "T": "scroll_down", "b": "repeat"}
    events = pyte.ByteStream.events | {"scroll_up", "scroll_down", "repeat"}


class Terminal:
    """Runs a command in a session of its own, as a login on a terminal does."""

    def __init__(self, command, width=80, height=24, term="xterm-256color", **environment):
        self.screen = Screen(width, height)
        self.stream = Stream(self.screen)
        self.master, self.slave = pty.openpty()
        self.resize(width, height, tell=False)
        self.before = termios.tcgetattr(self.slave)
        self.output = b""
        settings = {"TERM": term, "LC_ALL": "C.UTF-8", "TZ": "UTC", **environment}
        self.process = subprocess.Popen(
            command,
            stdin=self.slave,
            stdout=self.slave,
            stderr=self.slave,
            env={**os.environ, **settings},
            preexec_fn=self._take_terminal,
        )

    @staticmethod
    def _take_terminal():
        os.setsid()
        fcntl.ioctl(0, termios.TIOCSCTTY, 0)

    def resize(self, width, height, tell=True):
        fcntl.ioctl(self.slave, termios.TIOCSWINSZ, struct.pack("HHHH", height, width, 0, 0))
        if tell:
            self.screen.resize(height, width)

    def press(self, keys):
        os.write(self.master, keys.encode())

    def read(self, wait=0.05):
        """Takes what the program has written; whether there was anything."""
        if not select.select([self.master], [], [], wait)[0]:
            return False
        try:
            data = os.read(self.master, 65536)
        except OSError:
            return False
        self.output += data
        self.stream.feed(data)
        return True

    @property
    def text(self):
        return "\n".join(line.rstrip() for line in self.screen.display).rstrip()

    def wait_for(self, condition):
        """Until the condition holds for the screen's text, or the text is in it."""
        holds = condition if callable(condition) else lambda text: condition in text
        end = time.monotonic() + PATIENCE
        while not holds(self.text):
            if time.monotonic() > end:
                raise AssertionError(f"waited in vain for {condition!r} on\n{self.text}")
            self.read()
        # The rest of the frame.
        while self.read(0.2):
            pass
        return self.text

    def wait_for_end(self):
        """The status; the terminal's modes must be those from before."""
        end = time.monotonic() + PATIENCE
        while self.process.poll() is None:
            self.read()
            if time.monotonic() > end:
                raise AssertionError(f"does not end, shows\n{self.text}")
        while self.read(0.1):
            pass
        assert termios.tcgetattr(self.slave) == self.before, "the terminal's modes have changed"
        return self.process.returncode

    def close(self):
        if self.process.poll() is None:
            self.process.send_signal(signal.SIGKILL)
            self.process.wait()
        for descriptor in (self.master, self.slave):
            try:
                os.close(descriptor)
            except OSError:
                pass

    def __enter__(self):
        return self

    def __exit__(self, *_):
        self.close()


def zansim(*arguments, host="eight-gpu", standing=True, state=None):
    """The command line of a program on a simulated machine."""
    clock = ["--virtual-clock"] if standing else []
    kept = ["--state", str(state)] if state else []
    return [
        f"{BINARIES}/zansim", "--host", str(host), *clock, *kept,
        "--start-time", "2026-11-21 10:00:00", "--",
        *(f"{BINARIES}/{arguments[0]}" if i == 0 else a for i, a in enumerate(arguments)),
    ]
