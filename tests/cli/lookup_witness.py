#!/usr/bin/env python3
"""Filters by path against an independent toolkit, on volumes made by mkntfs and ntfs-3g; wants root and /dev/fuse.

Directories drawn at random: -filter_dir selects what fls lists there, with "*?" what it lists below. Ends with 77,
"skipped", where what it needs is not there.
"""
import argparse
import os
import pathlib
import random
import re
import shutil
import subprocess
import sys

from streams_witness import format_volume, mounted
from support import skip

WORDS = ["Alpha", "BETA gamma", "ÄÖÜ straße", "Ёлка", "Ωmega", "ファイル", "x" * 120, "Çedilla É", "PLAIN", "Ǆ Ǉ"]
LINKS = [("Mount", "C:\\Groß", 0), ("Symbolic", "D:\\Groß", 4), ("Chain", "\\Symbolic", 4), ("Itself", "C:\\Itself", 4), ("Nowhere", "C:\\nothing", 0)]


def make_tree(root, count, rng):
    """Directories; the first one has a large index, four hold a hard link to one file."""
    paths = [pathlib.PurePath("Groß")]
    (root / paths[0]).mkdir()
    while len(paths) < count:
        deep = rng.choice(paths[-200:])
        path = (deep if rng.random() < 0.8 and len(str(deep)) < 900 else paths[0]) / f"{rng.choice(WORDS)} {len(paths)}"
        (root / path).mkdir()
        for number in range(rng.randrange(4)):
            (root / path / f"Dàtei {number}.TXT").touch()
        paths.append(path)
    (root / "linked").touch()
    for path in rng.sample(paths, 4):
        os.link(root / "linked", root / path / "another name")
    return paths


def make_link(path, target, flags):
    """A symbolic link (4 bytes of flags) or a mount point (none), by its reparse data."""
    path.mkdir()
    texts = [text.encode("utf-16-le") for text in ("\\??\\" + target, target)]
    buffer = b"".join(n.to_bytes(2, "little") for n in (0, len(texts[0]), len(texts[0]) + 2, len(texts[1]))) + bytes(flags)
    buffer += texts[0] + b"\0\0" + texts[1] + b"\0\0"
    tag = 0xA000000C if flags else 0xA0000003
    os.setxattr(path, "system.ntfs_reparse_data", tag.to_bytes(4, "little") + len(buffer).to_bytes(4, "little") + buffer)


def listed(image, inode, *options):
    shown = subprocess.run(["fls", "-f", "ntfs", "-u", *options, image, str(inode)], check=True, stdout=subprocess.PIPE).stdout
    return {int(number) for number in re.findall(r"^\+* ?[^V\s]/\S (\d+)", shown.decode(), re.M)}


def selected(program, image, path):
    shown = subprocess.run([*program, "-image", image, "-quiet", "-csv", "-filter_dir", path], check=True, stdout=subprocess.PIPE).stdout
    return {int(number, 16) for number in re.findall(r"^(0x[0-9a-f]+),", shown.decode(), re.M)}


def check(program, image, wanted, rng):
    faults, rows = [], 0
    for path, inode in wanted:
        text = "".join(rng.choice([c.lower(), c.upper()]) if len(c.upper()) == 1 else c for c in str(path).replace("/", "\\"))
        for item, options in (("\\" + text, []), (f"c:\\{text}\\*?", ["-r"])):
            own, witness = selected(program, image, item), listed(image, inode, *options)
            rows += len(witness)
            if own != witness:
                faults.append(f"{item} ({inode}): own only {sorted(own - witness)[:9]}, witness only {sorted(witness - own)[:9]}")
    faults += [path for path in ("\\Itself", "\\Nowhere", "\\Groß\\none") if selected(program, image, path)]
    print(f"{image.name}: {len(wanted)} directories, {rows} records, faults {len(faults)}", *faults[:9], sep="\n   ")
    return rows > 10 * len(wanted) and not faults


def main():
    parser = argparse.ArgumentParser()
    for name, kind, default in (("program", str, None), ("launcher", str, None), ("work", pathlib.Path, None), ("directories", int, 300), ("draws", int, 8)):
        parser.add_argument("--" + name, type=kind, default=default)
    options = parser.parse_args()
    if any(shutil.which(name) is None for name in ("mkntfs", "ntfs-3g", "fls")) or os.geteuid() != 0 or not os.path.exists("/dev/fuse"):
        skip("wants mkntfs, ntfs-3g, fls, root and /dev/fuse")
    options.work.mkdir(parents=True, exist_ok=True)
    good = True
    for cluster_size in (512, 4096, 65536):
        rng = random.Random(cluster_size)
        image = options.work / f"lookup-{cluster_size}.img"
        format_volume(image, 512, cluster_size, (32 << 20) + options.directories * max(cluster_size, 4096) * 2)
        with mounted(image, options.work) as root:
            paths = make_tree(root, options.directories, rng)
            for name, target, flags in LINKS:
                make_link(root / name, target, flags)
            wanted = [(path, (root / path).stat().st_ino) for path in [paths[0], *rng.sample(paths, options.draws)]]
        wanted += [(name, wanted[0][1]) for name in ("Mount", "Symbolic", "Chain")]
        good &= check([word for word in (options.launcher, options.program) if word], image, wanted, rng)
        image.unlink()
    sys.exit(0 if good else 1)


if __name__ == "__main__":
    main()
