#!/usr/bin/env python3
"""Runs the examples of the manual: manual_check.py PROGRAM FOLDER

Each ends with 0, leaves no argument in vain, and writes more than headers. disk.dd is the disk of samples/case.img,
volume.dd its second partition, $MFT samples/small.mft.
"""
import pathlib
import re
import subprocess
import sys

from docs_check import lay_out
from support import ROOT

program, scratch = (pathlib.Path(argument).resolve() for argument in sys.argv[1:])
environment = lay_out(scratch, program)
(scratch / "$MFT").symlink_to("samples/small.mft")
(scratch / "disk.dd").symlink_to("samples/case.img")
(scratch / "volume.dd").write_bytes((scratch / "disk.dd").read_bytes()[0x400000:])

faults = 0
examples = re.findall(r"^\.nf\n\.RS\n(.*?)^\.RE$", (ROOT / "docs" / "grelmoor.1").read_text(), re.M | re.S)
for example in examples:
    command = example.replace(r"\-", "-").replace(r"\(aq", "'").replace(r"\e", "\\")
    if "-diags" not in command:
        command = command.replace("grelmoor ", "grelmoor -diags why.txt ")
    shell = ["bash", "-euo", "pipefail", "-c"]
    done = subprocess.run([*shell, command], cwd=scratch, env=environment, capture_output=True)
    results = re.search(r"-out (\S+)", command)
    rows = (scratch / results[1]).read_text() if results else done.stdout.decode()
    if done.returncode != 0 or " no effect" in (scratch / "why.txt").read_text() or rows.count("\n") < 6:
        faults += 1
        print(command, done.returncode, done.stderr.decode(), (scratch / "why.txt").read_text())
print(f"{len(examples)} examples, {faults} fail")
sys.exit(1 if faults or not examples else 0)
