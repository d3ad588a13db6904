"""What the scripts of this folder share: their arguments, running the program, comparing, the data beside the checkout,
packed files, devices, and skipping.

Knows nothing of what any toolkit prints: that is toolkit.py.
"""
import argparse
import collections
import contextlib
import difflib
import gzip
import itertools
import lzma
import os
import pathlib
import shutil
import subprocess
import sys

ROOT = pathlib.Path(__file__).resolve().parents[2]
SAMPLES = ROOT / "samples"
BLOCK = 1 << 20
OPENERS = {".gz": gzip.open, ".xz": lzma.open}
compared, differences = collections.Counter(), []


def apart(ours, expected):
    """What tells them apart: of texts the lines, of sets the items that one of them alone has."""
    if isinstance(ours, str) and "\n" in ours + str(expected):
        texts = [str(each).splitlines(keepends=True) for each in (expected, ours)]
        return "".join(itertools.islice(difflib.unified_diff(*texts, "expected", "program"), 60))
    if isinstance(ours, set) and isinstance(expected, set):
        ours, expected = ours - expected, expected - ours
    return f"  program  {ours!s:.900}\n  expected {expected!s:.900}"


def equal(what, ours, expected):
    """`what` begins with the word under which the comparison is counted."""
    compared[str(what).split(" ")[0]] += 1
    if ours != expected:
        differences.append(f"{what}:\n{apart(ours, expected)}")


def finish(least=1):
    """Ends the test, with a fault if anything differed or if fewer than `least` comparisons were made."""
    sys.stdout.reconfigure(errors="backslashreplace")  # what names on a volume hold
    print(*differences[:30], sep="\n")
    print(f"{compared.total()} comparisons {dict(compared.most_common(12))}, {len(differences)} differ")
    if compared.total() < least:
        print(f"fewer than {least}: nothing was proved")
    sys.exit(1 if differences or compared.total() < least else 0)


def skip(why):
    """Ends the test with what ctest takes for "skipped"."""
    print("skipped:", why)
    sys.exit(77)


def require(*tools, root=False):
    missing = [tool for tool in tools if shutil.which(tool) is None]
    if missing:
        skip("not installed: " + ", ".join(missing))
    if root and os.geteuid() != 0:
        skip("not root")


def data_folder():
    """The real volumes: GRELMOOR_DATA, or shared/data beside the checkout; None where there are none."""
    folder = pathlib.Path(os.environ.get("GRELMOOR_DATA", ROOT.parent / "shared" / "data"))
    return folder if folder.is_dir() else None


def require_data():
    return data_folder() or skip("no data beside the checkout, and GRELMOOR_DATA names none")


def unpack(packed, target, most=None, behind=0):
    """At most `most` bytes of what a .gz or .xz file holds behind its first bytes; zeros become holes."""
    with OPENERS[packed.suffix](packed) as source, open(target, "wb") as file:
        source.seek(behind)
        while block := source.read(BLOCK if most is None else min(BLOCK, most - file.tell())):
            file.write(block) if block.strip(b"\0") else file.seek(len(block), os.SEEK_CUR)
        file.truncate()
    return target


@contextlib.contextmanager
def loop_device(path, sector=512):
    made = subprocess.run(["losetup", "-f", "--show", "-b", str(sector), path], capture_output=True)
    if made.returncode != 0:
        skip("no loop device to be had")
    device = made.stdout.decode().strip()
    try:
        yield device
    finally:
        subprocess.run(["losetup", "-d", device])


class Test:
    """One test as CMake calls it, with the part of its script, if that has parts, and a folder of its own."""

    def __init__(self, description, *parts):
        parser = argparse.ArgumentParser(description=description)
        if parts:
            parser.add_argument("part", choices=parts)
        parser.add_argument("--program", required=True, type=os.path.abspath)
        parser.add_argument("--launcher", help="what the program runs under")
        parser.add_argument("--work", required=True, type=pathlib.Path)
        options = parser.parse_args()
        self.part, self.program = getattr(options, "part", ""), options.program
        self.under_wine = options.launcher is not None
        self.command = [*([options.launcher] if options.launcher else []), options.program]
        self.work = options.work.resolve() / self.part
        self.work.mkdir(parents=True, exist_ok=True)

    def host(self, path):
        """As the program names it: Wine shows this host's root as a drive."""
        return f"Z:{path}" if self.under_wine else str(path)

    def run(self, *words, through=(), **settings):
        """What came of the program: `stdout` and, as text, `stderr`, with the line ends of this host; `returncode`."""
        command = [*through, *self.command, "-quiet", *map(str, words)]
        done = subprocess.run(command, capture_output=True, timeout=600, **settings)
        done.stdout, done.stderr = done.stdout.replace(b"\r\n", b"\n"), done.stderr.decode().replace("\r", "")
        return done

    def rows(self, *words, code=0):
        """The cells of a table, its labels first; empty if there is none."""
        done = self.run("-no_run_header", "-csv_separator", "tab", "-no_whitespace", *words)
        assert done.returncode == code, (words, done.returncode, done.stderr)
        return [line.split("\t") for line in done.stdout.decode("utf-8", "surrogateescape").split("\n")[:-1]]

    def sample(self, name="small.img"):
        return unpack(SAMPLES / f"{name}.gz", self.work / name)
