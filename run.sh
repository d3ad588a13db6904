#!/bin/sh
# Builds grelmoor and runs it: ./run.sh -mftfile some/$MFT -csv
# Without arguments: the default report over the sample $MFT, its first rows.
set -eu
here=$(cd "$(dirname "$0")" && pwd)
from=$(pwd)
cd "$here"
. scripts/packages.sh
# shellcheck disable=SC2086
need $build_packages
build release
program="$here/build/release/grelmoor"
if [ $# -gt 0 ]; then
    cd "$from"
    exec "$program" "$@"
fi
report="$here/build/sample_report.txt"
"$program" -mftfile samples/small.mft > "$report"
head -n 24 "$report"
echo "... $(wc -l < "$report") lines, all of them: build/sample_report.txt"
