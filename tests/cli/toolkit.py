"""What an independent toolkit says of volumes and $MFT files, in the form of the facts stored beside the checkout.

An entry is one record: number, sequence, allocation, names with parents and FILETIMEs, attributes with sizes and runs.
Used by the witnesses. Knows nothing of the program but the words that name a source.
"""
import collections
import datetime
import hashlib
import json
import lzma
import re
import subprocess

import support

EPOCH = datetime.datetime(1601, 1, 1)
UNIX_EPOCH_TICKS = 116444736000000000
TIMES = ("modified", "accessed", "mft_changed", "created")
DATA = 128
# `source`: the program's words for it. `refused`: entries that the toolkit did not read.
Volume = collections.namedtuple("Volume", "label path source offset facts entries refused")


def output(*words, may_refuse=False):
    done = subprocess.run(list(map(str, words)), check=not may_refuse, stdout=subprocess.PIPE,
                          stderr=subprocess.DEVNULL if may_refuse else None)
    return done.stdout if done.returncode == 0 else b""


def shown(ticks):
    """As the program shows it: nothing ahead of 1970."""
    return None if ticks < UNIX_EPOCH_TICKS + 10**7 else ticks


def printable(name):
    return "".join("^" if ord(c) < 32 else ";" if c == "|" else c for c in name)


def expanded(runs, limit):
    """Cluster numbers in file order, holes as None, as many as `limit`."""
    clusters = []
    for start, length in runs:
        count = min(length, limit - len(clusters))
        clusters += [None] * count if start is None else range(start, start + count)
    return clusters


def filetime(date, time, form="%m/%d/%Y"):
    """None for empty cells."""
    if not date.strip():
        return None
    whole, fraction = time.strip().split(".")
    moment = datetime.datetime.strptime(f"{date} {whole}", f"{form} %H:%M:%S")
    return int((moment - EPOCH).total_seconds()) * 10**7 + int(fraction[:7])


def times_of(block):
    labels = {"Created": "created", "File Modified": "modified", "MFT Modified": "mft_changed", "Accessed": "accessed"}
    found = re.findall(r"^([\w ]+):\t(\d{4}-\S*) (\S*)", block, re.M)
    is_zero = lambda date, time: f"{date} {time}".startswith("2076-11-29 08:54:34")  # how istat prints it
    return {labels[label]: 0 if is_zero(date, time) else filetime(date, time, "%Y-%m-%d")
            for label, date, time in found if label in labels}


def attributes_of(block):
    for kind, ident, name, residence, marks, size, initialised, rest in re.findall(
            r"Type: .* \((\d+)-(\d+)\)   Name: (.*?)   (Non-Resident|Resident)((?:, \w+)*)   size: (\d+)"
            r"(?:  init_size: (\d+))?(.*(?:\n  Starting .*)*)", block):
        runs = [(None if "Sparse" in line or start == "X" else int(start), int(length))
                for line, start, length in re.findall(r"^(  Starting address: (\w+), length: (\d+).*)$", rest, re.M)]
        yield {"type": int(kind), "id": int(ident), "name": None if name == "N/A" else name, "size": int(size),
               "init_size": int(initialised or 0), "resident": residence == "Resident",
               "flags": marks.split(", ")[1:], "runs": runs}


def istat_entry(text, inode):
    """Its name list does not tell 8.3 names: they are let through."""
    sequence, links = (int(re.search(rf"{label}: (\d+)", text).group(1)) for label in ("Sequence", "\nLinks"))
    state, kind = re.search(r"^(Allocated|Not Allocated) (\w+)", text, re.M).groups()
    entry = {"inode": inode, "sequence": sequence, "links": links, "allocated": state == "Allocated", "kind": kind,
             "names": [], "attributes": [], "si": None, **({"base": True} if "Base File Record:" in text else {})}
    for block in re.split(r"\n(?=\$STANDARD_INFORMATION|\$FILE_NAME|\$OBJECT_ID|Attributes:)", text)[1:]:
        if block.startswith("$STANDARD"):
            flags, security = re.search(r"^Flags: (.*)\nOwner ID: \d+\nSecurity ID: (\d+)", block, re.M).groups()
            entry["si"] = {"times": times_of(block), "flags": flags, "security_id": int(security)}
        elif block.startswith("$FILE_NAME"):
            parent, sequence = re.search(r"Parent MFT Entry: (\d+) \tSequence: (\d+)", block).groups()
            entry["names"].append({"name": re.search(r"^Name: (.*)$", block, re.M).group(1), "namespace": 1,
                                   "parent": int(parent), "parent_sequence": int(sequence), "times": times_of(block)})
        elif block.startswith("Attributes:"):
            entry["attributes"] = list(attributes_of(block))
    return entry


def entries_of(image, numbers=None, with_digests=False):
    """What istat says of a volume's records and, where asked, the MD5 of what icat reads of each $DATA."""
    if numbers is None:  # all but the folder that the toolkit adds
        numbers = range(int(re.search(rb"Range: \d+ - (\d+)", output("fsstat", "-f", "ntfs", image)).group(1)))
    for number in numbers:
        told = output("istat", "-r", "-f", "ntfs", "-z", "UTC", image, number, may_refuse=True)
        if not told:
            continue
        entry = istat_entry(told.decode("utf-8", "replace"), int(number))
        for each in entry["attributes"] if with_digests else ():
            if each["type"] == DATA:
                content = output("icat", "-f", "ntfs", image, f"{number}-{DATA}-{each['id']}", may_refuse=True)
                each["md5"] = hashlib.md5(content).hexdigest()
        yield entry


def live_volume(test, image, **how):
    entries = list(entries_of(image, **how))
    return Volume(image.stem, image, ["-image", test.host(image)], 0, None, entries, [])


def stored_volumes(test, *patterns):
    """Of the data beside the checkout, with the toolkit's stored answers; each is gone when the next is taken."""
    data = support.require_data()
    for packed in sorted(path for pattern in patterns for path in data.glob(pattern)):
        label = packed.name.split(".")[0]
        facts = json.load(lzma.open(data / "facts" / f"{label}.json.xz"))
        image = support.unpack(packed, test.work / packed.stem)
        kind = ["-mftfile"] if facts["mft_only"] else ["-offset", facts["offset"], "-image"]
        read = [entry for entry in facts["entries"] if "error" not in entry]
        refused = [entry for entry in facts["entries"] if "error" in entry]
        yield Volume(label, image, [*kind, test.host(image)], facts["offset"], facts["fsstat"], read, refused)
        image.unlink()


def volumes(test, *patterns, **how):
    """Those of the test's part: facts or sample."""
    if test.part == "facts":
        return stored_volumes(test, *patterns)
    support.require("fsstat", "istat", "icat")
    return [live_volume(test, test.sample(), **how)]
