# What the benchmarks share: where they work, the program they measure, samples and their medians, the table.
# Sourced by run.sh, instances.sh and peers.sh, which set $room (MB) ahead of it; runs nothing by itself but what every
# one of them needs: a folder for the files that goes at the end, the program, the tools.

root=$(dirname "$here")

# Memory if there is enough of it, so that no disk is measured; else the usual place for temporary files.
choose_place() {
    local need=$1 memory
    memory=$(awk '/^MemAvailable/ { print int($2 / 1024) }' /proc/meminfo)
    if [ "$(free_mb /dev/shm)" -ge "$need" ] && [ "$memory" -ge $((need + 2000)) ]; then
        echo /dev/shm
    elif [ "$(free_mb "${TMPDIR:-/tmp}")" -ge "$need" ]; then
        echo "${TMPDIR:-/tmp}"
    fi
}
free_mb() { { df -Pm "$1" 2>/dev/null || echo; } | awk 'END { print ($4 ~ /^[0-9]+$/) ? $4 : 0 }'; }

place=$(choose_place "$room")
[ -n "$place" ] || { echo "bench: not enough room in /dev/shm or ${TMPDIR:-/tmp}" >&2; exit 2; }
work=$(mktemp -d "$place/grelmoor-bench.XXXXXX")
trap 'rm -rf "$work"' EXIT
trap 'exit 130' INT TERM

grelmoor=${GRELMOOR:-$root/build/release/grelmoor}
if [ -z "${GRELMOOR:-}" ]; then
    (cd "$root" && . scripts/packages.sh && . scripts/build.sh && can_build release && need $build_packages &&
        build release off grelmoor) || exit 2
fi
[ -x "$grelmoor" ] || { echo "bench: no program at $grelmoor" >&2; exit 2; }

unmeasured=()
has() { command -v "$1" >/dev/null || { unmeasured+=("$1 is not installed: $2"); return 1; }; }

compile() { "${CXX:-g++}" -std=c++20 -O2 "$@"; }
for tool in make_mft floor measure; do compile "$here/$tool.cpp" -o "$work/$tool"; done

say() { if [ -t 2 ]; then printf '\r%-70s\r' "$*" >&2; fi; }
load() { cut -d' ' -f1 /proc/loadavg; }
machine() { echo "$(uname -sm), $(nproc) processors, files in $place"; }

# --- samples ---------------------------------------------------------------------------------------------------------

# sample <name> <command>: what the command costs, as one line of that name's samples.
sample() {
    "$work/measure" "${@:2}" >>"$work/$1.samples" || { echo "bench: failed: ${*:2}" >&2; exit 2; }
}
median() {
    sort -n | awk '{ v[NR] = $1 }
                   END { if (NR == 0) exit 1; print NR % 2 ? v[(NR + 1) / 2] : (v[NR / 2] + v[NR / 2 + 1]) / 2 }'
}
# `value <name> <field>` is the median of a field, `cpu <name>` that of CPU time.
value() { sed -n "s/.*\b$2=\([0-9.]*\).*/\1/p" "$work/$1.samples" | median; }
cpu() { awk '{ split($1, user, "="); split($2, sys, "="); print user[2] + sys[2] }' "$work/$1.samples" | median; }
calc() { awk "BEGIN { printf \"%.10g\", $* }"; }
round_to() { awk -v v="$2" -v d="$1" 'BEGIN { printf "%.*f", d, v }'; }

make_set() { "$work/make_mft" "$work/$1.mft" "$2" "$3" >"$work/$1.samples.facts"; }
fact() { sed -n "s/^$2=//p" "$work/$1.samples.facts"; }

# --- the table -------------------------------------------------------------------------------------------------------

missed=()
# line <what> <measured> [<most that is allowed> [<least>]]; "-" could not be measured
line() {
    local verdict="" target=""
    if [ $# -gt 2 ]; then
        target="<= $3"
        [ $# -eq 3 ] || target="$4..$3"
        verdict=$(awk -v is="$2" -v most="$3" -v least="${4:--1e9}" \
            'BEGIN { print is == "-" ? "-" : (is + 0 <= most + 0 && is + 0 >= least + 0) ? "ok" : "MISSED" }')
        [ "$verdict" != MISSED ] || missed+=("$1: $2, target $target")
    fi
    printf '%-58s %16s %16s  %s\n' "$1" "$2" "$target" "$verdict"
}
# Ends the script: 1 if a target was missed.
conclude() {
    [ ${#unmeasured[@]} -eq 0 ] || { echo; printf 'not measured: %s\n' "${unmeasured[@]}"; }
    [ ${#missed[@]} -ne 0 ] || exit 0
    echo
    printf 'missed: %s\n' "${missed[@]}"
    exit 1
}
