#!/usr/bin/env python3
"""Block devices as sources and as what must not be written; limits of the host. Linux alone; wants root.

The rows over a live volume, mounted or not, and over a whole drive's partition equal those over its image file.
Ends with 77, "skipped", where no loop device is to be had.
"""
import gzip
import os
import resource
import subprocess
import sys
from pathlib import Path

PROGRAM, WORK = sys.argv[1], Path(sys.argv[2])
SAMPLE = Path(__file__).resolve().parents[2] / "samples" / "small.img.gz"
faults = []


def check(what, ours, expected):
    if ours != expected:
        faults.append(f"{what}: {ours!r} instead of {expected!r}")


def run(*arguments, **settings):
    done = subprocess.run([PROGRAM, "-quiet", *map(str, arguments)], capture_output=True, timeout=60, **settings)
    return done.returncode, [line for line in done.stdout.splitlines() if line.startswith(b"0x")], done.stderr.decode()


def check_live(device, image):
    rows = run("-image", image, "-csv")[1]
    check("enough rows", len(rows) > 200, True)
    check("live volume", run("-partition", device, "-csv"), (0, rows, ""))
    mounted = WORK / "mounted"
    mounted.mkdir(exist_ok=True)
    if subprocess.run(["mount", "-t", "ntfs-3g", "-o", "ro", device, mounted], capture_output=True).returncode == 0:
        check("mounted volume", run("-partition", device, "-csv"), (0, rows, ""))
        subprocess.run(["umount", mounted], check=True)
    words = f"prob validating volume {image} as a NTFS partition, aborting...\n"
    check("a file is no partition", run("-partition", image), (0, [], words))
    check("shadow copy", run("-vss", 3), (255, [], "This option is not offered in this build\n"))


def check_unwritten(device, image):
    content, log = image.read_bytes(), WORK / "log"
    for what, option, path, live in [("results behind a loop device", "-out", image, "-partition"),
                                     ("image of a loop device", "-out", image, "-image"),
                                     ("log behind a loop device", "-diags", image, "-partition"),
                                     ("results to a disk", "-out", device, "-indxfile"), ("log to a disk", "-diags", device, "-indxfile")]:
        code, _, words = run(live, device, option, path, *(["-diags", log] if option == "-out" else []))
        check(what, (code, f"prob opening file {path} for output, aborting\n" in words), (255, True))
        check(what, image.read_bytes() == content, True)
        check(what + " is told", option == "-diags" or "err: cannot open" in log.read_text(), True)


def main():
    WORK.mkdir(parents=True, exist_ok=True)
    image, results, pipe = WORK / "small.img", WORK / "r.csv", WORK / "pipe"
    image.write_bytes(gzip.open(SAMPLE).read())
    limit = lambda: resource.setrlimit(resource.RLIMIT_FSIZE, (4096, 4096))
    code, _, words = run("-image", image, "-out", results, preexec_fn=limit)
    check("a limit on files", (code, words), (255, f"prob writing to output file: {results}\n"))
    pipe.exists() or os.mkfifo(pipe)
    for option in ["-image", "-mftfile", "-partition", "-script"]:
        run(option, pipe)  # nobody writes: ends all the same
    made = subprocess.run(["losetup", "-f", "--show", image], capture_output=True)
    if made.returncode != 0:
        sys.exit(77)
    device = made.stdout.decode().strip()
    try:
        check_unwritten(device, image)
        check_live(device, image)
    finally:
        subprocess.run(["losetup", "-d", device])
    print(*faults, f"{len(faults)} faults", sep="\n")
    sys.exit(1 if faults else 0)


main()
