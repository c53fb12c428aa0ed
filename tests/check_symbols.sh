#!/usr/bin/env bash
# Compares what a shared library shows with the list of what it is to show.
# usage: check_symbols.sh LIBRARY LIST
set -euo pipefail
shown=$(nm -D --defined-only "$1" | awk '$2 ~ /^[TDBRV]$/ {print $3}' |
    grep -vE '^(_init|_fini|__asan|__ubsan|__odr_asan|__gcov|mangle_path|__llvm|__sanitizer|___asan)' | LC_ALL=C sort)
if ! diff <(LC_ALL=C sort "$2") <(echo "$shown"); then
    echo "$1 shows other symbols (right) than $2 lists (left)" >&2
    exit 1
fi
echo "$(wc -l < "$2") symbols, as listed"
