# Sourced by run.sh and test.sh: what they need from Debian 12's package archive.
# `need` calls apt only when something is missing, so a built tree starts at once and without a network.

build_packages="g++ cmake ninja-build"
test_packages="python3 xz-utils libgtest-dev googletest clang libclang-rt-14-dev
    g++-mingw-w64-x86-64-posix wine wine64 ntfs-3g sleuthkit qemu-utils gdisk parted"

need() {
    missing=""
    for package in "$@"; do
        [ "$(dpkg-query -W -f='${db:Status-Status}' "$package" 2>/dev/null)" = installed ] || missing="$missing $package"
    done
    [ -z "$missing" ] && return 0

    as_root=""
    if [ "$(id -u)" != 0 ]; then
        command -v sudo >/dev/null || { echo "missing:$missing (needs root or sudo to install)" >&2; return 1; }
        as_root="sudo"
    fi
    echo "installing:$missing" >&2
    $as_root apt-get -qq update >&2
    # shellcheck disable=SC2086 # the lists are lists
    $as_root env DEBIAN_FRONTEND=noninteractive apt-get -qq install -y --no-install-recommends $missing >&2
}

# Configures once and builds; quiet unless it fails.
build() {
    export CMAKE_GENERATOR="${CMAKE_GENERATOR:-Ninja}"
    mkdir -p build
    log="build/$1.log"
    echo "building $1" >&2
    if { [ -e "build/$1/CMakeCache.txt" ] || cmake --preset "$1"; } >"$log" 2>&1 &&
        cmake --build --preset "$1" --parallel "$(nproc)" >>"$log" 2>&1; then
        return 0
    fi
    tail -n 60 "$log" >&2
    echo "building $1 failed, the whole log: $log" >&2
    return 1
}
