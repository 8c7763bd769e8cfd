#!/usr/bin/env bash
# Checks who may include what, over the tree given (default: the current directory): prints one line a
# violation and ends with 1 if there is any.
#
# A folder of src may include the floors below it and, on its own floor, what stands to its left. Only platform
# and xml/msxml include system headers; nothing in src asks which system it is built for, include/ asks once. What a
# tool asks of its system stands in files of the two systems, *_posix.cpp and *_win.cpp.
set -euo pipefail
cd "${1:-.}"

# shellcheck disable=SC2016  # the dollars are awk's
find include src tools examples -name '*.h' -o -name '*.c' -o -name '*.cpp' | LC_ALL=C sort | xargs awk '
function violation(text) {
  printf "%s:%d: %s\n", FILENAME, FNR, text
  bad = 1
}

# The folder of src that a path below src lies in; empty for none.
function room_of(path) {
  return index(path, "/") ? substr(path, 1, index(path, "/") - 1) : ""
}

function check_quoted(name,    target) {
  if (name ~ /(^|\/)\.\.?\//) {
    violation("include by relative path: " name)
    return
  }
  if (top == "examples") {
    if (room_of(name) in floor) violation("an example sees the library from outside: " name)
    return
  }
  if (top != "src") return
  if (name == "sbxml.h" && room != "api") violation("sbxml.h is for src/api: the core knows char16_t")
  if (name == "sbxml_module.h" && room != "api" && room != "platform") violation("a module is read in src/platform")
  if (name == "sbxml.h" || name == "sbxml_module.h") return
  if (FILENAME == "src/api/conversion_state.h") violation("conversion_state.h is a leaf without includes of ours")
  if (name == "api/conversion_state.h") return
  target = room_of(name)
  if (target == "") violation("include without its folder: " name)
  else if (!(target in floor)) violation("no folder of src: " name)
  else if (floor[target] > floor[room]) violation("include points up: " name)
  if (name ~ /^xml\/(native|msxml)\// && index(FILENAME, "src/" substr(name, 1, match(name, /\/[^\/]*$/))) != 1)
    violation("the rest of the code cannot tell the realisations of the document apart: " name)
}

function check_system(name) {
  if (name ~ /^[a-z_0-9]+$/ || top == "include" || top == "examples") return
  if (top == "tools") {
    if (name in library || name in of_c || FILENAME ~ /_(posix|win)\.(h|cpp)$/) return
    violation("a tool asks the system in a file of that system: " name)
    return
  }
  if (room == "platform" || FILENAME ~ /^src\/xml\/msxml\//) return
  if (FILENAME ~ /^src\/xml\/native\// && name == "expat.h") return
  violation("system header: " name)
}

BEGIN {
  # Tens are the floors; units the order from left to right on a floor.
  floor["base"] = 0; floor["platform"] = 10; floor["diag"] = 20; floor["xml"] = 30; floor["desc"] = 40
  floor["rules"] = 50; floor["present"] = 51; floor["b2x"] = 60; floor["x2b"] = 61; floor["api"] = 70
  library["CLI/CLI.hpp"]; library["nlohmann/json.hpp"]
  of_c["stdint.h"]; of_c["stdio.h"]; of_c["stdlib.h"]; of_c["string.h"]
  systems = "_WIN32|_WIN64|WIN32|__MINGW|_MSC_VER|__CYGWIN__|__linux|__unix|__APPLE__|__BSD|__FreeBSD|_POSIX|__GLIBC|__ANDROID__|__has_include"
}

FNR == 1 {
  split(FILENAME, part, "/")
  top = part[1]
  room = top == "src" ? part[2] : ""
  if (top == "src" && !(room in floor)) violation("a folder without a floor: src/" room)
}

/^[ \t]*#[ \t]*include/ {
  name = $0
  if (match(name, /"[^"]*"/)) check_quoted(substr(name, RSTART + 1, RLENGTH - 2))
  else if (match(name, /<[^>]*>/)) check_system(substr(name, RSTART + 1, RLENGTH - 2))
  else violation("include that cannot be read")
}

# A conditional may run over several lines.
{
  conditional = /^[ \t]*#[ \t]*(if|ifdef|ifndef|elif)/ || (conditional && continued)
  continued = /\\$/
  if (conditional && $0 ~ systems) {
    if (top == "src" || top == "tools") violation(top " does not ask for the system: CMake chooses the sources")
    if (top == "include" && ++asked > 1) violation("include/ asks for the system once")
  }
}

END { exit bad }
'
