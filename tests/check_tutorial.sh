#!/usr/bin/env bash
# Runs every command of the tutorial, in a folder of its own; each has to succeed, and the answers have
# to be those that the text speaks of.
# usage: check_tutorial.sh TUTORIAL DATA_FOLDER PROGRAM
set -euo pipefail
tutorial=$(realpath "$1") data=$(realpath "$2") program=$(realpath "$3")
scratch=$(mktemp -d)
trap 'rm -rf "$scratch"' EXIT
cd "$scratch"
ln -s "$data" data
mkdir bin
ln -s "$program" bin/saddlefit

sed -n '/^```sh$/,/^```$/{/^```/!p}' "$tutorial" > commands
[ "$(wc -l < commands)" -ge 10 ]
PATH=$scratch/bin:$PATH bash -euo pipefail -x commands > output 2> messages || { cat output messages >&2; exit 1; }

expect() {
    grep -q "$1" "$2" || { echo "no line of $2 has: $1" >&2; cat "$2" >&2; exit 1; }
}
expect 'partial da-butadiene-ethene' output
expect 'partial sn2-cl-ch3cl' output
expect 'the handedness of C[0-9]* .* is chosen' messages
expect 'orca.inp' output
[ "$(grep -c '^\$\$\$\$' queries.sdf)" = 11 ]
echo "the tutorial's commands run"
