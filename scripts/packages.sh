# Sourced by run.sh, test.sh, package.sh and bench/run.sh, in the checkout's folder: what they need of the archive of
# Debian 12.
# `need` calls apt only when something is missing, so a built tree starts at once and without a network.

build_packages="g++ cmake ninja-build"
test_packages="python3 xz-utils libgtest-dev googletest clang clang-format clang-tidy libclang-rt-14-dev
    g++-mingw-w64-x86-64-posix wine wine64 ntfs-3g sleuthkit qemu-utils gdisk parted strace
    libssl-dev debootstrap dpkg-dev file zsh fish jq sqlite3 python3-pandas"
package_packages="python3 g++-mingw-w64-x86-64-posix dpkg-dev file lintian zip git"

say() { echo "$*" >&2; }

need() {
    missing=""
    for package in "$@"; do
        [ "$(dpkg-query -W -f='${db:Status-Status}' "$package" 2>/dev/null)" = installed ] || missing="$missing $package"
    done
    [ -z "$missing" ] && return 0

    command -v apt-get >/dev/null || { say "no apt-get here; what Debian 12 calls$missing must be installed by hand"; return 1; }
    as_root=""
    if [ "$(id -u)" != 0 ]; then
        command -v sudo >/dev/null || { say "missing; root installs it by: apt-get install$missing"; return 1; }
        as_root="sudo"
    fi
    say "installing:$missing"
    # shellcheck disable=SC2086 # the lists are lists
    { $as_root apt-get -qq -o DPkg::Lock::Timeout=300 update &&
        $as_root env DEBIAN_FRONTEND=noninteractive apt-get -qq -o DPkg::Lock::Timeout=300 install -y \
            --no-install-recommends $missing; } >&2 || { say "these packages could not be installed:$missing"; return 1; }
}
