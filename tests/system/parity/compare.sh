#!/usr/bin/env bash
# compare.sh <program> <program> [<known differences> [<word>...]]: runs the parity cases of two builds and compares what
# they print, line by line. The words are what runs the other program. The known differences are the lines of both, the
# first program's behind "< " and the other's behind "> ": whatever changes in them is told, and so is one that no longer
# differs.
set -euo pipefail

folder=$(mktemp -d)
trap 'rm -rf "$folder"' EXIT

# run <file> <word>...: the cases of that command, as many as it has and each once. One that fails ends this one.
run() {
  local file=$1 cases
  shift
  "$@" >"$file.raw"
  tr -d '\r' <"$file.raw" | tail -n +2 >"$file"
  cases=$(tr -d '\r' <"$file.raw" | sed -n '1s/^\([0-9]\{1,\}\) cases$/\1/p')
  [ "${cases:-0}" -ge 2000 ] || { echo "$*: tells of ${cases:-no} cases, of 2000 at least" >&2; return 1; }
  seq 0 $((cases - 1)) | cmp -s - <(cut -d' ' -f1 "$file") || { echo "$*: not its $cases cases in a row" >&2; return 1; }
}
run "$folder/one" "$1"
run "$folder/other" "${@:4}" "$2"

in_order() { sort -s -k2,2n -k1,1; }
{ diff --old-line-format='< %L' --new-line-format='> %L' --unchanged-line-format='' "$folder/one" "$folder/other" || [ $? = 1 ]; } |
  in_order >"$folder/differing"
sed '/^#/d; /^ *$/d' "${3:-/dev/null}" | in_order >"$folder/known"

printf '%d cases, %d differ, %d of them known\n' "$(wc -l <"$folder/one")" \
  "$(cut -d' ' -f2 "$folder/differing" | sort -u | wc -l)" "$(cut -d' ' -f2 "$folder/known" | sort -u | wc -l)"
diff --label known --label now -U0 "$folder/known" "$folder/differing" | cut -c1-1200
