#!/bin/sh
# Makes what is handed out, in build/packages: a .deb, an archive with a static Linux binary, one with the exe,
# SHA256SUMS and a bill of materials.
# ./package.sh --check also builds everything again in another folder and compares every byte, and installs the .deb in
# a clean root.
set -eu
cd "$(dirname "$(readlink -f "$0")")"
. scripts/packages.sh
. scripts/build.sh
case ${1:-} in ""|--check) ;; *) say "usage: ./package.sh [--check]"; exit 2 ;; esac

# The same on every machine: the time of the last commit; in an unpacked archive that of the change log.
time_of_sources() {
    if [ -e .git ]; then in_git log -1 --format=%ct; else stat -c %Y CHANGELOG.md; fi
}

# Also in a checkout of another user.
in_git() { git -c safe.directory="$(pwd -P)" "$@"; }

# pack <tree> <cpack's kinds of package>
pack() {
    (cd "build/$1" && cpack -G "$2") >>"build/$1.log" 2>&1 || { tail -n 20 "build/$1.log" >&2; return 1; }
}

make_packages() {
    for tree in release windows; do can_build "$tree"; done
    build release off grelmoor grelmoor_static
    build windows off grelmoor
    rm -rf build/packages build/release/packages build/windows/packages
    pack release "DEB;External"
    pack windows External
    mkdir build/packages
    cp build/release/packages/*.deb build/release/packages/*.tar.gz build/windows/packages/*.zip build/packages
    python3 scripts/make_bill.py build/packages
    (cd build/packages && sha256sum -- * >SHA256SUMS.new && mv SHA256SUMS.new SHA256SUMS)
}

# What differs: the folder, its depth, and all that an earlier build may have left.
check_again() {
    again=$(mktemp -d)/another/folder
    mkdir -p "$again"
    if [ -e .git ]; then in_git ls-files -z; else find . -path ./build -prune -o -type f -print0; fi |
        tar -c --null -T - | tar -x -C "$again"
    say "building again in $again"
    (cd "$again" && ./package.sh)
    diff -r build/packages "$again/build/packages"
    rm -rf "${again%/another/folder}"
    say "the same bytes again"
}

# shellcheck disable=SC2086 # the lists are lists
need $build_packages $package_packages
SOURCE_DATE_EPOCH=${SOURCE_DATE_EPOCH:-$(time_of_sources)}
export SOURCE_DATE_EPOCH TZ=UTC LC_ALL=C.UTF-8
umask 022
make_packages
lintian --allow-root --fail-on error build/packages/*.deb
if [ "${1:-}" = --check ]; then
    python3 tests/cli/package_check.py build/packages/*.deb build/package_check || [ $? = 77 ]
    check_again
fi
cat build/packages/SHA256SUMS
