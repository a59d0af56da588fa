"""zantop as a person has it: keys go in, screens come out."""

import os
import pathlib
import re
import shutil
import signal
import subprocess
import tempfile
import termios
import time
import unittest

from screen import BINARIES, Terminal, zansim

HERE = pathlib.Path(__file__).parent
LOG = HERE / "day.log"
HEADING = re.compile(r"^.(GPU)? +PID")
# Of the table of processes: what differs from run to run, by the heading that ends or begins it.
RIGHT = {"PID": 7, "CPU%": 5, "MEM": 6, "TIME": 8}
LEFT = {"USER": 8}


def day():
    """A log of fifty minutes, in which GPU 1 has nothing to do for two."""
    log = ("#Time       gpu   pwr gtemp mtemp    sm   mem   enc   dec  mclk  pclk\n"
           "#HH:MM:SS   Idx     W     C     C     %     %     %     %   MHz   MHz\n")
    for minute in range(50):
        for gpu, power in (0, 300 + minute % 20), (1, "-"):
            temperature, use = 60 + minute % 5, 60 + (7 * minute + 3 * gpu) % 10
            if gpu == 1 and minute in (20, 21):
                temperature, use = 81, 3
            log += (f" 10:{minute:02}:00     {gpu} {power:>5} {temperature:5}     - {use:5} {use // 2:5}"
                    f"     0    12  1200  {1400 + minute % 9}\n")
    return log


DAY = tempfile.TemporaryDirectory()
LOG = pathlib.Path(DAY.name) / "log"
LOG.write_text(day())


def masked(text):
    """The screen without the host's name and what its processes differ in."""
    lines = text.split("\n")
    lines[0] = re.sub(r"^\S+  (?=[\d-]+)", "", lines[0])
    spans = []
    for number, line in enumerate(lines):
        if HEADING.match(line):
            found = {word.group(): word.span() for word in re.finditer(r"[A-Z%-]+", line)}
            spans = [(found[name][1] - width, width) for name, width in RIGHT.items() if name in found]
            spans += [(found[name][0], width) for name, width in LEFT.items() if name in found]
        elif spans and re.match(r"^[> *] +\d+ ", line):
            for begin, width in spans:
                if line[begin:begin + width].strip() != "-":
                    line = line[:begin] + "~" * width + line[begin + width:]
            lines[number] = line
    return "\n".join(lines) + "\n"


class Screens(unittest.TestCase):
    maxDiff = None

    def setUp(self):
        self.directory = pathlib.Path(tempfile.mkdtemp())
        self.addCleanup(shutil.rmtree, self.directory)
        self.config = self.directory / "zantop" / "config"
        os.environ["XDG_CONFIG_HOME"] = str(self.directory)

    def zantop(self, *arguments, machine=None, **terminal):
        shown = Terminal(zansim("zantop", *arguments, **(machine or {})), **terminal)
        self.addCleanup(shown.close)
        return shown

    def expect(self, name, text):
        file = HERE / "screens" / f"{name}.txt"
        if os.environ.get("ZANCTL_UPDATE_GOLDEN") == "1":
            file.write_text(text)
        self.assertEqual(file.read_text(), text, "ZANCTL_UPDATE_GOLDEN=1 in the environment writes it")

    def set_value(self, state, value):
        subprocess.run([f"{BINARIES}/zansim", "--set", value, "--state", state], check=True)


class Sizes(Screens):
    def test_each_size_shows_what_it_has_room_for(self):
        shown = self.zantop(width=200, height=60)
        lines = masked(shown.wait_for("rank 3")).split("\n")
        # Two GPUs' blocks and the first processes: what follows is like them.
        self.expect("200x60", "\n".join(lines[:12] + lines[42:46]) + "\n")
        for width, height in ((80, 24), (40, 12)):
            shown.resize(width, height)
            text = shown.wait_for(lambda text: "rank 0" in text or "python3 tr" in text)
            self.expect(f"{width}x{height}", masked(text))
        shown.resize(30, 10)
        shown.wait_for("zantop needs 40x12,\nthis is 30x10")
        shown.resize(80, 24)
        shown.wait_for("rank 3")

    def test_many_gpus_are_paged(self):
        shown = self.zantop(machine={"host": "large-host"})
        shown.wait_for("GPUs 1-13 of 64")
        shown.press("\x06")
        shown.wait_for("GPUs 2-14 of 64")
        shown.press("G")
        shown.wait_for("GPUs 52-64 of 64")

    def test_one_gpu_fills_the_screen(self):
        shown = self.zantop(width=120, height=40)
        shown.wait_for("rank 3")
        shown.press("\r")
        self.expect("one_gpu", masked(shown.wait_for("Links board")))
        shown.press("l")
        shown.wait_for("GPU 1  Zanthe")
        shown.resize(40, 12)
        shown.wait_for("values 1-5 of 26")
        shown.press("G")
        shown.wait_for("values 22-26 of 26")

    def test_vgpus_stand_among_the_processes(self):
        shown = self.zantop(machine={"host": "vgpu-host"}, width=110, height=28)
        self.expect("vgpu_host", masked(shown.wait_for("just-booted")))


class Frames(Screens):
    """--batch."""

    def batch(self, *arguments, host="eight-gpu", **environment):
        command = zansim("zantop", "--batch", *arguments, host=host)
        settings = {"LC_ALL": "C.UTF-8", "TZ": "UTC", **environment}
        return subprocess.run(command, capture_output=True, text=True, env={**os.environ, **settings}, check=False)

    def test_ill_gpus_are_shown_beside_the_others(self):
        frames = self.batch("-n", "12", "-i", "0,1,2,3,4,6,7", host="failing-host", COLUMNS="80", LINES="24").stdout
        last = frames[frames.rindex("7 GPUs") - 30:].split("\n", 1)[1]
        self.expect("failing_host", masked(last))

    def test_a_day_is_printed_as_it_was_at_its_last_sample(self):
        text = self.batch("--log", str(LOG), "--begin", "10:10:00", "--end", "10:20:00", "-i", "1").stdout
        self.assertRegex(text, r"^10:20:00  sample 11 of 11  following .*\n.*\n >1       -     81C      3%")
        self.assertRegex(text, r"\n10:10:00 +10:20:00\n$")

    def test_a_locale_without_unicode_gets_plain_characters(self):
        run = self.batch("-n", "2", LC_ALL="C", COLUMNS="160", LINES="60")
        self.assertTrue(run.stdout.isascii())
        self.assertIn("####", run.stdout)

    def test_what_cannot_be_used_is_said_in_a_line(self):
        for arguments in (["-d", "0.1"], ["--sort", "size"], ["-n", "0"], ["--graph"], ["--log", "/nowhere"], ["--end", "25:00:00"], ["more"], ["--bogus"]):
            run = self.batch(*arguments)
            self.assertEqual((1, ""), (run.returncode, run.stdout), arguments)
            self.assertRegex(run.stderr, r"^zantop: .+\n$")

    def test_no_terminal_names_the_way_out(self):
        run = subprocess.run([f"{BINARIES}/zantop"], stdin=subprocess.DEVNULL, capture_output=True, text=True, check=False)
        self.assertEqual((1, "zantop: standard input and output are no terminal; --batch prints plain frames\n"), (run.returncode, run.stderr))


class Keys(Screens):
    def test_the_choice_follows_its_process_through_every_order(self):
        shown = self.zantop()
        shown.wait_for("rank 3")
        shown.press("\tjjj")
        chosen = [line for line in shown.wait_for("\n>  1").split("\n") if line.startswith(">  1")][0]
        self.assertIn("rank 1", chosen)
        shown.press(">>>>>>>>")
        text = shown.wait_for("sorted by command")
        self.assertTrue(any(line.startswith(">") and "rank 1" in line for line in text.split("\n")))
        shown.press("/transcoder\r")
        shown.wait_for(lambda text: "rank" not in text and text.count("/usr/bin/transcoder") == 2)
        shown.press("\x1b")
        shown.wait_for("rank 3")

    def test_the_mouse_chooses_scrolls_and_sorts(self):
        shown = self.zantop()
        lines = shown.wait_for("rank 3").split("\n")
        heading = [number for number, line in enumerate(lines) if HEADING.match(line)][0]
        for button, x, y, answer in (
                (0, lines[heading].index("CPU%"), heading, "▼CPU%"), (0, 9, 5, "\n >2 "), (65, 9, 5, "\n >3 "),
                (0, 9, heading + 2, "\n> "), (65, 9, heading, "Tab GPUs")):
            shown.press(f"\x1b[<{button};{x + 1};{y + 1}M\x1b[<{button};{x + 1};{y + 1}m")
            shown.wait_for(answer)
        self.assertTrue(shown.text.split("\n")[heading + 3].startswith(">"))
        without = self.zantop("--no-mouse")
        without.wait_for("rank 3")
        self.assertNotRegex(without.output, rb"\x1b\[\?[0-9;]*100[0-6]")

    def test_settings_are_kept_and_a_broken_file_is_named(self):
        shown = self.zantop()
        shown.wait_for("rank 3")
        shown.press(">>>>r+vTq")
        self.assertEqual(0, shown.wait_for_end())
        kept = self.config.read_text()
        self.assertIn("sort = gpu-memory\nreverse = yes\ngraph = block\ntheme = light\ninterval = 2\n", kept)
        again = self.zantop()
        again.wait_for("every 2 s")
        again.press("q")
        again.wait_for_end()
        self.assertEqual(kept, self.config.read_text())
        self.config.write_text("sort = gpu\nnonsense\n")
        self.zantop(width=120).wait_for("line 2 is no setting; the file is ignored")

    def test_a_signal_reaches_the_process_that_was_meant_and_no_other(self):
        state = self.directory / "machine"
        shown = self.zantop(machine={"standing": False, "state": state})
        shown.wait_for("rank 3")
        shown.press("\tjs")
        pid = int(re.search(r"Send TERM to (\d+) ", shown.wait_for("Send TERM to")).group(1))
        shown.press("y")
        shown.wait_for(f"sent TERM to {pid}")
        shown.press("js")
        pid = int(re.search(r"Send TERM to (\d+) ", shown.wait_for("Send TERM to")).group(1))
        os.kill(pid, signal.SIGKILL)
        shown.press("y")
        shown.wait_for(lambda text: f"process {pid} has ended" in text or f"sent TERM to {pid}" in text)


class IllGpus(Screens):
    def test_a_lost_gpu_says_so_with_since_when_and_comes_back(self):
        state = self.directory / "machine"
        shown = self.zantop(machine={"state": state})
        shown.wait_for("rank 3")
        self.set_value(state, "gpu1.lost=true")
        shown.press("u")
        shown.wait_for("LOST since 10:00:00  Zanthe KV100-32G")
        self.set_value(state, "gpu1.lost=false")
        shown.press("uu")
        shown.wait_for(lambda text: "LOST" not in text)

    def test_keys_act_at_once_while_a_gpu_hangs(self):
        host = self.directory / "host.json"
        host.write_text('{"gpus": [{"count": 2}], "faults": [{"operation": "nvmlDeviceGetTemperature", "gpu": 1, "latency_us": 100000000, "from_call": 2}]}')
        shown = self.zantop(machine={"host": host, "standing": False})
        shown.wait_for("VALUES ARE")
        for keys, answer in (("?", "Keys of zantop"), ("?", "VALUES ARE")):
            before = time.monotonic()
            shown.press(keys)
            while answer not in shown.text:
                shown.read()
            self.assertLess(time.monotonic() - before, 1.5)
        shown.wait_for("HUNG, does not answer, since")
        shown.press("q")
        self.assertEqual(0, shown.wait_for_end())


class Terminals(Screens):
    def test_each_way_out_gives_the_terminal_back(self):
        for way in ("q", "\x03", signal.SIGINT, signal.SIGTERM, signal.SIGHUP):
            with self.subTest(way=way):
                shown = self.zantop()
                shown.wait_for("rank 3")
                if isinstance(way, str):
                    shown.press(way)
                    self.assertEqual(0, shown.wait_for_end())
                else:
                    os.killpg(shown.process.pid, way)
                    self.assertNotEqual(0, shown.wait_for_end())
                self.assertIn(b"\x1b[?1049l", shown.output)

    def test_it_stops_and_goes_on_with_the_shell(self):
        shown = Terminal(["sh", "-i"], PS1="$ ")
        self.addCleanup(shown.close)
        shown.press(" ".join(zansim("zantop")).replace("2026-11-21 10:00:00", "'2026-11-21 10:00:00'") + "\r")
        shown.wait_for("rank 3")
        shown.output = b""
        shown.press("\x1a")
        shown.wait_for("Stopped")
        self.assertTrue(termios.tcgetattr(shown.slave)[3] & termios.ISIG)
        shown.press("fg\r")
        shown.wait_for(lambda text: "Stopped" not in text and "rank 3" in text)
        shown.press("q")
        shown.wait_for("$ ")

    def test_a_closed_terminal_ends_it(self):
        shown = self.zantop()
        shown.wait_for("rank 3")
        os.close(shown.slave)
        os.close(shown.master)
        self.assertNotEqual(None, shown.process.wait(30))

    def test_kinds_of_terminals(self):
        dumb = self.zantop(term="dumb")
        dumb.wait_for("cannot place text; see --batch")
        self.assertEqual(1, dumb.wait_for_end())
        console = self.zantop(term="linux", width=120, height=60)
        self.assertNotRegex(console.wait_for("rank 3"), "[\u2801-\u28ff]")
        plain = self.zantop("--no-colour")
        plain.wait_for("rank 3")
        self.assertNotRegex(plain.output, rb"\x1b\[(\d+;)*3\d(;\d+)*m")
        ascii_only = self.zantop(LC_ALL="C")
        ascii_only.wait_for("rank 3")
        self.assertTrue(ascii_only.text.isascii())


class RecordedDay(Screens):
    def test_the_cursor_goes_where_it_is_sent(self):
        log = self.directory / "day"
        log.write_text(LOG.read_text() + "no record\n")
        shown = self.zantop("--log", str(log))
        shown.wait_for("following")
        shown.press("gn")
        self.expect("log", shown.wait_for("is unusual").replace(str(log), "FILE"))
        shown.press("t10:05\r")
        shown.wait_for(lambda text: text.startswith("10:05:00"))
        shown.press("G")
        shown.wait_for("1 broken line left out")
        with log.open("a") as file:
            file.write(" 10:59:00     0   300    60     -    50    10     0     0  1200  1400\n")
        shown.wait_for(lambda text: text.startswith("10:59:00"))


if __name__ == "__main__":
    unittest.main()
