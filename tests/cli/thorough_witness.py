#!/usr/bin/env python3
"""Runs with -thorough against an independent toolkit: names with parent paths, link targets, torn records. Streams: see
streams_witness.py.

samples: the sample volumes, and what the option changes in filters and offsets; facts: volumes and $MFT files made by
Windows, beside the checkout; volumes: some made by mkntfs and ntfs-3g, for which it wants root and /dev/fuse.
What the toolkit puts below $OrphanFiles has "<path corrupted>" for its parent: both say that the parent is gone.
Ends with 77, "skipped", where what it needs is not there.
"""
import collections
import re
import struct

import made_volumes
import support
from support import equal
from toolkit import output, stored_volumes

SHAPES = [(512, 512, 16, 200), (4096, 4096, 32, 60)]


def rows_of(test, source, *words, code=0):
    """Rows of the default report, by record number."""
    rows = collections.defaultdict(list)
    labels, *lines = test.rows(*source, "-csv", *words, code=code) or [[]]
    for line in lines:
        rows[int(line[0], 16)].append(dict(zip(labels, line)))
    return rows


def paths_of(rows):
    """All paths of one record: a row's cell holds the names of one parent, the 8.3 names among them."""
    paths = set()
    for row in rows:
        first, *others = re.sub(r" \[8\.3: [^\]]*\]", "", row["path and filename"]).split(" [alias: ")
        parent = first[:first.rfind("\\") + 1]
        paths |= {first, *(parent + other.rstrip("]") for other in others)} if "\\" in first else set()
    return paths


def check_names(rows, expected):
    """`expected`: by record number, paths from the root."""
    for number, paths in expected.items():
        equal(f"paths of {number}", sorted(paths_of(rows[number])), sorted("[root]\\" + path for path in paths))


def fls_paths(image):
    """Deleted files included, streams and what the toolkit adds of its own left out."""
    paths = collections.defaultdict(set)
    for line in output("fls", "-f", "ntfs", "-r", "-p", image).decode("utf-8", "replace").splitlines():
        kind, number, path = re.match(r"(\S+) (?:\* )?(\d+)\S*(?:\(realloc\))?:\t(.*)", line).groups()
        if kind[0] != "V" and ":" not in path and "OrphanFile-" not in path and "(realloc)" not in line:
            paths[int(number)].add(path.replace("$OrphanFiles/", "<path corrupted>/").replace("/", "\\"))
    return paths


def link_text(value):
    """By the published layout of $REPARSE_POINT."""
    tag = struct.unpack_from("<I", value)[0]
    at = {0xA000000C: 20, 0xA0000003: 16}.get(tag)
    places = struct.unpack_from("<4H", value, 8) if at else ()
    texts = [value[at + start:at + start + size].decode("utf-16-le") for start, size in zip(places[::2], places[1::2])]
    return next((text.removeprefix("\\??\\") for text in reversed(texts) if text), f"tag 0x{tag:08x}")


def check_image(test, image):
    rows, expected = rows_of(test, ["-image", test.host(image)], "-thorough"), fls_paths(image)
    check_names(rows, expected)
    for number in expected:
        shown = output("istat", "-f", "ntfs", image, number, may_refuse=True).decode("utf-8", "replace")
        for ident in re.findall(r"^Type: \$REPARSE_POINT \((192-\d+)\)", shown, re.M):
            text = link_text(output("icat", "-f", "ntfs", image, f"{number}-{ident}"))
            equal(f"link {number}", {f"symlink: [{text}]" in row["other info"] for row in rows[number]}, {True})
    return rows


def torn(rows):
    return {number for number in rows if any("torn record" in row["other info"] for row in rows[number])}


def check_samples(test):
    support.require("fls", "istat", "icat")
    small, oddities, disk = test.sample(), test.sample("oddities.img"), test.work / "disk.img"
    equal("torn small", torn(check_image(test, small)), set())
    rows = check_image(test, oddities)
    number = {path.rpartition("\\")[2]: number for number in rows for path in paths_of(rows[number])}
    equal("torn oddities", torn(rows), {number["torn.txt"]})
    disk.write_bytes(bytes(1 << 20) + small.read_bytes())  # a volume that no partition table names
    by_extension = set(rows_of(test, ["-image", test.host(small)], "-filter_ext", "bin"))
    for image, words, code, wanted in (
            (oddities, ["-filter_sig", "mz"], 0, {number["setup.exe"]}),
            (oddities, ["-filter_dir", "\\links\\beside\\there"], 0, {number["read me.txt"]}),
            (oddities, ["-filter_name", "item 19"], 0, {number["item 19.txt"]}),
            (disk, ["-offset", "0x100000", "-filter_ext", "bin"], 255, by_extension)):
        source = ["-image", test.host(image)]
        equal(f"filters {words} by default", set(rows_of(test, source, *words, code=code)), set())
        equal(f"filters {words}", set(rows_of(test, source, *words, "-thorough")), wanted)


def climbed(entries, parent, sequence, seen=()):
    """The path of a directory by the facts, as the rule has it."""
    entry = entries.get(parent, {})
    own, free = entry.get("sequence"), not entry.get("allocated")
    if parent == 5:
        return ""
    names = [name for name in entry.get("names", []) if name["namespace"] != 2]
    fits = sequence in (0, own) or (free and own == sequence % 0xFFFF + 1)
    if entry.get("kind") != "Directory" or not names or not fits or parent in seen:
        return "<path corrupted>\\"
    above = min(names, key=lambda name: (name["parent_sequence"], name["parent"]))
    return climbed(entries, above["parent"], above["parent_sequence"], (*seen, parent)) + names[0]["name"] + "\\"


def check_facts(test):
    # The toolkit cuts a name that reaches past its attribute; it reads none behind a list that it cannot reach.
    left_out = {("xw_MFT", 560), ("xw_MFT", 485)}
    for volume in stored_volumes(test, "mft/*.xz", "*.raw.gz"):
        rows, entries = rows_of(test, volume.source, "-thorough"), {entry["inode"]: entry for entry in volume.entries}
        paths_of_names = lambda names: {climbed(entries, name["parent"], name["parent_sequence"]) + name["name"]
                                        for name in names if name["namespace"] != 2}
        check_names(rows, {number: paths_of_names(entry["names"]) for number, entry in entries.items()
                           if number != 5 and (volume.label, number) not in left_out})
        wrong = {entry["inode"] for entry in volume.refused if "Incorrect update" in entry["error"]}
        equal(f"torn {volume.label}", torn(rows), wrong)


def main():
    test = support.Test(__doc__, "samples", "facts", "volumes")
    if test.part == "volumes":
        made_volumes.require_what_makes_them()
        for shape in SHAPES:
            check_image(test, made_volumes.make_volume(test, *shape))
    else:
        {"samples": check_samples, "facts": check_facts}[test.part](test)
    support.finish(100)


if __name__ == "__main__":
    main()
