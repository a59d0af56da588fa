#!/usr/bin/env python3
"""Prints the GPUs as JSON, a line each; what cannot be read is null."""
import json
import subprocess
import sys
import tempfile

PROPERTIES = ["index", "pci.bus_id", "memory.used", "utilization.gpu", "temperature.gpu"]


def value(text):
    if text == "[N/A]":
        return None
    return int(text) if text.isdigit() else text


# The file gets the values alone; all else that zanctl says is for standard error.
with tempfile.NamedTemporaryFile("r") as values:
    query = ["zanctl", "--query-gpu", ",".join(PROPERTIES), "--format=csv,noheader,nounits"]
    if subprocess.run([*query, "-f", values.name], stdout=sys.stderr).returncode != 0:
        sys.exit("gpus.py: zanctl failed")
    lines = values.readlines()
if not lines:
    sys.exit("gpus.py: no GPU answers")
for line in lines:
    texts = line.rstrip("\n").split(", ")
    print(json.dumps(dict(zip(PROPERTIES, map(value, texts), strict=True))))
