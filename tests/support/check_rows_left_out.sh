#!/usr/bin/env bash
# check_rows_left_out.sh <document> <folder with tests>: the document names each case that skips itself, goes on to its
# next row or ends early because of the system that it runs on; and each that it lists under "Cases that are skipped"
# exists.
set -euo pipefail
document=$(realpath "$1")
cd "$2"

sources() { find . -name '*_test.cpp' ! -name '*_posix_test.cpp' | LC_ALL=C sort; }

# "<file>:<line> <case>" of each place, "-" where it is in no case. The condition stands in the same line, or in one of
# the two before it.
# shellcheck disable=SC2016 # awk's own words
places() {
  sources | xargs awk '
    FNR == 1 { name = ""; asked = 0 }
    /^TEST(_F|_P)?\(/ { name = $0; sub(/^[A-Z_]*\( */, "", name); sub(/\).*/, "", name); sub(/, */, ".", name) }
    /IsWine\(\)|kIsWindows|kIsMsxml/ { asked = 3 }
    asked > 0 {
      if ($0 ~ /GTEST_SKIP|continue;|return;/) print FILENAME ":" FNR, name == "" ? "-" : name
      asked = $0 ~ /; *(\/\/.*)?$/ ? 0 : asked - 1
    }
    /^}/ { name = "" }'
}

failures=0
tell() {
  printf '%s\n' "$*"
  failures=$((failures + 1))
}
found=0
while read -r place name; do
  found=$((found + 1))
  if [ "$name" = - ] || ! grep -qF "\`$name\`" "$document"; then
    tell "$place: $document does not tell what $name leaves out"
  fi
done < <(places)
[ "$found" -gt 0 ] || tell "no case is found that leaves anything out"

# shellcheck disable=SC2016 # the document's own ticks
while read -r name; do
  grep -rqE --include='*_test.cpp' "^TEST(_F|_P)?\(${name%.*}, ${name#*.}\)" . || tell "$document lists $name, which is no case"
done < <(sed -n '/^### Cases that are skipped/,/^#/p' "$document" | grep -oE '`[A-Za-z0-9_]+\.[A-Za-z0-9_]+`' | tr -d '`')
exit $((failures > 0))
