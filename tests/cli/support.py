"""What the scripts of this folder share: their arguments, the data beside the checkout, packed files, and skipping.

Used by run_cases.py and the witnesses. Knows neither the program's options nor what any toolkit prints.
"""
import argparse
import gzip
import lzma
import os
import pathlib
import shutil
import sys

ROOT = pathlib.Path(__file__).resolve().parents[2]
SAMPLES = ROOT / "samples"
BLOCK = 1 << 20
OPENERS = {".gz": gzip.open, ".xz": lzma.open}


def skip(why):
    """Ends the test with what ctest takes for "skipped"."""
    print("skipped:", why)
    sys.exit(77)


def require(*tools):
    missing = [tool for tool in tools if shutil.which(tool) is None]
    if missing:
        skip("not installed: " + ", ".join(missing))


def data_folder():
    """The real volumes: GRELMOOR_DATA, or shared/data beside the checkout; None where there are none."""
    folder = pathlib.Path(os.environ.get("GRELMOOR_DATA", ROOT.parent / "shared" / "data"))
    return folder if folder.is_dir() else None


def require_data():
    return data_folder() or skip("no data beside the checkout, and GRELMOOR_DATA names none")


def unpack(packed, target, most=None):
    """At most `most` bytes of what a .gz or .xz file holds; zeros become holes."""
    with OPENERS[packed.suffix](packed) as source, open(target, "wb") as file:
        while block := source.read(BLOCK if most is None else min(BLOCK, most - file.tell())):
            file.write(block) if block.strip(b"\0") else file.seek(len(block), os.SEEK_CUR)
        file.truncate()


def read_options(description, *parts):
    """The arguments that CMake gives to a witness. `command`: the program behind what it runs under, if anything."""
    parser = argparse.ArgumentParser(description=description)
    parser.add_argument("part", choices=parts)
    parser.add_argument("--program", required=True, type=os.path.abspath)
    parser.add_argument("--launcher", help="what the program runs under")
    parser.add_argument("--work", required=True, type=pathlib.Path)
    options = parser.parse_args()
    options.command = [*([options.launcher] if options.launcher else []), options.program]
    options.work = options.work.resolve() / options.part
    options.work.mkdir(parents=True, exist_ok=True)
    return options
