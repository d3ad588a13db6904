#!/bin/sh
# Builds grelmoor and runs it: ./run.sh -mftfile some/$MFT -csv
# Without arguments: the default report over the sample $MFT, its first rows.
set -eu
here=$(dirname "$(readlink -f "$0")")
from=$(pwd)
cd "$here"
. scripts/packages.sh
. scripts/build.sh
program="$here/build/release/grelmoor"
if can_build release; then
    # shellcheck disable=SC2086 # the lists are lists
    need $build_packages
    build release off grelmoor
else
    [ -x "$program" ] || exit 1
    say "what was built there runs as it is"
fi
if [ $# -gt 0 ]; then
    cd "$from"
    exec "$program" "$@"
fi
report="$here/build/sample_report.txt"
{ true >"$report"; } 2>/dev/null || report=$(mktemp)
"$program" -mftfile samples/small.mft >"$report"
head -n 24 "$report"
echo "... $(wc -l <"$report") lines, all of them: $report"
