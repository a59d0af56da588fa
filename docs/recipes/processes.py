#!/usr/bin/env python3
"""Lists the processes of each GPU from the XML report."""
import subprocess
import xml.etree.ElementTree as ElementTree

report = subprocess.run(["zanctl", "-q", "-x"], check=True, capture_output=True).stdout
for gpu in ElementTree.fromstring(report).iter("gpu"):
    for process in gpu.iter("process_info"):
        pid, memory, name = (
            process.findtext(key) for key in ("pid", "used_memory", "process_name"))
        print(f"{gpu.get('id')}  {pid:>8}  {memory:>9}  {name[:40]}")
