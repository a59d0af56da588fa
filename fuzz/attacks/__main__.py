#!/usr/bin/env python3
"""attacks BIN LIBRARY SCRATCH [KIND...]: attacks the programs through what surrounds them.

LIBRARY is hostile_library.c as a shared object, BIN the directory of the programs and SCRATCH an
empty directory. Prints for each kind of attack how many runs there were and how many went wrong,
and of those the first ones; the status is 1 when one did.
"""
import sys

import common
import daemon
import library
import limits
import programs
import resets
import state

KINDS = {
    "modes": library.attack_modes,
    "random": library.attack_random,
    "operations": library.attack_operations,
    "programs": programs.attack_programs,
    "logs": programs.attack_logs,
    "texts": library.attack_texts,
    "names": library.attack_names,
    "memory": limits.attack_memory,
    "limits": limits.attack_limits,
    "clocks": limits.attack_clocks,
    "resets": resets.attack_resets,
    "daemon": daemon.attack_daemon,
    "disk": daemon.attack_full_disk,
    "state": state.attack_state,
}

for kind in sys.argv[4:] or KINDS:
    KINDS[kind]()
sys.exit(1 if common.failures else 0)
