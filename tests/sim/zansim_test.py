#!/usr/bin/env python3
"""zansim as people run it: zansim_test.py PROGRAMS SOURCES [TEST...]"""
import glob
import json
import os
import re
import shutil
import signal
import subprocess
import sys
import tempfile
import time
import unittest

PROGRAMS, SOURCES = sys.argv[1:3]
MANUALS = os.path.join(SOURCES, "man")
ZANSIM = os.path.join(PROGRAMS, "zansim")
PIDS = "zanctl --query-compute-apps=pid,used_memory --format=csv,noheader"


def is_running(pid):
    try:
        with open(f"/proc/{pid}/stat") as stat:
            return stat.read().rsplit(")", 1)[1].split()[0] != "Z"
    except OSError:
        return False


def command_line(pid):
    with open(f"/proc/{pid}/cmdline") as file:
        return file.read().replace("\0", " ")


def wait_until(condition):
    end = time.monotonic() + 20
    while not condition() and time.monotonic() < end:
        time.sleep(0.005)
    return condition()


class ZansimTest(unittest.TestCase):
    def setUp(self):
        self.directory = tempfile.mkdtemp(prefix="zansim-test-")
        self.addCleanup(shutil.rmtree, self.directory)
        self.describe(gpus=[{"count": 3}])

    def path(self, name):
        return os.path.join(self.directory, name)

    def describe(self, **machine):
        with open(self.path("draft"), "w") as file:
            json.dump(machine, file)
        os.rename(self.path("draft"), self.path("host.json"))

    def line(self, options, command):
        return [ZANSIM, "--host", self.path("host.json"), *options, "--", *command]

    def zansim(self, *arguments, **settings):
        """Status, and standard output with standard error."""
        run = subprocess.run([ZANSIM, *arguments], stdout=subprocess.PIPE, stderr=subprocess.STDOUT,
                             text=True, timeout=60, **settings)
        return run.returncode, run.stdout

    def shell(self, script, *options, status=0, **settings):
        """What a script prints on the described machine."""
        line = self.line(options, ["sh", "-c", script])
        got, output = self.zansim(*line[1:], **settings)
        self.assertEqual(got, status, output)
        return output

    def start(self, script, *options, shell="sh", **settings):
        run = subprocess.Popen(self.line(options, [shell, "-c", script]), stdout=subprocess.PIPE,
                               text=True, **settings)
        self.addCleanup(run.communicate, timeout=20)
        self.addCleanup(run.terminate)
        return run

    def keeps_state(self):
        return "--state", self.path("state")


class Launcher(ZansimTest):
    def test_ends_as_its_command_does(self):
        self.shell("exit 42", status=42)
        self.shell("kill -KILL $$", status=128 + signal.SIGKILL)
        self.assertEqual(self.zansim("--", "no-such-command")[0], 127)
        self.assertEqual(self.zansim("--", "/etc/passwd")[0], 126)
        run = subprocess.run(ZANSIM, input="ls /dev/zanthe0\nexit 7\n", stdout=subprocess.PIPE,
                             text=True)
        self.assertEqual((run.returncode, run.stdout), (7, "/dev/zanthe0\n"), "a shell on a pipe")

    def test_refuses_what_it_cannot_set_up(self):
        for arguments, message in [
                (["--host", "eigth-gpu", "--", "true"],
                 'zansim: there is no host "eigth-gpu", did you mean "eight-gpu"?\n'),
                (["--start-time", "yesterday", "--", "true"],
                 '--start-time: "yesterday" is no local time like "2024-03-07 09:59:58"\n'),
                (["--start-time", "2300-01-01 00:00:00", "--", "true"],
                 "--start-time: the machine's clock shows the years 1970 to 2261, not 2300\n"),
                (["--state", "/dev/null/x", "--", "true"], "zansim: "),
                (["--show-state"], "zansim: --show-state needs --state\n"),
                (["--uid", "0", "zanctl", "-L"],
                 'zansim: a command stands behind "--": zansim [OPTIONS] -- zanctl -L\n'),
                (["--frobnicate"], "The following argument was not expected: --frobnicate\n")]:
            status, output = self.zansim(*arguments)
            self.assertEqual((status, output[:len(message)]), (125, message))
        self.describe(gpus=[{"nam": 3}])
        self.assertEqual(
            self.shell("echo reached", status=125),
            f'{self.path("host.json")}:1: /gpus/0/nam: unknown key, did you mean "name"?\n')

    def test_passes_signals_on_and_stops_with_its_command(self):
        for number in signal.SIGINT, signal.SIGTERM, signal.SIGHUP, signal.SIGQUIT, signal.SIGTSTP:
            run = self.start("trap 'echo got it; exit 3' INT TERM HUP QUIT TSTP; echo ready; "
                             "while :; do :; done", shell="bash")
            self.assertEqual(run.stdout.readline(), "ready\n")
            run.send_signal(number)
            self.assertEqual((run.wait(), run.stdout.read()), (3, "got it\n"))
        run = self.start("echo ready; kill -STOP $$; echo on again")
        run.stdout.readline()
        self.assertTrue(os.WIFSTOPPED(os.waitpid(run.pid, os.WUNTRACED)[1]))
        run.send_signal(signal.SIGCONT)
        self.assertEqual((run.wait(), run.stdout.read()), (0, "on again\n"))

    def test_processes_are_real_and_end_with_it(self):
        self.describe(gpus=[{"processes": [{"command": ["python3", "a b", "--gpu={i}"]},
                                           {"length": 5000}, {"kind": "zombie"}]}, {}],
                      processes=[{"command": "shared", "gpus": [0, 1], "count": 2}])
        run = self.start(PIDS + "; exec tail -f /dev/null")
        first = [int(run.stdout.readline().split(",")[0]) for _ in range(7)]
        self.assertEqual(first[:2], first[5:])
        self.assertEqual([command_line(pid) for pid in first[:3]],
                         ["shared ", "shared ", "python3 a b --gpu=0 "])
        self.assertEqual(len(command_line(first[3])), 5001)
        self.assertEqual(command_line(first[4]), "", "a zombie has no command line")
        run.terminate()
        self.assertEqual(run.wait(), 128 + signal.SIGTERM)
        self.assertEqual([pid for pid in first if os.path.exists(f"/proc/{pid}")], [])

    def test_follows_an_edited_description(self):
        self.describe(gpus=[{"processes": [{"command": "old"}]}])
        run = self.start(f"while {PIDS}; do :; done")
        old = int(run.stdout.readline().split(",")[0])
        self.assertEqual(command_line(old), "old ")
        self.describe(gpus=[{"processes": [{"command": "newer"}]}])
        new = old
        while new == old:
            new = int(run.stdout.readline().split(",")[0])
        self.assertEqual(command_line(new), "newer ")
        self.assertFalse(is_running(old))

    def test_state_belongs_to_the_run_or_to_the_directory(self):
        own = self.shell("echo $ZANSIM_STATE").strip()
        self.assertFalse(os.path.exists(own))
        for gpu in 2, 2, 1:
            self.shell(f"zanctl -r -i {gpu}", "--uid", "0", *self.keeps_state())
        status, shown = self.zansim("--show-state", *self.keeps_state())
        self.assertEqual((status, shown), (0, "resets 3\ngpu1 reset_status 0 resets 1\n"
                                              "gpu2 reset_status 0 resets 2\n"))

    def test_traces_wherever_the_command_goes(self):
        self.shell("cd / && zanctl -L", "--trace", "trace", cwd=self.directory)
        with open(self.path("trace")) as file:
            self.assertRegex(file.readline(), r"^\d+ nvmlInit\(\) = 0\n$")


class State(ZansimTest):
    """zansim touches only what is its own."""

    def fill(self, name):
        os.makedirs(self.path(os.path.dirname(name)), exist_ok=True)
        with open(self.path(name), "w") as file:
            file.write("precious")

    def refusal(self, state):
        output = self.shell("true", "--state", state, status=125)
        self.assertTrue(output.startswith("zansim: " + state), output)
        return output

    def test_a_directory_with_other_things_is_refused_untouched(self):
        for name in "full/dev/notes.txt", "half/node_online", "wrong/machine", "draft/machine.new":
            self.fill(name)
            state = self.path(os.path.dirname(name).split("/")[0])
            self.assertIn("neither empty nor the state", self.refusal(state))
            with open(self.path(name)) as file:
                self.assertEqual(file.read(), "precious")
            self.assertEqual(len(os.listdir(state)), 1)
        self.refusal("/")

    def test_a_directory_of_other_users_is_refused(self):
        state = self.path("state")
        os.mkdir(state)
        for mode in 0o777, 0o1777, 0o775:
            os.chmod(state, mode)
            self.assertIn("another user", self.refusal(state))
        os.chmod(state, 0o777)
        self.assertIn("anybody can rename", self.refusal(state + "/below"))
        if os.geteuid() == 0:
            os.chmod(state, 0o755)
            os.chown(state, 12345, 12345)
            self.assertIn("another user", self.refusal(state))
        self.assertEqual(os.listdir(state), [])

    def test_no_link_below_it_is_followed(self):
        for name in "dev", "run", "log", "machine", "dev/zanthe1":
            self.shell("true", *self.keeps_state())
            self.fill("victim/zanthe9")
            link = self.path("state/" + name)
            (shutil.rmtree if os.path.isdir(link) else os.remove)(link)
            target = self.path("victim/zanthe9" if name in ("machine", "dev/zanthe1") else "victim")
            os.symlink(target, link)
            self.shell("true", *self.keeps_state(), status=125)
            self.assertEqual(os.listdir(self.path("victim")), ["zanthe9"])
            with open(self.path("victim/zanthe9")) as file:
                self.assertEqual(file.read(), "precious")
            shutil.rmtree(self.path("state"))
        # A file that is replaced is replaced itself.
        self.shell("true", *self.keeps_state())
        os.remove(self.path("state/node_online"))
        os.symlink(self.path("victim/zanthe9"), self.path("state/node_online"))
        self.assertEqual(self.shell("cat /sys/devices/system/node/online", *self.keeps_state()),
                         "0\n")

    def test_only_what_it_has_made_is_removed(self):
        self.shell("true", *self.keeps_state())
        self.fill("state/dev/zanthe0.old")
        self.describe(gpus=[])
        self.assertEqual(self.shell("ls /dev", *self.keeps_state()),
                         "full\nnull\ntty\nzanthe0.old\nzanthectl\nzero\n")
        self.describe(gpus=[], driver_nodes="unreadable")
        self.assertIn("/state/dev: Directory not empty", self.shell("true", *self.keeps_state(),
                                                                    status=125))
        self.assertEqual(os.listdir(self.path("state/dev")), ["zanthe0.old"])

    def test_any_name_of_a_directory_will_do(self):
        self.describe(gpus=[{}], missing="nvmlDeviceGetSerial")
        strange = self.path("a: b;c")
        os.mkdir(strange)
        for options, more in [(["--state", strange + "/state"], {}), ([], {"TMPDIR": strange})]:
            self.assertIn("Zanthe KV100", self.shell("zanctl -L && ls /dev/zanthe0", *options,
                                                     env=os.environ | more))

    def test_a_sudden_end_takes_everything_along(self):
        self.describe(gpus=[{"processes": [{"command": "a"}]}])
        environment = os.environ | {"TMPDIR": self.directory}
        run = self.start(PIDS + "; echo $ZANSIM_STATE; echo $$; exec tail -f /dev/null",
                         env=environment)
        process, state, command = (run.stdout.readline().split(",")[0].strip() for _ in range(3))
        self.shell("true", env=environment)
        self.assertTrue(os.path.exists(state), "another run leaves it alone")
        run.kill()
        self.assertTrue(wait_until(lambda: not is_running(process) and not is_running(command)))
        # Alike in name only, a copy and one that is kept among them.
        os.symlink(state, self.path("zansim-ghijkl"))
        shutil.copytree(state, self.path("zansim-abcdef"))
        self.shell("true", "--state", self.path("zansim-server"))
        self.shell("true", env=environment)
        self.assertEqual(sorted(name for name in os.listdir(self.directory) if "zansim" in name),
                         ["zansim-abcdef", "zansim-ghijkl", "zansim-server"])

    def test_concurrent_runs_make_one_machine(self):
        runs = [subprocess.Popen(self.line([*self.keeps_state(), "--virtual-clock", "--start-time",
                                            f"2024-03-0{day} 00:00:00"], ["true"]))
                for day in range(1, 7)]
        self.assertEqual([run.wait() for run in runs], [0] * 6)
        self.assertEqual(sorted(os.listdir(self.path("state"))),
                         ["dev", "log", "machine", "node_online", "run"])


class Settings(ZansimTest):
    """Values that are set while the machine runs."""

    def set(self, *settings, status=0):
        options = [word for setting in settings for word in ("--set", setting)]
        got, output = self.zansim(*self.keeps_state(), *options)
        self.assertEqual(got, status, output)
        return output

    def test_running_programs_see_what_is_set(self):
        query = "zanctl -i 1 --query-gpu=temperature.gpu,name --format=csv,noheader,nounits"
        run = self.start(f"while {query}; do :; done", *self.keeps_state())
        self.assertEqual(run.stdout.readline(), "38, Zanthe KV100\n")
        self.set("gpu1.temperature=95", "gpu1.name=Hot one")
        self.assertTrue(wait_until(lambda: run.stdout.readline() == "95, Hot one\n"))
        self.set("gpu1.temperature=", 'gpu1.name={"fails": "unknown"}')
        self.assertTrue(wait_until(lambda: run.stdout.readline() == "38, [N/A]\n"))
        self.assertEqual(self.zansim("--show-state", *self.keeps_state())[1],
                         'resets 0\nset gpu1.name={"fails": "unknown"}\n')

    def test_a_lost_gpu_is_found_again(self):
        self.describe(gpus=[{"count": 2}], lost=[{"gpu": [0, 1]}])
        gpus = "zanctl --query-gpu=index --format=csv,noheader; true"
        self.shell("true", *self.keeps_state(), "--set=gpu0.lost=false", "--set=gpu1.lost=false")
        self.assertEqual(self.shell(gpus, *self.keeps_state()), "0\n1\n")
        self.set("gpu1.lost=true")
        self.assertNotIn("1", self.shell(gpus, *self.keeps_state()))

    def test_refuses_what_no_machine_could_have(self):
        self.assertIn("no machine has its state", self.set("gpu0.temperature=1", status=125))
        self.shell("true", *self.keeps_state())
        for setting, reason in [
                ("temperature=1", 'expected a setting like "gpu0.temperature=95"'),
                ("gpu3.lost=true", "there is no GPU 3, the machine has 0 to 2"),
                ("gpu0.clock.sm=",
                 'a GPU has no "clock.sm" that can be set, did you mean "clocks.sm"?'),
                ("gpu0.clocks.sm=fast",
                 'expected a whole number from 0 to 20000, a signal or "unavailable", not "fast"'),
                ("gpu0.lost=1", "expected true or false, not 1")]:
            self.assertEqual(self.set(setting, status=125), f"zansim: {setting}: {reason}\n")


class Machine(ZansimTest):
    def test_devices_are_those_of_the_machine(self):
        self.assertEqual(self.shell("cd / && ls /dev && [ -c /dev/null ] && "
                                    "[ ! -e dev/zanthe3 ] && echo seen >/dev/null"),
                         "full\nnull\ntty\nzanthe0\nzanthe1\nzanthe2\nzanthectl\nzero\n")
        self.assertEqual(self.shell("ls /dev | grep -c zanthe", *self.keeps_state()), "4\n")
        self.describe(gpus=[{}])
        self.assertEqual(self.shell("ls /dev | grep zanthe", *self.keeps_state()),
                         "zanthe0\nzanthectl\n")
        self.describe(gpus=[{}], driver_nodes="unreadable")
        self.shell("ls /dev", *self.keeps_state(), status=2)

    def test_run_and_log_directories_are_those_of_the_machine(self):
        # Also step by step, which is how "mkdir -p" goes, and by relative paths.
        self.assertEqual(self.shell("echo 17 > /var/run/a && mv /var/run/a /var/run/b && "
                                    "mkdir -p /var/log/zanctl/old && cd /var/log && "
                                    "ln -s old zanctl/link && ls /var/run zanctl && "
                                    "realpath /var/log/zanctl", *self.keeps_state()),
                         "/var/run:\nb\n\nzanctl:\nlink\nold\n/var/log/zanctl\n")
        with open(self.path("state/run/b")) as file:
            self.assertEqual(file.read(), "17\n")
        self.assertEqual(self.shell("ls -d /var/log /tmp"), "/tmp\n/var/log\n", "the real ones")

    def test_the_virtual_clock_moves_by_sleeping(self):
        clock = (*self.keeps_state(), "--virtual-clock")
        self.assertEqual(self.shell("date +%T.%N; sleep 1; date +%T; sleep 0.25; date +%T.%N; "
                                    "sleep 100000; date +%F", *clock, "--start-time",
                                    "2024-03-07 09:59:58"),
                         "09:59:58.000000000\n09:59:59\n09:59:59.250000000\n2024-03-08\n")
        self.assertEqual(self.shell("date +%F; sleep 86400; date +%F", *clock),
                         "2024-03-08\n2024-03-09\n", "another run finds it where it was left")
        end = ["--virtual-clock", "--start-time", "2261-12-31 23:00:00"]
        self.assertIn("limit how often it repeats", self.shell("sleep 1e8; echo on", *end))
        self.describe(gpus=[{}], faults=[{"operation": "nvmlInit", "latency_us": 1500000}])
        self.assertEqual(self.shell("date +%T.%3N; zanctl -L >/dev/null; date +%T.%3N",
                                    "--virtual-clock", "--start-time", "2024-03-07 09:59:58"),
                         "09:59:58.000\n10:00:01.000\n", "two calls take virtual time")


INSTANCE = {"vgpu_types": [{"id": 1}],
            "gpus": [{"vgpu": {"instances": [{"type": 1, "processes": [{}]}]}}]}


def with_unknown_key(machine, *place):
    """The description with one more key in the object at a place."""
    machine = json.loads(json.dumps({"gpus": [{}], **machine}))
    target = machine
    for step in place:
        if isinstance(target, list):
            target.extend([{}] * (step + 1 - len(target)))
        elif step not in target:
            target[step] = {}
        target = target[step]
    target["?"] = 0
    return machine


# An object of each kind, by the subsection of the manual that lists its keys.
KINDS = {
    "Machine": ({}, ),
    "NUMA node": ({"numa_nodes": [{}]}, "numa_nodes", 0),
    "Signal": ({"gpus": [{"gpu_sn": {"signal": "walk", "min": 1, "max": 2}}]}, "gpus", 0, "gpu_sn"),
    "GPU": ({}, "gpus", 0),
    "Engines": ({}, "gpus", 0, "jpu"),
    "Placement": ({}, "gpus", 0, "placement"),
    "Process": ({"processes": [{"pid": 1, "gpus": 0}]}, "processes", 0),
    "vGPU": ({}, "gpus", 0, "vgpu"),
    "vGPU instance": (INSTANCE, "gpus", 0, "vgpu", "instances", 0),
    "VM": (INSTANCE, "gpus", 0, "vgpu", "instances", 0, "vm"),
    "vGPU utilization": (INSTANCE, "gpus", 0, "vgpu", "instances", 0, "utilization"),
    "vGPU process": (INSTANCE,
                     "gpus", 0, "vgpu", "instances", 0, "processes", 0),
    "vGPU type": ({"vgpu_types": [{"id": 1}]}, "vgpu_types", 0),
    "Fault": ({"faults": [{"operation": "*", "code": 1}]}, "faults", 0),
    "Lost GPU": ({"lost": [{"gpu": 0}]}, "lost", 0),
}


class Documents(ZansimTest):
    """What people read, and shells complete, says what the program knows."""

    def keys_at(self, machine, *place):
        self.describe(**with_unknown_key(machine, *place))
        _, output = self.zansim("--check", self.path("host.json"))
        found = re.fullmatch(r".*/\?: unknown key, the keys here are (.*)\n", output)
        return found[1].split(", ") if found else []

    def known_keys(self):
        known = {("Value", key) for key in ("fails", "raw", "fill")}
        for kind, where in KINDS.items():
            keys = self.keys_at(*where)
            self.assertNotEqual(keys, [], kind)
            for key in keys:
                group = [] if kind != "GPU" or key in ("jpu", "vpu", "vgpu", "placement") \
                    else self.keys_at({}, "gpus", 0, key)
                known |= {(kind, f"{key}/{name}") for name in group} or {(kind, key)}
        return known

    def items(self, page, macro):
        """The items of a manual page's lists that begin with a macro, by subsection."""
        items, section = set(), ""
        with open(os.path.join(MANUALS, page)) as file:
            for line in file:
                if line.startswith((".Ss ", ".Sh ")):
                    section = line[4:].strip() if line.startswith(".Ss") else ""
                if line.startswith(f".It {macro} "):
                    items |= {(section, word) for word in line.split()[2:] if word != ","}
        return items

    def test_the_manual_and_the_example_know_every_key(self):
        known = self.known_keys()
        self.assertGreater(len(known), 150)
        self.assertEqual(known ^ self.items("zansim-host.5", "Cm"), set())
        status, example = self.zansim("--example")
        self.assertEqual([key for _, key in known if f'"{key.split("/")[-1]}":' not in example], [])
        with open(self.path("host.json"), "w") as file:
            file.write(example)
        self.assertEqual(self.shell("zanctl -L | wc -l; ls /dev | grep -c zanthe"), "4\n5\n")

    def test_the_manual_knows_every_option(self):
        options = {("", name) for name in
                   re.findall(r"^  (?:-\w,)?-(-[a-z-]+)", self.zansim("--help")[1], re.M)}
        documented = {item for item in self.items("zansim.1", "Fl") if item[1].startswith("-")}
        self.assertGreater(len(options), 9)
        self.assertEqual(options ^ documented, set())

    def test_every_shipped_machine_is_good_and_described(self):
        self.assertRegex(self.zansim("--check", "eight-gpu")[1], "with 8 GPUs\n$")
        status, output = self.zansim("--list")
        self.assertEqual((status, len(output.splitlines())), (0, 5))
        self.assertNotIn("cannot be read", output)


if __name__ == "__main__":
    # The machine's commands find the programs of the build tree.
    unittest.main(argv=["zansim_test", *sys.argv[3:]])
