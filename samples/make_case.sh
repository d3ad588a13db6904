#!/bin/bash
# Makes samples/case.img.gz, as root: the disk of a small made-up case, which docs/tutorial.md examines.
# From Debian: ntfs-3g (mkntfs and the FUSE driver), attr (setfattr), fdisk (sfdisk), dosfstools, faketime, python3.
# The clock of mkntfs and of the driver is the one written by at(), so a second run gives the same bytes.
set -euo pipefail
cd "$(dirname "$0")"
export LC_ALL=C.UTF-8 TZ=UTC

work=$(mktemp -d)
volume="$work/volume"
trap 'mountpoint -q "$volume" && umount "$volume"; rm -rf "$work"' EXIT
mkdir "$volume"

at() { echo "$1" > "$work/clock"; }
with_clock() {
    LD_PRELOAD=$(echo /usr/lib/*/faketime/libfaketime.so.1) FAKETIME_TIMESTAMP_FILE="$work/clock" FAKETIME_NO_CACHE=1 "$@"
}
format() { # file, label, first sector
    with_clock mkntfs --force --fast --quiet --no-indexing --sector-size 512 --cluster-size 1024 --label "$2" \
        --partition-start "$3" --heads 255 --sectors-per-track 63 "$1" 2>/dev/null
}
# Users 1001 (anna) and 1002 (ben) of this system are two accounts of one Windows machine.
printf '%s:%s:S-1-5-21-1004336348-1177238915-682003330-%s\n' 1001 1001 1001 1002 1002 1002 > "$work/accounts"
mount_volume() { with_clock ntfs-3g -o "streams_interface=windows,noatime,usermapping=$work/accounts" "$1" "$volume"; }

lines() { python3 -c 'import sys; [print(f"{sys.argv[2]} {n:04};{n * 7919 % 1000}.{n % 100:02}") for n in range(int(sys.argv[1]))]' "$@"; }
program() { python3 -c 'import sys, random; random.seed(sys.argv[1]); sys.stdout.buffer.write(b"MZ\x90\0\3\0\0\0\4\0\0\0\xff\xff" + bytes(46) + b"\x80\0\0\0" + random.randbytes(3000))' "$1"; }
# save <user number> <file>: what comes in becomes the user's file.
save() { cat > "$work/content"; cp "$work/content" "$volume/$2"; chown "$1:$1" "$volume/$2"; }

# --- an earlier volume: some of its records lie in free clusters of the next one ---

earlier="$work/earlier"
truncate -s 4M "$earlier"
at "2023-05-02 08:00:00"
format "$earlier" ARCHIVE 8192
mount_volume "$earlier"
mkdir "$volume/contracts"
for number in 01 02 03 04 05 06; do
    at "2023-05-02 09:00:$number.25"
    printf 'Contract %s with the buyer in Basel, signed by ben on 2 May 2023.\n' "$number" | save 1002 "contracts/contract $number.txt"
done
umount "$volume"

# --- the volume of the case ---

office="$work/office"
truncate -s 8M "$office"
at "2024-03-01 08:00:00"
format "$office" OFFICE 8192
mount_volume "$office"
mkdir -p "$volume"/Users/{anna/Documents,ben/{Documents,Downloads,Pictures}} "$volume/Windows/System32/drivers"

at "2024-03-04 09:15:20.1234567"; lines 400 "item" | save 1001 "Users/anna/Documents/price list 2024.csv"
at "2024-03-04 10:30:00.5"; program disk | save 0 "Windows/System32/drivers/disk.sys"
at "2024-03-06 14:02:47.7654321"; lines 600 "customer" | save 1001 "Users/anna/Documents/customers.csv"
at "2024-03-11 16:20:31.0415926"; program cleaner | save 1002 "Users/ben/Downloads/cleaner.exe"
printf '[ZoneTransfer]\r\nZoneId=3\r\nHostUrl=https://files.example/cleaner.exe\r\n' > "$volume/Users/ben/Downloads/cleaner.exe:Zone.Identifier"
at "2024-03-12 18:41:09.1111111"; lines 600 "customer" | save 1002 "Users/ben/Pictures/IMG_0042.jpg"
setfattr -n system.ntfs_attrib_be -v 0x00000022 "$volume/Users/ben/Pictures/IMG_0042.jpg" # hidden
at "2024-03-12 18:43:55.2222222"; printf 'milk\nbread\n' | save 1002 "Users/ben/Documents/todo.txt"
lines 400 "item" > "$volume/Users/ben/Documents/todo.txt:prices"
at "2024-03-12 18:47:30.3333333"; program helper | save 0 "Windows/System32/drivers/usbhelp.sys"
at "2024-03-12 18:52:18.4444444"; program mailer | save 1002 "Users/ben/Pictures/holiday.png"
at "2024-03-12 18:58:02.5555555"; printf 'Prices and customers are on the stick. Basel, Thursday, noon.\n' | save 1002 "Users/ben/Documents/mail to buyer.txt"
mkdir "$volume/Users/ben/Documents/handover"
at "2024-03-12 18:59:40.6666666"; lines 120 "pay" | save 1002 "Users/ben/Documents/handover/account.csv"

# Remounted, so that nothing of the above waits in a cache when records become free.
umount "$volume"
at "2024-03-12 19:05:00.7777777"
mount_volume "$office"
rm -r "$volume/Users/ben/Documents/handover" "$volume/Users/ben/Documents/mail to buyer.txt"
umount "$volume"

# Records 65 to 70 of the earlier volume (its $MFT begins in cluster 16), into clusters that nothing uses.
dd if="$earlier" of="$office" bs=1024 skip=81 count=6 seek=7500 conv=notrunc status=none

# usbhelp.sys gets the four times of a tool that sets $STANDARD_INFORMATION back; the driver would change $FILE_NAME too.
python3 - "$office" <<'PYTHON'
import struct, sys
with open(sys.argv[1], "r+b") as volume:
    image = volume.read()
    at = next(at for at in range(0, len(image), 1024) if image[at:at + 4] == b"FILE" and image[at + 22] & 1
              and "usbhelp.sys".encode("utf-16-le") in image[at:at + 512])
    value = at + struct.unpack_from("<H", image, at + 20)[0] + 24  # the first attribute, resident
    volume.seek(value)
    volume.write(struct.pack("<4Q", *[(1560243600 + 11644473600) * 10**7] * 4))  # 2019-06-11 09:00:00
PYTHON

# --- the disk: a small system partition, then the office volume ---

boot="$work/boot"
truncate -s 2M "$boot"
mkfs.vfat --invariant -i 0c0ffee1 -n BOOT "$boot" > /dev/null
truncate -s 13M "$work/case.img"
sfdisk --quiet --no-reread "$work/case.img" <<'TABLE'
label: dos
label-id: 0x0c0ffee0
start=2048, size=4096, type=c, bootable
start=8192, size=16384, type=7
TABLE
dd if="$boot" of="$work/case.img" bs=512 seek=2048 conv=notrunc,sparse status=none
dd if="$office" of="$work/case.img" bs=512 seek=8192 conv=notrunc,sparse status=none
gzip -9 -n < "$work/case.img" > case.img.gz
ls -l case.img.gz
