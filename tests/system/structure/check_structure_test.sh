#!/usr/bin/env bash
# Plants violations in a small tree of its own and expects check_structure.sh to find each, and nothing else.
set -euo pipefail
check=$(cd "$(dirname "${BASH_SOURCE[0]}")" && pwd)/check_structure.sh
tree=$(mktemp -d)
trap 'rm -rf "$tree"' EXIT
failures=0

fresh_tree() {
  rm -rf "${tree:?}"/*
  mkdir -p "$tree"/{include,examples/host,tools/tool} \
    "$tree"/src/{base,platform,diag,xml/native,xml/msxml,desc,rules,present,b2x,x2b,api}
  printf '#if defined(_WIN32)\n#else\n#endif\n' >"$tree/include/sbxml.h"
  printf '#include <cstddef>\nnamespace sbx {}\n' >"$tree/src/api/conversion_state.h"
  printf '#include "sbxml.h"\n#include "x2b/a.h"\n' >"$tree/src/api/a.cpp"
  printf '#include <unistd.h>\n#include "base/a.h"\n' >"$tree/src/platform/a_posix.cpp"
  printf '#include <expat.h>\n#include "xml/native/a.h"\n' >"$tree/src/xml/native/a.cpp"
  printf '#include <msxml2.h>\n' >"$tree/src/xml/msxml/a.cpp"
  printf '#include <string>\n#include "b2x/a.h"\n#include "api/conversion_state.h"\n' >"$tree/src/x2b/a.cpp"
  printf '#include "rules/a.h"\n' >"$tree/src/present/a.cpp"
  printf '#include "sbxml.h"\n#include <time.h>\n' >"$tree/examples/host/a.c"
  printf '#include "platform/a.h"\n#include <CLI/CLI.hpp>\n#include <stdio.h>\n' >"$tree/tools/tool/a.cpp"
  printf '#include <unistd.h>\n' >"$tree/tools/tool/a_posix.cpp"
  printf '#include <windows.h>\n' >"$tree/tools/tool/a_win.cpp"
}

# expect <file> <text> <message, or nothing for none>: the text is appended to the file.
expect() {
  fresh_tree
  mkdir -p "$(dirname "$tree/$1")"
  printf '%b\n' "$2" >>"$tree/$1"
  local found status=0
  found=$("$check" "$tree") || status=$?
  if [ -z "$3" ]; then
    [ $status -eq 0 ] && [ -z "$found" ] && return
  else
    [ $status -ne 0 ] && [ "$(wc -l <<<"$found")" -eq 1 ] && [[ $found == "$1":*"$3"* ]] && return
  fi
  printf 'FAILED: %s with "%s": expected "%s", found "%s"\n' "$1" "$2" "$3" "$found"
  failures=$((failures + 1))
}

expect src/base/a.cpp '#include <vector>' ''
expect src/base/a.cpp '#include "base/b.h"' ''
expect src/base/a.cpp '// #include <unistd.h>' ''
expect src/base/a.cpp '#include "platform/a.h"' 'include points up'
expect src/base/a.cpp '  #  include "platform/a.h"' 'include points up'
expect src/diag/a.cpp '#include "xml/a.h"' 'include points up'
expect src/desc/a.cpp '#include "rules/a.h"' 'include points up'
expect src/rules/a.cpp '#include "present/a.h"' 'include points up'
expect src/rules/a.cpp '#include "b2x/a.h"' 'include points up'
expect src/b2x/a.cpp '#include "x2b/a.h"' 'include points up'
expect src/b2x/a.cpp '#include "api/handles.h"' 'include points up'
expect src/b2x/a.cpp '#include "present/a.h"' ''
expect src/b2x/a.cpp '#include "a.h"' 'include without its folder'
expect src/b2x/a.cpp '#include "../api/a.h"' 'include by relative path'
expect src/b2x/a.cpp '#include "api/../api/a.h"' 'include by relative path'
expect src/b2x/a.cpp '#include "elsewhere/a.h"' 'no folder of src'
expect src/b2x/a.cpp '#include SOME_MACRO' 'include that cannot be read'
expect src/b2x/a.cpp '#include "sbxml.h"' 'sbxml.h is for src/api'
expect src/desc/a.cpp '#include "sbxml_module.h"' 'a module is read in src/platform'
expect src/platform/a.h '#include "sbxml_module.h"' ''
expect src/desc/a.cpp '#include "xml/native/a.h"' 'cannot tell the realisations'
expect src/xml/msxml/a.cpp '#include "xml/native/a.h"' 'cannot tell the realisations'
expect src/api/conversion_state.h '#include "base/a.h"' 'a leaf without includes'
expect src/attic/a.cpp 'int x;' 'a folder without a floor'
expect src/diag/a.cpp '#include <unistd.h>' 'system header'
expect src/xml/a.cpp '#include <sys/mman.h>' 'system header'
expect src/xml/a.cpp '#include <expat.h>' 'system header'
expect src/api/a.cpp '#include <windows.h>' 'system header'
expect src/platform/a_win.cpp '#ifdef _WIN32' 'CMake chooses the sources'
expect src/base/a.cpp '#if defined(X) || defined(__linux__)' 'CMake chooses the sources'
expect src/base/a.cpp '#if defined(X) || \\\n  defined(__linux__)' 'CMake chooses the sources'
expect src/base/a.cpp '#elif defined(_WIN64)' 'CMake chooses the sources'
expect src/base/a.cpp '#if __has_include(<unistd.h>)' 'CMake chooses the sources'
expect src/base/a.cpp '// no _WIN32 here' ''
expect src/base/a.cpp '#if 1\nint _WIN32x;' ''
expect include/sbxml.h '#ifdef _WIN32' 'include/ asks for the system once'
expect examples/host/a.c '#include "platform/a.h"' 'sees the library from outside'
expect tools/tool/a.cpp '#ifdef _WIN32' 'CMake chooses the sources'
expect tools/tool/a_win.cpp '#ifdef _WIN32' 'CMake chooses the sources'
expect tools/tool/a.cpp '#include <unistd.h>' 'in a file of that system'
expect tools/tool/awin.cpp '#include <windows.h>' 'in a file of that system'

[ $failures -eq 0 ] && echo "all violations found"
