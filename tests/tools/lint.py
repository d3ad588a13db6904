#!/usr/bin/env python3
"""Fails where clang-format would write something else, or clang-tidy finds fault with a source.

format:              every source below src, tests and bench; --fix writes what clang-format would write
src, windows, tests: clang-tidy over that part, with the configuration of .clang-tidy

Most of clang-tidy's time goes into the headers of the system, so the sources of a folder are looked at together, as
includes of one file, each with the names of its own that others use as well changed. Where they cannot stand together
all the same, each half is looked at.
"""
import argparse
import collections
import pathlib
import re
import subprocess
import sys
import tempfile

ROOT = pathlib.Path(__file__).resolve().parents[2]
LANGUAGE = ["-std=c++20", f"-I{ROOT}/src", f"-I{ROOT}/tests", f"-I{ROOT}/bench", '-DGRELMOOR_SOURCE_DIR=""',
            "-Wno-unused-function", "-Wall", "-Wextra", "-Wpedantic", "-Wconversion", "-Wno-sign-conversion"]
# The analyzer's thorough mode takes ten times as long; it looks at included sources only when told to.
ANALYZER = ["-Xclang", "-analyzer-opt-analyze-headers", "-Xclang", "-analyzer-config", "-Xclang", "mode=shallow"]

# Names of headers and enumerators that some sources give to what is their own.
OTHERS_NAMES = ["always", "match_signature", "most_runs", "times"]


def mingw_flags():
    version = subprocess.run(["x86_64-w64-mingw32-g++-posix", "-print-file-name=include"], capture_output=True, text=True, check=True)
    library = pathlib.Path(version.stdout.strip()).parent / "include" / "c++"
    return ["--target=x86_64-w64-mingw32", "-nostdinc++", "-isystem", str(library), "-isystem", f"{library}/x86_64-w64-mingw32",
            "-DUNICODE", "-D_UNICODE", "-D_WIN32_WINNT=0x0A00"]


def sources(*folders, endings=(".cpp",)):
    return sorted(path for folder in folders for path in (ROOT / folder).rglob("*") if path.suffix in endings)


def by_folder(files):
    folders = {}
    for path in files:
        folders.setdefault(path.parent, []).append(path)
    return list(folders.values())


def own_names(text):
    """What a source declares for itself alone, and what each program has: at the start of a line."""
    blocks = re.findall(r"^namespace \{\n(.*?)^\}  // namespace$", text, re.DOTALL | re.MULTILINE)
    blocks += re.findall(r"^(?:int|extern \"C\" int) \w+\(", text, re.MULTILINE)
    names = re.findall(r"^(?!using .*;$)[^\s/#].*?\b(\w+)\s*(?:[(={\[;]|:(?!:))", "\n".join(blocks), re.MULTILINE)
    names += re.findall(r"^using (\w+) =", "\n".join(blocks), re.MULTILINE)
    return set(names) - {"operator", "static_assert", "public", "private"}


def joined(batch):
    """One text of several sources: their headers first, then each of them with names that others have as well changed."""
    texts = [path.read_text() for path in batch]
    headers = list(dict.fromkeys(line for text in texts for line in re.findall(r"^#include .*", text, re.MULTILINE)))
    often = collections.Counter([*(name for text in texts for name in own_names(text)), *OTHERS_NAMES])
    parts = []
    for number, (path, text) in enumerate(zip(batch, texts)):
        names = sorted(name for name in own_names(text) if often[name] > 1)
        parts += [f"#define {name} {name}_{number}" for name in names]
        parts += [f'#include "{path}"', *(f"#undef {name}" for name in names)]
    return "\n".join([*headers, *parts, ""])


def tidy(batch, checks, flags, work):
    """What clang-tidy finds in sources that are compiled as one."""
    source = work / "joined.cpp"
    source.write_text(joined(batch))
    command = ["clang-tidy", "--quiet", f"--config-file={ROOT}/.clang-tidy", f"--checks={checks}", source, "--",
               *LANGUAGE, *flags]
    done = subprocess.run(command, stdout=subprocess.PIPE, stderr=subprocess.STDOUT, text=True)
    if done.returncode != 0 and len(batch) > 1:
        middle = len(batch) // 2
        return tidy(batch[:middle], checks, flags, work) + tidy(batch[middle:], checks, flags, work)
    return done.stdout if done.returncode != 0 or " warning: " in done.stdout else ""


def tidy_part(part):
    windows = ROOT / "src" / "platform" / "windows"
    no_cost = "-performance-*,-clang-analyzer-*"  # what a test costs is no matter
    files, checks, flags = {
        "src": lambda: ([path for path in sources("src") if path.parent != windows], "", ANALYZER),
        "windows": lambda: (sources("src/platform/windows"), "", [*ANALYZER, *mingw_flags()]),
        "tests": lambda: (sources("tests", "bench"), no_cost, []),
    }[part]()
    with tempfile.TemporaryDirectory() as work:
        return "".join(tidy(batch, checks, flags, pathlib.Path(work)) for batch in by_folder(files)), len(files)


def check_format(fix):
    files = sources("src", "tests", "bench", endings=(".cpp", ".h"))
    done = subprocess.run(["clang-format", *(["-i"] if fix else ["--dry-run", "-Werror"]), *files], stderr=subprocess.PIPE, text=True)
    return done.stderr, len(files)


def main():
    parser = argparse.ArgumentParser()
    parser.add_argument("part", choices=["format", "src", "windows", "tests"])
    parser.add_argument("--fix", action="store_true")
    options = parser.parse_args()
    findings, count = check_format(options.fix) if options.part == "format" else tidy_part(options.part)
    print(findings.replace(f"{ROOT}/", "") or f"{count} files in order")
    return 1 if findings or count == 0 else 0


if __name__ == "__main__":
    sys.exit(main())
