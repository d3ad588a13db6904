# Sourced by run.sh, test.sh, package.sh and bench/run.sh, in the checkout's folder, behind packages.sh: builds a tree.
# A tree that is broken (half configured, moved from elsewhere, cut off while it was written) is made anew, once.

# Words and false where this user cannot write what another one has built.
can_build() {
    if ! { mkdir -p build && true >>build/.lock; } 2>/dev/null; then
        say "$(pwd)/build is not this user's to write (owner: $(stat -c %U build 2>/dev/null || stat -c %U .))"
        return 1
    fi
    [ -d "build/$1" ] || return 0
    foreign=$(find "build/$1" ! -user "$(id -u)" ! -type l ! -writable -print -quit 2>/dev/null)
    [ -z "$foreign" ] && return 0
    say "$(pwd)/$foreign is not this user's to write (owner: $(stat -c %U "$foreign")); remove build/$1 or take it over"
    return 1
}

# build <tree> <on|off: with tests> [<targets>]; quiet unless it fails.
build() {
    say "building $1"
    # Two runs at once take turns. The program that is started afterwards does not hold the lock.
    if ( flock 9 && build_tree "$@" >"build/$1.log" 2>&1 ) 9>build/.lock; then return 0; fi
    tail -n 60 "build/$1.log" >&2
    say "building $1 failed, the whole log: $(pwd)/build/$1.log"
    return 1
}

build_tree() {
    export CMAKE_GENERATOR="${CMAKE_GENERATOR:-Ninja}"
    if [ -e "build/$1" ]; then
        configure "$@" && compile "$@" && return 0
        # A compiler that found fault with a source would find it again.
        ! grep -q '^FAILED: .*\.o' "build/$1.log" || return 1
        echo "build/$1 is of no use, it is made anew"
        rm -rf "build/$1"
    fi
    configure "$@" && compile "$@"
}

# With tests always, as a tree made without them must take them up; without them once, as CMake keeps itself up to date.
configure() {
    if [ "$2" = off ] && [ -e "build/$1/build.ninja" ] && grep -qxF "CMAKE_HOME_DIRECTORY:INTERNAL=$(pwd -P)" "build/$1/CMakeCache.txt"; then
        return 0
    fi
    cmake --preset "$1" -D GRELMOOR_TESTS="$2"
}

compile() {
    tree=$1
    shift 2
    cmake --build --preset "$tree" --parallel "$(nproc)" ${1:+--target "$@"}
}
