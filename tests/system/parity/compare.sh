#!/usr/bin/env bash
# compare.sh <program> <program> [<known differences>]: runs the parity cases of two builds and compares what they
# print, line by line. A program is one word or several, as in "wine parity_cases.exe". The known differences are
# lines "<case> <reason>"; a known one that no longer differs is a fault too.
set -euo pipefail

folder=$(mktemp -d)
trap 'rm -rf "$folder"' EXIT
# shellcheck disable=SC2086 # several words on purpose
$1 | tr -d '\r' >"$folder/one" && $2 | tr -d '\r' >"$folder/other"
sed 's/#.*//; /^ *$/d' "${3:-/dev/null}" | awk '{print $1}' | sort -n >"$folder/known"

{ diff --old-line-format='%L' --new-line-format='%L' --unchanged-line-format='' "$folder/one" "$folder/other" || true; } |
  awk '{print $1}' | sort -nu >"$folder/differing"
cases=$(wc -l <"$folder/one")
unknown=$(comm -23 <(sort "$folder/differing") <(sort "$folder/known") | sort -n)
gone=$(comm -13 <(sort "$folder/differing") <(sort "$folder/known") | sort -n)
printf '%d cases, %d differ, %d of them known\n' "$cases" "$(wc -l <"$folder/differing")" "$(wc -l <"$folder/known")"
for case in $unknown; do
  printf 'differs:\n'
  grep "^$case " "$folder/one" "$folder/other" | cut -d: -f2- | cut -c1-1200
done
for case in $gone; do printf 'no longer differs: %s\n' "$case"; done
[ "$cases" -ge 2000 ] && [ -z "$unknown" ] && [ -z "$gone" ]
