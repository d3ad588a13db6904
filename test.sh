#!/bin/sh
# Every test: builds the trees release, sanitize and windows and runs all their tests as one list.
# Arguments go to ctest: ./test.sh -R cli.help
set -eu
cd "$(dirname "$0")"
. scripts/packages.sh
# shellcheck disable=SC2086
need $build_packages $test_packages
trees="release sanitize windows"
for tree in $trees; do build "$tree"; done

mkdir -p build/all
for tree in $trees; do echo "subdirs(\"$(pwd)/build/$tree\")"; done > build/all/CTestTestfile.cmake
exec ctest --test-dir build/all --parallel "$(nproc)" --timeout 600 --output-on-failure --no-tests=error "$@"
