#!/bin/sh
# Makes the Wine prefix of the tests ($WINEPREFIX) once, before tests run in it side by side.
set -eu
[ -e "$WINEPREFIX/ready" ] && exit 0
rm -rf "$WINEPREFIX"
mkdir -p "$WINEPREFIX"
"$1" wineboot --init
touch "$WINEPREFIX/ready"
