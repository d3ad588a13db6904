#!/usr/bin/env python3
"""Block devices as sources and as what must not be written; limits of the host. Linux alone; wants root.

The rows over a live volume, mounted or not, and over a whole drive's partition equal those over its image file.
Ends with 77, "skipped", where no loop device is to be had.
"""
import bisect
import contextlib
import fcntl
import gzip
import os
import re
import resource
import shutil
import struct
import subprocess
import sys
from pathlib import Path

PROGRAM, WORK = sys.argv[1], Path(sys.argv[2])
SAMPLE = Path(__file__).resolve().parents[2] / "samples" / "small.img.gz"
faults = []


def check(what, ours, expected):
    if ours != expected:
        faults.append(f"{what}: {str(ours):.300} instead of {str(expected):.300}")


def run(*arguments, through=(), **settings):
    command = [*through, PROGRAM, "-quiet", *map(str, arguments)]
    done = subprocess.run(command, capture_output=True, timeout=60, **settings)
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


@contextlib.contextmanager
def loop_device(path, *settings):
    made = subprocess.run(["losetup", "-f", "--show", *settings, path], capture_output=True)
    if made.returncode != 0:
        sys.exit(77)
    device = made.stdout.decode().strip()
    try:
        yield device
    finally:
        subprocess.run(["losetup", "-d", device])


# Loop devices are no drives: where the program looks for drives, it meets one of another name with the loop's number.
AS_DRIVE = """mount -t tmpfs none /sys/block && mkdir /sys/block/sda && mount -t tmpfs none /dev &&
    mknod /dev/sda b $0 $1 && shift && exec "$@" """


def check_drive(image):
    """A volume inside a drive, in sectors of two sizes; the drive ends inside a sector."""
    disk, rows = WORK / "disk", run("-image", image, "-csv")[1]
    entry = struct.pack("<B3xB3xII", 0, 7, (1 << 20) // 512, image.stat().st_size // 512)
    table = (bytes(446) + entry).ljust(510, b"\0") + b"\x55\xaa"  # with its mark here it counts in sectors of 512
    disk.write_bytes(table.ljust(1 << 20, b"\0") + image.read_bytes() + bytes(700))
    for sector in [512, 4096]:
        with loop_device(disk, "-b", str(sector)) as device:
            number = os.stat(device).st_rdev
            there = ["unshare", "-m", "sh", "-c", AS_DRIVE, str(os.major(number)), str(os.minor(number))]
            if subprocess.run([*there, "true"], capture_output=True).returncode != 0:
                return print("no drive can be shown here")
            check(f"drive in sectors of {sector}", run("-drivenum", 0, "-offset", 1 << 20, "-csv", through=there), (0, rows, ""))


def check_opened_read_only(device):
    if shutil.which("strace") is None:
        return print("not installed: strace")
    calls = subprocess.run(["strace", "-f", "-y", "-e", "trace=!read,pread64", PROGRAM, "-quiet", "-partition", device],
                           stdout=subprocess.DEVNULL, stderr=subprocess.PIPE).stderr.decode()
    on_device = [line for line in calls.splitlines() if device in line and "execve" not in line and "write(1<" not in line]
    allowed = re.compile(r".*(openat\(.*O_RDONLY|fstat|fadvise64|close\(|(new)?f?stat(at|x)?\(|readlink|ioctl\(.*(GET|LOOP_GET))")
    check("system calls", ([line for line in on_device if not allowed.match(line)], len(on_device) > 2), ([], True))


def check_gone(image):
    """The device's content ends while the program waits for who reads its rows."""
    gone, log = WORK / "gone", WORK / "log"
    shutil.copy(image, gone)
    with loop_device(gone) as device:
        rows, pipe = os.pipe()
        fcntl.fcntl(pipe, fcntl.F_SETPIPE_SZ, 4096)
        program = subprocess.Popen([PROGRAM, "-quiet", "-partition", device, "-diags", log], stdout=pipe)
        os.close(pipe)
        came = b""
        while came.count(b"\n0x") < 30:
            came += os.read(rows, 512)
        os.truncate(gone, 0)
        subprocess.run(["blockdev", "--flushbufs", device], check=True)
        while more := os.read(rows, 65536):
            came += more
        check("ends", (program.wait(timeout=60), came.endswith(b"\n")), (0, True))
    check("told", re.search(r"err: record [0-9a-f]+ unreadable at [0-9a-f]+: Input/output error", log.read_text()) is not None, True)


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


def check_memory(image):
    """However little there is: no row that is another one, each record without its rows told, or an end with words."""
    rows, log = run("-image", image, "-csv")[1], WORK / "log"

    def limited(kib):
        log.unlink(missing_ok=True)
        return run("-image", image, "-csv", "-diags", log, through=("sh", "-c", f'ulimit -v {kib}; exec "$0" "$@"'))

    limits = range(1024, 64 * 1024)
    enough = limits[bisect.bisect_left(limits, True, key=lambda kib: limited(kib)[1] == rows)]
    for kib in range(enough - 512, enough, 16):
        code, came, words = limited(kib)
        if code == 127:  # less than the system's own start of a program takes
            continue
        told = {int(number, 16) for number in re.findall(r"out of memory at record (\w+)", log.read_text() if log.exists() else "")}
        silent = {row[:10] for row in rows if row not in came and int(row[:10], 16) not in told}
        words_fit = not silent if code == 0 else (code, words) == (255, "out of memory, aborting\n")
        check(f"{kib} KiB of memory", (words_fit, set(came) <= set(rows)), (True, True))


def main():
    WORK.mkdir(parents=True, exist_ok=True)
    image, results, pipe = WORK / "small.img", WORK / "r.csv", WORK / "pipe"
    image.write_bytes(gzip.open(SAMPLE).read())
    limit = lambda: resource.setrlimit(resource.RLIMIT_FSIZE, (4096, 4096))
    code, _, words = run("-image", image, "-out", results, preexec_fn=limit)
    check("a limit on files", (code, words), (255, f"prob writing to output file: {results}\n"))
    "sanitize" in PROGRAM or check_memory(image)
    pipe.exists() or os.mkfifo(pipe)
    for option in ["-image", "-mftfile", "-partition", "-script"]:
        run(option, pipe)  # nobody writes: ends all the same
    with loop_device(image) as device:
        check_unwritten(device, image)
        check_live(device, image)
        check_opened_read_only(device)
    check_drive(image)
    check_gone(image)
    print(*faults, f"{len(faults)} faults", sep="\n")
    sys.exit(1 if faults else 0)


main()
