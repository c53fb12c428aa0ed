#!/usr/bin/env bash
# Compiles and runs the C program that the README shows.
# usage: check_readme.sh README INCLUDE_FOLDER LIBRARY [COMPILER FLAGS]
set -euo pipefail
readme=$1 include=$2 library=$(realpath "$3")
shift 3
scratch=$(mktemp -d)
trap 'rm -rf "$scratch"' EXIT

sed -n '/^```c$/,/^```$/{/^```/!p}' "$readme" > "$scratch/program.c"
cc -std=c99 -Wall -Wextra -pedantic -Werror "$@" -I"$include" "$scratch/program.c" "$library" \
    -Wl,-rpath,"$(dirname "$library")" -o "$scratch/program"
cd "$scratch"
[ "$(./program)" = "no stored reaction fits" ]
echo "the README's program compiles and runs"
