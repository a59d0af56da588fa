#!/usr/bin/env python3
"""Lists the processes of each GPU from the XML report. Fails when a GPU does not answer."""
import subprocess
import sys
import tempfile
import xml.etree.ElementTree as ElementTree
from pathlib import Path

# What a GPU that does not answer lacks altogether.
IDENTITY = ("product_name", "serial", "uuid", "gpu_part_number")

# The file gets the report alone; all else that zanctl says is for standard error.
with tempfile.NamedTemporaryFile() as report:
    if subprocess.run(["zanctl", "-q", "-x", "-f", report.name], stdout=sys.stderr).returncode != 0:
        sys.exit("processes.py: zanctl failed")
    escaped = subprocess.run([Path(__file__).with_name("escape-texts")], check=True,
                             stdin=report, stdout=subprocess.PIPE).stdout

silent = 0
gpus = ElementTree.fromstring(escaped).findall("gpu")
for gpu in gpus:
    silent += all(gpu.findtext(key) == "N/A" for key in IDENTITY)
    for process in gpu.iter("process_info"):
        pid, memory, name = (
            process.findtext(key) for key in ("pid", "used_memory", "process_name"))
        print(f"{gpu.get('id')}  {pid:>8}  {memory:>9}  {name[:40]}")
if silent or not gpus:
    sys.exit(f"processes.py: {silent or 'all'} of the GPUs do not answer")
