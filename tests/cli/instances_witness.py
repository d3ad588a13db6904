#!/usr/bin/env python3
"""Runs that are split over instances, against the single run.

rows:   the same rows over each kind of source, in each shape, merged and in separate files; copies in one tree.
words:  host paths and values that a shell would take for its own reach the instances; scripts; one log for all.
faults: instances that are killed, cannot write or are too many, and a run that is interrupted.
"""
import os
import re
import signal
import shutil
import subprocess
import time

import support
from support import equal
from toolkit import output

SHAPES = ["", "-csv", "-csvperpath", "-filepath_only", "-csvl2t", "-bodyfile", "-hashfile md5", "-multiline", "-jsonl",
          "-no_run_header -csv", "-no_run_header -filepath_only"]
MIB = 1 << 20
test = support.Test(__doc__, "rows", "words", "faults")
work, host = test.work, test.host


def run(*words, folder=None, code=0):
    done = subprocess.run([*test.command, *map(str, words)], capture_output=True, cwd=folder or work, timeout=300)
    equal(f"exit code of {words}", done.returncode, code)
    return done.stderr.decode().replace("\r", "")


def body(path):
    return re.split(rb"\r?\n\r?\n", path.read_bytes(), 1)[-1]


def single(*words):
    run(*words, "-quiet", "-out", "single")
    return body(work / "single")


def split(count, *words, folder=None, results="split", code=0):
    told = run(*words, "-cpu", count, "-out", results, folder=folder, code=code)
    equal("temporary files", list(work.rglob("*_temp.bin")), [])
    return told


def without_labels(rows, shape):
    return rows if shape.split()[-1:] in (["-filepath_only"], ["-multiline"], ["-jsonl"]) else rows.split(b"\n", 1)[-1]


def separate(count, shape, *words):
    split(count, *words, *shape.split(), "-separate_files")
    parts = [body(work / f"split.{number:05}") for number in range(1, count + 1)]
    labelled = [part for part in parts if part]
    return b"".join([labelled[0], *(without_labels(part, shape) for part in labelled[1:])])


def sources():
    volume, disk = test.sample(), work / "disk.dd"
    yield ["-mftfile", host(support.SAMPLES / "small.mft")]
    yield ["-image", host(volume)]
    if shutil.which("sgdisk") and shutil.which("qemu-img"):
        content = volume.read_bytes()
        disk.write_bytes(bytes(MIB) + content + bytes(MIB))
        output("sgdisk", "-o", "-n", f"1:2048:+{len(content) // 512}", disk)
        output("qemu-img", "convert", "-O", "vmdk", disk, work / "disk.vmdk")
        yield ["-image", host(disk), "-offset", MIB]
        yield ["-vmdk", host(work / "disk.vmdk"), "-offset", MIB]


def rows():
    for number, source in enumerate(sources()):
        # Each start of Wine costs more than a walk.
        for shape in SHAPES if not test.under_wine or number == 1 else SHAPES[1:2]:
            expected = single(*source, *shape.split())
            equal(f"enough rows of {source} {shape}", expected.count(b"\n") > 50, True)
            for count in [1, 2, 3, 7, 64] if not test.under_wine else [3]:
                split(count, *source, *shape.split())
                equal(f"{count} {source} {shape}", body(work / "split"), expected)
            equal(f"separate {source} {shape}", separate(3, shape, *source), expected)
    few = ["-mftfile", host(support.SAMPLES / "small.mft"), "-csv"]
    for words in [["-filter_inode", "69|143"], ["-filter_inode", "69", "-mftrange", "10"], ["-filter_name", "note.txt"], ["-filter_name", "none"]]:
        split(7, *few, *words)  # most instances have no rows, and no labels then
        equal(words, body(work / "split"), single(*few, *words))
    split(2, *few[:2], "-find_mft", 69)
    equal("a dump", body(work / "split"), single(*few[:2], "-find_mft", 69))
    split(2, *few, "-outdir", host(work / "named too"))
    equal("-outdir beside -out", body(work / "named too"), single(*few))
    source = support.shutil.copy(support.SAMPLES / "small.mft", work / "source.mft")
    split(2, "-mftfile", host(source), "-separate_files", results=host(source))
    equal("a source is left", source.exists(), True)
    copies = {}
    for name, call in [("one", single), ("several", lambda *words: split(3, *words))]:
        call("-image", host(work / "small.img"), "-csv", "-action_copy_files", host(work / name), "-all")
        paths = [path for path in (work / name).rglob("*") if path.is_file()]
        copies[name] = {path.relative_to(work / name): path.read_bytes() for path in paths}
    equal("copies", copies["several"], copies["one"])
    equal("enough copies", len(copies["one"]) > 20, True)


def words():
    names = ["a b", "$(touch hit)", "%PATH%", "a&b", "c^d", "d;e'f", "n\u00e4h-\u6587", "(x) !y!"]
    source = (support.SAMPLES / "small.mft").read_bytes()
    expected = single("-mftfile", host(support.SAMPLES / "small.mft"), "-csv")
    of_posix = [] if test.under_wine else ["e`id`", "f\\", "g*|<>"]
    for name in [*names, "%GRELMOOR_LINE_1%", "%GRELMOOR_INSTANCE%", *of_posix]:
        folder = work / name
        folder.mkdir(exist_ok=True)
        (folder / "x.mft").write_bytes(source)
        # In a path, variables are put in; on Windows a quote becomes a blank, too.
        temp = [] if test.under_wine and set("%'") & set(name) else ["-tempdir", host(folder / "t")]
        split(2, "-mftfile", host(folder / "x.mft"), "-csv", *temp, folder=folder)
        equal(f"rows of {name}", body(folder / "split"), expected)
    for value in names + ['q"uo"te', "back\\", "back back\\", "%", "\\\\", "a=b,c"]:
        split(2, "-mftfile", host(folder / "x.mft"), "-hostname", value, "-username", "next", "-separate_files")
        plain = value.replace('"', "")
        shown = f"'{plain}'" if " " in plain else plain
        for part in ["split.00001", "split.00002"]:
            equal(value, f" -hostname {shown} -username next -mftstart " in (work / part).read_text(), True)
    equal("nothing was run", list(work.rglob("hit")), [])
    (work / "s.txt").write_text(f"-csv -cpu 3\n-diags log -filter_ext txt\n-mftfile \"{host(folder / 'x.mft')}\"\n")
    expected = single("-script", "s.txt", "-cpu", 1)
    for given in [[], ["-cpu", 2]]:
        told = run(*given, "-script", "s.txt", "-out", "split")
        equal(f"script {given}", (body(work / "split"), told.count("spawned")), (expected, 1))
        lines = [line for line in (work / "log").read_text().splitlines() if "-csv" in line]
        equal("the log's lines", ["-cpuinst" in line for line in lines], [False] + [True] * (2 if given else 3))


def children_of(parent):
    found = subprocess.run(["ps", "-o", "pid=", "--ppid", str(parent)], capture_output=True).stdout
    return sorted(map(int, found.split()))


def start_long_run():
    """Two instances, each for seconds: a file with a long tail of zeros."""
    long_mft = work / "long.mft"
    long_mft.write_bytes((support.SAMPLES / "small.mft").read_bytes())
    os.truncate(long_mft, 64 << 30)
    words = ["-mftfile", long_mft, "-mftrange", str(64 << 20), "-csv", "-cpu", "2", "-diags", "log", "-out", "split"]
    parent = subprocess.Popen([*test.command, *words], cwd=work, stdout=subprocess.DEVNULL, stderr=subprocess.DEVNULL)
    for _ in range(200):
        time.sleep(0.05)
        # The first adds its rows to the merged file itself.
        if len(children_of(parent.pid)) == 2 and (work / "split").stat().st_size > 8192:
            break
    return parent, children_of(parent.pid)


def is_gone(pid):
    for _ in range(100):
        try:
            if open(f"/proc/{pid}/stat").read().split()[2] == "Z":
                return True
        except (FileNotFoundError, ProcessLookupError):
            return True
        time.sleep(0.05)
    return False


def interrupted_copies():
    if support.shutil.which("mkntfs") is None:
        return
    (work / "big.dd").touch()
    os.truncate(work / "big.dd", 8 << 30)
    subprocess.run(["mkntfs", "-F", "-Q", "-q", work / "big.dd"], check=True, capture_output=True)
    for count in ["1", "2"]:  # the stream of record 8 is as long as the volume
        words = ["-image", "big.dd", "-filter_inode", "8", "-all", "-action_copy_files", "cut", "-cpu", count]
        copying = subprocess.Popen([*test.command, *words, "-out", "split"], cwd=work, stdout=subprocess.DEVNULL,
                                   stderr=subprocess.DEVNULL)
        while copying.poll() is None and not list(work.glob("cut/*__temp__.bin")):
            time.sleep(0.01)
        copying.terminate()
        equal("a copy cut off", (copying.wait(30), list(work.glob("cut/*"))), (-signal.SIGTERM, []))
    (work / "big.dd").unlink()


def faults():
    mft = ["-mftfile", support.SAMPLES / "small.mft", "-csv"]
    expected = single(*mft)
    split(1_000_000, *mft)
    equal("a million", body(work / "split"), expected)
    for signalled in [signal.SIGINT, signal.SIGTERM]:
        parent, children = start_long_run()
        parent.send_signal(signalled)
        parent.wait(10)
        equal("left behind", (len(children), [pid for pid in children if not is_gone(pid)]), (2, []))
        equal("temporary files left behind", list(work.glob("*_temp.bin")), [])
        equal("ended by", parent.returncode, -signalled)
    parent, children = start_long_run()
    for pid in children:
        os.kill(pid, signal.SIGKILL)
    equal("exit code", parent.wait(30), 0)
    equal("its rows are kept", body(work / "split")[:4096], expected[:4096])
    log = (work / "log").read_text()
    equal("killed", re.findall(r"instance (\d) ended with status (\d+)", log), [("0", "137"), ("1", "137")])
    (work / "file").write_text("")
    told = split(2, *mft, "-tempdir", work / "file" / "t", "-diags", "log")
    log = (work / "log").read_text()
    equal("no folder", (body(work / "split"), log.count("- for merge"), told.count("for output, abort")), (b"", 2, 2))
    test.run(*mft, "-cpu", 2, "-out", "split", "-diags", "log", through=["env", "--ignore-signal=CHLD"], cwd=work)
    equal("ends of instances ignored", "ended with" in (work / "log").read_text(), False)
    for path in ["/dev/stdout", "/proc/self/fd/1"]:  # another file to an instance
        with open(work / "stdout", "wb") as out:
            words = [*mft, "-cpu", "2", "-tempdir", work, "-out", path]
            subprocess.run([*test.command, *words], cwd=work, stdout=out, stderr=subprocess.DEVNULL)
        equal(path, body(work / "stdout"), expected)
    interrupted_copies()
    small = work / "small"
    small.mkdir(exist_ok=True)
    made = subprocess.run(["mount", "-t", "tmpfs", "-o", "size=16k", "none", small], capture_output=True)
    if made.returncode == 0:
        split(2, *mft, "-tempdir", small, "-diags", "log")
        equal("full", set(body(work / "split").splitlines()) <= set(expected.splitlines()), True)
        # Which of the two still finds room is their race.
        equal("full, told", (work / "log").read_text().count("ended with status 255") > 0, True)
        equal("full, left", list(small.iterdir()), [])
        told = split(1000, *mft, results=small / "r", code=255)  # all rows by one instance
        equal("full, named", told.count(f"prob writing to output file: {small / 'r'}\n"), 2)
        (small / "r").write_bytes(bytes(16384))
        split(1000, *mft, "-tempdir", small)
        equal("no room for a header", body(work / "split"), expected)
        subprocess.run(["umount", small], check=True)
    (work / "long.mft").unlink()


{"rows": rows, "words": words, "faults": faults}[test.part]()
support.finish(20)
