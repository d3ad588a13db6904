#!/usr/bin/env python3
"""Fails on an include that runs back through the order of the folders, and on what belongs into src/platform alone.

A folder may include itself and every folder to its right.
"""
import pathlib
import re
import sys

ORDER = ["front", "instances", "walk", "report", "extract", "run", "ntfs", "sources", "platform", "base"]
SYSTEM_HEADER = re.compile(r"#\s*include <(windows\.h|unistd\.h|fcntl\.h|io\.h|process\.h|dirent\.h|shl\w+\.h|winioctl\.h|sys/\S+|linux/\S+)>")
CONDITION = re.compile(r"#\s*if(n?def)?\b.*(_WIN32|_WIN64|__linux__|__unix__|__APPLE__|_MSC_VER|__MINGW)")


def faults_of(path, source):
    folder = path.relative_to(source).parts[0] if path.parent != source else "front"
    for number, line in enumerate(path.read_text().splitlines(), 1):
        where = f"{path}:{number}"
        if folder != "platform" and (SYSTEM_HEADER.match(line) or CONDITION.match(line)):
            yield f"{where}: belongs into platform/: {line}"
        included = re.match(r'#\s*include "([^"]+)"', line)
        if included is None:
            continue
        target = included.group(1).split("/")[0]
        if target not in ORDER:
            yield f"{where}: not below a folder of src/: {line}"
        elif ORDER.index(target) < ORDER.index(folder):
            yield f"{where}: {folder}/ must not know {target}/: {line}"


def main():
    source = pathlib.Path(sys.argv[1])
    files = [path for path in source.rglob("*") if path.suffix in (".cpp", ".h")]
    faults = [fault for path in files for fault in faults_of(path, source)]
    print("\n".join(faults) or f"{len(files)} files in order")
    return 1 if faults or not files else 0


if __name__ == "__main__":
    sys.exit(main())
