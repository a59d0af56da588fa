"""Resets under signals, with little memory, and two at a time."""
import itertools
import resource
import signal
import subprocess

from common import (ENVIRONMENT, Kind, SCRATCH, ZANCTL, hostile, no_cores, run, wait_for, with_limit)


CONCURRENT = b"The reset command cannot be executed at the same time, Please try again later.\n"


def reset_environment(name, modes="", **variables):
    folder = SCRATCH / name
    folder.mkdir(exist_ok=True)
    return {**hostile(f"gpus=3,{modes}", marker=str(folder / "marker"), log=str(folder / "log"), **variables),
            "ZANSIM_STATE": ENVIRONMENT["ZANSIM_STATE"]}, folder / "marker", folder / "log"


def events(log):
    return [line.split() for line in log.read_text().splitlines()] if log.exists() else []


def attack_resets():
    with Kind("signals in a reset") as kind:
        uncatchable = {signal.SIGKILL, signal.SIGSTOP, 32, 33}
        for operation, number in itertools.product(
                ("zanmlDeviceReset", "zanmlDeviceSetResetStatus", "nvmlShutdown"), range(1, 65)):
            if number in uncatchable: continue
            environment, marker, log = reset_environment(
                "signals", "slow", operation=operation, milliseconds="40")
            log.unlink(missing_ok=True)
            with subprocess.Popen([ZANCTL, "-r", "-i", "0,1"], env=environment, stdout=subprocess.PIPE,
                                  preexec_fn=no_cores) as process:
                begun = "set" if operation != "zanmlDeviceReset" else "begin"
                wait_for(lambda: any(event[0] == begun for event in events(log)))
                process.send_signal(number)
                out = process.communicate(timeout=30)[0]
            kind.runs += 1
            kind.expect(process.returncode == 0 and out.endswith(b"All done.\n"), operation, "signal",
                        number, process.returncode, out)
            kind.expect(not marker.exists(), "the marker is left by signal", number, "in", operation)
            marker.unlink(missing_ok=True)
    with Kind("resets with little memory") as kind:
        def attack(size):
            environment, marker, log = reset_environment(f"memory{size}")
            found = run(["-r"], environment, preexec_fn=with_limit(resource.RLIMIT_AS, size))
            kind.runs += 1
            kind.expect(found.status in (0, 255, 127) or not log.exists(), found, "with", size)
            kind.expect(not marker.exists(), "the marker is left with", size, found)
            return found.status
        low, high = 1 << 20, 1 << 28
        while high - low > 4096:
            middle = (low + high) // 2 // 4096 * 4096
            low, high = (low, middle) if attack(middle) == 0 else (middle, high)
        for size in range(high - (1 << 20), high + 16384, 4096):
            attack(size)
    with Kind("double resets") as kind:
        overlaps = refused = 0
        for number in range(60):
            arguments = ["-r"] if number % 3 else ["-r", "-i", "0"]
            operation = ("zanmlDeviceReset", "zanmlDeviceGetResetStatus", "zanmlDeviceSetResetStatus")
            environment, marker, log = reset_environment(
                f"double{number}", "slow", operation=operation[number % 3], milliseconds="30")
            both = [subprocess.Popen([ZANCTL, *arguments], env=environment, stdout=subprocess.PIPE)
                    for _ in range(2)]
            outs = [process.communicate(timeout=60)[0] for process in both]
            kind.runs += 1
            holder = None
            for event, pid, status in events(log):
                if (event, status) == ("set", "1"):
                    overlaps += holder is not None
                    holder = pid
                elif event == "set":
                    holder = None
                elif pid != holder:
                    overlaps += 1
            for process, out in zip(both, outs):
                if process.returncode == 0:
                    kind.expect(out.endswith(b"All done.\n"), out)
                else:
                    refused += 1
                    kind.expect(process.returncode == 255 and CONCURRENT in out, process.returncode, out)
            kind.expect(any(process.returncode == 0 for process in both), "both refused", outs)
            kind.expect(not marker.exists(), "the marker is left")
        kind.expect(overlaps == 0, overlaps, "overlaps")
        print(f"double resets: {overlaps} overlap, {refused} refused")
