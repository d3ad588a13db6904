#!/usr/bin/env python3
"""Whole runs that copy and digest, against an independent toolkit's bytes, on volumes made on the spot.

Every stream that has bytes is copied once under a name that holds its MD5, the unnamed ones have that MD5 in the
default report too, and a second run changes no file. Wants root and /dev/fuse; ends with 77 where they are missing.
"""
import argparse
import csv
import hashlib
import shutil
import subprocess
import sys
import tempfile
from pathlib import Path

import streams_witness as streams

SHAPES = [(512, 512, 16, 400, 0), (512, 4096, 32, 400, 0), (512, 65536, 64, 60, 0)]


def rows_of(program, image, results, *options):
    subprocess.run([program, "-image", image, "-csv", *options, "-quiet", "-out", results], check=True,
                   stdout=subprocess.DEVNULL, stderr=subprocess.DEVNULL)
    lines = results.read_text().splitlines()
    first = next(index for index, line in enumerate(lines) if line.lower().startswith("mft entry"))
    return list(csv.DictReader(lines[first:], quoting=csv.QUOTE_NONE))


def check(program, image, work):
    expected = {key: (size, initialised if clusters is not None else size, digest)
                for key, size, initialised, clusters, digest in streams.icat_streams(image)
                if digest and size > 0 and key != (8, "$Bad")}  # one hole, for which the toolkit delivers nothing
    faults, copied, late = [], {}, 0
    folder = work / "copies"
    for row in rows_of(program, image, work / "copies.csv", "-action_copy_files", folder, "-all"):
        name = row["name"].partition(":")[2] if row["type"].endswith(":ads") else ""
        key, path = (int(row["MFT entry"], 16), name), row["extracted file path/file"]
        if row["type"] not in ("file", "del", "file:ads", "del:ads", "dir:ads") or key not in expected:
            continue
        data = Path(path).read_bytes() if path else b""
        size, initialised, digest = expected[key]
        copied[key] = hashlib.md5(data).hexdigest()
        # The toolkit blanks what lies behind the initialised size; a copy holds what is in the clusters.
        late += initialised < size
        if hashlib.md5(data[:initialised] + bytes(max(size - initialised, 0))).hexdigest() != digest:
            faults.append(f"{key}: {len(data)} bytes in {path}")
        if copied[key] not in Path(path).name:
            faults.append(f"{key}: digest in {path}")
    faults += [f"{key}: not copied" for key in expected if key not in copied]
    kept = {path: path.stat().st_ino for path in folder.rglob("*")}
    rows_of(program, image, work / "again.csv", "-action_copy_files", folder, "-all")
    if kept != {path: path.stat().st_ino for path in folder.rglob("*")}:
        faults.append("a second run changed the copies")
    hashed = {(int(row["mft entry"], 16), ""): row["MD5 hash"]
              for row in rows_of(program, image, work / "hashes.csv", "-hashfile", "md5|sha1") if row["MD5 hash"]}
    faults += [f"{key}: digest {hashed.get(key)}" for key in copied if not key[1] and hashed.get(key) != copied[key]]
    print(f"{image.name}: {len(copied)} copies, {late} with a late end, {len(hashed)} digests, faults {len(faults)}")
    print("".join(f"   {fault}\n" for fault in faults[:20]), end="")
    return not faults and len(copied) > 15


def main():
    parser = argparse.ArgumentParser()
    parser.add_argument("--program", required=True)
    parser.add_argument("--work", required=True, type=Path)
    options = parser.parse_args()
    streams.want_what_makes_volumes()
    options.work.mkdir(parents=True, exist_ok=True)
    good = True
    for shape in SHAPES:
        work = Path(tempfile.mkdtemp(dir=options.work))
        good &= check(options.program, streams.make_volume(work, shape), work)
        shutil.rmtree(work)
    sys.exit(0 if good else 1)


if __name__ == "__main__":
    main()
