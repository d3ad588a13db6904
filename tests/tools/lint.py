#!/usr/bin/env python3
"""Fails where clang-format would write something else, or clang-tidy finds fault with a source.

format:              every source below src, tests and bench; --fix writes what clang-format would write
src, windows, tests: clang-tidy over that part, with the configuration of .clang-tidy

Most of clang-tidy's time goes into the headers of the system, so the sources of a folder are looked at together, as
includes of one file. Where they cannot stand together (a name used twice), each half is looked at.
"""
import argparse
import pathlib
import subprocess
import sys
import tempfile

ROOT = pathlib.Path(__file__).resolve().parents[2]
LANGUAGE = ["-std=c++20", f"-I{ROOT}/src", f"-I{ROOT}/tests", '-DGRELMOOR_SOURCE_DIR=""', "-Wno-unused-function",
            "-Wall", "-Wextra", "-Wpedantic", "-Wconversion", "-Wno-sign-conversion"]
# The analyzer's thorough mode takes ten times as long; it looks at included sources only when told to.
ANALYZER = ["-Xclang", "-analyzer-opt-analyze-headers", "-Xclang", "-analyzer-config", "-Xclang", "mode=shallow"]


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


def one_of_several(path, number):
    """Programs have a main each, fuzz targets their laws: under names of their own they stand together."""
    names = ("main", "run_input", "LLVMFuzzerTestOneInput", "expect", "most_records", "shapes")
    own = "".join(f"#define {name} {name}_{number}\n" for name in names)
    return own + f'#include "{path}"\n' + "".join(f"#undef {name}\n" for name in names)


def tidy(batch, checks, flags, work):
    """What clang-tidy finds in sources that are compiled as one."""
    joined = work / "joined.cpp"
    joined.write_text("".join(one_of_several(path, number) for number, path in enumerate(batch)))
    command = ["clang-tidy", "--quiet", f"--config-file={ROOT}/.clang-tidy", f"--checks={checks}", joined, "--", *LANGUAGE, *flags]
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
