#!/bin/bash
# History export of LINES lines (default 1,000,000): the collector's
# exportHistoryInfo against an awk one-liner writing the same CSV. Checks the
# two files are identical and prints both times (wall clock, and user + system
# CPU), their ratios and both programs' peak resident memory.
#   bench/history_export.sh BUILD_DIR [LINES] [EXPORT_PROGRAM]
set -eu
build=$(cd "${1:?usage: history_export.sh BUILD_DIR [LINES]}" && pwd)
lines=${2:-1000000}
program=${3:-$build/bin/bench_history_export}
[ "${program#/}" != "$program" ] || program=$PWD/$program
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
cd "$work"
mkdir -p PVMX/drovaPanel/db
# Codes 0-255 named (third column wins: no language configured), 256-299 not.
awk 'BEGIN { for (c = 0; c < 256; ++c) printf "%d,Alarm %d,Event text %d\n", c, c, c }' \
    > PVMX/drovaPanel/db/historycodemap.csv
awk -v n="$lines" 'BEGIN { for (i = 0; i < n; ++i)
    printf "%d %d %02d %02d %02d %02d %02d %02d\n", i % 300, i % 2, 24, 1 + i % 12, 1 + i % 28, i % 24, i % 60, (i * 7) % 60 }' \
    > history.in
cp history.in history.txt

measure() { /usr/bin/time -f '%e %U %S %M' -o time.out "$@"; }
measure "$program" collector.csv >/dev/null 2>&1
collector=$(cat time.out)
measure awk 'BEGIN { FS = ","; print "ID,Content,Status,Time," }
     NR == FNR { m[$1] = $3; next }
     { split($0, f, " "); c = f[1] + 0
       printf "%d,%s,%s,20%02d-%02d-%02d %02d:%02d:%02d,\n", c, (c in m) ? m[c] : c,
              f[2] == 1 ? "Appear" : "Disappear", f[3], f[4], f[5], f[6], f[7], f[8] }' \
    PVMX/drovaPanel/db/historycodemap.csv history.in > awk.csv
reference=$(cat time.out)

if cmp -s collector.csv awk.csv; then same=identical; else same=DIFFERENT; fi
echo "history export of $lines lines: outputs $same ($(wc -c < awk.csv) bytes)"
echo "$collector $reference" | awk '{
    printf "  exportHistoryInfo (whole process): %.3f s wall, %.3f s CPU, %.1f MB peak RSS\n", $1, $2 + $3, $4 / 1024
    printf "  awk one-liner:                     %.3f s wall, %.3f s CPU, %.1f MB peak RSS\n", $5, $6 + $7, $8 / 1024
    printf "  ratio collector / awk: %.2f wall, %.2f CPU\n", $1 / $5, ($2 + $3) / ($6 + $7) }'
[ "$same" = identical ]
