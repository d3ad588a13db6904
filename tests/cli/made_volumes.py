"""Volumes made by mkntfs and ntfs-3g, for which they want root and /dev/fuse. Used by the witnesses."""
import contextlib
import os
import random
import subprocess

import support
import toolkit

# Sector size, cluster size, megabytes, pieces of the scattered file, how many runs it has at least.
SHAPES = [(512, 512, 16, 2000, 200), (512, 1024, 24, 400, 20), (512, 4096, 32, 400, 20), (512, 65536, 64, 60, 5),
          (4096, 4096, 32, 60, 5), (4096, 524288, 256, 20, 2)]


def require_what_makes_them():
    support.require("mkntfs", "ntfs-3g", "istat", "icat", "ils", "fls", root=True)
    if not os.path.exists("/dev/fuse"):
        support.skip("mounting wants /dev/fuse")


def format_volume(image, sector_size, cluster_size, size):
    image.unlink(missing_ok=True)
    image.touch()
    os.truncate(image, size)
    subprocess.run(["mkntfs", "-F", "-f", "-q", "-s", str(sector_size), "-c", str(cluster_size), "-p", "0", "-H", "255",
                    "-S", "63", image], check=True, stdout=subprocess.DEVNULL, stderr=subprocess.DEVNULL)


@contextlib.contextmanager
def mounted(image):
    root = image.parent / "mounted"
    root.mkdir(exist_ok=True)
    command = ["ntfs-3g", "-o", "streams_interface=windows,compression", image, root]
    made = subprocess.run(command, stderr=subprocess.PIPE)
    if made.returncode != 0:
        # /dev/fuse may be there and out of reach, as in a container.
        support.skip("ntfs-3g cannot mount here: " + made.stderr.decode(errors="replace").strip())
    try:
        yield root
    finally:
        subprocess.run(["umount", root], check=True)


def text(size, words):
    return (words.encode() + b"\n") * (size // (len(words) + 1) + 1)


def scatter(root, cluster_size, pieces):
    """A file in many pieces: the volume is filled up, and what then is free are clusters with used ones between."""
    size = max(cluster_size, 1024)  # beyond what a record holds
    (root / "crowd").mkdir()
    for number in range(2 * pieces):
        (root / "crowd" / str(number)).write_bytes(bytes(size))
    with contextlib.suppress(OSError), open(root / "filler", "wb", buffering=0) as file:
        while file.write(bytes(1 << 20)):
            pass
    for number in range(0, 2 * pieces, 2):
        (root / "crowd" / str(number)).unlink()
    noise = random.Random(pieces).randbytes
    with contextlib.suppress(OSError), open(root / "scattered.bin", "wb", buffering=0) as file:
        for _ in range(pieces * 3 // 4):
            file.write(noise(size))
    for name in ["filler", *(f"crowd/{number}" for number in range(1, 2 * pieces, 2))]:
        (root / name).unlink()


def contents(cluster_size):
    """By name, what is written; of the compressed ones, only where there is compression."""
    noise, size, unit = random.Random(cluster_size).randbytes, 3 * cluster_size + 77, 16 * cluster_size
    yield from {"empty": b"", "resident.txt": b"some words", "plain.bin": noise(size), "deleted.bin": noise(size),
                "whole.bin": noise(4 * cluster_size), "with streams.txt": b"main",
                "with streams.txt:small": b"resident stream", "with streams.txt:large": noise(size)}.items()
    yield from {} if cluster_size > 4096 else {
        "compressed/words": text(5 * unit + 100, "the same words over and over again"),
        "compressed/noise": noise(3 * unit + 1),  # units that do not shrink
        "compressed/mixed": noise(unit) + text(unit, "words") + noise(unit // 2) + text(2 * unit, "more") + noise(9),
        "compressed/zeros inside": text(unit, "ahead") + bytes(4 * unit) + text(unit, "behind"),
        "compressed/small": text(3 * cluster_size, "short"),
        "compressed/one unit": text(unit, "exactly")[:unit],
    }.items()


def fill(root, cluster_size):
    (root / "compressed").mkdir()
    if cluster_size <= 4096:
        os.setxattr(root / "compressed", "system.ntfs_attrib_be", bytes.fromhex("00000810"))
    for name, data in contents(cluster_size):
        (root / name).write_bytes(data)
    with open(root / "sparse.bin", "wb") as file:
        for cluster, size in [(5, 100), (40, cluster_size)]:
            file.seek(cluster * cluster_size + 9)
            file.write(random.Random(cluster).randbytes(size))
        file.truncate(90 * cluster_size + 5)


def make_volume(test, sector_size, cluster_size, megabytes, pieces):
    image = test.work / f"{sector_size}-{cluster_size}.img"
    format_volume(image, sector_size, cluster_size, megabytes << 20)
    with mounted(image) as root:
        fill(root, cluster_size)
        scatter(root, cluster_size, pieces)
    with mounted(image) as root:
        (root / "deleted.bin").unlink()
    return image


def volume_of(test, image):
    """With the digests of its streams; of the crowd that was deleted a few will do."""
    rows = [row.split("|")[:2] for row in toolkit.output("ils", "-f", "ntfs", "-e", image).decode().splitlines()[3:]]
    free = [number for number, state in rows if state == "f"]
    numbers = [number for number, state in rows if state == "a"] + free[:20]
    return toolkit.live_volume(test, image, numbers=numbers, with_digests=True)
