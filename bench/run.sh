#!/usr/bin/env bash
# Measures grelmoor on made $MFT files and prints one table; ends with 1 if a target is missed.
#   bench/run.sh [--large] [--rounds N]     --large adds 4,000,000 records; needs 15 GB of room
#   GRELMOOR=<program> bench/run.sh         measures that program instead of building `release`
# What a missing tool leaves unmeasured (strace: reads and writes; python3: images) is said and misses no target.
# Everything runs alternately in one go, medians count: figures of different runs or machines do not compare.
set -euo pipefail

here=$(dirname "$(readlink -f "${BASH_SOURCE[0]}")")
large=no
rounds=5
while [ $# -gt 0 ]; do
    case $1 in
        --large) large=yes ;;
        --rounds) rounds=$2; shift ;;
        *) sed -n '2,6s/^# \{0,1\}//p' "$0"; exit 2 ;;
    esac
    shift
done
room=5000
[ $large = no ] || room=15000
. "$here/common.sh"
compile -shared -fPIC "$here/preload/count_allocations.cpp" -o "$work/count_allocations.so"

# --- runs ------------------------------------------------------------------------------------------------------------

# run_program <set> <file to write> <kind of sample, or nothing>, run_floor likewise: one sample each.
run_program() { sample "$1${3:+.$3}" "$grelmoor" -mftfile "$work/$1.mft" -quiet -out "$2"; }
run_image() { sample "$1.$3.image" "$grelmoor" -image "$work/$1.img" -offset 0 -quiet -out "$2"; }
# Tells what it cost by itself: taking the rows from the results file is no part of it.
run_floor() { "$work/floor" "$work/$1.mft" "$work/$1.rows" "$2" >>"$work/$1${3:+.$3}.floor.samples"; }
# A walk that decodes and filters every record, and the yardstick for reading a file once.
run_filtered() {
    sample filtered "$grelmoor" -mftfile "$work/million.mft" -quiet -filter_name "no file has this name" -out "$work/discard"
    sample md5sum md5sum "$work/million.mft"
}
# The run that makes the rows also warms everything up; its figures do not count.
warm_up() { run_program "$1" "$work/$1.rows" warm; }
# Gives the next writer memory that was in use a moment ago: a virtual machine hands free pages back to its host, and
# whoever comes after a pause would pay for getting them again.
refresh_memory() { cp "$work/$1.rows" "$work/out.csv"; rm "$work/out.csv"; }
alternate() {
    local run
    for run in run_program run_floor; do
        refresh_memory "$1"
        $run "$1" "$work/out.csv" ""
        rm "$work/out.csv"
    done
}
# Growth is measured without a file to fill: fresh memory for a gigabyte costs the system more than for a tenth of it,
# and that alone, also for the floor, is an exponent above 1.1.
alternate_discarding() {
    run_program "$1" "$work/discard" discard
    run_floor "$1" "$work/discard" discard
}
ln -s /dev/null "$work/discard"

load_before=$(load)
say "making files"
make_set million 1000000 usual
make_set usual 100000 usual
make_set wide 104000 wide
make_set deep 100000 deep
for set in million usual wide deep; do say "warming up: $set"; warm_up $set; done
image=no
if has python3 "no image to measure"; then
    image=yes
    python3 "$here/wrap_mft.py" "$work/usual.mft" "$work/usual.img"
    run_image usual "$work/out.csv" warm
    # Only the header lines may differ: they tell the time and the command line.
    cmp -s <(grep '^0x' "$work/usual.rows") <(grep '^0x' "$work/out.csv") ||
        { echo "bench: other rows over the image" >&2; exit 2; }
    rm "$work/out.csv"
fi
for round in $(seq "$rounds"); do
    say "round $round of $rounds"
    alternate million
    alternate_discarding million
    run_filtered
    for _ in 1 2 3; do
        for set in usual wide deep; do alternate $set; done
        alternate_discarding usual
        [ $image = no ] || run_image usual "$work/discard" discard
    done
    for _ in 1 2 3; do
        "$work/measure" -first 0x "$grelmoor" -mftfile "$work/million.mft" -quiet >>"$work/first.samples"
    done
done

# --- counts ----------------------------------------------------------------------------------------------------------

say "counting"
rows=$(grep -c '^0x' "$work/usual.rows")
header_lines=$(($(wc -l <"$work/usual.rows") - rows))
writes_needed=$(grep '^0x' "$work/usual.rows" | cut -d' ' -f1 | uniq | wc -l)
blocks=$(((100000 * 1024 + 65535) / 65536))
reads_needed=$((blocks + $(fact usual extension_records) + $(fact usual climbed_ahead)))
# count_calls <calls>: their sum; the C++ library writes by writev.
count_calls() { awk -v calls=" $* " 'index(calls, " " $NF " ") { sum += $4 } END { print sum + 0 }' "$work/calls"; }
reads=- writes=-
if has strace "reads and writes are not counted"; then
    if strace -f -qq -c -e trace=pread64,preadv,write,writev,pwrite64 -o "$work/calls" \
        "$grelmoor" -mftfile "$work/usual.mft" -quiet -out "$work/out.csv" >/dev/null; then
        reads=$(count_calls pread64 preadv)
        writes=$(count_calls write writev pwrite64)
    else
        unmeasured+=("strace may not trace here: reads and writes are not counted")
    fi
    rm -f "$work/out.csv"
fi
count_allocations() {
    LD_PRELOAD=$work/count_allocations.so "$grelmoor" -mftfile "$work/million.mft" -mftrange "$1" -quiet \
        -out "$work/out.csv" 2>&1 >/dev/null | sed -n 's/^allocations=//p'
    rm "$work/out.csv"
}
allocations_half=$(count_allocations 500000)
allocations_all=$(count_allocations 1000000)
allocations_later=-
[ -z "$allocations_half" ] || allocations_later=$((allocations_all - allocations_half))

if [ $large = yes ]; then
    say "making 4,000,000 records"
    rm "$work/million.rows" "$work/million.mft"
    make_set large 4000000 usual
    warm_up large
    for round in 1 2 3; do say "large: round $round of 3"; alternate large; alternate_discarding large; done
fi
say

# --- the table -------------------------------------------------------------------------------------------------------

each() { calc "1e6 * $2 / $(fact "$1" records)"; }  # microseconds per record of that set
ratio() { calc "$(cpu "$1") / $(cpu "$1.floor")"; }
# growth <larger set> <smaller set> <of what>
growth() { round_to 3 "$(calc "log($(cpu "$1$3") / $(cpu "$2$3")) / log($(fact "$1" records) / $(fact "$2" records))")"; }
# against_usual <set> [.floor]: CPU per record in relation
against_usual() { calc "$(each "$1" "$(cpu "$1${2:-}")") / $(each usual "$(cpu "usual${2:-}")")"; }
# What the program does beyond the floor: a deep path makes long rows, and their bytes alone double the floor's cost.
work() { calc "$(each "$1" "$(cpu "$1")") - $(each "$1" "$(cpu "$1.floor")")"; }
work_against_usual() { calc "$(work "$1") / $(work usual)"; }

echo "$(machine), medians of $rounds (1,000,000 records) and $((3 * rounds)) runs"
echo "load average before $load_before, after $(load); the bench itself makes about 1"
echo
printf '%-58s %16s %16s\n' "" measured target
line "CPU, times the floor's (1,000,000 records)" "$(round_to 2 "$(ratio million)")" 1.70
line "  user time per record, us" "$(round_to 2 "$(each million "$(value million user)")")"
line "  CPU per record, us" "$(round_to 2 "$(each million "$(cpu million)")")"
line "  CPU per record of the floor, us" "$(round_to 2 "$(each million "$(cpu million.floor)")")"
line "  writes per record of the floor" "$(round_to 2 "$(calc "$(value million.floor writes) / $(fact million records)")")"
line "a filtered walk without rows, CPU, times md5sum's" "$(round_to 2 "$(calc "$(cpu filtered) / $(cpu md5sum)")")" 0.50
line "  CPU per record, us" "$(round_to 2 "$(each million "$(cpu filtered)")")"
line "records per second" "$(round_to 0 "$(calc "$(fact million records) / $(value million wall)")")"
line "peak memory, MB" "$(round_to 1 "$(calc "$(value million peak) / 1024")")" 13
line "growth exponent, 100,000 to 1,000,000 records" "$(growth million usual .discard)" 1.02
line "  that of the floor" "$(growth million usual .discard.floor)"
line "  into a file: program, floor" "$(growth million usual ""), $(growth million usual .floor)"
if [ $large = yes ]; then
    line "growth exponent, 100,000 to 4,000,000 records" "$(growth large usual .discard)" 1.02
    line "  that of the floor" "$(growth large usual .discard.floor)"
    line "  into a file: program, floor" "$(growth large usual ""), $(growth large usual .floor)"
    line "peak memory, 4,000,000 records, MB" "$(round_to 1 "$(calc "$(value large peak) / 1024")")"
fi
line "a directory of 100,000 entries, times the usual tree" "$(round_to 2 "$(against_usual wide)")" 1.50
line "a path 2,000 deep, its work times that of the usual tree" "$(round_to 2 "$(work_against_usual deep)")" 1.50
line "  whole CPU: program, floor" "$(round_to 2 "$(against_usual deep)"), $(round_to 2 "$(against_usual deep .floor)")"
over_image=-
[ $image = no ] || over_image=$(round_to 3 "$(calc "$(cpu usual.discard.image) / $(cpu usual.discard)")")
line "CPU over an image, times that over its \$MFT" "$over_image" 1.05
line "start-up to first row, ms" "$(round_to 1 "$(value first first)")" 10
# The program loader reads too, and the header goes to standard output as well, in one piece or by lines.
line "reads (100,000 records)" "$reads" $((reads_needed + 16)) "$reads_needed"
line "  blocks of 64 KiB, extension records, directories ahead" "$reads_needed"
line "writes" "$writes" $((writes_needed + 2 * header_lines)) "$writes_needed"
line "  records that have rows, and lines of the header" "$writes_needed + $header_lines"
# Ordinary records take none. Left are the few doublings of the path cache, and some for each stream in several records,
# half of which lie here: their run lists, and what finds their parts again.
line "heap allocations for records 500,000 to 1,000,000" "$allocations_later" $((2 * $(fact million extension_records) + 64))
line "  in the whole run" "$allocations_all"
conclude
