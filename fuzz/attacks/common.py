"""What the attacks have in common: the machine, the runs, and what must hold of every one."""
import collections
import concurrent.futures
import contextlib
import itertools
import os
import pathlib
import re
import resource
import subprocess
import sys
import time

BIN, LIBRARY, SCRATCH = (pathlib.Path(argument).resolve() for argument in sys.argv[1:4])
ZANCTL, ZANSIM = str(BIN / "zanctl"), str(BIN / "zansim")
SOURCES = pathlib.Path(__file__).resolve().parents[2]
OPERATIONS = re.findall(r"X\((\w+)\)", (SOURCES / "src/zanml/operations.h").read_text())
WORKERS = os.cpu_count() or 1
SHOWN = 8
NOISE = b"<noise\n>"

Run = collections.namedtuple("Run", "status out err")
failures = collections.Counter()


class Kind:
    """The runs of one kind of attack."""

    def __init__(self, name):
        self.name, self.runs, self.said = name, 0, 0

    def __enter__(self):
        return self

    def __exit__(self, *error):
        if error[0] is None:
            print(f"{self.name}: {self.runs} runs, {failures[self.name]} wrong", flush=True)

    def expect(self, holds, *what):
        if holds:
            return
        failures[self.name] += 1
        self.said += 1
        if self.said <= SHOWN:
            print(f"WRONG: {self.name}:", *what, flush=True)

    def each(self, attack, *lists):
        """Runs attack with each combination, as many at a time as there are processors."""
        with concurrent.futures.ThreadPoolExecutor(WORKERS) as pool:
            list(pool.map(lambda row: attack(*row), itertools.product(*lists)))


def machine(state, *options):
    """The environment of programs on a machine that the library serves."""
    told = subprocess.run([ZANSIM, "--uid", "0", "--state", SCRATCH / state, *options, "--",
                           "env", "-0"], capture_output=True, check=True).stdout
    environment = dict(os.fsdecode(line).split("=", 1) for line in told.split(b"\0") if line)
    os.makedirs(SCRATCH / "library", exist_ok=True)
    with contextlib.suppress(FileExistsError):
        os.symlink(LIBRARY, SCRATCH / "library/libzanml.so")
    environment["LD_LIBRARY_PATH"] = f"{SCRATCH}/library:{environment['LD_LIBRARY_PATH']}"
    return environment


def run(arguments, environment, *, limit=30, program=ZANCTL, **settings):
    """The outcome; a status of None where the program hangs."""
    settings = {"stdout": subprocess.PIPE, "stderr": subprocess.PIPE, "stdin": subprocess.DEVNULL,
                **settings}
    with subprocess.Popen([program, *arguments], env=environment, **settings) as process:
        try:
            out, err = process.communicate(timeout=limit)
        except subprocess.TimeoutExpired:
            process.kill()
            return Run(None, *process.communicate())
    return Run(process.returncode, out or b"", err or b"")


def hostile(modes="", operation="", **variables):
    modes += f",operation={operation}" if operation else ""
    return {**ENVIRONMENT, "HOSTILE": modes,
            **{f"HOSTILE_{name.upper()}": value for name, value in variables.items()}}


def problem(out):
    """What is wrong with a text for a terminal; empty when nothing is."""
    out = re.sub(rb"\x1b\[[04]m", b"", out)
    try:
        text = out.decode()
    except UnicodeDecodeError:
        return "no UTF-8"
    found = re.search("[\x00-\x08\x0b-\x1f\x7f-\x9f\u202a-\u202e\u2066-\u2069]|^FORGED", text, re.M)
    return f"{found[0]!r} at {found.start()}" if found else ""


def every_command():
    def names(option):
        return ",".join(re.findall(r'^"([^"]+)"', run([option], hostile()).out.decode(), re.M))

    properties, apps = names("--help-query-gpu"), names("--help-query-compute-apps")
    assert properties and apps
    lines = """
        -L|-q|-q -x|-q -x --dtd|--dtd|--help-query-gpu|--help-query-compute-apps|-h|-r|-r -i 0|
        -i 1|-i text|-i 0,1 -q|--ce 0x7E|--ce 0x7E -i 1|dmon -c 2|dmon -c 1 -o DT|dmon -c 1 -i 1|
        pmon -c 1|pmon -c 1 -o DT|topo -m|topo --mp|topo --p2p r|topo --p2p w|topo -p -i 0,1|
        topo -c 0|stats -c 1|stats -c 1 -i 0|vgpu|vgpu -q|vgpu -u|vgpu -p|vgpu -s|vgpu -s -v|
        vgpu -c|vgpu -c -v|vgpu -i 1|daemon -t"""
    commands = [[]] + [line.split() for line in lines.split("|")]
    commands += [["topo", "-n", str(level), "-i", "0"] for level in range(6)]
    commands += [["-q", "-d", name] for name in (
        "MEMORY", "UTILIZATION", "ECC", "TEMPERATURE", "POWER", "CLOCK", "COMPUTE", "PIDS",
        "PERFORMANCE", "PAGE_RETIREMENT")]
    commands += [[f"--query-gpu={properties}", f"--format=csv{rest}"] for rest in ("", ",nounits")]
    commands += [[f"--query-compute-apps={apps}", "--format=csv"]]
    return [tuple(command) for command in commands]


def sound(kind, found, *what, died=()):
    """Expects what must hold of every run."""
    kind.runs += 1
    kind.expect(found.status in (0, 255, *died), found.status, *what, found.err[-200:])
    trouble = problem(found.out.replace(NOISE, b""))
    kind.expect(not trouble, trouble, *what)


def no_cores():
    resource.setrlimit(resource.RLIMIT_CORE, (0, 0))


def with_limit(what, value):
    def limit():
        no_cores()
        resource.setrlimit(what, (value, value))
    return limit


def wait_for(condition):
    for _ in range(5000):
        if condition(): return True
        time.sleep(0.002)
    return False


ENVIRONMENT = machine("hostile", "--virtual-clock")
COMMANDS = every_command()
