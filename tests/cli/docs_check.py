#!/usr/bin/env python3
"""Runs the commands of a document and compares what they print with what the document shows.

In a fenced block that opens with ```console, a line "$ ..." is a command for bash; one that ends in a back slash
goes on in the next. What follows, up to the next command or the fence, is its output to the byte, standard error too. A
line "[...]" stands for any number of lines. Each command is a shell of its own (UTC, C.UTF-8) in one scratch folder a
document (HOME too), where copies of samples/ (packed images unpacked) and examples/ lie, with grelmoor on the PATH.
```console needs=jq,/dev/fuse is passed over, with a word, where a program or a file that one may write is missing.
--rewrite writes what the commands print into the document: the difference is the review.
"""
import argparse
import os
import pathlib
import re
import shutil
import subprocess

import support
from support import equal

FENCE = re.compile(r"^(`{3,})console(?: +needs=(\S+))? *\n(.*?)^\1 *$", re.M | re.S)
COMMAND = re.compile(r"^\$ (?:.*\\\n)*.*\n", re.M)
ANY_LINES = "[...]\n"


def missing(needs):
    return [each for each in (needs or "").split(",") if each and not
            (os.access(each, os.W_OK) if each.startswith("/") else shutil.which(each))]


def lay_out(scratch, program):
    shutil.rmtree(scratch, ignore_errors=True)
    (scratch / "samples").mkdir(parents=True)
    for file in support.SAMPLES.iterdir():
        if file.suffix in support.OPENERS:
            support.unpack(file, scratch / "samples" / file.stem)
        else:
            shutil.copy(file, scratch / "samples")
    if (support.ROOT / "examples").is_dir():
        shutil.copytree(support.ROOT / "examples", scratch / "examples")
    programs = scratch.with_suffix(".bin")
    shutil.rmtree(programs, ignore_errors=True)
    programs.mkdir()
    (programs / "grelmoor").symlink_to(program)
    path = f"{programs}:{os.environ['PATH']}"
    return {**os.environ, "HOME": str(scratch), "PATH": path, "LC_ALL": "C.UTF-8", "TZ": "UTC"}


def printed(command, scratch, environment):
    done = subprocess.run(["bash", "-c", command], cwd=scratch, env=environment, stdin=subprocess.DEVNULL,
                          stdout=subprocess.PIPE, stderr=subprocess.STDOUT, timeout=300)
    text = done.stdout.decode("utf-8", "backslashreplace")
    return text if not text or text.endswith("\n") else text + "\n"


def agrees(expected, text):
    pieces = re.split(rf"^{re.escape(ANY_LINES)}", expected, flags=re.M)
    return re.fullmatch(r"(?:.*\n)*?".join(map(re.escape, pieces)), text) is not None


def run_block(body, where, scratch, environment):
    """The block with what its commands print."""
    commands = list(COMMAND.finditer(body))
    begins = commands[0].start() if commands else len(body)
    equal(f"lines ahead of the first \"$ ...\" at {where}", body[:begins].strip(), "")
    result, ends = body[:begins], [command.start() for command in commands[1:]] + [len(body)]
    for command, end in zip(commands, ends):
        expected, text = body[command.end():end], printed(command.group()[2:], scratch, environment)
        if agrees(expected, text):
            text = expected
        equal(f"output at {where}: {command.group()}", text, expected)
        result += command.group() + text
    return result


def check(document, scratch, environment):
    """The document with what its commands print."""
    text, result, at = document.read_text(), "", 0
    blocks = list(FENCE.finditer(text))
    opened = re.findall("^`{3,}console", text, re.M)
    equal(f"blocks of {document.name} that are closed, and say no more than needs=...", len(blocks), len(opened))
    for block in blocks:
        where = f"{document.name}:{text.count(chr(10), 0, block.start()) + 1}"
        if absent := missing(block.group(2)):
            print(f"{where}: passed over, not here: {', '.join(absent)}")
            continue
        result += text[at:block.start(3)] + run_block(block.group(3), where, scratch, environment)
        at = block.end(3)
    return result + text[at:]


def main():
    parser = argparse.ArgumentParser()
    parser.add_argument("--program", default=support.ROOT / "build" / "release" / "grelmoor", type=os.path.abspath)
    parser.add_argument("--work", default=support.ROOT / "build" / "release" / "docs_check", type=pathlib.Path)
    parser.add_argument("--rewrite", action="store_true")
    parser.add_argument("document", type=pathlib.Path)
    options = parser.parse_args()
    scratch = options.work.resolve() / options.document.stem
    environment = lay_out(scratch, options.program)
    text = check(options.document, scratch, environment)
    if options.rewrite:
        options.document.write_text(text)
    if not support.compared["output"] and not support.differences:
        support.skip("no block of it can run here")
    support.finish()


if __name__ == "__main__":
    main()
