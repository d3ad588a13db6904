#!/usr/bin/env bash
# CPU of a copy run beside what it cannot avoid, and memory of a digest run over one large file.
#   bench/copies.sh [rounds]      wants root and FUSE (mkntfs, ntfs-3g), the `release` tree, and 4 GB in /dev/shm
# Everything runs alternately; the least of each counts.
set -euo pipefail

build=$(cd "$(dirname "${BASH_SOURCE[0]}")/.." && pwd)/build/release
rounds=${1:-5}
files=20000
size=20480
work=$(mktemp -d /dev/shm/grelmoor-copies.XXXXXX)
trap 'umount "$work/mounted" 2>/dev/null || true; rm -rf "$work" || true' EXIT

# make <image> <megabytes> <python statements that fill `root`>
make() {
    truncate -s "$2M" "$work/$1"
    mkntfs -F -f -q -s 512 -c 4096 -p 0 -H 255 -S 63 "$work/$1" >/dev/null 2>&1
    mkdir -p "$work/mounted"
    ntfs-3g "$work/$1" "$work/mounted"
    root=$work/mounted python3 -c "import os, random
root, noise = os.environ['root'], random.Random(1).randbytes
$3"
    umount "$work/mounted"
}

field() { sed -n "s/.*$1=\([0-9.]*\).*/\1/p"; }
least() { sort -n "$work/$1" | head -1; }

make many.img 640 "for n in range($files): open(f'{root}/{n}', 'wb').write(noise($size))"
for ((round = 0; round < rounds; ++round)); do
    for who in floor own; do
        rm -rf "$work/copies"
        mkdir "$work/copies"
        if [ $who = floor ]; then
            "$build/bench/copy_floor" "$work/many.img" "$work/copies" $files $size
        else
            "$build/bench/measure" "$build/grelmoor" -image "$work/many.img" -quiet -out "$work/rows" \
                -action_copy_files "$work/copies" 2>/dev/null
        fi >"$work/figures"
        echo "$(field user <"$work/figures") $(field sys <"$work/figures")" | awk '{ print $1 + $2 }' >>"$work/$who"
    done
done
copies=$(find "$work/copies" -type f | wc -l)
awk -v own="$(least own)" -v floor="$(least floor)" -v copies="$copies" 'BEGIN {
    printf "%d copies: %.2f s of CPU, floor %.2f s, ratio %.2f\n", copies, own, floor, own / floor }'

rm -rf "$work/copies" "$work/many.img"
make large.img 1200 "f = open(f'{root}/large', 'wb')
for n in range(1024): f.write(noise(1 << 20))
f.close()"
"$build/bench/measure" "$build/grelmoor" -image "$work/large.img" -quiet -out "$work/rows" -csv -hashfile 'md5|sha1' 2>/dev/null |
    awk -F'[= ]' '{ printf "digests of 1 GiB: %.2f s of CPU, peak %.1f MB\n", $2 + $4, $8 / 1024 }'
