#!/bin/bash
# Makes samples/small.img.gz and samples/small.mft, as root.
# From Debian: ntfs-3g (mkntfs and the FUSE driver), attr (setfattr), sleuthkit (icat), python3.
# The same steps in the same order: names, records and runs come out the same; times that the driver sets are those of
# the run. After a new run, check README.md's table and the tests' golden rows against the new files.
set -euo pipefail
cd "$(dirname "$0")"
export LC_ALL=C.UTF-8

work=$(mktemp -d)
image="$work/small.img"
volume="$work/volume"
trap 'mountpoint -q "$volume" && umount "$volume"; rm -rf "$work"' EXIT
mkdir "$volume"

truncate -s 4M "$image"
mkntfs --force --fast --quiet --no-indexing --sector-size 512 --cluster-size 1024 --label "sample" \
    --partition-start 0 --heads 255 --sectors-per-track 63 "$image"

mount_volume() { ntfs-3g -o streams_interface=windows,compression,noatime "$image" "$volume"; }
unmount_volume() { umount "$volume"; }

# --- what the steps below are made of ---

little_endian() { python3 -c 'import sys; print("0x" + b"".join(int(n).to_bytes(8, "little") for n in sys.argv[1:]).hex())' "$@"; }
# FILETIME of a UTC time with seven digits: filetime 2021-03-04T05:06:07 1234567
filetime() { echo $(( ($(date -u -d "$1" +%s) + 11644473600) * 10000000 + 10#$2 )); }
# The four times of $STANDARD_INFORMATION: created, modified, accessed, MFT changed (the last is the driver's own).
si_times() { setfattr -n system.ntfs_times -v "$(little_endian "$2" "$3" "$4")" "$1"; }
dos_name() { setfattr -n system.ntfs_dos_name -v "$2" "$1"; }
attributes() { setfattr -n system.ntfs_attrib_be -v "$2" "$1"; }
text() { python3 -c 'import sys; n = int(sys.argv[1]); s = sys.argv[2] + "\n"; sys.stdout.write((s * (n // len(s) + 1))[:n])' "$1" "$2"; }
noise() { python3 -c 'import sys, random; random.seed(sys.argv[2]); sys.stdout.buffer.write(random.randbytes(int(sys.argv[1])))' "$1" "$2"; }
# A reparse point of Windows: tag, substitute name, print name, and flags where the tag has them.
reparse() {
    setfattr -n system.ntfs_reparse_data -v "$(python3 - "$2" "$3" "$4" "${5-}" <<'PYTHON'
import struct, sys
tag, target, shown, flags = sys.argv[1:]
target, shown = (name.encode("utf-16-le") for name in (target, shown))
body = struct.pack("<4H", 0, len(target), len(target) + 2, len(shown))
body += struct.pack("<I", int(flags)) if flags else b""
body += target + b"\0\0" + shown + b"\0\0"
print("0x" + (struct.pack("<IHH", int(tag, 16), len(body), 0) + body).hex())
PYTHON
)" "$1"
}

mount_volume
cd "$volume"

# --- directories, long and 8.3 names ---

mkdir -p documents/reports/2021 pictures music
text 300 "resident text" > documents/note.txt
text 5000 "clusters of text" > "documents/reports/annual report of march.txt"
dos_name "documents/reports/annual report of march.txt" "ANNUAL~1.TXT"
mkdir "documents/letters, private"
dos_name "documents/letters, private" "LETTER~1"
text 80 "dear all" > "documents/letters, private/to whom it concerns.letter"
dos_name "documents/letters, private/to whom it concerns.letter" "TOWHOM~1.LET"
text 700 "two cells or one" > "documents/a | b; c, d.csv"
: > documents/empty
text 10 "dot" > documents/.hidden
attributes documents/.hidden 0x00000002
text 10 "last dot" > "documents/archive.tar.GZ"
deep="deep"
for level in 1 2 3 4 5 6 7 8 9 10 11 12; do deep="$deep/level $level"; done
mkdir -p "$deep"
text 40 "bottom" > "$deep/bottom.txt"
text 20 "long" > "$(python3 -c 'print("n" * 251 + ".txt")')"
# Enough names for an index that does not fit into the record.
mkdir many
for number in $(seq -w 1 40); do text 10 "$number" > "many/file number $number.dat"; done

# --- names beyond ASCII ---

mkdir "pictures/Übergröße"
text 50 "umlaut" > "pictures/Übergröße/Straße ÄÖÜ.jpg"
text 50 "cyrillic" > "pictures/Отчёт за март.doc"
text 50 "surrogates" > "pictures/party 🎉 and 😀.png"
text 50 "rare ideograph" > "pictures/𠮷野家.txt"
text 50 "combining" > "$(printf 'pictures/e\xcc\x81te\xcc\x81.txt')"
text 10 "one" > pictures/Case.txt
text 10 "two" > pictures/CASE.txt

# --- hard links ---

text 2000 "three names, one directory" > documents/link-a.txt
ln documents/link-a.txt documents/link-b.txt
ln documents/link-a.txt documents/link-c.dat
text 2000 "two directories" > documents/shared.bin
ln documents/shared.bin music/shared-too.bin

# --- alternate data streams ---

text 100 "main" > documents/with-streams.txt
text 60 "resident stream" > documents/with-streams.txt:small
text 9000 "stream in clusters" > documents/with-streams.txt:large
text 30 "named with an emoji" > "documents/with-streams.txt:🎵"
printf '[ZoneTransfer]\r\nZoneId=3\r\n' > documents/with-streams.txt:Zone.Identifier
text 45 "stream of a directory" > music:note

# --- sparse, compressed, larger ---

noise 3000 head > documents/sparse.bin
noise 2000 tail | dd of=documents/sparse.bin bs=1 seek=200000 conv=notrunc status=none
mkdir compressed
attributes compressed 0x00000810
text 100000 "the same words over and over again" > compressed/repetitive.txt
{ noise 17000 packed; text 30000 "and then words"; } > compressed/mixed.bin
text 90 "small" > compressed/small.txt
noise 8000 song > music/song.mp3

# --- many runs: only every 20th piece is written, and the pieces between stay holes ---

# So many that they need extension records and an attribute list.
python3 - <<'PYTHON'
import os
file = os.open("fragmented.bin", os.O_WRONLY | os.O_CREAT)
for turn in range(260):
    os.pwrite(file, bytes([turn % 251]) * 1024, turn * 20 * 1024)
os.close(file)
PYTHON
# Two files take turns, so neither finds room behind its last cluster.
python3 - <<'PYTHON'
import os
files = [os.open(name, os.O_WRONLY | os.O_CREAT | os.O_APPEND) for name in ("few-runs.bin", "few-runs.tmp")]
for turn in range(6):
    for file in files:
        os.write(file, bytes([turn]) * 2048)
for file in files:
    os.close(file)
PYTHON
# Names alone can fill a record as well.
text 10 "many names" > documents/many-names.txt
for number in $(seq -w 1 12); do
    ln documents/many-names.txt "documents/another and rather long name of the same file, number $number.txt"
done

# --- links that are reparse points ---

: > documents/symlink.txt
reparse documents/symlink.txt 0xA000000C '\??\C:\documents\note.txt' 'C:\documents\note.txt' 0
: > documents/relative.txt
reparse documents/relative.txt 0xA000000C 'reports\2021' 'reports\2021' 1
mkdir junction
reparse junction 0xA0000003 '\??\C:\pictures\Übergröße' 'C:\pictures\Übergröße'

# --- object ids and times ---

setfattr -n system.ntfs_object_id -v 0x00112233445566778899aabbccddeeff documents/note.txt
when() { filetime "$1" "${2-0}"; }
si_times documents/note.txt "$(when 2019-05-06T07:08:09 1234567)" "$(when 2020-01-02T03:04:05 7654321)" \
    "$(when 2020-02-03T04:05:06 1)"
# Whole seconds, and created long before the name was: what a tool that sets times leaves behind.
si_times "documents/reports/annual report of march.txt" "$(when 2010-01-01T00:00:00)" "$(when 2010-01-01T00:00:00)" \
    "$(when 2010-01-01T00:00:00)"
# Created after it was last written: a copy.
si_times music/song.mp3 "$(when 2021-06-07T08:09:10 5555555)" "$(when 2018-03-04T05:06:07 4444444)" \
    "$(when 2021-06-07T08:09:10 5555555)"
# Before 1970, after the year 3000, and in the future.
si_times documents/archive.tar.GZ "$(when 1969-07-20T20:17:40 1)" "$(when 3001-01-01T00:00:00)" "$(when 2150-01-01T00:00:00)"

# --- deleted: files, a directory with what was in it, and an orphan ---

mkdir -p trash/inner
text 500 "deleted and resident" > trash/resident.txt
text 6000 "deleted, its clusters free" > trash/clusters.txt
text 50 "deleted inside" > "trash/inner/deleted with a long name.txt"
dos_name "trash/inner/deleted with a long name.txt" "DELETE~1.TXT"
text 20 "stream of a deleted file" > trash/resident.txt:kept
mkdir replaced
text 30 "its directory's record now is another's" > replaced/orphan.txt
cd - >/dev/null

# Remounted, so that nothing of the above waits in a cache when records become free.
unmount_volume; mount_volume
rm -r "$volume/replaced"
text 25 "in the record of a deleted directory" > "$volume/reuses a record.txt"
rm -r "$volume/trash"
rm "$volume/few-runs.tmp" "$volume/many/file number 07.dat" "$volume/many/file number 21.dat"
rm "$volume/documents/link-b.txt"
unmount_volume

icat -f ntfs "$image" 0 > small.mft
gzip -9 -n < "$image" > small.img.gz
ls -l small.img.gz small.mft
