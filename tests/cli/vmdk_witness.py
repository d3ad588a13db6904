#!/usr/bin/env python3
"""Virtual disks made by qemu-img: rows against those over the raw disk that it converts them to, and the words for disks
that cannot be read. Ends with 77, "skipped", where qemu is not there.
"""
import argparse
import gzip
import itertools
import lzma
import shutil
import subprocess
import sys
from pathlib import Path

DATA = Path(__file__).resolve().parents[3] / "shared" / "data" / "negative"
SAMPLE = Path(__file__).resolve().parents[2] / "samples" / "small.img.gz"
GRAIN, START = 65536, 1024 * 1024
TEXT = slice(512, 21 * 512)  # where qemu puts the descriptor
faults = []


def equal(what, ours, theirs):
    if ours != theirs:
        faults.append(f"{what}:\n  ours    {ours}\n  witness {theirs}")


def qemu(tool, *words):
    subprocess.run([tool, *map(str, words)], check=True, stdout=subprocess.DEVNULL, stderr=subprocess.DEVNULL)


def run(program, option, paths, *words):
    # Under a launcher the program sees this host's root as a drive.
    value = " | ".join(("Z:" if len(program) > 1 else "") + str(path) for path in paths)
    done = subprocess.run([*program, option, value, "-quiet", *map(str, words)], capture_output=True)
    return done.stdout.split(b"\n\n", 1)[-1], done.stderr.decode().replace("\r", "").replace("Z:", "")


def make_chain(folder, content, count):
    """Grain i is true in file i % count; older files hold something else there, or, each fifth, nothing."""
    folder.mkdir(exist_ok=True)
    chain, piece = [folder / f"{number}.vmdk" for number in range(count)], folder / "piece"
    for number, path in enumerate(chain):
        backing = ["-b", chain[number - 1].name, "-F", "vmdk"] if number else []
        qemu("qemu-img", "create", "-f", "vmdk", *backing, path, *([] if number else [len(content)]))
        commands = []
        for at in range(0, len(content), GRAIN):
            index, true = at // GRAIN, content[at:at + GRAIN]
            piece.with_suffix(str(f".{index}")).write_bytes(true)
            if index % count == number and any(true):
                commands += ["-c", f"write -s {piece}.{index} {at} {len(true)}"]
            elif index % count > number and index % 5 and any(true):
                commands += ["-c", f"write -P 0x46 {at} {len(true)}"]
        qemu("qemu-io", "-f", "vmdk", *commands, path)
    return chain


def compare_chains(work, program, volume):
    partitioned = bytearray(START + len(volume))
    partitioned[446:462] = bytes(4) + b"\x07" + bytes(3) + (START // 512).to_bytes(4, "little") + (len(volume) // 512).to_bytes(4, "little")
    partitioned[510:512], partitioned[START:] = b"\x55\xaa", volume
    for count, (content, words) in itertools.product([1, 2, 3, 6], [(volume, []), (partitioned, ["-offset", START])]):
        chain, raw = make_chain(work / f"chain{count}", content, count), work / "raw.dd"
        qemu("qemu-img", "convert", "-O", "raw", chain[-1], raw)
        equal("what qemu reads", raw.read_bytes() == content, True)
        for shape in ["-csv", "-csvperpath", "-filepath_only"]:
            rows = run(program, "-image", [raw], shape, *words)
            equal("enough rows", rows[0].count(b"\n") > 30, True)
            for order in [chain, chain[::-1]]:
                equal(f"{count} {shape} {words}", run(program, "-vmdk", order, shape, *words), rows)
        listed = run(program, "-image", [raw]), run(program, "-vmdk", chain)
        equal("without -offset", *(listed if words else (0, 0)))
    return chain


def rewrite(path, old, *changes):
    """A copy of a disk with other words in its descriptor."""
    content = bytearray(old.read_bytes())
    text = content[TEXT].rstrip(b"\0")
    for change in changes:
        text = text.replace(*change)
    content[TEXT] = text.ljust(20 * 512, b"\0")
    path.write_bytes(content)
    return path


def compare_words(work, program, chain):
    six, array = [str(path) for path in chain], "suggested array: -vmdk \"{}\"\n"
    steps = "".join(f"=> vmdk file: {child}\n depends on parent vmdk {Path(parent).name}\n"
                    for child, parent in zip(six[:0:-1], six[-2::-1]))
    equal("a snapshot alone", run(program, "-vmdk", six[-1:])[1], steps + "\n" + array.format(" | ".join(six[::-1])))
    equal("in two options", run(program, "-vmdk", six[1:], "-vmdk", ("Z:" if len(program) > 1 else "") + six[0], "-csv", "-offset", START),
          run(program, "-vmdk", six, "-csv", "-offset", START))
    # What stands in the first snapshot's descriptor, and what is said of it alone; @ is its path.
    cid = chain[1].read_bytes()[TEXT].split(b"CID=")[1][:8]
    found, missing = "=> vmdk file: @\n depends on parent vmdk ", "Child VMDK points to a parent VMDK that doesn't exist, aborting\n\n"
    hint, windows = b"parentFileNameHint=\"0.vmdk\"", b"ENCODING=\"windows-1252\"\n"
    beside = "\n\n" + array.format("@ | " + six[0])
    for what, change, told in [
        ("a path of the other system", windows + rb'parentFileNameHint="C:\vm\0.vmdk"', found + r"C:\vm\0.vmdk" + beside),
        ("a path that is not here", b'parentfilenamehint="/vm/0.vmdk"', found + "/vm/0.vmdk" + beside),
        ("without quotes", b"parentFileNameHint=0.vmdk\r", found + "0.vmdk" + beside),
        ("no parent", b'parentFileNameHint="gone.vmdk"', missing),
        ("itself", b'parentFileNameHint="changed.vmdk"', missing),
        ("its own parent", b"parentCID=" + cid, "Child VMDK CID errors, aborting\n\n"),
    ]:
        path = rewrite(chain[0].parent / "changed.vmdk", chain[1], (hint, change))
        equal(what, run(program, "-vmdk", [path])[1], told.replace("@", str(path)))
    # The base is there under another id; the disks are looked at in the order of their ids.
    child = rewrite(work / "child.vmdk", chain[1], (b"0.vmdk", b"other.vmdk"))
    for prefix, told in [(b"!", "invalid disk collection of snaps\n\n"), (b"~", "\n")]:
        other = rewrite(work / "other.vmdk", chain[0], (b"\nCID=", b"\nCID=" + prefix))
        equal("another id", run(program, "-vmdk", [child, other])[1], told)
    unreadable = "{} can't be opened\n\n"
    for form, told in [("monolithicFlat", unreadable), ("twoGbMaxExtentFlat", unreadable), ("twoGbMaxExtentSparse", unreadable),
                       ("streamOptimized", "couldn't find any partitions on disk\n\n")]:
        qemu("qemu-img", "convert", "-O", "vmdk", "-o", f"subformat={form}", work / "raw.dd", work / f"{form}.vmdk")
        equal(form, run(program, "-vmdk", [work / f"{form}.vmdk"])[1], told.format(work / f"{form}.vmdk"))
    equal("a part", run(program, "-vmdk", [work / "twoGbMaxExtentSparse-s001.vmdk"])[1], "Child VMDK CID errors, aborting\n\n")
    for stored in sorted(DATA.glob("*.vmdk.xz")):  # disks of other makers, no NTFS on them
        (work / stored.stem).write_bytes(lzma.open(stored).read())
        equal(stored.name, run(program, "-vmdk", [work / stored.stem])[1], "couldn't find any partitions on disk\n\n")


def main():
    parser = argparse.ArgumentParser()
    parser.add_argument("--program", required=True)
    parser.add_argument("--launcher", help="what it runs under")
    parser.add_argument("--work", required=True, type=Path)
    options = parser.parse_args()
    if shutil.which("qemu-img") is None or shutil.which("qemu-io") is None:
        print("skipped: needs qemu-img, qemu-io")
        sys.exit(77)
    options.work.mkdir(parents=True, exist_ok=True)
    program = [options.launcher, options.program] if options.launcher else [options.program]
    chain = compare_chains(options.work, program, gzip.open(SAMPLE).read())
    compare_words(options.work, program, chain)
    print(*faults, f"{len(faults)} faults", sep="\n")
    sys.exit(1 if faults else 0)


main()
