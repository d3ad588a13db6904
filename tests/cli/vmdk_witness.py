#!/usr/bin/env python3
"""Virtual disks made by qemu-img: rows against those over the raw disk that it converts them to, and the words for
disks that cannot be read. Ends with 77, "skipped", where qemu is not there.
"""
import lzma
import subprocess

import support
from support import equal

GRAIN, START = 65536, 1024 * 1024
TEXT = slice(512, 21 * 512)  # where qemu puts the descriptor
test = support.Test(__doc__)
work = test.work


def qemu(tool, *words):
    subprocess.run([tool, *map(str, words)], check=True, cwd=work, stdout=subprocess.DEVNULL)


def run(option, paths, *words):
    done = test.run(option, " | ".join(map(test.host, paths)), *words)
    return done.stdout.split(b"\n\n", 1)[-1], done.stderr.replace("Z:", "")


def make_chain(content, count):
    """Grain i is true in file i % count; older files hold something else there, or, each fifth, nothing."""
    chain = [work / f"{number}.vmdk" for number in range(count)]
    for number, path in enumerate(chain):
        below = ["-b", chain[number - 1].name, "-F", "vmdk"] if number else []
        qemu("qemu-img", "create", "-f", "vmdk", *below, path, len(content))
        commands = []
        for index in range(len(content) // GRAIN):
            grain = content[index * GRAIN:][:GRAIN]
            (work / f"grain{index}").write_bytes(grain)
            if any(grain) and (index % count == number or index % count > number and index % 5):
                what = f"-s grain{index}" if index % count == number else "-P 0x46"
                commands += ["-c", f"write {what} {index * GRAIN} {GRAIN}"]
        qemu("qemu-io", "-f", "vmdk", *commands, path)
    return chain


def compare_rows(count, content, *words):
    chain, raw = make_chain(content, count), work / "raw.dd"
    qemu("qemu-img", "convert", "-O", "raw", chain[-1], raw)
    equal("what qemu reads", raw.read_bytes() == content, True)
    equal("enough rows", run("-image", [raw], "-csv", *words)[0].count(b"\n") > 200, True)
    for shape in [["-csv"], ["-csvperpath"], ["-filepath_only"]]:
        for order in [chain, chain[::-1]]:
            equal(f"{count} {shape}", run("-vmdk", order, *shape, *words), run("-image", [raw], *shape, *words))
    for where in [[], ["-offset", 1]] if words else []:  # answered by the list
        equal(f"{count} {where}", run("-vmdk", chain, *where), run("-image", [raw], *where))
    return chain


def rewrite(name, old, *change):
    """A copy of a disk with other words in its descriptor."""
    content = bytearray(old.read_bytes())
    content[TEXT] = content[TEXT].rstrip(b"\0").replace(*change).ljust(20 * 512, b"\0")
    (work / name).write_bytes(content)
    return work / name


def compare_words(chain):
    array, gone = 'suggested array: -vmdk "{}"\n', "Child VMDK points to a parent VMDK that doesn't exist, aborting\n\n"
    steps = "".join(f"=> vmdk file: {child}\n depends on parent vmdk {parent.name}\n"
                    for child, parent in zip(chain[:0:-1], chain[-2::-1]))
    suggested = array.format(" | ".join(map(str, chain[::-1])))
    equal("a snapshot alone", run("-vmdk", chain[-1:])[1], f"{steps}\n{suggested}")
    hint, cid = b'parentFileNameHint="0.vmdk"', chain[1].read_bytes()[TEXT].split(b"CID=")[1][:8]
    beside = "=> vmdk file: @\n depends on parent vmdk %s\n\n" + array.format(f"@ | {chain[0]}")
    for change, told in [
            (b'ENCODING="windows-1252"\nparentFileNameHint="C:\\vm\\0.vmdk"', beside % "C:\\vm\\0.vmdk"),
            (b'parentfilenamehint="/vm/0.vmdk"', beside % "/vm/0.vmdk"),
            (hint.replace(b'"', b"") + b"\r", beside % "0.vmdk"),
            (hint.replace(b"0.", b"gone."), gone), (hint.replace(b"0.", b"child."), gone),
            (b"parentCID=" + cid, "Child VMDK CID errors, aborting\n\n")]:
        path = rewrite("child.vmdk", chain[1], hint, change)
        equal(change, run("-vmdk", [path])[1], told.replace("@", str(path)))
    # The base is there under another id; the disks are looked at in the order of their ids.
    child = rewrite("child.vmdk", chain[1], b"0.vmdk", b"other.vmdk")
    for prefix, told in [(b"!", "invalid disk collection of snaps\n\n"), (b"~", "\n")]:
        other = rewrite("other.vmdk", chain[0], b"\nCID=", b"\nCID=" + prefix)
        equal("another id", run("-vmdk", [child, other])[1], told)
    no_table, other = "couldn't find any partitions on disk\n\n", work / "form.vmdk"
    for form in ["monolithicFlat", "twoGbMaxExtentFlat", "twoGbMaxExtentSparse", "streamOptimized"]:
        qemu("qemu-img", "convert", "-O", "vmdk", "-o", f"subformat={form}", work / "raw.dd", other)
        equal(form, run("-vmdk", [other])[1], no_table if form[0] == "s" else f"{other} can't be opened\n\n")
    data = support.data_folder()
    for stored in data.glob("negative/*.vmdk.xz") if data else ():  # disks of other makers, no NTFS on them
        other.write_bytes(lzma.open(stored).read())
        equal(stored.name, run("-vmdk", [other])[1], no_table)


support.require("qemu-img", "qemu-io")
volume = test.sample().read_bytes()
table = bytes(4) + b"\7\0\0\0" + (START // 512).to_bytes(4, "little") + (len(volume) // 512).to_bytes(4, "little")
disk = (bytes(446) + table + bytes(48) + b"\x55\xaa").ljust(START, b"\0") + volume
cut = run("-vmdk", make_chain(disk[:-GRAIN], 1), "-csv", "-offset", START)
equal("enough rows of a cut disk", cut[0].count(b"\n") > 200, True)
for files in [1, 2, 3, 6]:
    compare_rows(files, volume)
    newest = compare_rows(files, disk, "-offset", START)
compare_words(newest)
support.finish(50)
