#!/usr/bin/env bash
# Completes lines with completions/saddlefit and compares the offers with what is expected.
# usage: check_completion.sh COMPLETION_FILE SADDLEFIT
set -euo pipefail
# shellcheck disable=SC1090
source "$1"
program=$2
folder=$(mktemp -d)
trap 'rm -rf "$folder"' EXIT
cd "$folder"
mkdir -p inputs
touch reactions.db

# offers WORD...: what is offered for the last word, sorted
offers() {
    COMP_WORDS=("$program" "$@")
    COMP_CWORD=$#
    _saddlefit
    printf '%s\n' "${COMPREPLY[@]}" | sort | paste -sd' '
}

failures=0
expect() {
    local wanted=$1 got
    shift
    got=$(offers "$@")
    [ "$got" = "$wanted" ] && return
    printf 'saddlefit %s: offers "%s" instead of "%s"\n' "$*" "$got" "$wanted" >&2
    failures=$((failures + 1))
}

expect "react" rea
expect "compare" comp
expect "db" d
expect "--version" --ver
expect "check compact" db c
expect "--reactants --relax --resume --rivals" react --r
expect "--stages --start" react --sta
expect "internal none uff xtb" react --relax ""
expect "uff" react r.sdf p.sdf --relax u
expect "gfn0 gfn1 gfn2 gfnff" react --xtb-method ""
expect "orca" react --constraints o
expect "inputs" react -d ""
expect "" react --jobs ""
expect "reactions.db" react --db rea
expect "reactions.db" db list rea
expect "mean" react --start me

# Every option that any command's help names is offered for it, and nothing else.
check_command() {
    local help command
    help=$("$program" "$@" --help)
    expect "$(grep -oE '^  -[^ ]+' <<< "$help" | tr -d ' ' | tr ',' '\n' | sort | paste -sd' ')" "$@" -
    for command in $(sed '1,/^Subcommands:/d; /^$/,$d' <<< "$help" | grep -oE '^  [a-z]+'); do
        check_command "$@" "$command"
    done
}
check_command
[ "$failures" -eq 0 ]
