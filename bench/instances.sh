#!/usr/bin/env bash
# Measures runs split over two instances beside the single run; ends with 1 if a target is missed.
#   bench/instances.sh [--records N] [--rounds N]     of a made $MFT file; 1,000,000 and 7 unless told otherwise
#   GRELMOOR=<program> bench/instances.sh             measures that program instead of building `release`
# Wall time counts: on a machine that has nothing else to do, and two processors. The three kinds of runs take turns.
set -euo pipefail

here=$(dirname "$(readlink -f "${BASH_SOURCE[0]}")")
records=1000000
rounds=7
while [ $# -gt 0 ]; do
    case $1 in
        --records) records=$2; shift ;;
        --rounds) rounds=$2; shift ;;
        *) sed -n '2,5s/^# \{0,1\}//p' "$0"; exit 2 ;;
    esac
    shift
done
room=$((500 + records * 36 / 10000))
. "$here/common.sh"

load_before=$(load)
say "making $records records"
make_set million "$records" usual

# run_kind <kind> <sample>
split_options() { case $1 in merged) echo "-cpu 2" ;; separate) echo "-cpu 2 -separate_files" ;; esac; }
run_kind() {
    sample "$2" "$grelmoor" -mftfile "$work/million.mft" -csv -quiet $(split_options "$1") -out "$work/$1.csv" 2>/dev/null
}
rows_of() { tail -q -n +5 "$@" | grep -v '^mft entry,'; }

for kind in single merged separate; do run_kind $kind warm; done
cmp -s <(rows_of "$work/single.csv") <(rows_of "$work/merged.csv") || { echo "bench: other rows merged" >&2; exit 2; }
cmp -s <(rows_of "$work/single.csv") <(rows_of "$work"/separate.csv.0000?) ||
    { echo "bench: other rows in separate files" >&2; exit 2; }
for round in $(seq "$rounds"); do
    say "round $round of $rounds"
    for kind in single separate merged; do
        rm -f "$work"/*.csv*
        run_kind $kind $kind
    done
done
say

against() { round_to 3 "$(calc "$(value "$1" "$3") / $(value "$2" "$3")")"; }
echo "$(machine), $records records, medians of $rounds rounds"
echo "load average before $load_before, after $(load); the bench itself makes up to 2"
echo
printf '%-58s %16s %16s\n' "" measured target
line "-cpu 2, merged: wall time, times the single run's" "$(against merged single wall)" 0.60
line "-cpu 2 -separate_files: wall time, times the single run's" "$(against separate single wall)" 0.55
line "  wall time of the single run, s" "$(round_to 2 "$(value single wall)")"
line "CPU merged, times that with separate files" "$(round_to 3 "$(calc "$(cpu merged) / $(cpu separate)")")" 1.05
line "  CPU of the single run, with separate files, merged, s" \
    "$(round_to 2 "$(cpu single)"), $(round_to 2 "$(cpu separate)"), $(round_to 2 "$(cpu merged)")"
line "peak memory of one of a merged run's processes, MB" "$(round_to 1 "$(calc "$(value merged peak) / 1024")")" 20
conclude
