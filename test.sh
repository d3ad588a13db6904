#!/bin/sh
# Every test: builds the trees release, sanitize and windows and runs all their tests as one list.
# Arguments go to ctest: ./test.sh -R cli.help. Where -R names trees (windows.unit), only those are built.
set -eu
cd "$(dirname "$(readlink -f "$0")")"
. scripts/packages.sh
. scripts/build.sh
# What the tests write into file names and read from other tools is UTF-8; a bare system has no locale set.
export LC_ALL=C.UTF-8

# The trees that a pattern of -R names ahead of each of its alternatives; all of them if one names none. A group that
# stands behind something, "windows.cli.(help|script)", is left out first: it names no tree.
trees_of() {
    named=""
    set -f
    for alternative in $(printf '%s' "$1" | sed 's/\([^|(^]\)([^()]*)/\1/g' | tr '|' ' '); do
        alternative=${alternative#^}
        alternative=${alternative#"("}
        case $alternative in
            release|release[.\)]*|lint*|include_order*) named="$named release" ;;
            sanitize|sanitize[.\)]*) named="$named sanitize" ;;
            windows|windows[.\)]*) named="$named windows" ;;
            *) named="release sanitize windows"; break ;;
        esac
    done
    set +f
    echo "$named" | tr ' ' '\n' | sort -u
}

pattern=""
before=""
for argument in "$@"; do
    case $before in -R|--tests-regex) pattern=$argument ;; esac
    before=$argument
done
trees=$(trees_of "${pattern:-all}")

# shellcheck disable=SC2086 # the lists are lists
need $build_packages $test_packages
for tree in $trees; do
    can_build "$tree"
    build "$tree" on
done

mkdir -p build/all
for tree in $trees; do echo "subdirs(\"$(pwd)/build/$tree\")"; done >build/all/CTestTestfile.cmake
exec ctest --test-dir build/all --parallel "$(nproc)" --timeout 600 --output-on-failure --no-tests=error "$@"
