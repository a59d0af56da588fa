#!/usr/bin/env python3
"""Prints the GPUs as JSON; what cannot be read is null."""
import json
import subprocess

PROPERTIES = "index,pci.bus_id,memory.used,utilization.gpu,temperature.gpu"

output = subprocess.run(
    ["zanctl", f"--query-gpu={PROPERTIES}", "--format=csv,noheader,nounits"],
    check=True, capture_output=True, text=True).stdout


def value(text):
    if text == "[N/A]":
        return None
    return int(text) if text.isdigit() else text


for line in output.splitlines():
    print(json.dumps(dict(zip(PROPERTIES.split(","), map(value, line.split(", "))))))
