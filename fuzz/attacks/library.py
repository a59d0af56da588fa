"""What the library and the names of processes say."""
import collections
import concurrent.futures
import ctypes
import os
import random
import re
import signal
import subprocess
import time
import xml.etree.ElementTree

from common import (COMMANDS, Kind, NOISE, OPERATIONS, ZANCTL, hostile, no_cores, run, sound)


MODES = ["", "noise", "errno", "null", "repeated", "unterminated", "growing", "less", "more", "sized",
         "sized,growing", "sized,more", "count=0", "count=1000", "count=0xffffffff",
         "sized,count=0xffffffff", "gpus=0", "gpus=1", "gpus=4096", "gpus=0xffffffff", "busy",
         "busy,more", "busy,growing", "busy,values=ones",
         *(f"values={value}{rest}" for value in ("ones", "zeros", "top", "random")
           for rest in ("", ",vgpu", ",vgpu,less", ",unterminated,sized,errno")),
         *(f"vgpu{rest}" for rest in ("", ",unterminated", ",more", ",less", ",growing", ",sized",
                                      ",count=0xffffffff", ",count=200", ",noise"))]

NASTY = [b"\x1b]52;c;Zm9v\x07", b"a\nFORGED b\rFORGED\x0bFORGED\x0cFORGED", b"\x9b31m\x9d0;x\x9c",
         "\u202eevil\u202c\u2066x\u2069".encode(), "\u0085FORGED\u009b2J".encode(), b"\xc3\x28\xe2\x28\xa1",
         b"\xf0\x9f\x98", b"\xed\xa0\x80\xf4\x90\x80\x80\xc0\xaf", b"\x7f\x08\x08\t\x1b[2K",
         "\U0001f600\ufffe\uffff\u0301".encode(), b"%s%n%x{}{0}{:>999999}", b"\xff\xfe\xfd", b"\x1b", b"\n"]


def timeless(out):
    return re.sub(rb"\d+:\d+:\d+|\d{10,}", b"", out)


def attack_modes():
    with Kind("hostile libraries") as kind:
        def attack(modes, command):
            if "4096" in modes and ("topo" in command or "-q" in command):
                return
            found = run(command, hostile(modes), limit=60)
            sound(kind, found, modes, *command)
            if "noise" in modes:
                quiet = run(command, hostile(modes.replace("noise", "")))
                # Two resets at a time refuse each other.
                kind.expect(timeless(found.out.replace(NOISE, b"")) == timeless(quiet.out) or
                            "-r" in command, "noise changes the output of", *command)
        kind.each(attack, MODES, COMMANDS)


def attack_random():
    with Kind("random libraries") as kind:
        def attack(number, command):
            chance = random.Random(number)
            modes = ["values=random"] + chance.sample(
                ["unterminated", "growing", "less", "more", "sized", "repeated", "errno", "vgpu", "busy",
                 "noise", "count=17", "gpus=3"], 4)
            found = run(command, hostile(",".join(modes), seed=str(number),
                                         text="*" + os.fsdecode(NASTY[number % len(NASTY)])))
            sound(kind, found, number, modes, *command)
        kind.each(attack, range(20), COMMANDS)


def attack_operations():
    commands = collections.defaultdict(list)
    with Kind("a crash in one operation") as kind:
        def attack(operation, command):
            how, number = random.choice((("segv", signal.SIGSEGV), ("abort", signal.SIGABRT)))
            found = run(command, hostile(f"vgpu,{how}", operation=operation), preexec_fn=no_cores)
            sound(kind, found, operation, *command, died=(-number,))
            if found.status == -number:
                commands[operation].append(command)
        kind.each(attack, OPERATIONS, COMMANDS)
        print(f"operations that a command calls: {len(commands)} of {len(OPERATIONS)}")
        kind.expect(commands, "no operation is called")
    with Kind("a return code in one operation") as kind:
        def attack(row, code):
            operation, command = row
            sound(kind, run(command, hostile(f"vgpu,code={code}", operation=operation)), code,
                  operation, *command)
        rows = [(operation, command) for operation, all_of in commands.items()
                for command in all_of[:6]]
        kind.each(attack, rows, (7, 22, 1000, 0x7fffffff, 0x80000000, 0xffffffff))
    with Kind("five seconds a call") as kind:
        def attack(operation):
            command = min(commands[operation], key=lambda line: ("-h" in line, len(line)))
            quick = run(command, hostile("vgpu,gpus=1"))
            found = run(command, hostile("vgpu,gpus=1,slow", operation=operation), limit=120)
            sound(kind, found, operation, *command)
            kind.expect(timeless(quick.out) == timeless(found.out) or "-r" in command, operation,
                        "changes", *command)
        with concurrent.futures.ThreadPoolExecutor(40) as pool:
            list(pool.map(attack, commands))
    with Kind("an end of a hanging call") as kind:
        for operation in commands:
            command = [line for line in commands[operation] if "-r" not in line][:1]
            if not command:
                continue
            process = subprocess.Popen([ZANCTL, *command[0]], env=hostile("vgpu,hang", operation=operation),
                                       stdout=subprocess.DEVNULL)
            time.sleep(0.1)
            process.terminate()
            kind.runs += 1
            try:
                kind.expect(process.wait(10) == -signal.SIGTERM, operation, command)
            except subprocess.TimeoutExpired:
                process.kill()
                kind.expect(False, "does not end in", operation, command)


def attack_texts():
    with Kind("hostile texts") as kind:
        def attack(text, command, form):
            vgpu = "vgpu," if "vgpu" in command else ""
            prefix = b"*" if form else b""
            environment = hostile(vgpu + form, text=os.fsdecode(prefix + text))
            found = run(command, environment)
            sound(kind, found, text, form, *command)
            plain = run(command, hostile(vgpu + form, text=os.fsdecode(prefix) + "x" * len(text)))
            if "text" not in command:
                kind.expect(found.out.count(b"\n") == plain.out.count(b"\n"), text,
                            "changes the lines of", *command)
            if "-x" in command:
                try:
                    xml.etree.ElementTree.fromstring(found.out)
                except xml.etree.ElementTree.ParseError as error:
                    kind.expect(False, text, *command, error)
        kind.each(attack, NASTY, [line for line in COMMANDS if "-h" not in line and "-r" not in line],
                  ("", "unterminated"))


def start_named(names):
    """Processes with these command lines, and zombies with those of them that are short enough."""
    processes = [subprocess.Popen([name, "60"] if name else [b"", b"60"], executable="/bin/sleep",
                                  stdout=subprocess.DEVNULL) for name in names]
    libc = ctypes.CDLL(None)
    zombies = []
    for name in names[:60]:
        pid = os.fork()
        if pid == 0:
            libc.prctl(15, ctypes.c_char_p(name[:15]), 0, 0, 0)
            os._exit(0)
        zombies.append(pid)
        os.waitid(os.P_PID, pid, os.WEXITED | os.WNOWAIT)
    return processes, zombies


def random_name(chance):
    pieces = NASTY + [b"sleep", b" ", b"/usr/bin/", b"\xe2\x82\xac", b"\xf0\x9f\x98\x80", b"\xc2", b"\xe4\xb8",
                      bytes([chance.randrange(1, 256)]), bytes([chance.randrange(128, 256)])]
    return b"".join(chance.choice(pieces) for _ in range(chance.randrange(1, 8)))


def attack_names():
    chance = random.Random(1)
    names = NASTY + [random_name(chance) for _ in range(400 - len(NASTY))]
    processes, zombies = start_named(names)
    bidirectional = re.compile("[\u202a-\u202e\u2066-\u2069]")
    with Kind("hostile process names") as kind:
        pids = [process.pid for process in processes] + zombies
        environment = hostile("gpus=1", pids=",".join(map(str, pids)))
        for command in COMMANDS:
            found = run(command, environment)
            sound(kind, found, *command)
        shown = run(["--query-compute-apps=pid,name", "--format=csv,noheader"], environment).out
        shown = dict(line.split(", ", 1) for line in shown.decode().splitlines())
        kind.expect(len(shown) == len(pids), len(shown), "rows for", len(pids), "processes")
        listed = subprocess.run(["ps", "-ww", "-o", "pid=,command=", "-p", ",".join(map(str, pids))],
                                env={**os.environ, "LC_ALL": "C.UTF-8"}, capture_output=True,
                                check=True).stdout.decode()
        for line in listed.splitlines():
            pid, _, name = line.strip(" ").partition(" ")
            kind.runs += 1
            name = bidirectional.sub("?", name)
            kind.expect(shown.get(pid, "").rstrip(" ") == name.rstrip(" "), repr(shown.get(pid)),
                        "where ps has", repr(name))
        rows = run(["pmon", "-c", "1"], environment).out.decode().splitlines()
        kind.expect(len(rows) == 2 + len(pids), len(rows), "rows of pmon")
    for process in processes:
        process.kill()
        process.wait()
    for pid in zombies:
        os.waitpid(pid, 0)
