#!/usr/bin/env python3
"""Runs with -thorough against an independent toolkit: names with parent paths, streams, link targets, torn records.

samples: the sample volumes, and what the option changes in filters and offsets; facts: volumes and $MFT files made by
Windows, beside the checkout; volumes: some made by mkntfs and ntfs-3g, for which it wants root and /dev/fuse.
What the toolkit puts below $OrphanFiles has "<path corrupted>" for its parent: both say that the parent is gone.
Ends with 77, "skipped", where what it needs is not there.
"""
import collections
import csv
import hashlib
import json
import lzma
import re
import struct
import subprocess
import sys
import tempfile
from pathlib import Path

import streams_witness as streams
import support

options = support.read_options(__doc__, "samples", "facts", "volumes")
compared, faults = collections.Counter(), []
SHAPES = [(512, 512, 16, 200, 0), (4096, 4096, 32, 60, 0)]
BAD_CLUSTERS = 8  # one hole as long as the volume: not copied


def equal(what, ours, theirs):
    compared[what.split()[0]] += 1
    if ours != theirs:
        faults.append(f"{what}: program {str(ours)[:300]}, toolkit {str(theirs)[:300]}")


def output(*words):
    return subprocess.run(list(map(str, words)), stdout=subprocess.PIPE, stderr=subprocess.DEVNULL).stdout


def rows_of(source, *words):
    """Rows of the default report, by record number."""
    source, words = ([f"Z:{word}" if options.launcher and word.startswith("/") else word for word in part] for part in (source, words))
    out = output(*options.command, *source, "-csv", "-csv_separator", "tab", "-no_whitespace", "-quiet", *words)
    lines = out.decode("utf-8", "replace").replace("\r", "").split("\n\n", 1)[-1].split("\n")
    rows = collections.defaultdict(list)
    for row in csv.DictReader(lines, delimiter="\t", quoting=csv.QUOTE_NONE):
        rows[int(row[next(iter(row))], 16)].append(row)
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


def fls_paths(image, *where):
    """Deleted files included, streams and what the toolkit adds of its own left out."""
    paths = collections.defaultdict(set)
    for line in output("fls", "-f", "ntfs", "-r", "-p", *where, image).decode("utf-8", "replace").splitlines():
        kind, number, path = re.match(r"(\S+) (?:\* )?(\d+)\S*(?:\(realloc\))?:\t(.*)", line).groups()
        if kind[0] != "V" and ":" not in path and "OrphanFile-" not in path and "(realloc)" not in line:
            paths[int(number)].add(path.replace("$OrphanFiles/", "<path corrupted>/").replace("/", "\\"))
    return paths


def check_streams(source, known):
    """Each stream's copy holds what the toolkit reads. `known`: (record, name) to MD5, of streams that are not empty."""
    known = {key: digest for key, digest in known.items() if key[0] != BAD_CLUSTERS}
    numbers = "|".join(str(number) for number in sorted({number for number, _ in known}))
    with tempfile.TemporaryDirectory(dir=options.work) as folder:
        words = ["-action_copy_files", folder, "-all", "-filter_inode", numbers, "-thorough"]
        rows, copies = rows_of(source, *words), {}
        contents = {hashlib.md5(path.read_bytes()).hexdigest() for path in Path(folder).rglob("*") if path.is_file()}
    for number, row in ((number, row) for number in rows for row in rows[number]):
        name = row["name"].partition(":")[2] if row["type"].endswith(":ads") else ""
        digest = re.search("_([0-9a-f]{32})_", row["extracted file path/file"] or "")
        if row["type"] in ("file", "del", "file:ads", "del:ads", "dir:ads") and digest and digest[1] in contents:
            copies[number, name] = digest[1]
    for key, digest in known.items():
        equal(f"stream {key}", copies.get(key), digest)


def link_text(value):
    """By the published layout of $REPARSE_POINT."""
    tag = struct.unpack_from("<I", value)[0]
    at = {0xA000000C: 20, 0xA0000003: 16}.get(tag)
    places = struct.unpack_from("<4H", value, 8) if at else ()
    texts = [value[at + start:at + start + size].decode("utf-16-le") for start, size in zip(places[::2], places[1::2])]
    return next((text.removeprefix("\\??\\") for text in reversed(texts) if text), f"tag 0x{tag:08x}")


def check_image(image):
    source = ["-image", str(image)]
    rows, expected = rows_of(source, "-thorough"), fls_paths(image)
    check_names(rows, expected)
    for number in expected:
        shown = output("istat", "-f", "ntfs", image, number).decode("utf-8", "replace")
        for ident in re.findall(r"^Type: \$REPARSE_POINT \((192-\d+)\)", shown, re.M):
            text = link_text(output("icat", "-f", "ntfs", image, f"{number}-{ident}"))
            equal(f"link {number}", {f"symlink: [{text}]" in row["other info"] for row in rows[number]}, {True})
    known = {key: digest for key, size, _, _, digest in streams.icat_streams(image) if digest and size}
    check_streams(source, {key: digest for key, digest in known.items() if key[0] in expected})
    return rows


def torn(rows):
    return {number for number in rows if any("torn record" in row["other info"] for row in rows[number])}


def samples():
    support.require("fls", "istat", "icat", "ils")
    small, image, disk = (options.work / f"{name}.img" for name in ("small", "oddities", "disk"))
    for each in (small, image):
        support.unpack(support.SAMPLES / f"{each.name}.gz", each)
    equal("torn small", torn(check_image(small)), set())
    rows = check_image(image)
    number = {path.rpartition("\\")[2]: number for number in rows for path in paths_of(rows[number])}
    equal("torn oddities", torn(rows), {number["torn.txt"]})
    disk.write_bytes(bytes(1 << 20) + small.read_bytes())  # a volume that no partition table names
    for source, filters, wanted in (
            (["-image", str(image)], ["-filter_sig", "mz"], {number["setup.exe"]}),
            (["-image", str(image)], ["-filter_dir", "\\links\\beside\\there"], {number["read me.txt"]}),
            (["-image", str(image)], ["-filter_name", "item 19"], {number["item 19.txt"]}),
            (["-image", str(disk), "-offset", "0x100000"], ["-filter_ext", "bin"], set(rows_of(["-image", str(small)], "-filter_ext", "bin")))):
        equal(f"filters {filters} by default", set(rows_of(source, *filters)), set())
        equal(f"filters {filters}", set(rows_of(source, *filters, "-thorough")), wanted)


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


def facts():
    data = support.require_data()
    for packed in sorted([*data.glob("mft/*.xz"), *data.glob("*.raw.gz")]):
        label = packed.name.split(".")[0]
        known = json.load(lzma.open(data / "facts" / f"{label}.json.xz"))
        entries = {entry["inode"]: entry for entry in known["entries"] if "error" not in entry}
        source, is_disk = options.work / packed.stem, packed.suffix == ".gz"
        support.unpack(packed, source)
        words = ["-image", str(source), "-offset", str(known["offset"])] if is_disk else ["-mftfile", str(source)]
        rows = rows_of(words, "-thorough")
        # The toolkit cuts a name that reaches past its attribute; it reads none behind a list that it cannot reach.
        left_out = {("xw_MFT", 560), ("xw_MFT", 485)}
        check_names(rows, {number: {climbed(entries, name["parent"], name["parent_sequence"]) + name["name"] for name in entry["names"]
                                    if name["namespace"] != 2} for number, entry in entries.items()
                           if number != 5 and (label, number) not in left_out})
        equal(f"torn {label}", torn(rows), {entry["inode"] for entry in known["entries"] if "Incorrect update" in entry.get("error", "")})
        if is_disk:
            check_streams(words, {(number, each["name"] or ""): each["md5"] for number, entry in entries.items()
                                  for each in entry["attributes"] if each["type"] == 128 and each["size"] and each.get("md5")})
        source.unlink()


def volumes():
    streams.want_what_makes_volumes()
    for shape in SHAPES:
        with tempfile.TemporaryDirectory(dir=options.work) as work:
            check_image(streams.make_volume(Path(work), shape))


if __name__ == "__main__":
    {"samples": samples, "facts": facts, "volumes": volumes}[options.part]()
    print(f"{sum(compared.values())} comparisons {dict(compared)}, {len(faults)} differ", *faults[:30], sep="\n   ")
    sys.exit(1 if faults or sum(compared.values()) < 100 else 0)
