#!/usr/bin/env python3
"""Filters by path against an independent toolkit, on volumes made by mkntfs and ntfs-3g; wants root and /dev/fuse.

Directories drawn at random: -filter_dir selects what fls lists there, with "*?" what it lists below. Ends with 77,
"skipped", where what it needs is not there.
"""
import os
import pathlib
import random
import re
import struct

import made_volumes
import support
from support import equal
from toolkit import output

DIRECTORIES, DRAWS = 300, 8
WORDS = ["Alpha", "BETA gamma", "ÄÖÜ straße", "Ёлка", "Ωmega", "ファイル", "x" * 120, "Çedilla É", "PLAIN", "Ǆ Ǉ"]
LINKS = [("Mount", "C:\\Groß", 0), ("Symbolic", "D:\\Groß", 4), ("Chain", "\\Symbolic", 4), ("Itself", "C:\\Itself", 4),
         ("Nowhere", "C:\\nothing", 0)]


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
    sizes = struct.pack("<4H", 0, len(texts[0]), len(texts[0]) + 2, len(texts[1]))
    buffer = sizes + bytes(flags) + texts[0] + b"\0\0" + texts[1] + b"\0\0"
    header = struct.pack("<2I", 0xA000000C if flags else 0xA0000003, len(buffer))
    os.setxattr(path, "system.ntfs_reparse_data", header + buffer)


def listed(image, inode, *options):
    shown = output("fls", "-f", "ntfs", "-u", *options, image, inode)
    return {int(number) for number in re.findall(r"^\+* ?[^V\s]/\S (\d+)", shown.decode(), re.M)}


def selected(test, image, path):
    return {int(row[0], 16) for row in test.rows("-image", test.host(image), "-csv", "-filter_dir", path)[1:]}


def check(test, image, wanted, rng):
    rows = 0
    for path, inode in wanted:
        plain = str(path).replace("/", "\\")
        text = "".join(rng.choice([c.lower(), c.upper()]) if len(c.upper()) == 1 else c for c in plain)
        for item, options in (("\\" + text, []), (f"c:\\{text}\\*?", ["-r"])):
            witness = listed(image, inode, *options)
            rows += len(witness)
            equal(f"selected by {item} ({inode})", selected(test, image, item), witness)
    for path in ("\\Itself", "\\Nowhere", "\\Groß\\none"):
        equal(f"selected by {path}", selected(test, image, path), set())
    equal(f"enough of {rows} records", rows > 10 * len(wanted), True)


def main():
    test = support.Test(__doc__)
    made_volumes.require_what_makes_them()
    for cluster_size in (512, 4096, 65536):
        rng = random.Random(cluster_size)
        image = test.work / f"lookup-{cluster_size}.img"
        made_volumes.format_volume(image, 512, cluster_size, (32 << 20) + DIRECTORIES * max(cluster_size, 4096) * 2)
        with made_volumes.mounted(image) as root:
            paths = make_tree(root, DIRECTORIES, rng)
            for name, target, flags in LINKS:
                make_link(root / name, target, flags)
            wanted = [(path, (root / path).stat().st_ino) for path in [paths[0], *rng.sample(paths, DRAWS)]]
        check(test, image, wanted + [(name, wanted[0][1]) for name in ("Mount", "Symbolic", "Chain")], rng)
        image.unlink()
    support.finish()


if __name__ == "__main__":
    main()
