#!/usr/bin/env python3
"""Filters by path against an independent toolkit, on volumes made by mkntfs and ntfs-3g; wants root and /dev/fuse.

Directories drawn at random: -filter_dir selects what fls lists there, with "*?" what it lists below. Ends with 77,
"skipped", where what it needs is not there. --directories and --draws make the volume and the sample larger.
"""
import argparse
import os
import pathlib
import random
import re
import shutil
import subprocess
import sys

from streams_witness import mounted, skip

WORDS = ["Alpha", "BETA gamma", "ÄÖÜ straße", "Ёлка", "Ωmega", "ファイル", "x" * 120, "Çedilla É", "PLAIN", "Ǆ Ǉ"]
# Sector size, cluster size.
SHAPES = [(512, 512), (512, 4096), (512, 65536)]


def make_tree(root, count, rng):
    """Directories by path below the root; the first one is a directory with a large index."""
    paths = [pathlib.PurePath("Groß")]
    (root / paths[0]).mkdir()
    while len(paths) < count:
        parent = paths[0] if rng.random() < 0.2 else rng.choice(paths[-200:])
        path = parent / f"{rng.choice(WORDS)} {len(paths)}"
        if len(path.parts) > 40 or len(str(path).encode()) > 3000:
            continue
        (root / path).mkdir()
        for number in range(rng.randrange(4)):
            (root / path / f"Dàtei {number}.TXT").touch()
        paths.append(path)
    for path in rng.sample(paths, 4):  # hard links: selected by each directory
        os.link(root / "linked file", root / path / "another name")
    return paths


def make_links(root):
    """Mount points and symbolic links by their reparse data: to a directory, to themselves, to nothing."""
    def link(name, target, symbolic):
        (root / name).mkdir()
        texts = [text.encode("utf-16-le") for text in ("\\??\\" + target, target)]
        head = [0, len(texts[0]), len(texts[0]) + 2, len(texts[1])]
        buffer = b"".join(value.to_bytes(2, "little") for value in head) + bytes(4 if symbolic else 0)
        buffer += texts[0] + b"\0\0" + texts[1] + b"\0\0"
        tag = 0xA000000C if symbolic else 0xA0000003
        data = tag.to_bytes(4, "little") + len(buffer).to_bytes(2, "little") + b"\0\0" + buffer
        os.setxattr(root / name, "system.ntfs_reparse_data", data)
    link("Mount", "C:\\Groß", False)
    link("Symbolic", "D:\\Groß", True)
    link("Chain", "\\Symbolic", True)
    link("Itself", "C:\\Itself", True)
    link("Nowhere", "C:\\nothing", False)


def listed(image, inode, recursive):
    """Record numbers that the toolkit lists in a directory or below it; virtual files are its own."""
    command = ["fls", "-f", "ntfs", "-u", *(["-r"] if recursive else []), image, str(inode)]
    shown = subprocess.run(command, check=True, stdout=subprocess.PIPE).stdout.decode()
    return {int(number) for kind, number in re.findall(r"^\+* ?(\S/\S) (\d+)", shown, re.M) if kind[0] != "V"}


def selected(program, image, *options):
    shown = subprocess.run([*program, "-image", image, "-quiet", "-csv", "-no_whitespace", *options], check=True,
                           stdout=subprocess.PIPE).stdout.decode()
    return {int(number, 16) for number in re.findall(r"^(0x[0-9a-f]+),", shown, re.M)}


def check(program, image, wanted, draws, rng):
    faults, rows = [], 0
    for path, inode in wanted:
        text = "\\" + str(path).replace("/", "\\")
        text = "".join(rng.choice([c.lower(), c.upper()]) if len(c.upper()) == len(c.lower()) == 1 else c for c in text)
        for prefix, suffix, recursive in (("", "", False), ("c:", "\\*?", True)):
            own, witness = selected(program, image, "-filter_dir", prefix + text + suffix), listed(image, inode, recursive)
            rows += len(witness)
            if own != witness:
                faults.append(f"{prefix}{text}{suffix} ({inode}): own only {sorted(own - witness)[:9]}, "
                              f"witness only {sorted(witness - own)[:9]}")
    print(f"{image.name}: {len(wanted)} directories, {rows} records, faults {len(faults)}", *faults[:9], sep="\n   ")
    return len(wanted) >= draws and rows > 10 * draws and not faults


def main():
    parser = argparse.ArgumentParser()
    parser.add_argument("--program", required=True)
    parser.add_argument("--launcher")
    parser.add_argument("--work", required=True, type=pathlib.Path)
    parser.add_argument("--directories", type=int, default=300)
    parser.add_argument("--draws", type=int, default=8)
    options = parser.parse_args()
    missing = [name for name in ("mkntfs", "ntfs-3g", "fls") if shutil.which(name) is None]
    if missing:
        skip("not installed: " + ", ".join(missing))
    if os.geteuid() != 0 or not os.path.exists("/dev/fuse"):
        skip("mounting wants root and /dev/fuse")
    program = [word for word in (options.launcher, options.program) if word]
    options.work.mkdir(parents=True, exist_ok=True)
    good = True
    for sector_size, cluster_size in SHAPES:
        rng = random.Random(cluster_size)
        image = options.work / f"lookup-{os.getpid()}-{cluster_size}.img"
        with open(image, "wb") as file:
            file.truncate((32 << 20) + options.directories * max(cluster_size, 4096) * 2)
        subprocess.run(["mkntfs", "-F", "-f", "-q", "-s", str(sector_size), "-c", str(cluster_size), "-p", "0", "-H", "255",
                        "-S", "63", image], check=True, stdout=subprocess.DEVNULL, stderr=subprocess.DEVNULL)
        with mounted(image, options.work) as root:
            (root / "linked file").touch()
            paths = make_tree(root, options.directories, rng)
            make_links(root)
            wanted = [(path, (root / path).stat().st_ino) for path in [paths[0], *rng.sample(paths, options.draws)]]
            large = wanted[0][1]
            wanted += [(pathlib.PurePath(name), large) for name in ("Mount", "Symbolic", "Chain")]
        good &= check(program, image, wanted, options.draws, rng)
        good &= not any(selected(program, image, "-filter_dir", path) for path in ("\\Itself", "\\Nowhere", "\\Groß\\none"))
        image.unlink()
    sys.exit(0 if good else 1)


if __name__ == "__main__":
    main()
