"""What the exporter, the health check and zantop make of hostile libraries and logs."""
import json
import random
import resource

from common import BIN, Kind, NOISE, OPERATIONS, SCRATCH, hostile, problem, run, with_limit
from library import MODES, NASTY

COMMANDS = {("zanctl-health", "--timeout", "3", "--idle"): (0, 1, 2, 3),
            ("zanctl-health", "--timeout", "3", "--json"): (0, 1, 2, 3),
            ("zanctl-exporter", "--once", "--processes"): (0,),
            ("zanctl-exporter", "--once", "--format=json"): (0,), ("zantop", "--batch"): (0,)}
RECORD = " {:02}:{:02}:{:02}   {:3}    30    50     -    10    10    10    10  1000  1000\n"


def attack_programs():
    with Kind("hostile libraries and the collector") as kind:
        def attack(modes, command):
            text = random.choice([b"text", *(b"*" + nasty for nasty in NASTY)])
            found = run(command[1:], hostile(modes, text=text), limit=300, program=BIN / command[0])
            kind.runs += 1
            kind.expect(found.status in COMMANDS[command], found.status, modes, command, found.err[-200:])
            trouble = problem(found.out + found.err.replace(NOISE, b""))
            kind.expect(not trouble, trouble, modes, command, text)
            if "json" in command[-1] and found.status is not None: json.loads(found.out)
        kind.each(attack, MODES, COMMANDS)
        kind.each(attack, [f"vgpu,gpus=3,{how},operation={name}" for name in OPERATIONS for how in
                           ("segv", "abort", "hang", "code=15")], list(COMMANDS)[:1])


def attack_logs():
    with Kind("logs with more gaps than lines") as kind:
        moments = [RECORD.format(i // 3600 % 24, i // 60 % 60, i % 60, 0) for i in range(150_000)]
        (SCRATCH / "gaps").write_text("".join(moments) + "".join(
            RECORD.format(0, 0, 0, gpu) for gpu in range(1, 4096)))
        found = run(["--batch", "--log", SCRATCH / "gaps"], hostile(), program=BIN / "zantop", limit=300,
                    preexec_fn=with_limit(resource.RLIMIT_AS, 1 << 30))
        kind.runs += 1
        kind.expect(found.status == 0, found.status, found.err)
