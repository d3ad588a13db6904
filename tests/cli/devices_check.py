#!/usr/bin/env python3
"""Block devices as sources and as what must not be written; limits of the host. Linux alone; wants root.

The rows over a live volume, mounted or not, and over a whole drive's partition equal those over its image file.
Ends with 77, "skipped", where no loop device is to be had.
"""
import bisect
import fcntl
import os
import re
import resource
import shutil
import struct
import subprocess

import support
from support import equal, loop_device

test = support.Test(__doc__)
work = test.work


def run(*words, **settings):
    done = test.run(*words, **settings)
    return done.returncode, [line for line in done.stdout.splitlines() if line.startswith(b"0x")], done.stderr


def check_live(device, image):
    rows = run("-image", image, "-csv")[1]
    equal("enough rows", len(rows) > 200, True)
    equal("live volume", run("-partition", device, "-csv"), (0, rows, ""))
    mounted = work / "mounted"
    mounted.mkdir(exist_ok=True)
    if subprocess.run(["mount", "-t", "ntfs-3g", "-o", "ro", device, mounted], capture_output=True).returncode == 0:
        equal("mounted volume", run("-partition", device, "-csv"), (0, rows, ""))
        subprocess.run(["umount", mounted], check=True)
    words = f"prob validating volume {image} as a NTFS partition, aborting...\n"
    equal("a file is no partition", run("-partition", image), (0, [], words))
    equal("shadow copy", run("-vss", 3), (255, [], "This option is not offered in this build\n"))


# Loop devices are no drives: where the program looks for drives, it meets one of another name with the loop's number.
AS_DRIVE = """mount -t tmpfs none /sys/block && mkdir /sys/block/sda && mount -t tmpfs none /dev &&
    mknod /dev/sda b $0 $1 && shift && exec "$@" """


def check_drive(image):
    """A volume inside a drive, in sectors of two sizes; the drive ends inside a sector."""
    disk, rows = work / "disk", run("-image", image, "-csv")[1]
    entry = struct.pack("<B3xB3xII", 0, 7, (1 << 20) // 512, image.stat().st_size // 512)
    table = (bytes(446) + entry).ljust(510, b"\0") + b"\x55\xaa"  # with its mark here it counts in sectors of 512
    disk.write_bytes(table.ljust(1 << 20, b"\0") + image.read_bytes() + bytes(700))
    for sector in [512, 4096]:
        with loop_device(disk, sector) as device:
            number = os.stat(device).st_rdev
            there = ["unshare", "-m", "sh", "-c", AS_DRIVE, str(os.major(number)), str(os.minor(number))]
            if subprocess.run([*there, "true"], capture_output=True).returncode != 0:
                return print("no drive can be shown here")
            shown = run("-drivenum", 0, "-offset", 1 << 20, "-csv", through=there)
            equal(f"drive in sectors of {sector}", shown, (0, rows, ""))


def check_opened_read_only(device):
    if shutil.which("strace") is None:
        return print("not installed: strace")
    strace = ["strace", "-f", "-y", "-e", "trace=!read,pread64"]
    calls = [line for line in run("-partition", device, through=strace)[2].splitlines() if device in line]
    on_device = [line for line in calls if "execve" not in line and "write(1<" not in line]
    allowed = re.compile(r".*(openat\(.*O_RDONLY|fadvise64|close\(|(new)?f?stat(at|x)?\(|readlink|ioctl\(.*GET)")
    equal("system calls", ([line for line in on_device if not allowed.match(line)], len(on_device) > 2), ([], True))


def check_gone(image):
    """The device's content ends while the program waits for who reads its rows."""
    gone, log = work / "gone", work / "log"
    shutil.copy(image, gone)
    with loop_device(gone) as device:
        rows, pipe = os.pipe()
        fcntl.fcntl(pipe, fcntl.F_SETPIPE_SZ, 4096)
        program = subprocess.Popen([test.program, "-quiet", "-partition", device, "-diags", log], stdout=pipe)
        os.close(pipe)
        came = b""
        while came.count(b"\n0x") < 30:
            came += os.read(rows, 512)
        os.truncate(gone, 0)
        subprocess.run(["blockdev", "--flushbufs", device], check=True)
        while more := os.read(rows, 65536):
            came += more
        equal("ends", (program.wait(timeout=60), came.endswith(b"\n")), (0, True))
    told = re.search(r"err: record [0-9a-f]+ unreadable at [0-9a-f]+: Input/output error", log.read_text())
    equal("told", told is not None, True)


def check_unwritten(device, image):
    content, log = image.read_bytes(), work / "log"
    for what, option, path, live in [("results behind a loop device", "-out", image, "-partition"),
                                     ("image of a loop device", "-out", image, "-image"),
                                     ("log behind a loop device", "-diags", image, "-partition"),
                                     ("results to a disk", "-out", device, "-indxfile"),
                                     ("log to a disk", "-diags", device, "-indxfile")]:
        code, _, words = run(live, device, option, path, *(["-diags", log] if option == "-out" else []))
        equal(what, (code, f"prob opening file {path} for output, aborting\n" in words), (255, True))
        equal(what, image.read_bytes() == content, True)
        equal(what + " is told", option == "-diags" or "err: cannot open" in log.read_text(), True)


def check_memory(image):
    """However little there is: no row that is another one, each record without its rows told, or an end with words."""
    rows, log = run("-image", image, "-csv")[1], work / "log"

    def limited(kib):
        log.unlink(missing_ok=True)
        return run("-image", image, "-csv", "-diags", log, through=("sh", "-c", f'ulimit -v {kib}; exec "$0" "$@"'))

    limits = range(1024, 64 * 1024)
    enough = limits[bisect.bisect_left(limits, True, key=lambda kib: limited(kib)[1] == rows)]
    for kib in range(enough - 512, enough, 16):
        code, came, words = limited(kib)
        if code == 127:  # less than the system's own start of a program takes
            continue
        words_of_log = log.read_text() if log.exists() else ""
        told = {int(number, 16) for number in re.findall(r"out of memory at record (\w+)", words_of_log)}
        silent = {row[:10] for row in rows if row not in came and int(row[:10], 16) not in told}
        words_fit = not silent if code == 0 else (code, words) == (255, "out of memory, aborting\n")
        equal(f"{kib} KiB of memory", (words_fit, set(came) <= set(rows)), (True, True))


def main():
    support.require("losetup", root=True)
    image, results, pipe = test.sample(), work / "r.csv", work / "pipe"
    limit = lambda: resource.setrlimit(resource.RLIMIT_FSIZE, (4096, 4096))
    code, _, words = run("-image", image, "-out", results, preexec_fn=limit)
    equal("a limit on files", (code, words), (255, f"prob writing to output file: {results}\n"))
    if "sanitize" not in test.program:
        check_memory(image)
    pipe.exists() or os.mkfifo(pipe)
    for option in ["-image", "-mftfile", "-partition", "-script"]:
        run(option, pipe)  # nobody writes: ends all the same
    with loop_device(image) as device:
        check_unwritten(device, image)
        check_live(device, image)
        check_opened_read_only(device)
    check_drive(image)
    check_gone(image)
    support.finish(20)


main()
