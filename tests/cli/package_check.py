#!/usr/bin/env python3
"""Installs the .deb in a clean root, runs the sample there, and removes it: package_check.py DEB|TREE FOLDER

TREE is a build tree, whose .deb is made first. The clean root is made by debootstrap, once for each FOLDER.
"""
import os
import pathlib
import platform
import shutil
import subprocess
import sys

from support import require, skip

# What the package manager writes for itself.
OWN_TRACES = ("var/log/", "var/lib/dpkg/status-old", "var/lib/dpkg/lock", "var/lib/dpkg/triggers/", "var/cache/")
EXPECTED = ["usr/bin/grelmoor", "usr/share/man/man1/grelmoor.1.gz", "usr/share/doc/grelmoor/copyright",
            "usr/share/doc/grelmoor/README.md", "usr/share/doc/grelmoor/docs/tutorial.md",
            "usr/share/bash-completion/completions/grelmoor", "usr/share/zsh/vendor-completions/_grelmoor",
            "usr/share/fish/vendor_completions.d/grelmoor.fish"]


def run(*command, **more):
    return subprocess.run([str(part) for part in command], check=True, stdout=subprocess.PIPE, text=True, **more).stdout


def package_of(source, work):
    if source.is_file():
        return source
    run("cpack", "--config", source / "CPackConfig.cmake", "-G", "DEB", "-B", work / "packages", cwd=source)
    return next((work / "packages").glob("*.deb"))


def clean_base(work):
    base = work / "base"
    if not (work / "base.ready").exists():
        shutil.rmtree(base, ignore_errors=True)
        mirror = run("apt-get", "indextargets", "--format", "$(REPO_URI)").split()[:1]
        suite = platform.freedesktop_os_release()["VERSION_CODENAME"]
        command = ["debootstrap", "--variant=minbase", suite, base, *mirror]
        made = subprocess.run(command, capture_output=True, text=True)
        if made.returncode != 0:
            skip("debootstrap: " + (made.stdout + made.stderr).strip()[-300:])
        (work / "base.ready").touch()
    return base


def state_of(root):
    """Of each file what a change would touch; folders lose their time by what comes and goes in them."""
    state = {}
    for folder, folders, files in os.walk(root):
        for name in folders + files:
            path = pathlib.Path(folder, name)
            place, facts = str(path.relative_to(root)), path.lstat()
            if place.startswith(OWN_TRACES):
                continue
            if place.startswith("var/lib/dpkg/") and path.is_file():
                state[place] = path.read_bytes()
            else:
                state[place] = (facts.st_mode, 0 if path.is_dir() else (facts.st_size, facts.st_mtime_ns))
    return state


def in_root(root, *command):
    settings = ["PATH=/usr/sbin:/usr/bin:/sbin:/bin", "DEBIAN_FRONTEND=noninteractive"]
    return run("chroot", root, "/usr/bin/env", "-i", *settings, *command)


def install_and_remove(package, root):
    before = state_of(root)
    shutil.copy(package, root / "tmp")
    in_root(root, "dpkg", "--install", f"/tmp/{package.name}")
    (root / "tmp" / package.name).unlink()
    missing = [place for place in EXPECTED if not (root / place).is_file()]
    assert not missing, f"not installed: {missing}"
    rows = in_root(root, "grelmoor", "-mftfile", "/usr/share/doc/grelmoor/samples/small.mft", "-quiet", "-csv",
                   "-filter_name", "note").splitlines()[4:]
    assert len(rows) == 5 and all("[root]\\documents\\note.txt" in row for row in rows[1:]), rows
    in_root(root, "dpkg", "--purge", "grelmoor")
    after = state_of(root)
    traces = sorted(place for place in before.keys() | after.keys() if before.get(place) != after.get(place))
    assert not traces, f"left behind: {traces}"


def main():
    source, work = (pathlib.Path(argument).resolve() for argument in sys.argv[1:3])
    work.mkdir(parents=True, exist_ok=True)
    require("debootstrap", "cpack", "dpkg-shlibdeps", "chroot")
    package = package_of(source, work)
    if shutil.which("lintian"):
        run("lintian", "--allow-root", "--fail-on", "error", package)
    if os.geteuid() != 0:
        skip("not root")
    base, root = clean_base(work), work / "root"
    shutil.rmtree(root, ignore_errors=True)
    run("cp", "-a", "--reflink=auto", base, root)
    try:
        install_and_remove(package, root)
    finally:
        shutil.rmtree(root)
    print(f"{package.name}: installed, run and removed without a trace")


if __name__ == "__main__":
    main()
