#!/usr/bin/env python3
"""collect.py DATABASE RESULTS IMAGES REPORT...: results of jobs into one SQLite database, a table a report.

Each row begins with its image's name. Table `jobs` tells of each image and report: "complete", "incomplete" (the log
has errors, records that could not be read for instance) or "failed" (no results), how many rows there are, and what the
program said. Results that have not changed since they were loaded are passed over, so it can be run at any time.
"""
import csv
import itertools
import pathlib
import re
import sqlite3
import sys

HEADER_LINES = 4  # program, moment and machine, command, an empty line
WORDS = 2000      # of a log, at most


def column_names(labels):
    """Labels as names: "path and filename" is path_and_filename, a second "seqnum" seqnum_2."""
    plain = [re.sub(r"\W+", "_", label.lower()).strip("_") or "column" for label in labels]
    return [name if plain.index(name) == at else f"{name}_{plain[:at + 1].count(name)}" for at, name in enumerate(plain)]


def quoted(name):
    return '"' + name.replace('"', '""') + '"'


def make_table(database, table, names):
    database.execute(f"CREATE TABLE IF NOT EXISTS {quoted(table)} (image TEXT)")
    database.execute(f"CREATE INDEX IF NOT EXISTS {quoted(table + ' by image')} ON {quoted(table)} (image)")
    known = {row[1] for row in database.execute(f"PRAGMA table_info({quoted(table)})")}
    for name in names:
        if name not in known:
            database.execute(f"ALTER TABLE {quoted(table)} ADD COLUMN {quoted(name)} TEXT")


def load(database, table, image, results):
    """How many rows there are. The program replaces separators inside cells, so a comma always divides."""
    with open(results, encoding="utf-8", errors="replace", newline="") as file:
        lines = (line.rstrip("\r\n").split(",") for line in itertools.islice(file, HEADER_LINES, None))
        names = column_names(next(lines, []))
        make_table(database, table, names)
        columns = ", ".join(["image", *map(quoted, names)])
        marks = ", ".join("?" * (len(names) + 1))
        insert = f"INSERT INTO {quoted(table)} ({columns}) VALUES ({marks})"
        filled = ([image, *cells[:len(names)], *[None] * (len(names) - len(cells))] for cells in lines)
        return max(database.executemany(insert, filled).rowcount, 0)


def words_of(results):
    files = [results.with_suffix(suffix) for suffix in (".words", ".diags")]
    return "".join(file.read_text(errors="replace") for file in files if file.exists())


def collect(database, table, image, results):
    there = results.exists()
    stamp = f"{results.stat().st_mtime_ns}:{results.stat().st_size}" if there else ""
    loaded = database.execute("SELECT stamp FROM jobs WHERE image = ? AND report = ?", (image, table)).fetchone()
    if there and loaded == (stamp,):
        return
    make_table(database, table, [])
    database.execute(f"DELETE FROM {quoted(table)} WHERE image = ?", (image,))
    rows = load(database, table, image, results) if there else 0
    words = words_of(results)
    state = "failed" if not there else "incomplete" if "->err:" in words else "complete"
    database.execute("INSERT OR REPLACE INTO jobs VALUES (?, ?, ?, ?, ?, ?)",
                     (image, table, state, rows, words[-WORDS:].strip(), stamp))


def main(path, folder, images, *reports):
    database = sqlite3.connect(path)
    database.execute("CREATE TABLE IF NOT EXISTS jobs "
                     "(image TEXT, report TEXT, state TEXT, rows INTEGER, words TEXT, stamp TEXT, PRIMARY KEY (image, report))")
    with open(images, newline="") as table:
        names = [row["image"] for row in csv.DictReader(table, delimiter="\t", quoting=csv.QUOTE_NONE)]
    for report, image in itertools.product(reports, names):
        with database:  # one transaction: all rows of an image, or those of before
            collect(database, report, image, pathlib.Path(folder, report, f"{image}.csv"))
    for image, report, state, words in database.execute("SELECT image, report, state, words FROM jobs WHERE state <> 'complete'"):
        lines = words.splitlines() or ["has not run"]
        print(f"{state}: {image}, {report}:", next((line for line in lines if "err:" in line), lines[-1]))


if __name__ == "__main__":
    main(*sys.argv[1:])
