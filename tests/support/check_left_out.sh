#!/usr/bin/env bash
# check_left_out.sh <document> <source>...: the document names each of the sources.
set -euo pipefail
document=$1
shift
[ $# -gt 0 ]
failures=0
for source; do
  grep -qF "${source##*/}\`" "$document" && continue
  printf '%s does not tell why %s is left out\n' "$document" "$source"
  failures=$((failures + 1))
done
exit $((failures > 0))
