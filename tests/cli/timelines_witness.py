#!/usr/bin/env python3
"""Compares the formats for other tools with what an independent toolkit says of the same volumes: the sample, and the
real ones beside the checkout.

-bodyfile: mactime reads it in silence, and gives for each file of the toolkit's own list the same moments
-csvl2t:   each name's times to 100 ns with their letters, as istat tells them
-jsonl:    each row of -csv, which other tests compare, with every column under its name
-hashfile: what md5 and sha1 make of each unnamed stream that icat reads
"""
import collections
import csv
import datetime
import hashlib
import json
import re
import subprocess

import support
from support import equal
from toolkit import DATA, EPOCH, output, volumes

LETTERS = {"modified": "M", "accessed": "A", "mft_changed": "C", "created": "B"}
VIRTUAL = "/$OrphanFiles"  # where the toolkit puts what has no path
# Records of the sample that differ by design, and why.
SAMPLE = {
    0: "a time of 0, which the toolkit shows as one in 2076",
    68: "a stream of a directory, which the toolkit files under its entry for the directory itself",
    72: "its folder has two names: the program's path takes the 8.3 one, which stands first",
    76: "times that the toolkit cannot hold in its 32 bits of seconds",
    155: "names from extension records, whose attribute ids collide",
    166: "deleted, its folder's record used again", 168: "deleted, its folder's record used again",
}


def moments(test, body):
    """(record, path without stream) -> {(moment, letter)}"""
    file = test.work / "body"
    file.write_bytes(body)
    done = subprocess.run(["mactime", "-b", file, "-d", "-z", "UTC"], capture_output=True, check=True)
    equal("words of mactime", done.stderr, b"")
    found = collections.defaultdict(set)
    for row in csv.reader(done.stdout.decode("utf-8", "replace").splitlines()[1:]):
        path = re.sub(r"( \((\$FILE_NAME|deleted[-\w ]*|dir|file)\))+$", "", row[7])
        folder, _, name = path.removeprefix("[root]").replace("\\", "/").rpartition("/")
        key = int(row[6].split("-")[0]), f"{folder}/{name.partition(':')[0]}"
        found[key] |= {(row[0], each) for each in row[2] if each != "."}
    return found


def check_body_file(test, volume, place, known):
    ours = moments(test, test.run(*volume.source, "-bodyfile").stdout)
    for (record, path), times in moments(test, output("fls", *place, "-r", "-m", "/", volume.path)).items():
        if record not in known and not path.startswith(VIRTUAL):
            equal(f"moments {record} {path}", ours.get((record, path)), times)


def check_log2timeline(test, volume, entries):
    ours, theirs = collections.defaultdict(set), collections.defaultdict(set)
    words = ["-csvl2t", "-base10", "-dateformat", "yyyy-mm-dd", "-timeformat", "hh:mm:ss.xxxxxxx"]
    for date, time, _, letters, _, _, label, _, _, _, _, _, path, record, *_ in test.rows(*volume.source, *words)[1:]:
        source = label.partition(" ")[0].replace("8.3", "")
        equal(f"label {record}", label.partition(" ")[2], f"[{letters}]")
        ours[int(record), source].add((path.rpartition("\\")[2], date, time, letters))
    for record, entry in entries.items():
        for name in entry["names"]:
            for source, times in (("$SI:", entry["si"]["times"]), ("$FN:", name["times"])):
                for ticks in set(times.values()) - {0}:
                    letters = "".join(letter if times[kind] == ticks else "." for kind, letter in LETTERS.items())
                    moment = EPOCH + datetime.timedelta(seconds=ticks // 10**7)
                    row = name["name"], f"{moment:%Y-%m-%d}", f"{moment:%H:%M:%S}.{ticks % 10**7:07}", letters
                    theirs[record, source].add(row)
    for key, expected in theirs.items():
        # $STANDARD_INFORMATION is listed for long names alone, which istat does not tell from 8.3 ones.
        equal(f"rows {key}", ours[key], expected if key[1] == "$FN:" else ours[key] & expected or "some")


def check_json_lines(test, volume):
    formats = ["-base10", "-dateformat", "yyyy-mm-dd", "-timeformat", "hh:mm:ss.xxxxxxx", "-filerecord_offset"]
    labels, *rows = test.rows(*volume.source, "-csv", *formats)
    objects = [json.loads(line) for line in test.run(*volume.source, "-jsonl", *formats).stdout.split(b"\n")[:-1]]
    labels = [re.sub("[^a-z0-9]", "_", label.lower()) for label in labels]
    labels[3] = "parent_seqnum"
    equal("objects", len(objects), len(rows))
    for cells, each in zip(rows, objects):
        row = dict(zip(labels, cells))
        moment = f"{row['date']}T{row['time_utc']}Z" if row["date"] else each["datetime"]
        equal(f"object {row}", {label: str(each.get(label)) for label in labels}, row)
        equal(f"time {row}", each["datetime"], moment)
        kinds = re.findall("[macb]", re.sub("si:|fn:|fn8.3", "", row["macb"]))
        equal(f"kinds {row}", sum(kind.count(",") + 1 for kind in each["timestamp_desc"].split("; ")), len(kinds))


def check_hash_list(test, volume, place, entries):
    out = test.run(*volume.source, "-hashfile", "md5 | sha1", "-base10").stdout.decode("utf-8", "replace")
    rows = [line.split("|") for line in out.split("\n")[5:-1]]
    found = {int(row[2]): (row[0], row[1], int(row[3])) for row in rows}
    equal("lines once", len(rows), len(found))
    for record, entry in entries.items():
        for size in [each["size"] for each in entry["attributes"] if each["type"] == DATA and each["name"] is None]:
            content = output("icat", *place, volume.path, f"{record}-{DATA}")
            digests = [kind(content).hexdigest() for kind in (hashlib.md5, hashlib.sha1)] if size else ["no data"] * 2
            equal(f"digests {record}", found.get(record), (*digests, size))


def main():
    test = support.Test(__doc__, "facts", "sample")
    support.require("mactime", "fls", "istat", "icat")
    for volume in volumes(test, "*.raw.gz"):
        place, known = ["-o", volume.offset // 512, "-f", "ntfs"], SAMPLE if test.part == "sample" else {}
        check_body_file(test, volume, place, known)
        check_json_lines(test, volume)
        entries = {entry["inode"]: entry for entry in volume.entries
                   if entry["inode"] not in known and entry.get("si") and entry["names"]}
        check_log2timeline(test, volume, entries)
        check_hash_list(test, volume, place, entries)
    support.finish(500)


if __name__ == "__main__":
    main()
