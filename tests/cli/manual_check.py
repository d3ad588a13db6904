#!/usr/bin/env python3
"""Runs the examples of the manual: manual_check.py PROGRAM FOLDER

Each ends with 0, leaves no argument in vain, and shows more than the run's header and the column line.
disk.dd is the disk of samples/case.img, volume.dd its second partition, $MFT samples/small.mft.
"""
import pathlib
import re
import shutil
import subprocess
import sys

from docs_check import lay_out
from support import ROOT

EXAMPLE = re.compile(r"^\.nf\n\.RS\n(.*?)^\.RE$", re.M | re.S)


def fault_of(example, scratch, environment):
    command = example.replace(r"\-", "-").replace(r"\(aq", "'").replace(r"\e", "\\")
    if "-diags" not in command:
        command = command.replace("grelmoor ", "grelmoor -diags why.txt ")
    done = subprocess.run(["bash", "-euo", "pipefail", "-c", command], cwd=scratch, env=environment, capture_output=True, text=True)
    results = re.search(r"-out (\S+)", command)
    rows = (scratch / results.group(1)).read_text() if results else done.stdout
    vain = re.findall(".* no effect.*", (scratch / "why.txt").read_text())
    return f"{command}{done.returncode} {vain} {done.stdout[-500:]}{done.stderr[-500:]}" * (done.returncode != 0 or vain != [] or rows.count("\n") < 6)


def main():
    scratch = pathlib.Path(sys.argv[2])
    environment = lay_out(scratch, pathlib.Path(sys.argv[1]).resolve())
    disk = (scratch / "samples" / "case.img").read_bytes()
    (scratch / "disk.dd").write_bytes(disk)
    (scratch / "volume.dd").write_bytes(disk[0x400000:])
    shutil.copy(scratch / "samples" / "small.mft", scratch / "$MFT")
    examples = EXAMPLE.findall((ROOT / "docs" / "grelmoor.1").read_text())
    faults = [fault for each in examples if (fault := fault_of(each, scratch, environment))]
    print(*faults, f"{len(examples)} examples, {len(faults)} fail", sep="\n")
    return 1 if faults or not examples else 0


if __name__ == "__main__":
    sys.exit(main())
