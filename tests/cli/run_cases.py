#!/usr/bin/env python3
"""Runs the program as its user does: one folder a case.

A case holds `command` ("grelmoor ..." with $samples, $data and $tmp) and what is expected of it: stdout, stderr and
out ($tmp/out, where -out $tmp/out was asked for), each as NAME.exact or NAME.like; `exit` if the code is not 0. What is
absent means "empty". Lines of `command` that begin with "#" say what else agreed with the result. In a .like file a line "..." stands for any lines, and "..." inside a line for any text.
Under a launcher (Wine) the same cases run; line ends are LF there once they have been seen to be CR LF.
--rewrite CASE (a name or a folder) writes what the built program gives into the .exact files: the difference is the
review.
"""
import argparse
import os
import pathlib
import re
import shlex
import shutil
import subprocess
import sys

import support

RELEASE = support.ROOT / "build" / "release"

def unpacked(source, work):
    """The file itself, or what it is packed around, kept below the work folder."""
    if source.exists():
        return source
    for suffix in support.OPENERS:
        packed = source.with_name(source.name + suffix)
        if not packed.exists():
            continue
        target = work / "unpacked" / source.name
        if not target.exists():
            target.parent.mkdir(parents=True, exist_ok=True)
            part = target.with_name(f"{target.name}.{os.getpid()}")
            support.unpack(packed, part)
            part.rename(target)
        return target
    return source


def arguments_of(case, work, scratch):
    lines = [line for line in (case / "command").read_text().splitlines() if not line.startswith("#")]
    words = shlex.split(" ".join(lines))
    assert words[0] == "grelmoor", f"{case}: a command begins with grelmoor"
    folders = {"$samples/": support.SAMPLES, "$data/": support.data_folder(), "$case/": case}
    result = []
    for word in words[1:]:
        for prefix, folder in folders.items():
            if not word.startswith(prefix):
                continue
            if folder is None:
                support.require_data()
            word = str(unpacked(folder / word[len(prefix):], work))
        result.append(word.replace("$tmp", str(scratch)))
    return result


def plain_lines(raw, is_windows, what):
    if is_windows:
        assert raw.count(b"\n") == raw.count(b"\r\n"), f"{what}: a line end is no CR LF"
        raw = raw.replace(b"\r\n", b"\n")
    return without_moment(raw.decode("utf-8", "surrogateescape"))


# What differs from run to run, once its shape has been checked: moment, machine, command.
HEADER = re.compile(r'run time: .+ \d\d:\d\d:\d\d\.\d\d\d \[local time\]; computer: .+; os: .+\n"cmdline: .+"\n\n')


def without_moment(text):
    return HEADER.sub("run time and command\n\n", text, count=1)


def matches(expected, text):
    pattern = []
    for line in expected.splitlines(keepends=True):
        if line.strip() == "...":
            pattern.append(r"(?:.*\n)*?")
        else:
            pattern.append(".*".join(re.escape(piece) for piece in line.split("...")))
    return re.fullmatch("".join(pattern), text) is not None


def compare(case, name, text, rewrite):
    like, exact = case / f"{name}.like", case / f"{name}.exact"
    if like.exists():
        if matches(like.read_text(), text):
            return True
        expected = like
    else:
        if rewrite and text:
            exact.write_text(text, errors="surrogateescape")
        if text == (exact.read_text(errors="surrogateescape") if exact.exists() else ""):
            return True
        expected = exact
    print(f"{case.name}: {name} differs from {expected.name}; it was:\n{text}")
    return False


def run_case(case, options):
    work = pathlib.Path(options.work).resolve()
    scratch = work / case.name
    shutil.rmtree(scratch, ignore_errors=True)
    scratch.mkdir(parents=True)
    command = options.launcher + [options.program] + arguments_of(case, work, scratch)
    done = subprocess.run(command, capture_output=True, cwd=scratch, timeout=120, stdin=subprocess.DEVNULL)
    is_windows = bool(options.launcher)
    results = scratch / "out"
    streams = {"stdout": done.stdout, "stderr": done.stderr}
    if results.exists():
        streams["out"] = results.read_bytes()
    passed = all([compare(case, name, plain_lines(raw, is_windows, name), options.rewrite) for name, raw in streams.items()])
    wanted = int((case / "exit").read_text()) if (case / "exit").exists() else 0
    if done.returncode != wanted & 0xFF:
        print(f"{case.name}: exit code {done.returncode}, not {wanted & 0xFF}")
        passed = False
    return passed


def main():
    parser = argparse.ArgumentParser()
    parser.add_argument("--program", default=RELEASE / "grelmoor", type=os.path.abspath)
    parser.add_argument("--launcher", nargs=1, default=[])
    parser.add_argument("--work", default=RELEASE / "cli")
    parser.add_argument("--rewrite", action="store_true")
    parser.add_argument("cases", nargs="+", type=pathlib.Path)
    options = parser.parse_args()
    folders = [case if case.is_dir() else pathlib.Path(__file__).parent / case for case in options.cases]
    failures = [case.name for case in folders if not run_case(case.resolve(), options)]
    return 1 if failures else 0


if __name__ == "__main__":
    sys.exit(main())
