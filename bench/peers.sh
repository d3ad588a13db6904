#!/usr/bin/env bash
# The program beside what distributions package, on the same volume in one run: prints a Markdown table.
#   bench/peers.sh [--files N] [--records N] [--rounds N]
#       N files (100,000) on a volume that mkntfs and ntfs-3g make, which takes root; N records (1,000,000) of a made
#       $MFT file; medians of N rounds (3)
#   GRELMOOR=<program> bench/peers.sh       measures that program instead of building `release`
# First it is checked that all of them list the files that the volume has. What is not installed is said and left out.
set -euo pipefail

here=$(dirname "$(readlink -f "${BASH_SOURCE[0]}")")
files=100000
records=1000000
rounds=3
given="bench/peers.sh $*"
while [ $# -gt 0 ]; do
    case $1 in
        --files) files=$2 ;;
        --records) records=$2 ;;
        --rounds) rounds=$2 ;;
        *) sed -n '2,7s/^# \{0,1\}//p' "$0"; exit 2 ;;
    esac
    shift $(($# > 1 ? 2 : 1))
done
room=$((1000 + records * 21 / 10000 + files * 4 / 100))
. "$here/common.sh"
volume=$work/volume.dd mounted=$work/mounted
leave() { mountpoint -q "$mounted" && umount "$mounted"; rm -rf "$work"; }
trap leave EXIT

# --- a volume, and what it holds ------------------------------------------------------------------------------------

make_volume() {
    truncate -s $((200 + files * 2 / 100))M "$volume"
    mkntfs -q -F -s 512 -p 0 -H 16 -S 63 "$volume" >/dev/null 2>&1
    mkdir -p "$mounted"
    ntfs-3g "$volume" "$mounted"
    python3 "$here/fill_volume.py" "$mounted" "$files"
    find "$mounted" -type f -printf '%P\n' | sort >"$work/expected"
    umount "$mounted"
    while pgrep -f "ntfs-3g $volume" >/dev/null; do sleep 0.1; done
}

# The paths of the files on a body file's lines, however its maker writes them; system files and streams left out.
paths_of() {
    cut -d'|' -f2 "$1" | sed -E 's/ (\(\$FILE_NAME\)|\(file\)|\(\$STANDARD_INFO\))$//; s/\\+/\//g; s/^\[root\]//; s/^\/+//' |
        grep -E '_[0-9]{6}\.[a-z]+$' | sort -u
}
# agrees <who> <body file>
agrees() {
    local missing extra
    missing=$(paths_of "$2" | comm -13 - "$work/expected" | wc -l)
    extra=$(paths_of "$2" | comm -23 - "$work/expected" | wc -l)
    agreement+=("| $1 | $(($(wc -l <"$work/expected") - missing)) of $(wc -l <"$work/expected") | $extra |")
}
check_lists() {
    "$grelmoor" -image "$volume" -offset 0 -quiet -bodyfile -out "$work/ours.body" >/dev/null
    agrees grelmoor "$work/ours.body"
    ! has fls "no listing by it" || { fls -r -p -m / "$volume" >"$work/fls.body"; agrees fls "$work/fls.body"; }
    # It ends with 1 behind a whole list.
    ! has fsntfsinfo "no listing by it" || {
        fsntfsinfo -H -B "$work/fsntfs.body" "$volume" >/dev/null || true
        agrees fsntfsinfo "$work/fsntfs.body"
    }
}

# --- what is asked of whom -------------------------------------------------------------------------------------------

# task <question> <who> <command>: one line of the table. Commands run in $work, through the shell where they need one.
questions=() who=() commands=()
task() { questions+=("$1") who+=("$2") commands+=("$3"); }
peer() { ! has "${3%% *}" "\"$1\" not by it" || task "$1" "$2" "$3"; }

ours=grelmoor
plan_volume() {
    local name="$files files"
    task "times and paths of $name" grelmoor "$ours -image volume.dd -offset 0 -quiet -bodyfile -out out"
    peer "times and paths of $name" fls "fls -r -p -m / volume.dd"
    peer "times and paths of $name" fsntfsinfo "fsntfsinfo -H -B out volume.dd"
    task "all facts of 100 records" grelmoor "$ours -image volume.dd -offset 0 -quiet -mftstart 64 -mftrange 100 -out out"
    peer "all facts of 100 records" istat "seq 64 163 | xargs -n 1 istat volume.dd"
    task "deleted files" grelmoor "$ours -image volume.dd -offset 0 -quiet -csv -filter_deleted_files -out out"
    peer "deleted files" ntfsundelete "ntfsundelete -f -s volume.dd"
    task "MD5 of every file" grelmoor "$ours -image volume.dd -offset 0 -quiet -hashfile md5 -out out"
    task "MD5 of every file" "md5sum, ntfs-3g" "find mounted -type f -exec md5sum {} +"
    task "copies of every executable" grelmoor \
        "$ours -image volume.dd -offset 0 -quiet -csv -filter_ext exe -action_copy_files copies -out out"
    task "copies of every file" grelmoor \
        "$ours -image volume.dd -offset 0 -quiet -csv -action_copy_files copies -out out"
    peer "copies of every file" tsk_recover "tsk_recover -a volume.dd copies"
    task "records in free clusters" grelmoor "$ours -image volume.dd -offset 0 -quiet -csv -filter_unalloc_clusters -out out"
    peer "free clusters to nowhere" blkls "blkls volume.dd"
}
plan_records() {
    local name="$records records of an \$MFT"
    task "$name" grelmoor "$ours -mftfile made.mft -quiet -csv -out out"
    task "$name" "grelmoor, 2 instances" "$ours -mftfile made.mft -quiet -csv -cpu 2 -out out"
    task "$name, filter without a match" grelmoor "$ours -mftfile made.mft -quiet -csv -filter_name nothing -out out"
    peer "$name, its bytes alone" md5sum "md5sum made.mft"
}

needs_mount() { case $1 in *mounted*) return 0 ;; *) return 1 ;; esac; }
run_task() {
    local command=${commands[$1]} status=0
    rm -rf "$work/out" "$work/copies"
    ! needs_mount "$command" || ntfs-3g -o ro "$volume" "$mounted"
    # fsntfsinfo ends with 1 behind a whole list; whether it is one has been checked.
    (cd "$work" && PATH=$work/bin:$PATH ./measure sh -c "$command" 2>/dev/null) >"$work/cost" || status=$?
    ! needs_mount "$command" || umount "$mounted"
    [ $status -eq 0 ] || [ "${who[$1]}" = fsntfsinfo ] || { echo "bench: failed: $command" >&2; exit 2; }
    cat "$work/cost" >>"$work/task$1.samples"
}

# --- the run ---------------------------------------------------------------------------------------------------------

mkdir "$work/bin"
ln -s "$(readlink -f "$grelmoor")" "$work/bin/grelmoor"
agreement=()
load_before=$(load)
if has mkntfs "no volume" && has ntfs-3g "no volume" && has python3 "no volume" && [ "$(id -u)" = 0 ]; then
    say "making a volume of $files files"
    make_volume
    say "comparing lists"
    check_lists
    plan_volume
else
    unmeasured+=("a volume, which takes root, mkntfs, ntfs-3g and python3")
fi
say "making $records records"
make_set made "$records" usual
plan_records
for round in $(seq 0 "$rounds"); do
    for index in "${!commands[@]}"; do
        say "round $round of $rounds: ${who[index]}, ${questions[index]}"
        run_task "$index"
    done
    # The first warms up.
    [ "$round" -gt 0 ] || rm -f "$work"/task*.samples
done
say

# --- tables ----------------------------------------------------------------------------------------------------------

echo "$(date -u +%Y-%m-%d), $(machine | sed "s|files in .*|files in memory|"), load $load_before before and $(load) after; \`$given\`,"
echo "medians of $rounds rounds in turn. What ntfs-3g itself uses is not in the CPU of what reads through it."
echo
if [ ${#agreement[@]} -gt 0 ]; then
    printf '%s\n' "| list of | files of the volume | others by such names |" "|---|---:|---:|" "${agreement[@]}"
    echo
fi
printf '%s\n' "| question | program | command | CPU, s | wall, s | peak, MB |" "|---|---|---|---:|---:|---:|"
for index in "${!commands[@]}"; do
    printf '| %s | %s | `%s` | %s | %s | %s |\n' "${questions[index]}" "${who[index]}" "${commands[index]//|/\\|}" \
        "$(round_to 3 "$(cpu "task$index")")" "$(round_to 2 "$(value "task$index" wall)")" \
        "$(round_to 1 "$(calc "$(value "task$index" peak) / 1024")")"
done
conclude
