#!/usr/bin/env bash
# check_archive.sh <build folder> <scratch folder>: packs the build for Windows into the scratch folder. The zip must
# hold what archive_contents.txt lists, and its commands must run from it alone.
set -euo pipefail
build=$(cd "$1" && pwd) scratch=$2
here=$(cd "$(dirname "${BASH_SOURCE[0]}")" && pwd)
source=$here/../../..

rm -rf "$scratch"
mkdir -p "$scratch/unpacked" "$scratch/elsewhere"
scratch=$(cd "$scratch" && pwd)
unset DESTDIR

fail() { printf 'FAILED: %s\n' "$*"; exit 1; }
run() { "$source/cmake/run_under_wine.sh" "$build" "$@"; }

cpack --config "$build/CPackConfig.cmake" -B "$scratch" >"$scratch/cpack.txt" || { cat "$scratch/cpack.txt"; fail cpack; }
zip=$(echo "$scratch"/sbxml-*-windows-x64.zip)
name=$(basename "$zip" .zip)

cmake -E tar tf "$zip" | grep -v '/$' | sed "s:^$name/::" | LC_ALL=C sort >"$scratch/contents.txt"
diff "$here/archive_contents.txt" "$scratch/contents.txt" || fail "the contents of $zip"

(cd "$scratch/unpacked" && cmake -E tar xf "$zip")
root=$scratch/unpacked/$name
! grep -rqF "$build" "$root/include" "$root/lib/cmake" || fail "names the build folder"
cmp -s "$source/LICENSE" "$root/LICENSE" || fail "LICENSE"
for licence in "$root"/licences/*.txt; do [ -s "$licence" ] || fail "$licence is empty"; done

# The library beside a command is found before any other.
cp "$source"/tests/system/sbxml/documents/{descriptions,rules}.xml "$scratch/elsewhere"
printf '\357\273\277' | cat - "$source/tests/system/sbxml/documents/good.xml" >"$scratch/elsewhere/good.xml"
cd "$scratch/elsewhere"
said=$(run "$root/bin/sbxml.exe" check -d descriptions.xml -r rules.xml --root Job good.xml 2>&1) || fail "sbxml check: $said"
[ -z "$said" ] || fail "sbxml check says $said"
run "$root/bin/sbxlog.exe" --version | grep -q '^sbxlog [0-9]' || fail "sbxlog --version"
