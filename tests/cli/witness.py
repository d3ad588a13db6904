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
import datetime
import json
import lzma
import re
import subprocess
import sys

import support

KNOWN = {
    ("xw_MFT", 560): "the name's length reaches past the attribute's value: the toolkit cuts it at the value",
}
EPOCH = datetime.datetime(1601, 1, 1)
LAST_32_BIT_TIME = 159394408950000000
UNIX_EPOCH_TICKS = 116444736000000000
TIMES = ("modified", "accessed", "mft_changed", "created")


def filetime(date, time):
    if not date.strip():
        return None
    whole, fraction = time.strip().split(".")
    moment = datetime.datetime.strptime(f"{date} {whole}", "%m/%d/%Y %H:%M:%S")
    return int((moment - EPOCH).total_seconds()) * 10**7 + int(fraction)


def shown(ticks):
    return None if ticks < UNIX_EPOCH_TICKS + 10**7 else ticks


def program_records(options, source):
    """Rows of the per-path report with every attribute, by record number."""
    command = options.command + source + [
        "-quiet", "-csvperpath", "-csv_separator", "tab", "-no_whitespace", "-base10",
        "-timeformat", "hh:mm:ss.xxxxxxx", "-action_include_clusterinfo"]
    output = subprocess.run(command, capture_output=True, check=True, timeout=300).stdout.replace(b"\r\n", b"\n")
    lines = output.decode("utf-8", "surrogateescape").split("\n")[5:-1]
    records = collections.defaultdict(list)
    for line in lines:
        cells = line.split("\t")
        pairs = [filetime(cells[at], cells[at + 1]) for at in range(4, 20, 2)]
        records[int(cells[0])].append({
            "sequence": int(cells[1]), "parent": (int(cells[2]), int(cells[3])), "si": pairs[:4], "fn": pairs[4:],
            "type": cells[20].split(":")[0], "label": cells[20].partition(":")[2], "size": cells[22], "name": cells[23],
            "clusters": cells[-1]})
    return records


def expanded(runs, limit):
    """Cluster numbers in file order, holes as None, as many as `limit`."""
    clusters = []
    for start, length in runs:
        count = min(length, limit - len(clusters))
        clusters += [None] * count if start is None else range(start, start + count)
    return clusters


def run_list(text):
    runs = []
    for piece in text.split("; "):
        numbers = [int(each, 16) for each in re.findall("0x[0-9a-f]+", piece)]
        length = numbers[-1] - numbers[0] + 1
        runs.append((None if piece.endswith("[sparse]") else numbers[0], length))
    return runs


class Comparison:
    def __init__(self):
        self.compared = collections.Counter()
        self.differences = []

    def equal(self, what, ours, theirs):
        self.compared[what.split(" ")[0]] += 1
        if ours != theirs:
            self.differences.append(f"{what}: program {ours!r}, toolkit {theirs!r}")

    def names(self, where, rows, entry):
        theirs = [name for name in entry["names"] if name["namespace"] != 2]
        parents = {(name["parent"], name["parent_sequence"]) for name in theirs}
        if not entry.get("list_elsewhere"):
            self.equal(f"parents {where}", {row["parent"] for row in rows} if theirs else parents, parents)
        known = {(name["parent"], name["parent_sequence"], printable(name["name"]),
                  tuple(shown(name["times"][each]) for each in TIMES)) for name in theirs}
        for row in rows if theirs else []:
            name = printable(row["name"].rpartition(":")[0] if row["has_stream"] else row["name"])
            self.equal(f"name {where}", (*row["parent"], name, tuple(row["fn"])) in known, True)

    def streams(self, where, rows, entry):
        theirs = {attribute["name"] or "": attribute for attribute in entry["attributes"] if attribute["type"] == 128}
        ours = {}
        for row in rows:
            if row["label"] in ("", "ads") and row["size"]:
                ours[printable(row["name"].rpartition(":")[2]) if row["label"] == "ads" else ""] = row
        if not entry.get("list_elsewhere"):
            self.equal(f"streams {where}", set(ours), set(theirs))
        for name in set(ours) & set(theirs):
            self.equal(f"size {where}:{name}", int(ours[name]["size"]), theirs[name]["size"])
            runs = theirs[name].get("runs")
            if not runs or entry["inode"] == 0 or not ours[name]["clusters"]:
                continue
            limit = sum(length for _, length in runs)
            self.equal(f"runs {where}:{name}", expanded(run_list(ours[name]["clusters"]), limit), expanded(runs, limit))

    def record(self, label, entry, rows):
        if (label, entry["inode"]) in KNOWN:
            return
        where = f"{label}:{entry['inode']}"
        for row in rows:
            row["has_stream"] = row["label"] not in ("", "obj id", "security descr", "vol name", "vol info", "reparse point") and \
                ":" in row["name"]
        if not rows:
            # A base record without times and names has no rows; so has a record without a single attribute.
            self.equal(f"rows {where}", False, bool(entry["names"]) or entry.get("si") is not None)
            return
        self.equal(f"sequence {where}", {row["sequence"] for row in rows}, {entry["sequence"]})
        self.equal(f"allocation {where}", {row["type"] == "del" for row in rows}, {not entry["allocated"]})
        if entry.get("si"):
            self.equal(f"si {where}", {tuple(row["si"]) for row in rows}, {tuple(shown(entry["si"]["times"][each]) for each in TIMES)})
        self.names(where, rows, entry)
        if entry["names"]:
            self.streams(where, rows, entry)


def printable(name):
    return "".join("^" if ord(c) < 32 else ";" if c == "|" else c for c in name)


def from_facts(options, comparison):
    data = support.require_data()
    for packed in sorted(data.glob("mft/*.xz")):
        facts = json.load(lzma.open(data / "facts" / f"{packed.name.split('.')[0]}.json.xz"))
        unpacked = options.work / packed.stem
        support.unpack(packed, unpacked)
        records = program_records(options, ["-mftfile", str(unpacked)])
        for entry in facts["entries"]:
            if "error" in entry:
                continue
            entry["list_elsewhere"] = any(each["type"] == 32 and not each["resident"] for each in entry["attributes"])
            comparison.record(packed.stem, entry, records.get(entry["inode"], []))


def ticks(text):
    whole, fraction = re.match(r"(\S+ \S+)\.(\d{9})", text).groups()
    moment = datetime.datetime.strptime(whole, "%Y-%m-%d %H:%M:%S")
    value = int((moment - EPOCH).total_seconds()) * 10**7 + int(fraction) // 100
    return 0 if text.startswith("2076-11-29 08:54:34") else value  # how istat prints a FILETIME of 0


def times_of(block):
    labels = {"Created": "created", "File Modified": "modified", "MFT Modified": "mft_changed", "Accessed": "accessed"}
    return {labels[label]: ticks(value) for label, value in re.findall(r"^([\w ]+):\t(\d{4}-.*)$", block, re.M) if label in labels}


def istat_entry(text, inode):
    """What istat prints, as the facts files hold it. Its name list does not tell 8.3 names: they are let through."""
    blocks = re.split(r"\n(?=\$STANDARD_INFORMATION|\$FILE_NAME|\$OBJECT_ID|Attributes:)", text)
    entry = {"inode": inode, "names": [], "attributes": [], "si": None, "kind": re.search(r"^(?:Not )?Allocated (\w+)", text, re.M).group(1),
             "links": int(re.search(r"^Links: (\d+)", text, re.M).group(1)), **({"base": True} if "Base File Record:" in text else {}),
             "sequence": int(re.search(r"Sequence: (\d+)", text).group(1)), "allocated": re.search("^Allocated (File|Directory)", text, re.M) is not None}
    for block in blocks[1:]:
        if block.startswith("$STANDARD"):
            flags, security = re.search(r"^Flags: (.*)\nOwner ID: \d+\nSecurity ID: (\d+)", block, re.M).groups()
            entry["si"] = {"times": times_of(block), "flags": flags, "security_id": int(security)}
        elif block.startswith("$FILE_NAME"):
            parent = re.search(r"Parent MFT Entry: (\d+) \tSequence: (\d+)", block)
            entry["names"].append({"name": re.search(r"^Name: (.*)$", block, re.M).group(1), "namespace": 1,
                                   "parent": int(parent.group(1)), "parent_sequence": int(parent.group(2)), "times": times_of(block)})
        elif block.startswith("Attributes:"):
            for kind, name, residence, marks, size, initialised, rest in re.findall(
                    r"Type: .* \((\d+)-\d+\)   Name: (.*?)   (Non-Resident|Resident)((?:, \w+)*)   size: (\d+)(?:  init_size: (\d+))?(.*(?:\n  Starting .*)*)", block):
                runs = [(None if "Sparse" in line or "address: X" in line else int(re.search(r"address: (\d+)", line).group(1)), int(re.search(r"length: (\d+)", line).group(1)))
                        for line in rest.split("\n")[1:]]
                entry["attributes"].append({"type": int(kind), "name": None if name == "N/A" else name, "size": int(size), "runs": runs,
                                            "resident": residence == "Resident", "flags": marks.split(", ")[1:], "init_size": int(initialised or 0)})
    return entry


def from_sample(options, comparison):
    support.require("istat")
    image = options.work / "small.img"
    support.unpack(support.SAMPLES / "small.img.gz", image)
    records = program_records(options, ["-image", str(image)])
    for inode in range(max(records) + 1):
        asked = subprocess.run(["istat", "-r", "-f", "ntfs", "-z", "UTC", str(image), str(inode)], capture_output=True)
        if asked.returncode != 0:
            continue
        entry = istat_entry(asked.stdout.decode("utf-8", "replace"), inode)
        is_extension = any("refinode" in row["clusters"] for row in records.get(inode, [])) or entry["si"] is None
        beyond = any(time is None or time > LAST_32_BIT_TIME for row in records.get(inode, []) for time in row["si"] + row["fn"])
        if not is_extension and not beyond:
            comparison.record("sample", entry, records.get(inode, []))


def main(description, parts):
    options = support.read_options(description, *parts)
    comparison = Comparison()
    parts[options.part](options, comparison)
    count = sum(comparison.compared.values())
    print("\n".join(comparison.differences[:40]))
    print(f"{count} comparisons {dict(comparison.compared)}, {len(comparison.differences)} differences")
    if count < 500:
        print("too few comparisons: nothing was proved")
    return 1 if comparison.differences or count < 500 else 0


if __name__ == "__main__":
    sys.exit(main(__doc__, {"facts": from_facts, "sample": from_sample}))
