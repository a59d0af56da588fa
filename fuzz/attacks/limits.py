"""Little memory, few descriptors, small files, closed streams, and the odd hours of the clock."""
import itertools
import os
import resource
import signal

from common import (BIN, COMMANDS, ENVIRONMENT, Kind, LIBRARY, NOISE, SCRATCH, hostile, run, sound, with_limit)


WITH_FILE = [(), ("-q",), ("-q", "-x"), ("dmon", "-c", "3"), ("pmon", "-c", "3"), ("stats", "-c", "2"),
             ("--query-gpu=name", "--format=csv")]


def attack_memory():
    with Kind("little memory") as kind:
        statuses = {"zanctl": {0, 255}, "zanctl-health": {2, 3}, "zantop": {0, 1}}

        def works(command, size):
            return run(command[1:], hostile("vgpu"), program=BIN / command[0],
                       preexec_fn=with_limit(resource.RLIMIT_AS, size)).status

        def attack(command):
            low, high = 1 << 20, 1 << 28
            whole = works(command, high)
            while high - low > 4096:
                middle = (low + high) // 2 // 4096 * 4096
                low, high = (low, middle) if works(command, middle) == whole else (middle, high)
            # The loader ends with 127, or by a fault where nothing is left for the thread's storage.
            of_loader = {127, -signal.SIGSEGV}
            loads = False
            for size in range(high - (1 << 20), high + 65536, 16384):
                status = works(command, size)
                kind.runs += 1
                loads = loads or status not in of_loader
                kind.expect(status in (statuses[command[0]] if loads else of_loader), status, "with",
                            size, *command)
        rows = [(), ("-q", "-x"), ("topo", "-m"), ("pmon", "-c", "1"), ("vgpu", "-q"),
                ("--query-compute-apps=name", "--format=csv"), ("dmon", "-c", "1")]
        kind.each(attack, [("zanctl", *row) for row in rows] +
                  [("zanctl-health",), ("zantop", "--batch")])


def attack_limits():
    with Kind("few descriptors and small files") as kind:
        for command, number in itertools.product(COMMANDS, range(12)):
            found = run(command, hostile("vgpu"), preexec_fn=with_limit(resource.RLIMIT_NOFILE, number))
            if number < 4 and found.status == 127: found = found._replace(status=255)
            sound(kind, found, number, "descriptors", *command)
        file = SCRATCH / "small"
        for command, size in itertools.product(WITH_FILE, (0, 1, 100, 512, 1000, 4096)):
            found = run([*command, "-f", file], hostile(),
                        preexec_fn=with_limit(resource.RLIMIT_FSIZE, size))
            sound(kind, found, "files of", size, *command)
            full = file.stat().st_size == size
            kind.expect(b"Failed to write the log file" in found.out or not full, "files of", size,
                        "silent", *command)
    with Kind("closed and full streams") as kind:
        for command, closed in itertools.product(COMMANDS, itertools.product((0, 1), repeat=3)):
            streams = [number for number in range(3) if closed[number]]
            found = run(command, hostile("vgpu,noise"),
                        preexec_fn=lambda: [os.close(number) for number in streams])
            sound(kind, found, "closed", streams, *command)
        for command in COMMANDS:
            if command == ("daemon", "-t"): continue
            with open("/dev/full", "wb") as full:
                found = run(command, hostile("vgpu"), stdout=full)
                kind.runs += 1
                kind.expect(found.status == 255 and found.err, "/dev/full", found, *command)
                found = run(command, hostile("vgpu"), stdout=full, stderr=full)
                kind.expect(found.status == 255, "/dev/full", found, *command)
            reading, writing = os.pipe()
            os.close(reading)
            found = run(command, hostile("vgpu"), stdout=writing)
            os.close(writing)
            kind.runs += 1
            kind.expect(found.status in (0, 255, -signal.SIGPIPE), "closed pipe", found, *command)
        for program, status in (("zanctl-exporter", 1), ("zanctl-health", 3), ("zantop", 1), ("zansim", 125)):
            for closed, option in itertools.product(((), (1,), (2,), (1, 2)), ("--wrong", "--help")):
                with open("/dev/full", "wb") as full:
                    found = run([option], hostile(), program=BIN / program, stdout=full, stderr=full,
                                preexec_fn=lambda: [os.close(number) for number in closed])
                kind.runs += 1
                kind.expect(found.status == status, found.status, program, option, closed)
        for command in WITH_FILE:
            found = run([*command, "-f", "/dev/full"], hostile())
            sound(kind, found, "-f /dev/full", *command)
            kind.expect(b"Failed to write the log file" in found.out, "-f /dev/full", found)
            file = SCRATCH / "quiet"
            clean = run(command, hostile()).out
            run([*command, "-f", file], hostile("noise"), preexec_fn=lambda: os.closerange(0, 3))
            kind.expect(NOISE not in file.read_bytes(), "noise in the file of", *command)
            kind.expect(len(file.read_bytes()) == len(clean), "another file of", *command)


def attack_clocks():
    with Kind("clocks") as kind:
        zones = ["UTC", "right/UTC", "America/New_York", "right/America/New_York", "Pacific/Kiritimati",
                 "Australia/Lord_Howe", "Africa/Casablanca", "Europe/Dublin", "Antarctica/Troll", ":/nowhere", "XXX-99:99:99",
                 "<\x1b[2J>3", "EST5EDT,0/-167,J365/167", "A" * 5000]
        moments = [0, -1, 1, 78796800, 1483228826, 1772953200 - 1, 1772953200, 1793512800, 2**31 - 1, 2**31,
                   2**32, 253402300799, 253402300800, 2**40, 67767976233529199, 67768036191676799,
                   2**62 // 10**6, -2**31, -2**40]
        environment = {**ENVIRONMENT, "LD_PRELOAD": f"{LIBRARY}:{ENVIRONMENT['LD_PRELOAD']}"}
        for zone, moment, command in itertools.product(zones, moments, [
                (), ("-q",), ("-q", "-x"), ("dmon", "-c", "1", "-o", "DT"), ("pmon", "-c", "1", "-o", "DT"),
                ("stats", "-c", "1"), ("--query-gpu=timestamp", "--format=csv"), ("vgpu",)]):
            sound(kind, run(command, {**environment, "TZ": zone, "HOSTILE": "vgpu,gpus=1",
                                      "HOSTILE_TIME": str(moment)}), zone[:40], moment, *command)
