#!/usr/bin/env python3
"""Fails where docs/options.txt, the sources, the manual, the completions and the README know different options.

An option is read where a text that looks like one stands by itself in the sources; the scanner that it is given to, or
its row in the table of a pass, tells whether it has a value.
"""
import pathlib
import re
import shutil
import subprocess
import sys

ROOT = pathlib.Path(__file__).resolve().parents[2]
sys.path.insert(0, str(ROOT / "scripts"))
import make_completions  # noqa: E402

OPTION = re.compile(r'"(-[A-Za-z][A-Za-z0-9_]*|--[a-z]+|/\?)"')
FORM = re.compile(r'\{"(-\w+)",\s*(?:option_form::)?(flag|value|repeated_value)\b|take_(flag|value)(?:_wide)?\("(-\w+)"')
# In the text of a document; "--" inside options of other programs is not looked at.
NAMED = re.compile(r"(?<![\w./*-])-[a-z][A-Za-z0-9]*(?:_\w+)*(?![\w-])")
SHELLS = {"grelmoor.bash": ["bash", "-n"], "_grelmoor": ["zsh", "-n"], "grelmoor.fish": ["fish", "--no-execute"]}


def read_sources():
    """Option names that the sources hold, and the pairs of name and form."""
    text = "\n".join(re.sub(r"//.*", "", path.read_text()) for path in sorted((ROOT / "src").rglob("*.cpp")))
    forms = {(first or last, (kind or call).removeprefix("repeated_")) for first, kind, call, last in FORM.findall(text)}
    return set(OPTION.findall(text)), forms


def source_faults(options):
    read, forms = read_sources()
    listed = {entry.name: "flag" if entry.value == "-" else "value" for entry in options}
    yield from (f"{name} is read, and not in docs/options.txt" for name in sorted(read - listed.keys()))
    yield from (f"{name} is in docs/options.txt, and not read" for name in sorted(listed.keys() - read))
    yield from (f"{name} is a {form} in the sources, a {listed[name]} in docs/options.txt"
                for name, form in sorted(forms) if listed.get(name, form) != form)
    if len(forms) < len(options) / 2:
        yield "the tables of the passes are not understood: their form has changed"


def manual_faults(options):
    manual = (ROOT / "docs/grelmoor.1").read_text().replace("\\-", "-").replace("\\&", "")
    entries = dict(re.findall(r"^\.TP\n\.(?:B|BI|BR) \"?([-/][\w?-]+) ?\"?(.*)$", manual, re.M))
    names = {entry.name for entry in options}
    yield from (f"{name} has no entry in the manual" for name in sorted(names - entries.keys()))
    yield from (f"{name} has an entry in the manual, and is not in docs/options.txt" for name in sorted(entries.keys() - names))
    yield from (f"{entry.name}: the manual and docs/options.txt do not agree whether it has a value"
                for entry in options if entry.name in entries and (entry.value == "-") != (entries[entry.name] == ""))


def readme_faults(options):
    names = {entry.name for entry in options}
    quoted = re.findall(r"`([^`]+)`|^    (?:\$ )?(?:\./run\.sh|grelmoor) (.+)$", (ROOT / "README.md").read_text(), re.M)
    named = {name for span in quoted for name in NAMED.findall(re.sub(r" \| .*", "", " ".join(span))) if not span[0].startswith(("./", "cmake"))}
    yield from (f"README.md names {name}, which is not in docs/options.txt" for name in sorted(named - names))


def completion_faults():
    for name, text in make_completions.completions().items():
        path = ROOT / "completions" / name
        if not path.is_file() or path.read_text() != text:
            yield f"completions/{name} is not what scripts/make_completions.py writes"
        elif name in SHELLS and shutil.which(SHELLS[name][0]):
            checked = subprocess.run([*SHELLS[name], path], capture_output=True, text=True, check=False)
            if checked.returncode != 0:
                yield f"completions/{name}: {checked.stderr}"


def main():
    options = make_completions.read_options()
    faults = [*source_faults(options), *manual_faults(options), *readme_faults(options), *completion_faults()]
    print("\n".join(faults) or f"{len(options)} options")
    return 1 if faults else 0


if __name__ == "__main__":
    sys.exit(main())
