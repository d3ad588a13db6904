#!/usr/bin/env python3
"""Fills a mounted volume: fill_volume.py <folder> <files>. The same names and contents for the same number.

A hundred files to a folder, folders in folders, sizes from nothing to some clusters; of twenty files one is deleted.
"""
import pathlib
import random
import sys

SIZES = [0, 200, 600, 1500, 4000, 9000, 20000]
KINDS = ["report", "photo", "invoice", "setup", "note"]
ENDINGS = ["txt", "jpg", "exe", "docx", "dll"]
TAILS = ["", " \u00e4\u00f6\u00fc", " \u6587\u4ef6"]

root, count = pathlib.Path(sys.argv[1]), int(sys.argv[2])
dice = random.Random(1)
content = dice.randbytes(1 << 16)
folders = [root]
for number in range(count):
    if number % 100 == 0:
        folder = dice.choice(folders[-50:]) / f"folder {number // 100:05}{dice.choice(TAILS)}"
        folder.mkdir()
        folders.append(folder)
    path = folder / f"{dice.choice(KINDS)}_{number:06}.{dice.choice(ENDINGS)}"
    start = dice.randrange(len(content) - max(SIZES))
    path.write_bytes(content[start:start + dice.choice(SIZES)])
    if number % 20 == 19:
        path.unlink()
