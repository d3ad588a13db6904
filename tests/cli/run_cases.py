#!/usr/bin/env python3
"""Runs the program as its user does: one folder a case.

A case holds `command` ("grelmoor ..." with $samples, $data and $tmp) and what is expected of it: stdout, stderr and
out ($tmp/out, where -out or -diags asked for it), each as NAME.exact; `exit` if the code is not 0. What is absent means
"empty". Lines of `command` that begin with "#" say what else agreed with the result.
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

import support

RELEASE = support.ROOT / "build" / "release"
# What differs from run to run, once its shape has been checked: moment, machine, command; ahead of a log, the command.
HEADER = re.compile(r'run time: .+ \d\d:\d\d:\d\d\.\d{3} \[local time\]; computer: .+; os: .+\n"cmdline: .+"\n\n'
                    r'|^->.+ -diags .+\n')


def unpacked(source, work):
    """The file itself, or what it is packed around, kept below the work folder."""
    packed = next((path for path in source.parent.glob(f"{source.name}.*") if path.suffix in support.OPENERS), None)
    target = work / "unpacked" / source.name
    if source.exists() or packed is None:
        return source
    if not target.exists():
        target.parent.mkdir(parents=True, exist_ok=True)
        # Cases run side by side.
        support.unpack(packed, target.with_name(f"{target.name}.{os.getpid()}")).rename(target)
    return target


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
    return HEADER.sub("run time and command\n\n", raw.decode("utf-8", "surrogateescape"), count=1)


def compare(case, name, text, rewrite):
    exact = case / f"{name}.exact"
    if rewrite and text:
        exact.write_text(text, errors="surrogateescape")
    support.equal(f"{name} of {case.name}", text, exact.read_text(errors="surrogateescape") if exact.exists() else "")


def run_case(case, options):
    work = options.work.resolve()
    scratch = work / case.name
    shutil.rmtree(scratch, ignore_errors=True)
    scratch.mkdir(parents=True)
    command = options.launcher + [options.program] + arguments_of(case, work, scratch)
    done = subprocess.run(command, capture_output=True, cwd=scratch, timeout=120, stdin=subprocess.DEVNULL)
    results = scratch / "out"
    streams = {"stdout": done.stdout, "stderr": done.stderr}
    if results.exists():
        streams["out"] = results.read_bytes()
    for name, raw in streams.items():
        compare(case, name, plain_lines(raw, bool(options.launcher), name), options.rewrite)
    wanted = int((case / "exit").read_text()) if (case / "exit").exists() else 0
    support.equal(f"exit code of {case.name}", done.returncode, wanted & 0xFF)


def main():
    parser = argparse.ArgumentParser()
    parser.add_argument("--program", default=RELEASE / "grelmoor", type=os.path.abspath)
    parser.add_argument("--launcher", nargs=1, default=[])
    parser.add_argument("--work", default=RELEASE / "run_cases", type=pathlib.Path)
    parser.add_argument("--rewrite", action="store_true")
    parser.add_argument("cases", nargs="+", type=pathlib.Path)
    options = parser.parse_args()
    for case in options.cases:
        run_case((case if case.is_dir() else pathlib.Path(__file__).parent / case).resolve(), options)
    support.finish()


if __name__ == "__main__":
    main()
