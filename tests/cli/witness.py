#!/usr/bin/env python3
"""Compares the rows of whole $MFT files with what an independent toolkit says of the same records.

facts:  the extracted $MFT files beside the checkout, with the toolkit's answers recorded in facts/*.json.xz
sample: the sample volume, asked record by record with istat

Compared: sequence numbers, allocation, parents, names, both sets of times to 100 ns, stream names, sizes, runs.
Differs by design, and is left out:
- records the toolkit refuses (torn fixups, "BAAD"): the program repairs or reads them as they lie
- runs behind a stream's size: the toolkit cuts them (the rest of a compressed unit), the program shows all
- run lists of record 0 of an extracted $MFT: the toolkit read it from a volume laid around the file
- control characters in names, which the toolkit shows as "^", and "|", which the program's report replaces
- times that the toolkit cannot hold in its 32 bits of seconds; times ahead of 1970 the program leaves blank
- what lies behind a non-resident attribute list: an extracted $MFT does not hold it
"""
import collections
import re

import support
from support import equal
from toolkit import DATA, TIMES, expanded, filetime, printable, shown, volumes

KNOWN = {
    ("xw_MFT", 560): "the name's length reaches past the attribute's value: the toolkit cuts it at the value",
    ("small", 0): "a time of 0, which the program leaves blank",
    ("small", 76): "times that the toolkit cannot hold in its 32 bits of seconds",
}
# What a row's type says behind "file:" of attributes that have no stream of that name.
NO_STREAM = ("", "obj id", "security descr", "vol name", "vol info", "reparse point")


def run_list(text):
    runs = []
    for piece in text.split("; "):
        numbers = [int(each, 16) for each in re.findall("0x[0-9a-f]+", piece)]
        if numbers:
            runs.append((None if piece.endswith("[sparse]") else numbers[0], numbers[-1] - numbers[0] + 1))
    return runs


def program_records(test, *words):
    """Rows of the per-path report with every attribute, by record number; `stream` is None if it is no $DATA."""
    shape = ["-csvperpath", "-base10", "-timeformat", "hh:mm:ss.xxxxxxx", "-action_include_clusterinfo"]
    labels, *rows = test.rows(*words, *shape)
    records = collections.defaultdict(list)
    for row in rows:
        cells, times = dict(zip(labels, row)), [filetime(row[at], row[at + 1]) for at in range(4, 20, 2)]
        kind, _, label = cells["type"].partition(":")
        has_stream = label not in NO_STREAM and ":" in cells["name"]
        name, _, stream = cells["name"].rpartition(":") if has_stream else (cells["name"], "", "")
        records[int(row[0])].append({
            "sequence": int(row[1]), "parent": (int(row[2]), int(row[3])), "deleted": kind == "del",
            "si": tuple(times[:4]), "fn": tuple(times[4:]), "name": name,
            "stream": stream if label in ("", "ads") else None, "size": cells["size"],
            "runs": run_list(row[-1]), "copy": cells.get("extracted file path/file")})
    return records


def compare_names(where, rows, entry, list_is_elsewhere):
    theirs = [name for name in entry["names"] if name["namespace"] != 2]
    if not list_is_elsewhere:
        parents = {(name["parent"], name["parent_sequence"]) for name in theirs}
        equal(f"parents {where}", {row["parent"] for row in rows}, parents)
    known = {(name["parent"], name["parent_sequence"], printable(name["name"]),
              tuple(shown(name["times"][each]) for each in TIMES)) for name in theirs}
    equal(f"names {where}", {(*row["parent"], printable(row["name"]), row["fn"]) for row in rows} - known, set())


def compare_streams(where, rows, entry, list_is_elsewhere):
    theirs = {printable(each["name"] or ""): each for each in entry["attributes"] if each["type"] == DATA}
    ours = {printable(row["stream"]): row for row in rows if row["stream"] is not None and row["size"]}
    if not list_is_elsewhere:
        equal(f"streams {where}", set(ours), set(theirs))
    for name in set(ours) & set(theirs):
        equal(f"size {where}:{name}", int(ours[name]["size"]), theirs[name]["size"])
        if entry["inode"] != 0 and ours[name]["runs"]:
            runs = theirs[name].get("runs", [])
            limit = sum(length for _, length in runs)
            equal(f"runs {where}:{name}", expanded(ours[name]["runs"], limit), expanded(runs, limit))


def compare(where, entry, rows, list_is_elsewhere):
    if not rows:
        # A base record without times and names has no rows; so has a record without a single attribute.
        return equal(f"rows {where}", False, bool(entry["names"]) or bool(entry.get("si")))
    equal(f"sequence {where}", {row["sequence"] for row in rows}, {entry["sequence"]})
    equal(f"allocation {where}", {row["deleted"] for row in rows}, {not entry["allocated"]})
    if entry.get("si"):
        equal(f"si {where}", {row["si"] for row in rows}, {tuple(shown(entry["si"]["times"][each]) for each in TIMES)})
    if entry["names"]:
        compare_names(where, rows, entry, list_is_elsewhere)
        compare_streams(where, rows, entry, list_is_elsewhere)


def main():
    test = support.Test(__doc__, "facts", "sample")
    for volume in volumes(test, "mft/*.xz"):
        records = program_records(test, *volume.source)
        for entry in volume.entries:
            list_is_elsewhere = test.part == "facts" and any(
                each["type"] == 32 and not each["resident"] for each in entry["attributes"])
            if (volume.label, entry["inode"]) not in KNOWN:
                compare(f"{volume.label}:{entry['inode']}", entry, records[entry["inode"]], list_is_elsewhere)
    support.finish(500)


if __name__ == "__main__":
    main()
