#!/usr/bin/env python3
"""Every $DATA stream of a volume, as the program lists, copies and digests it, against an independent toolkit.

facts:   volumes made by Windows, beside the checkout, against stored facts (sizes, runs, digests).
sample:  the sample volumes, against istat and icat.
volumes: volumes made on the spot by mkntfs and ntfs-3g, against istat and icat; wants root and /dev/fuse.

By default and with -thorough: sizes, runs, the bytes of each copy, and its MD5 in its name. By default, too: a second
run changes no copy, and the default report has the MD5 of unnamed streams. Differs by design, and is left out:
- record 8, one hole as large as the volume, for which the toolkit delivers nothing
- by default, what a copy holds behind the initialised size: the clusters' bytes, which the toolkit blanks
- by default, on sectors above 512 bytes, what lies across sector ends: words are put back at the ends of the boot
  sector's sectors, and a record written in steps of 512 bytes keeps its check words in between
Ends with 77, "skipped", where what it needs is not there.
"""
import hashlib
import shutil

import made_volumes
import support
import toolkit
from support import equal
from toolkit import DATA, expanded, printable
from witness import program_records

BAD_CLUSTERS = 8


def md5(data):
    return hashlib.md5(data).hexdigest()


def is_over_sector_ends(stream):
    return stream["size"] > 400 if stream["resident"] else len(stream["runs"]) > 20


def streams_of(volume):
    return {(entry["inode"], each["name"] or ""): each for entry in volume.entries if entry.get("si")
            for each in entry["attributes"] if each["type"] == DATA and entry["inode"] != BAD_CLUSTERS}


def numbers_of(streams):
    return "|".join(sorted({str(number) for number, _ in streams}))


def check_copy(where, stream, path, is_thorough):
    data, written = path.read_bytes(), stream.get("init_size", 0)
    digest = md5(data)
    equal(f"name {where}", digest in path.name, True)
    if not stream["resident"] and not is_thorough:
        data = data[:written] + bytes(max(stream["size"] - written, 0))
    equal(f"bytes {where}", md5(data), stream["md5"])
    return digest


def check_copies(test, volume, streams, *words):
    """Leaves the copies in the folder "copies", and returns their digests."""
    where, digests = f"of {volume.label} {' '.join(words)}", {}
    rows = program_records(test, *volume.source, "-action_copy_files", test.host(test.work / "copies"), "-all",
                           "-filter_inode", numbers_of(streams), *words)
    ours = {(number, row["stream"]): row for number in rows for row in rows[number]}
    files = {printable(str(path)): path for path in (test.work / "copies").rglob("*")}
    for key, stream in streams.items():
        row, runs = ours.get(key, {"size": "none", "runs": [], "copy": ""}), stream.get("runs") or []
        limit = sum(length for _, length in runs)
        equal(f"size {key} {where}", row["size"], str(stream["size"]))
        equal(f"runs {key} {where}", expanded(row["runs"], limit), expanded(runs, limit))
        path = files.get(printable(row["copy"].removeprefix("Z:").replace("\\", "/")))
        equal(f"copied {key} {where}", path is not None, stream["size"] > 0)
        if path is not None:
            digests[key] = check_copy(f"{key} {where}", stream, path, bool(words))
    return digests


def check_by_default(test, volume, streams, least):
    copies, found = test.work / "copies", []
    equal(f"enough streams of {volume.label}", len(streams) >= least, True)
    for _ in range(2):
        digests = check_copies(test, volume, streams)
        found.append({path: path.stat().st_ino for path in copies.rglob("*")})
    equal(f"copies after a second run over {volume.label}", found[1], found[0])
    words = ["-csv", "-base10", "-hashfile", "md5|sha1", "-filter_inode", numbers_of(streams)]
    labels, *rows = test.rows(*volume.source, *words)
    reported = {int(row[0]): row[labels.index("MD5 hash")] for row in rows if row[labels.index("MD5 hash")]}
    for (number, name), digest in digests.items():
        equal(f"digest of {number} of {volume.label}", digest if name else reported.get(number), digest)
    shutil.rmtree(copies)


def check_thoroughly(test, volume):
    check_copies(test, volume, streams_of(volume), "-thorough")
    shutil.rmtree(test.work / "copies")


def check_made_volume(test, sector_size, cluster_size, megabytes, pieces, least_runs):
    image = made_volumes.make_volume(test, sector_size, cluster_size, megabytes, pieces)
    volume = made_volumes.volume_of(test, image)
    streams = streams_of(volume)
    equal(f"enough runs in {volume.label}", max(len(stream["runs"]) for stream in streams.values()) >= least_runs, True)
    is_as_it_lies = lambda stream: sector_size == 512 or not is_over_sector_ends(stream)
    by_default = {key: stream for key, stream in streams.items() if is_as_it_lies(stream)}
    if test.under_wine:  # where each start costs more than a walk
        check_copies(test, volume, by_default)
        shutil.rmtree(test.work / "copies")
    else:
        check_by_default(test, volume, by_default, 20)
        check_thoroughly(test, volume)
    image.unlink()


def main():
    test = support.Test(__doc__, "facts", "sample", "volumes")
    shutil.rmtree(test.work / "copies", ignore_errors=True)
    if test.part == "volumes":
        made_volumes.require_what_makes_them()
        for shape in made_volumes.SHAPES:
            check_made_volume(test, *shape)
    else:
        for volume in toolkit.volumes(test, "*.raw.gz", with_digests=True):
            check_by_default(test, volume, streams_of(volume), 80 if test.part == "sample" else 20)
            check_thoroughly(test, volume)
    if test.part == "sample":
        check_thoroughly(test, toolkit.live_volume(test, test.sample("oddities.img"), with_digests=True))
    support.finish(200)


if __name__ == "__main__":
    main()
