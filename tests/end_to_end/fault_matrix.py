#!/usr/bin/env python3
"""fault_matrix.py BIN [TEST]: every command on machines of three GPUs whose middle one is ill: an
operation fails, the GPU is lost, a list grows, a reading is half known or 0. What holds for all is
claimed here; which cells change stands in fault_table.txt, as

  nvmlDeviceGetFanSpeed                   summary: 11%>N/A

A row of the XML report stands there only where it tells otherwise than the text report.
"""
import collections
import difflib
import json
import os
import re
import subprocess
import sys
import tempfile
import unittest
from pathlib import Path

HERE = Path(__file__).parent
ZANSIM = Path(sys.argv[1]) / "zansim"
GPUS, IDLE, VGPUS = MACHINES = "distinct_gpus.json", "idle_gpus.json", "distinct_vgpus.json"

Command = collections.namedtuple("Command", "name machine script shape", defaults=["by gpu"])
# Those that pause stand last, since they move the clock.
COMMANDS = [
    Command("summary", GPUS, "zanctl"),
    Command("list", GPUS, "zanctl -L"),
    Command("report", GPUS, "zanctl -q"),
    Command("xml", GPUS, "zanctl -q -x"),
    Command("hardware", GPUS, "zanctl -q -d HARDWARE_MONITOR"),
    Command("query", GPUS, "zanctl --query-gpu=index,$PROPERTIES --format=csv", "csv"),
    Command("apps", GPUS, "zanctl --query-compute-apps=name,gpu_name,gpu_bus_id,gpu_serial,gpu_uuid,"
                          "used_memory --format=csv"),
    Command("dmon", GPUS, "zanctl dmon -c 1 -o JV"),
    Command("pmon", GPUS, "zanctl pmon -c 1"),
    Command("stats", GPUS, "zanctl stats -c 1"),
    Command("matrix", GPUS, "zanctl topo -m", "pairs"),
    Command("p2p", GPUS, "zanctl topo --p2p r", "pairs"),
    Command("nearest", GPUS, "zanctl topo -n 4 -i 1", "pairs"),
    Command("path", GPUS, "zanctl topo -p -i 0,1", "pairs"),
    Command("affinity", GPUS, "zanctl topo -c 5", "pairs"),
    Command("reset", IDLE, "zanctl -r -i 1", "control"),
    Command("mask", IDLE, "zanctl --ce 0x7C -i 1", "control"),
    Command("vgpu", VGPUS, "zanctl vgpu"),
    Command("vgpu -q", VGPUS, "zanctl vgpu -q"),
    Command("vgpu -s", VGPUS, "zanctl vgpu -s -v"),
    Command("vgpu -c", VGPUS, "zanctl vgpu -c -v"),
    *(Command(f"vgpu {view}", VGPUS, f"for gpu in 0 1 2; do zanctl vgpu {view} -i $gpu | "
                                     "sed -n '3{p;q}'; done") for view in ("-u", "-p")),
]
FIND_PROPERTIES = r"""PROPERTIES=$(zanctl --help-query-gpu | sed -n 's/^"\([^"]*\)".*/\1/p' |
                      grep -v '^index' | paste -sd,)
"""
# What every command asks for to begin with and end with.
SESSION = {"nvmlInit", "nvmlShutdown", "nvmlDeviceGetCount_v2", "nvmlDeviceGetHandleByIndex_v2",
           "zanmlDeviceGetResetStatus"}

# Readings of GPU 1 that are half known or 0: the text of its description and another.
UNKNOWN = '"unavailable"'
LIMITS = '"power_limit": 251, "enforced_power_limit": '
CLOCKS = '"sm": 1501, "memory": 1311'
LINKS = '"generation": %d, "max_generation": %d, "width": %d, "max_width": %d'
READINGS = [
    ("own power usage unknown", '"position": 0}, "power_usage": 71',
     f'"position": {UNKNOWN}}}, "power_usage": {UNKNOWN}'),
    *((f"own power limit {name}", f'"position": 0}}, "power_usage": 71, {LIMITS}261',
       f'"position": {UNKNOWN}}}, "power_usage": 71, {LIMITS}{value}')
      for name, value in (("unknown", UNKNOWN), ("0", 0))),
    *((f"{name} of a board", '"position": 0}, "power_usage": 71',
       f'"position": {place}}}, "power_usage": 71') for name, place in (("second", 1), ("third", 2))),
    ("sm clock unknown", '"sm": 1401', f'"sm": {UNKNOWN}'),
    ("memory clock unknown", '"memory": 1211', f'"memory": {UNKNOWN}'),
    ("greatest sm clock unknown", '"sm": 1501', f'"sm": {UNKNOWN}'),
    ("greatest memory clock unknown", '"memory": 1311', f'"memory": {UNKNOWN}'),
    ("greatest clocks 0", CLOCKS, '"sm": 0, "memory": 0'),
    ("memory utilization unknown", '"memory": 61', '"memory": {"raw": 4294967295}'),
    ("utilizations 0", '"gpu": 81, "memory": 61, "encoder": 21, "decoder": 31', '"gpu": 0'),
    ("memory size 0", '"31 GiB", "used": "7 GiB"', '0, "used": 0'),
    ("PCIe throughput half known", '"tx": 701', f'"tx": {UNKNOWN}'),
    ("PCIe links 0", LINKS % (2, 5, 4, 32), LINKS % (0, 0, 0, 0)),
    ("shutdown temperature unknown", '"temperature_shutdown": 111',
     f'"temperature_shutdown": {UNKNOWN}'),
    ("temperature limits 0",
     '"temperature_shutdown": 111, "temperature_slowdown": 101, "temperature_max": 91',
     '"temperature_shutdown": 0, "temperature_slowdown": 0, "temperature_max": 0'),
    ("power limits 0", LIMITS + "261", '"power_limit": 0, "enforced_power_limit": 0'),
    ("board power 0", '"power_usage": 301', '"power_usage": 0'),
    ("board power limit 0", '"power_limit": 501', '"power_limit": 0'),
    ("board id 0", '"id": 33', '"id": 0'),
    ("board of its own kind", '"multi": 1, "sn": 4097', '"multi": {"raw": 2}, "sn": 4097'),
    ("single bit pages unknown", '"single_bit": 141', f'"single_bit": {UNKNOWN}'),
    ("voltage half known", '"gpu": "0.11", "vdd": "12.21"',
     '"gpu": {"raw": 4294967295}, "vdd": {"raw": 18446744069414584320}'),
    ("golden mask unknown", '"supported": 124', '"supported": {"raw": 4294967295}'),
    ("VPU total 0", '"total": 101', '"total": 0'),
    ("host vGPU mode unknown", '"P1", "host_vgpu_mode": "sriov"', f'"P1", "host_vgpu_mode": {UNKNOWN}'),
]


def described(machine):
    return (HERE / "machines" / machine).read_text()


def replaced(text, part, other):
    assert text.count(part) == 1, part
    return text.replace(part, other)


def with_keys(machine, **keys):
    """A machine's description with more keys."""
    return replaced(described(machine), '"description"', json.dumps(keys)[1:-1] + ', "description"')


def fault(operation, **how):
    return {"faults": [{"operation": operation, **how}]}


def without_pid(line):
    """Process ids, which no two machines share."""
    line = re.sub(r"(Process ID +: |<pid>)\d+", r"\1PID", line)
    return re.sub(r"^(\|? *\d) +\d+(?= .*train)", r"\1 PID", line)


def on_machine(directory, start, script):
    (directory / "host.json").write_text(start)
    subprocess.run([ZANSIM, "--host", directory / "host.json", "--state", directory / "state", "--trace",
                    directory / "trace", "--start-time", "2026-03-07 12:00:00", "--virtual-clock", "--",
                    "sh", "-c", FIND_PROPERTIES + script], env=os.environ | {"TZ": "UTC0"}, check=False,
                   stdin=subprocess.DEVNULL, stdout=subprocess.DEVNULL)


def play(runs, start):
    """The lines of each pair of a command and a description, the last one being the status, all on
    one start of the machine: the library looks into the description that it is told."""
    with tempfile.TemporaryDirectory() as name:
        directory, script, last = Path(name), "", ""
        for number, (command, description) in enumerate(runs):
            path = directory / str(number)
            if description != last:
                path.with_suffix(".json").write_text(description)
                script += f"export ZANSIM_HOST={path}.json\n"
            last = description
            script += f"{{ {command.script}; }} >{path} 2>&1; echo \"[status $?]\" >>{path}\n"
        on_machine(directory, start, script)
        return [[without_pid(line) for line in (directory / str(number)).read_text().splitlines()]
                for number in range(len(runs))]


def play_all(describe, start=described):
    """All commands, each on its machine as `describe` describes it, which starts as `start` does."""
    answers = {}
    for machine in MACHINES:
        commands = [command for command in COMMANDS if command.machine == machine]
        runs = [(command, describe(machine)) for command in commands]
        answers |= zip(commands, play(runs, start(machine)))
    return answers


def lines_of(lines, gpu):
    """The lines about a GPU: it is the one that they begin with, or that of the line before."""
    chosen, current = [], None
    for line in lines[:-1]:
        own = re.match(r'[ \t|]*(?:GPU:?|<gpu id="|train --gpu)?[ \t|]*(\d+)[ :,]', line)
        if re.fullmatch(r"\+[^+]*\+", line):
            current = None  # the border below all GPUs
        elif "00000000:00:00.0" in line or line.startswith("[N/A]"):
            current = 1
        elif own:
            current = int(own[1]) % 10
        chosen += [line] if current == gpu else []
    return chosen


def squeezed(text):
    return " ".join(text.split())


def cells_of(line, names=()):
    """The values, each with its name where the line says it."""
    if element := re.match(r"\t+<([^>]*)>(.*?)</", line):
        return [element.groups()]
    if line.find(": ") == 48:
        return [(squeezed(line[:48]), line[50:])]
    cells = [cell for part in re.split(r"\||  |, ", line) if (cell := squeezed(part))]
    return [(names[i] if i < len(names) else "", cell) for i, cell in enumerate(cells)]


def block(lines):
    """Some lines in place of others, as one cell; of many only the first."""
    if len(lines) > 3:
        return f"{squeezed(lines[0])} ... {len(lines)} lines"
    return " / ".join(map(squeezed, lines)) or "nothing"


def changes_of(before, after, names):
    """What changed, cell by cell, or as one block where lines come or go."""
    if len(before) != len(after):
        begin = len(os.path.commonprefix([before, after]))
        end = len(os.path.commonprefix([before[begin:][::-1], after[begin:][::-1]]))
        return [("", f"{block(before[begin:len(before) - end])}>{block(after[begin:len(after) - end])}")]
    changes = []
    for old, new in zip(before, after):
        a, b = cells_of(old, names), cells_of(new, names)
        if len(a) != len(b):
            changes.append(("", f"{squeezed(old)}>{squeezed(new)}"))
        else:
            changes += [(x[0], f"{x[1]}>{y[1]}") for x, y in zip(a, b) if x != y]
    return changes


class Table:
    """What a machine's commands show when it is healthy, what they call, and the rows found."""

    def __init__(self, test, machine):
        self.test, self.rows, self.told, self.callers = test, {}, {}, collections.defaultdict(list)
        commands = [command for command in COMMANDS if command.machine == machine]
        self.healthy = dict(zip(commands, play([(c, described(machine)) for c in commands],
                                               described(machine))))
        for command in commands:
            with tempfile.TemporaryDirectory() as name:
                on_machine(Path(name), described(machine), f"{{ {command.script}; }}")
                trace = (Path(name) / "trace").read_text()
            for operation in set(re.findall(r" (\w+)\(", trace)):
                self.callers[operation].append(command)

    def add(self, illnesses, everywhere=False):
        """Adds a row for each name of an illness, its description and a command that shows it. The
        commands that show nothing are left."""
        runs = [(name, description, command) for command in COMMANDS
                for name, description, commands in illnesses if command in commands]
        answers = play([(command, description) for _, description, command in runs],
                       described(runs[0][2].machine)) if runs else []
        for (name, _, command), ill in zip(runs, answers):
            if self.add_row(name, command, ill, everywhere):
                next(commands for other, _, commands in illnesses if other == name).remove(command)

    def add_row(self, name, command, ill, everywhere):
        healthy = self.healthy[command]
        place = f"{name}, {command.name}"
        if command.shape != "control":
            with self.test.subTest(place):
                self.test.assertEqual(healthy[-1], ill[-1])
        if healthy == ill:
            return False
        names = [value.split(" [")[0] for _, value in cells_of(healthy[0])] if command.shape == "csv" else []
        if everywhere or command.shape in ("pairs", "control"):
            changes = changes_of(healthy, ill, names)
        else:
            for other in None, 0, 2:
                with self.test.subTest(f"{place}, GPU {other}"):
                    self.test.assertEqual(lines_of(healthy, other), lines_of(ill, other))
            changes = changes_of(lines_of(healthy, 1), lines_of(ill, 1), names)
        # The values of text and XML, which leaves the "0x" out.
        values = [value.replace("0x", "") for _, value in changes]
        if command.name == "report":
            self.told[name] = values
        if command.name != "xml" or self.told.get(name) != values:
            text = "; ".join(f"{name} {value}".strip() for name, value in changes)
            self.rows[name, COMMANDS.index(command)] = f"{name:<42}{command.name}: {text}\n"
        return True


class Fault(unittest.TestCase):
    maxDiff = None

    def expect_same(self, expected, actual):
        for command, lines in expected.items():
            with self.subTest(command.script):
                self.assertEqual(lines, actual[command])

    def test_changes_the_cells_of_the_table_and_no_other(self):
        text = ""
        for machine in MACHINES:
            table = Table(self, machine)
            illnesses = [(operation, with_keys(machine, **fault(operation, gpu=1, code=15)), list(callers))
                         for operation, callers in table.callers.items() if operation not in SESSION]
            table.add(illnesses)
            # What names no GPU fails for all of them.
            table.add([(operation, with_keys(machine, **fault(operation, code=13)), callers)
                       for operation, _, callers in illnesses], everywhere=True)
            readings = [(name, replaced(described(machine), part, other))
                        for name, part, other in READINGS if machine == GPUS]
            readings.append(("lists grow", with_keys(machine, **fault("*", gpu=1, grow=2))))
            table.add([(*reading, list(table.callers["nvmlInit"])) for reading in readings])
            text += "".join(row for _, row in sorted(table.rows.items()))
        golden = HERE / "fault_table.txt"
        if "ZANCTL_UPDATE_GOLDEN" in os.environ:
            golden.write_text(text)
        lines = golden.read_text().splitlines(), text.splitlines()
        self.assertEqual("", "\n".join(difflib.unified_diff(*lines, n=0, lineterm="")),
                         "If that is meant: ZANCTL_UPDATE_GOLDEN=1 in the environment writes it.")

    def test_of_the_session_is_like_a_machine_without_gpus(self):
        def no_gpus(machine):
            return described(machine).split('"gpus"')[0] + '"gpus": []}'

        def nothing_known(machine):
            return re.sub('"5.6.7"|"1.2.3"|12020', UNKNOWN, no_gpus(machine))

        # The GPUs near a processor are counted apart.
        counts = fault(["nvmlDeviceGetCount_v2", "nvmlSystemGetTopologyGpuSet"], code=9)
        self.expect_same(play_all(no_gpus), play_all(lambda machine: with_keys(machine, **counts)))
        self.expect_same(play_all(nothing_known), play_all(lambda machine: with_keys(machine, init=9)))

    def test_of_a_handle_is_like_a_lost_gpu_and_spares_the_gpus_before_it(self):
        healthy = play_all(described)
        lost = play_all(lambda machine: with_keys(machine, lost=[{"gpu": 1}]))
        # The GPUs near a processor come with their handles and tell their indices.
        handle = fault(["nvmlDeviceGetHandleByIndex_v2", "nvmlDeviceGetIndex"], gpu=1, code=15)
        self.expect_same(lost, play_all(lambda machine: with_keys(machine, **handle)))
        for command, lines in healthy.items():
            if command.shape in ("by gpu", "csv"):
                for part in (lambda of: lines_of(of, None), lambda of: lines_of(of, 0), lambda of: of[-1]):
                    self.assertEqual(part(lines), part(lost[command]), command.name)

    def test_of_an_operation_is_like_a_library_without_it(self):
        operations = sorted({operation for machine in MACHINES for operation in Table(self, machine).callers}
                            - SESSION | {"nvmlShutdown"})
        # In two groups, so that one does not hide all others.
        for group in operations[::2], operations[1::2]:
            lacking = lambda machine: with_keys(machine, missing=group)
            failing = lambda machine: with_keys(machine, **fault(group, code=13))
            self.expect_same(play_all(failing), play_all(lacking, lacking))

    def test_is_the_same_with_every_code(self):
        """What the commands share reads a code, so one command of each kind stands for all."""
        for command in COMMANDS:
            if command.name in ("xml", "dmon", "matrix"):
                answers = play([(command, with_keys(GPUS, **fault("*", gpu=1, code=code)))
                                for code in (*range(1, 22), 999)], described(GPUS))
                for answer in answers:
                    self.assertEqual(answers[0], answer, command.name)


if __name__ == "__main__":
    unittest.main(argv=["fault_matrix", *sys.argv[2:]])
