#!/usr/bin/env bash
# check_skipped.sh <document> <folder>: the cases of GoogleTest that were skipped, by the results in the folder's
# folders "results", are those that the document lists under "Cases that are skipped", of those that were run.
# check_skipped.sh --clear <folder>: no results.
set -euo pipefail
results() { find "$1" -path '*/results/*' -name '*.xml' "${@:2}"; }

if [ "$1" = --clear ]; then
  results "$2" -delete
  exit 0
fi

scratch=$(mktemp -d)
trap 'rm -rf "$scratch"' EXIT
# shellcheck disable=SC2016 # the document's own ticks
sed -n '/^### Cases that are skipped/,/^#/p' "$1" | { grep -oE '`[A-Za-z0-9_]+\.[A-Za-z0-9_]+`' || true; } | tr -d '`' |
  LC_ALL=C sort >"$scratch/listed"
# <testcase name="..." ... result="skipped" ... classname="...">
results "$2" -exec cat {} + | tr -d '\r' |
  sed -nE 's/^ *<testcase name="([^"]*)".* result="([a-z]*)".* classname="([^"]*)".*/\2 \3.\1/p' | LC_ALL=C sort -u >"$scratch/ran"
sed -n 's/^skipped //p' "$scratch/ran" >"$scratch/skipped"
sed -n 's/^completed //p' "$scratch/ran" >"$scratch/completed"

failures=0
tell() { # <words>: of the cases on standard input
  local case
  while read -r case; do
    printf '%s %s\n' "$case" "$1"
    failures=$((failures + 1))
  done
}
tell "is listed twice" < <(uniq -d "$scratch/listed")
tell "was skipped; $1 does not tell why" < <(LC_ALL=C comm -23 "$scratch/skipped" "$scratch/listed")
tell "was not skipped, as $1 says" < <(LC_ALL=C comm -12 "$scratch/completed" "$scratch/listed")
printf '%d cases were run, %d skipped, of %d listed\n' "$(wc -l <"$scratch/ran")" "$(wc -l <"$scratch/skipped")" \
  "$(wc -l <"$scratch/listed")"
[ -s "$scratch/ran" ] && [ "$failures" = 0 ]
