#!/usr/bin/env bash
# check_archive.sh <build folder> <scratch folder>: packs the build for Windows into the scratch folder. The zip must
# hold what archive_contents.txt lists, its commands must run from it alone, and outside programs must be built with it:
# the README's program for Windows by the commands told there, with mingw-w64's like of Visual C++'s, and by CMake.
set -euo pipefail
build=$(cd "$1" && pwd) scratch=$2
here=$(cd "$(dirname "${BASH_SOURCE[0]}")" && pwd)
source=$here/../../..

rm -rf "$scratch"
mkdir -p "$scratch/unpacked" "$scratch/elsewhere"
scratch=$(cd "$scratch" && pwd)
unset DESTDIR

# shellcheck source=tests/system/packaging/readme_files.sh
source "$here/readme_files.sh"

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

# expect_page <folder>: backup.exe there, beside the zip's library, says what the README's page says.
expect_page() {
  cp "$root/bin/sbxml.dll" "$1"
  said=$(run "$1/backup.exe" 2>&1) || fail "backup.exe in $1: $said"
  # The system's own spacing between the tags differs.
  [[ $(tr -d '\r\n\t' <<<"$said") == "code 0: "*"<Backup><id>7</id><target>vault &amp; co</target></Backup>"* ]] ||
    fail "backup.exe in $1 says $said"
}

mkdir "$scratch/page" "$scratch/page-build"
for file in backup.c descriptions.xml rules.xml; do
  write_file_of_readme $file "$source/README.md" "$scratch/page"
done

cd "$scratch/page"
run "$root/bin/sbxml_embed.exe" --resources documents.rc --document 101 descriptions.xml --document 102 rules.xml
x86_64-w64-mingw32-windres documents.rc -O coff documents.res
x86_64-w64-mingw32-dlltool --input-def "$root/lib/sbxml.def" --output-lib sbxml.lib
x86_64-w64-mingw32-gcc-posix -std=c11 -Wall -Wextra -Werror -I"$root/include" backup.c documents.res sbxml.lib -lole32 \
  -o backup.exe
expect_page "$scratch/page"

cat >CMakeLists.txt <<'CMAKE'
cmake_minimum_required(VERSION 3.25)
project(backup LANGUAGES C RC)
find_package(sbxml 1.0 REQUIRED)
add_executable(backup backup.c)
target_link_libraries(backup PRIVATE sbxml::sbxml)
sbxml_embed_documents(backup DESCRIPTIONS descriptions.xml 101 RULES rules.xml 102)
CMAKE
# The programs of the package run as the tests do.
cmake -S . -B "$scratch/page-build" -G Ninja -Dsbxml_DIR="$root/lib/cmake/sbxml" \
  -DCMAKE_TOOLCHAIN_FILE="$(cd "$source" && pwd)/cmake/toolchains/mingw-w64.cmake" \
  -DCMAKE_CROSSCOMPILING_EMULATOR="$source/cmake/run_under_wine.sh;$build" >"$scratch/configure.txt" 2>&1 ||
  { cat "$scratch/configure.txt"; fail find_package; }
cmake --build "$scratch/page-build" >"$scratch/build.txt" 2>&1 || { cat "$scratch/build.txt"; fail find_package; }
expect_page "$scratch/page-build"
