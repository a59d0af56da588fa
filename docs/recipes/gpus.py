#!/usr/bin/env python3
"""gpus.py [GPUS]: prints the GPUs as JSON, a line each; what cannot be read is null.

Fails like gpu-values: when no GPU answers, or when there are not as many as GPUS.
"""
import json
import subprocess
import sys
from pathlib import Path

PROPERTIES = ["index", "pci.bus_id", "memory.used", "utilization.gpu", "temperature.gpu"]


def value(text):
    if text == "[N/A]":
        return None
    return int(text) if text.isdigit() else text


query = [Path(__file__).with_name("gpu-values"), ",".join(PROPERTIES), *sys.argv[1:]]
answer = subprocess.run(query, stdout=subprocess.PIPE, text=True)
for line in answer.stdout.splitlines():
    print(json.dumps(dict(zip(PROPERTIES, map(value, line.split(", ")), strict=True))))
sys.exit(answer.returncode)
