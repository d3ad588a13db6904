#!/usr/bin/env python3
"""Compares the dump of every record with what an independent toolkit says of it, for the volumes and $MFT files beside
the checkout (facts) and the sample (sample), and texts of descriptors with a decoding of the same bytes made here.
Differs by design, and is left out:
- what an attribute list leads to: ids of several records meet, and of those the program keeps the first
- a real size of 0 before clusters, as it lies on disk: the toolkit shows the size of the clusters, and ahead of later
  parts of a stream a hole; runs of record 0 of an extracted $MFT, which the toolkit read from a volume laid around it
- marks of resident attributes and the directory bit among the file flags, which the toolkit does not show
"""
import collections
import re
import struct

import support
from support import equal
from toolkit import TIMES, expanded, filetime, printable, shown, volumes
from witness import KNOWN

LABELS = {"obj id": 64, "security descr": 80, "vol name": 96, "vol info": 112, "Data Attrib": 128, "indx root": 144,
          "indx alloc": 160, "bitmap": 176, "reparse point": 192, "logged stream": 256}
SHORTER = {"Sparse_File": "Sparse", "Reparse_Pt": "Reparse_Point", "Content_Not_Indexed": "Not_Content_Indexed",
           "None Set": ""}
MARKS = {"data compressed": "Compressed", "data encrypted": "Encrypted", "sparse clusters": "Sparse"}
RIGHTS = {31: "GENERIC_READ", 30: "GENERIC_WRITE", 29: "GENERIC_EXECUTE", 28: "GENERIC_ALL", 16: "DELETE",
          17: "READ_CONTROL", 18: "WRITE_DAC", 19: "WRITE_OWNER", 20: "SYNCHRONIZE"}
ENTRIES = ("access allowed", "access denied", "system audit", "system alarm")
SIDS = {"S-1-1-0": "World", "S-1-3-0": "Owner", "S-1-5-11": "Authenticated User", "S-1-5-18": "Local System",
        "S-1-5-32-544": "Admins", "S-1-5-32-545": "Users"}


def dumps(test, source, numbers):
    """The sections of each record's dump: a line that begins without a blank, and those behind it."""
    wanted = ["-find_mft", 0, "-timeformat", "hh:mm:ss.xxxxxxx", "-filter_inode", "|".join(map(str, numbers))]
    text = test.run(*source, *wanted).stdout.decode("utf-8", "surrogateescape")
    blocks = [block.split("\n", 1)[1] for block in re.split(r"\n(?=File Record: )", text)[1:]]
    return {number(block, "MFT entry:"): re.split(r"\n(?=\S)", block) for block in blocks}


def number(section, label):
    found = re.search(rf"^  {label} *0x([0-9a-f]+) \[(\d+)\]", section, re.M)
    assert found and int(found.group(1), 16) == int(found.group(2)), (section, label)
    return int(found.group(2))


def times(section):
    lines = re.findall(r"^  (?:modified|accessed|mft mod|created): +(\S*) (\S*)$", section, re.M)
    return tuple(filetime(*line) for line in lines)


def attribute(section):
    """What names it; its sizes, its runs."""
    head = re.fullmatch(r"(.*?)(?:: (.*?))?((?:, (?:data \w+|sparse clusters))*)", section.split("\n")[0])
    label, name, marks = LABELS[head[1]], printable(head[2] or "").replace("(unnamed)", ""), head[3].split(", ")[1:]
    if "resident data used" in section:
        return (label, name, frozenset()), ((number(section, "resident data used:"),), [])
    found = re.findall(r"^    0x([0-9a-f]+)(?: -> 0x([0-9a-f]+))?( \[sparse\])?$", section, re.M)
    numbers = [(int(first, 16), int(last or first, 16), hole) for first, last, hole in found]
    runs = [(None if hole else first, last - first + 1) for first, last, hole in numbers]
    for word, is_hole in (("real", False), ("sparse", True)):
        total = int(re.search(rf"\[{word}\]: +0x(\w+)$", section, re.M).group(1), 16)
        equal(f"total of {word} clusters", total, sum(length for first, length in runs if (first is None) == is_hole))
    sizes = (number(section, "file size:"), number(section, "valid data:"))
    return (label, name, frozenset(MARKS[mark] for mark in marks)), (None if sizes[0] == 0 and runs else sizes, runs)


def compare_header(where, entry, header, count_of_times):
    links, kind = re.search(r"Ref Count: (.*)", header)[1], re.search(r"Type: +(.*)", header)[1]
    ours = number(header, "Seq Num:"), "deleted" not in header, kind, "references" in header, int(links), count_of_times
    equal(f"header {where}", ours, (entry["sequence"], entry["allocated"], entry["kind"].lower(), "base" in entry,
                                    entry["links"] if entry["links"] != 15 else -1, int(bool(entry.get("si")))))


def compare_information(where, theirs, section):
    words = re.search(r"\((.*)\)", section)[1].title().split(", ")
    flags = {SHORTER.get(word, word).replace("_", " ") for word in words} - {"Directory"}
    equal(f"flags {where}", flags or {""}, set(theirs["flags"].split(", ")))
    equal(f"si {where}", times(section), tuple(shown(theirs["times"][each]) for each in TIMES))
    for label, field in (("secure id:", "security_id"), ("quota id:", "quota"), ("Jrnl num:", "usn")):
        equal(f"ids {where}", number(section, label), theirs.get(field, number(section, label)))


def compare_names(where, entry, sections, through_list):
    theirs = {(printable(each["name"]), each["parent"], each["parent_sequence"],
               *(shown(each["times"][time]) for time in TIMES)) for each in entry["names"]}
    names = [re.match(r"Filename Attrib: (.*?)(?:, \(indexed\))?\n", section)[1] for section in sections]
    ours = {(printable(name), number(section, "parnt mft:"), number(section, "parnt seq#"), *times(section))
            for name, section in zip(names, sections)}
    equal(f"names {where}", ours, ours & theirs if through_list else theirs)


def compare_attributes(where, entry, sections, through_list):
    ours = dict(map(attribute, sections))
    theirs = {(each["type"], each["name"] or "", frozenset(() if each["resident"] else each["flags"])):
              ((each["size"],) if each["resident"] else (each["size"], each["init_size"]), each.get("runs") or [])
              for each in entry["attributes"] if each["type"] not in (16, 32, 48)}
    equal(f"attributes {where}", set(ours), set(ours) & set(theirs) if through_list else set(theirs))
    for what in set(ours) & set(theirs):
        sizes, runs = theirs[what]
        equal(f"sizes {where}", ours[what][0] or sizes, sizes)
        left_out = entry["inode"] == 0 or ("base" in entry and ours[what][0] is None)
        limit = 0 if left_out else sum(length for _, length in runs)
        equal(f"runs {where}", expanded(ours[what][1], limit), expanded(runs, limit))


def compare(where, entry, sections, descriptors):
    parts, through_list = collections.defaultdict(list), any(each["type"] == 32 for each in entry["attributes"])
    for section in sections[1:]:
        parts[re.match(r"Standard Info|Filename|", section).group()].append(section)
    compare_header(where, entry, sections[0], len(parts["Standard Info"]))
    for section in parts["Standard Info"]:
        compare_information(where, entry["si"], section)
    compare_names(where, entry, parts["Filename"], through_list)
    compare_attributes(where, entry, parts[""], through_list)
    texts = [section.rstrip("\n").split("\n", 2)[2] for section in parts[""] if "Security Identifiers" in section]
    equal(f"descriptors {where}", texts, [security_text(value) for value in descriptors])


def security_text(value):
    parts_of = lambda at: struct.unpack_from(f"<{value[at + 1]}I", value, at + 8)
    sid = lambda at: "-".join(map(str, ("S", value[at], value[at + 7], *parts_of(at))))
    owner, group, *lists = struct.unpack_from("<4I", value, 4)
    lines = ["  Security Identifiers"]
    for word, at in (("owner", owner), ("group", group)):
        lines += [f"  {word} sid [{sid(at) if value[at + 1] < 2 else ''}]"] if at else []
    for title, at in zip(("System", "Discretionary"), lists):
        rows, place = {}, at + 8
        for _ in range(struct.unpack_from("<H", value, at + 4)[0] if at else 0):
            kind, size, mask = struct.unpack_from("<BxHI", value, place)
            who, words = sid(place + 8), " | ".join(word for bit, word in RIGHTS.items() if mask >> bit & 1)
            rows.setdefault(who + ENTRIES[kind], (ENTRIES[kind], SIDS.get(who, "unk"), []))[2].append(words)
            place += size
        lines += ["", f"  {title} Access Control List"] if rows else []
        lines += [f"  {kind:<15} {label:<15} {' | '.join(words)}" for _, (kind, label, words) in sorted(rows.items())]
    return "\n".join(lines)


def descriptors_of(file, size, count):
    """The resident security descriptors of each record, by its number."""
    found = collections.defaultdict(list)
    for inode, record in ((inode, bytearray(file.read(size))) for inode in range(count)):
        words, count, place = struct.unpack_from("<2H12xH", record, 4)
        for sector in range(1, count if record[:4] == b"FILE" else 0):
            record[512 * sector - 2:512 * sector] = record[words + 2 * sector:words + 2 * sector + 2]
        is_record = record[:4] == b"FILE"
        while is_record and place + 24 <= size and record[place] != 0xFF and any(record[place + 4:place + 8]):
            length, used, offset = struct.unpack_from("<I8xIH", record, place + 4)
            if record[place] == 80 and record[place + 8] == 0:
                found[inode].append(bytes(record[place + offset:place + offset + used]))
            place += length
    return found


def open_mft(volume):
    """The file that holds $MFT, at its first byte, and the bytes of a record."""
    if volume.facts is None:
        return open(support.SAMPLES / "small.mft", "rb"), 1024
    file = open(volume.path, "rb")
    if "-image" in volume.source:  # all of $MFT lies in its first run
        file.seek(volume.offset + int(volume.facts["First Cluster of MFT"]) * int(volume.facts["Cluster Size"]))
    return file, int(volume.facts["Size of MFT Entries"].split()[0])


def main():
    test = support.Test(__doc__, "facts", "sample")
    for volume in volumes(test, "*.raw.gz", "mft/*.xz"):
        entries = {entry["inode"]: entry for entry in volume.entries
                   if entry["attributes"] and (volume.label, entry["inode"]) not in KNOWN}
        dumped, descriptors = dumps(test, volume.source, entries), descriptors_of(*open_mft(volume), 1 + max(entries))
        for inode, entry in entries.items():
            compare(f"{volume.label}:{inode}", entry, dumped[inode], descriptors[inode])
    support.finish(500)


if __name__ == "__main__":
    main()
