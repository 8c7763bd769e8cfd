#!/usr/bin/env bash
# check_package.sh <build folder> <source folder> <scratch folder>: installs the build into a prefix of its own and
# lets outside programs use it: the README's first page by find_package and by pkg-config, and one program that
# takes sbxml_embed_documents() through its forms.
set -euo pipefail
build=$1 source=$2 scratch=$3
here=$(cd "$(dirname "${BASH_SOURCE[0]}")" && pwd)

rm -rf "$scratch"
mkdir -p "$scratch/page" "$scratch/log"
scratch=$(cd "$scratch" && pwd)
prefix=$scratch/prefix
export SBXML_LOG_DIR=$scratch/log
unset DESTDIR

# shellcheck source=tests/system/packaging/readme_files.sh
source "$here/readme_files.sh"

fail() { printf 'FAILED: %s\n' "$*"; exit 1; }

# expect_output <program> <expected file>
expect_output() { "$1" | diff "$2" - || fail "$1"; }

# Nothing of the build folder may be needed once it is installed, and the prefix can be moved.
install_package() {
  cmake --install "$build" --prefix "$scratch/installed" >"$scratch/install.txt"
  mv "$scratch/installed" "$prefix"
  ! grep -rqF "$build" "$prefix/include" "$prefix/lib/cmake" "$prefix/lib/pkgconfig" || fail "names the build folder"
}

by_find_package() {
  cmake -S "$scratch/page" -B "$scratch/page-build" -G Ninja -DCMAKE_PREFIX_PATH="$prefix" \
    -DCMAKE_C_FLAGS="-Wall -Wextra -Wconversion -Werror" >"$scratch/configure.txt"
  cmake --build "$scratch/page-build" >"$scratch/build.txt" || { cat "$scratch/build.txt"; fail "find_package"; }
  expect_output "$scratch/page-build/backup" "$scratch/page/expected.txt"
}

by_pkg_config() {
  local flags cc=${CC:-cc} libdir
  export PKG_CONFIG_PATH=$prefix/lib/pkgconfig
  read -ra flags <<<"$(pkg-config --cflags --libs sbxml)"
  libdir=$(pkg-config --variable=libdir sbxml)
  [ "$(pkg-config --modversion sbxml)" = 1.0.0 ] || fail "version of sbxml.pc"
  "$prefix/bin/sbxml_embed" --source "$scratch/documents.c" --module sbxml_module \
    --document 101 "$scratch/page/descriptions.xml" --document 102 "$scratch/page/rules.xml"
  printf '#include "sbxml_module.h"\nextern const struct SBXModuleResources sbxml_module;\n' \
    >"$scratch/sbxml_module_embed.h"
  "$cc" -std=c11 -Wall -Wextra -Werror -I"$scratch" "$scratch/page/main.c" "$scratch/documents.c" \
    "${flags[@]}" -Wl,-rpath,"$libdir" -o "$scratch/backup"
  expect_output "$scratch/backup" "$scratch/page/expected.txt"
}

# A changed document must reach the program at the next build; a broken one must fail the build, and keep failing.
follows_its_documents() {
  sed -i 's/"target"/"goal"/' "$scratch/page/descriptions.xml"
  cmake --build "$scratch/page-build" >"$scratch/build.txt"
  "$scratch/page-build/backup" >"$scratch/changed.txt"
  grep -q '<goal>vault' "$scratch/changed.txt" || fail "a changed document was not embedded"
  printf '\xff' >>"$scratch/page/descriptions.xml"
  local attempt
  for attempt in first second; do
    ! cmake --build "$scratch/page-build" >"$scratch/build.txt" 2>&1 || fail "$attempt build of broken UTF-8"
  done
  grep -q 'descriptions.xml: no UTF-8 text at byte' "$scratch/build.txt" || fail "message for broken UTF-8"
}

# C++ alone, several modules, all kinds of targets, and Make in place of Ninja.
all_forms_of_embedding() {
  local generator
  for generator in Ninja "Unix Makefiles"; do
    [ "$generator" = Ninja ] || command -v make >/dev/null || continue
    cmake -S "$here/forms" -B "$scratch/forms" -G "$generator" -DCMAKE_PREFIX_PATH="$prefix" >"$scratch/configure.txt"
    cmake --build "$scratch/forms" >"$scratch/build.txt" || { cat "$scratch/build.txt"; fail "forms by $generator"; }
    "$scratch/forms/forms" || fail "forms by $generator"
    rm -rf "$scratch/forms"
  done
}

# refused <text in the message> <argument>...: a wrong call stops the configuration with a message.
refused() {
  cmake -S "$here/refused" -B "$scratch/refused" -G Ninja -DCMAKE_PREFIX_PATH="$prefix" "-DARGUMENTS=$2" \
    >"$scratch/configure.txt" 2>&1 && fail "accepted: $2"
  tr -s ' \n' ' ' <"$scratch/configure.txt" | grep -qF "$1" || fail "message for: $2"
}

for file in main.c descriptions.xml rules.xml CMakeLists.txt expected.txt; do
  write_file_of_readme $file "$source/README.md" "$scratch/page"
done
install_package
by_find_package
by_pkg_config
follows_its_documents
all_forms_of_embedding
refused 'DESCRIPTIONS takes a file and an id' 'carrier;RULES;a.xml;2'
refused 'RULES takes a file and an id' 'carrier;DESCRIPTIONS;a.xml;1;RULES;a.xml'
refused 'is not within 1 to 65535' 'carrier;DESCRIPTIONS;a.xml;0;RULES;a.xml;2'
refused 'is not within 1 to 65535' 'carrier;DESCRIPTIONS;a.xml;1;RULES;a.xml;65536'
refused 'is not within 1 to 65535' 'carrier;DESCRIPTIONS;a.xml;1;RULES;a.xml;x'
refused 'both documents have the id 1' 'carrier;DESCRIPTIONS;a.xml;1;RULES;a.xml;1'
refused 'is no C name' 'carrier;DESCRIPTIONS;a.xml;1;RULES;a.xml;2;MODULE;a-b'
refused 'no target nobody' 'nobody;DESCRIPTIONS;a.xml;1;RULES;a.xml;2'
refused 'unknown arguments: SURPLUS' 'carrier;SURPLUS;DESCRIPTIONS;a.xml;1;RULES;a.xml;2'
refused 'has a module twice' 'again;DESCRIPTIONS;a.xml;1;RULES;a.xml;2;MODULE;twice'
echo "the package serves outside programs"
