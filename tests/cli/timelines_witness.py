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
import sys

import support
from witness import EPOCH, istat_entry

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


def run(*command):
    return subprocess.run([str(word) for word in command], capture_output=True, check=True, timeout=600)


class Volume:
    def __init__(self, options, image, offset, known):
        self.options, self.image, self.offset, self.known = options, image, offset, known
        self.place = ["-o", offset // 512, "-f", "ntfs"]
        self.compared, self.differences = collections.Counter(), []

    def ours(self, *arguments):
        place = ["-image", self.image] + (["-offset", self.offset] if self.offset else [])
        return run(*self.options.command, *place, "-quiet", *arguments).stdout.replace(b"\r\n", b"\n")

    def equal(self, what, ours, theirs):
        self.compared[what.split(" ")[0]] += 1
        if ours != theirs:
            self.differences.append(f"{self.image.name} {what}: program {ours!r}, toolkit {theirs!r}")

    def moments(self, body):
        """(record, path without stream) -> {(moment, letter)}"""
        file = self.options.work / "body"
        file.write_bytes(body)
        done = run("mactime", "-b", file, "-d", "-z", "UTC")
        self.equal("words of mactime", done.stderr, b"")
        found = collections.defaultdict(set)
        for row in csv.reader(done.stdout.decode("utf-8", "replace").splitlines()[1:]):
            path = re.sub(r"( \((\$FILE_NAME|deleted[-\w ]*|dir|file)\))+$", "", row[7])
            folder, _, name = path.removeprefix("[root]").replace("\\", "/").rpartition("/")
            found[int(row[6].split("-")[0]), f"{folder}/{name.partition(':')[0]}"] |= {(row[0], each) for each in row[2] if each != "."}
        return found

    def body_file(self):
        ours = self.moments(self.ours("-bodyfile"))
        for (record, path), moments in self.moments(run("fls", *self.place, "-r", "-m", "/", self.image).stdout).items():
            if record not in self.known and not path.startswith(VIRTUAL):
                self.equal(f"moments {record} {path}", ours.get((record, path)), moments)

    def log2timeline(self, entries):
        ours, theirs = collections.defaultdict(set), collections.defaultdict(set)
        lines = self.ours("-csvl2t", "-csv_separator", "tab", "-base10", "-dateformat", "yyyy-mm-dd", "-timeformat", "hh:mm:ss.xxxxxxx")
        for date, time, _, letters, _, _, label, _, _, _, _, _, path, record, *_ in (line.split("\t") for line in lines.decode().split("\n")[5:-1]):
            source = label.partition(" ")[0].replace("8.3", "")
            self.equal(f"label {record}", label.partition(" ")[2], f"[{letters}]")
            ours[int(record), source].add((path.rpartition("\\")[2], date, time, letters))
        for record, entry in entries.items():
            for name in entry["names"]:
                for source, times in (("$SI:", entry["si"]["times"]), ("$FN:", name["times"])):
                    for ticks in set(times.values()) - {0}:
                        letters = "".join(letter if times[kind] == ticks else "." for kind, letter in LETTERS.items())
                        moment = EPOCH + datetime.timedelta(seconds=ticks // 10**7)
                        theirs[record, source].add((name["name"], f"{moment:%Y-%m-%d}", f"{moment:%H:%M:%S}.{ticks % 10**7:07}", letters))
        for record, source in theirs:
            found = ours[record, source]
            # $STANDARD_INFORMATION is listed for long names alone, which istat does not tell from 8.3 ones.
            self.equal(f"rows {record} {source}", found, theirs[record, source] if source == "$FN:" else found & theirs[record, source] or "some")

    def json_lines(self):
        formats = ["-base10", "-dateformat", "yyyy-mm-dd", "-timeformat", "hh:mm:ss.xxxxxxx", "-filerecord_offset"]
        lines = self.ours("-no_run_header", "-csv", "-csv_separator", "tab", "-no_whitespace", *formats).decode().split("\n")[:-1]
        objects = [json.loads(line) for line in self.ours("-jsonl", *formats).split(b"\n")[:-1]]
        labels = [re.sub("[^a-z0-9]", "_", label.lower()) for label in lines[0].split("\t")]
        labels[3] = "parent_seqnum"
        self.equal("objects", len(objects), len(lines) - 1)
        for line, each in zip(lines[1:], objects):
            row = dict(zip(labels, line.split("\t")))
            self.equal(f"object {row}", {label: str(each.get(label)) for label in labels}, row)
            self.equal(f"time {row}", row["date"] == "" or each["datetime"] == f"{row['date']}T{row['time_utc']}Z", True)
            self.equal(f"kinds {row}", sum(kind.count(",") + 1 for kind in each["timestamp_desc"].split("; ")), len(re.findall("[macb]", re.sub("si:|fn:|fn8.3", "", row["macb"]))))

    def hash_list(self, entries):
        rows = [line.split("|") for line in self.ours("-hashfile", "md5 | sha1", "-base10").decode("utf-8", "replace").split("\n")[5:-1]]
        found = {int(row[2]): (row[0], row[1], int(row[3])) for row in rows}
        self.equal("lines once", len(rows), len(found))
        for record, entry in entries.items():
            sizes = [each["size"] for each in entry["attributes"] if each["type"] == 128 and each["name"] is None]
            if not sizes:
                continue
            content = run("icat", *self.place, self.image, f"{record}-128").stdout
            digests = [kind(content).hexdigest() for kind in (hashlib.md5, hashlib.sha1)] if sizes[0] else ["no data"] * 2
            self.equal(f"digests {record}", found.get(record), (*digests, sizes[0]))

    def entries(self):
        last = re.search(r"Range: \d+ - (\d+)", run("fsstat", *self.place, self.image).stdout.decode()).group(1)
        for record in set(range(int(last) + 1)) - set(self.known):
            asked = subprocess.run(["istat", "-r", "-z", "UTC", *map(str, self.place), self.image, str(record)], capture_output=True)
            entry = istat_entry(asked.stdout.decode("utf-8", "replace"), record) if asked.returncode == 0 else {"si": None}
            if entry["si"] and entry["names"]:
                yield record, entry


def volumes(part):
    if part == "sample":
        return [(support.SAMPLES / "small.img.gz", 0, SAMPLE)]
    return [(packed, 65536, {}) for packed in sorted(support.require_data().glob("ntfs-*.raw.gz"))]


def main():
    options = support.read_options(__doc__, "facts", "sample")
    support.require("mactime", "fls", "istat", "icat")
    differences = 0
    for packed, offset, known in volumes(options.part):
        volume = Volume(options, options.work / packed.stem, offset, known)
        support.unpack(packed, volume.image)
        volume.body_file()
        volume.json_lines()
        entries = dict(volume.entries())
        volume.log2timeline(entries)
        volume.hash_list(entries)
        print("\n".join(volume.differences[:20]))
        print(f"{volume.image.name}: {dict(volume.compared)} compared, {len(volume.differences)} differences")
        differences += len(volume.differences) + (sum(volume.compared.values()) < 100)
        volume.image.unlink()
    return 1 if differences else 0


if __name__ == "__main__":
    sys.exit(main())
