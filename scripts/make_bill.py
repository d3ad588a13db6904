#!/usr/bin/env python3
"""Writes an SPDX 2.3 bill of materials beside the packages: scripts/make_bill.py FOLDER

What each package holds of other makers, as the build machine's package database names it. The same packages and the
same build machine give the same bytes; SOURCE_DATE_EPOCH is the time.
"""
import datetime
import hashlib
import json
import os
import pathlib
import subprocess
import sys

# Of each kind of package: what is linked into its binary or stands beside it, and what compiled it.
MATERIALS = {
    ".deb": [("DYNAMIC_LINK", "libc6"), ("DYNAMIC_LINK", "libstdc++6"), ("BUILD_TOOL_OF", "g++-12")],
    ".tar.gz": [("STATIC_LINK", "libc6-dev"), ("STATIC_LINK", "libstdc++-12-dev"), ("BUILD_TOOL_OF", "g++-12")],
    ".zip": [("STATIC_LINK", "mingw-w64-x86-64-dev"), ("STATIC_LINK", "gcc-mingw-w64-x86-64-posix-runtime"),
             ("BUILD_TOOL_OF", "g++-mingw-w64-x86-64-posix")],
}


def installed(package):
    """Version, source, and version of the source, of an installed Debian package."""
    form = "${Version}\t${source:Package}\t${source:Version}"
    return subprocess.run(["dpkg-query", "-W", "-f", form, package], capture_output=True, text=True,
                          check=True).stdout.split("\t")


def material(name):
    version, source, source_version = installed(name)
    return {
        "SPDXID": f"SPDXRef-material-{name.replace('+', 'p')}", "name": name, "versionInfo": version,
        "supplier": "Organization: Debian", "downloadLocation": "NOASSERTION", "filesAnalyzed": False,
        "licenseConcluded": "NOASSERTION", "licenseDeclared": "NOASSERTION", "copyrightText": "NOASSERTION",
        "externalRefs": [{"referenceCategory": "PACKAGE-MANAGER", "referenceType": "purl",
                          "referenceLocator": f"pkg:deb/debian/{source}@{source_version}?arch=source".replace("+", "%2B")}],
    }


def artifact(path):
    content = path.read_bytes()
    return {
        "SPDXID": f"SPDXRef-{path.name.replace('_', '-')}", "fileName": f"./{path.name}", "fileTypes": ["ARCHIVE"],
        "checksums": [{"algorithm": name.upper(), "checksumValue": hashlib.new(name, content).hexdigest()}
                      for name in ("sha1", "sha256")],
        "licenseConcluded": "NOASSERTION", "licenseInfoInFiles": ["NOASSERTION"], "copyrightText": "NOASSERTION",
    }


def relations_of(path):
    ref = artifact(path)["SPDXID"]
    yield "SPDXRef-DOCUMENT", "DESCRIBES", ref
    yield ref, "GENERATED_FROM", "SPDXRef-grelmoor"
    for kind, name in next(parts for end, parts in MATERIALS.items() if path.name.endswith(end)):
        other = f"SPDXRef-material-{name.replace('+', 'p')}"
        yield (other, kind, ref) if kind == "BUILD_TOOL_OF" else (ref, kind, other)


def bill(paths, version):
    files = [artifact(path) for path in paths]
    names = sorted({name for parts in MATERIALS.values() for _, name in parts})
    relations = [("SPDXRef-DOCUMENT", "DESCRIBES", "SPDXRef-grelmoor")]
    relations += [relation for path in paths for relation in relations_of(path)]
    sums = "".join(file["checksums"][1]["checksumValue"] for file in files)
    moment = datetime.datetime.fromtimestamp(int(os.environ["SOURCE_DATE_EPOCH"]), datetime.timezone.utc)
    return {
        "spdxVersion": "SPDX-2.3", "dataLicense": "CC0-1.0", "SPDXID": "SPDXRef-DOCUMENT", "name": f"grelmoor-{version}",
        "documentNamespace": f"https://spdx.org/spdxdocs/grelmoor-{version}-{hashlib.sha256(sums.encode()).hexdigest()}",
        "creationInfo": {"created": moment.strftime("%Y-%m-%dT%H:%M:%SZ"), "creators": ["Tool: make_bill.py"]},
        # The sources state no licence: NONE says so.
        "packages": [{"SPDXID": "SPDXRef-grelmoor", "name": "grelmoor", "versionInfo": version, "downloadLocation": "NOASSERTION",
                      "filesAnalyzed": False, "licenseConcluded": "NOASSERTION", "licenseDeclared": "NONE",
                      "copyrightText": "NOASSERTION", "primaryPackagePurpose": "APPLICATION"},
                     *map(material, names)],
        "files": files,
        "relationships": [dict(zip(("spdxElementId", "relationshipType", "relatedSpdxElement"), relation)) for relation in relations],
    }


def main():
    folder = pathlib.Path(sys.argv[1])
    paths = sorted(path for path in folder.iterdir() if path.name.endswith(tuple(MATERIALS)))
    version = next(path for path in paths if path.suffix == ".deb").name.split("_")[1]
    (folder / f"grelmoor-{version}.spdx.json").write_text(json.dumps(bill(paths, version), indent=1) + "\n")


if __name__ == "__main__":
    main()
