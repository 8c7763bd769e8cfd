#!/usr/bin/env bash
# left_out_checks_test.sh: the checks of what is left out on Windows pass where they should and fail where they should,
# over a document, tests and results made up for it.
set -euo pipefail
checks=$(realpath "$(dirname "${BASH_SOURCE[0]}")")
folder=$(mktemp -d)
trap 'rm -rf "$folder"' EXIT
cd "$folder"
failures=0

# expect <0 or 1> <what it has to tell, "" for anything> <command>...
expect() {
  local wanted=$1 text=$2 got=0
  shift 2
  "$@" >told 2>&1 || got=1
  [ "$got" = "$wanted" ] && [[ $(<told) == *"$text"* ]] && return
  printf '%s: %s and not %s with "%s"\n' "${*##*/}" "$got" "$wanted" "$text"
  cat told
  failures=$((failures + 1))
}

# --- Sources ------------------------------------------------------------------------------------------------

# shellcheck disable=SC2016 # the document's own ticks
printf '%s\n' 'about `Room.LeavesARowOut`' '### Cases that are skipped' '`Room.IsSkipped`, `Room.IsSkippedToo`' \
  '### Tests' '`one_posix_test.cpp`' >document.md
expect 0 "" "$checks/check_left_out.sh" document.md a/one_posix_test.cpp
expect 1 "a/two_posix_test.cpp is left out" "$checks/check_left_out.sh" document.md a/one_posix_test.cpp a/two_posix_test.cpp
expect 1 "" "$checks/check_left_out.sh" document.md

# --- Rows and cases in the sources --------------------------------------------------------------------------

mkdir tests
# case_of <name> <lines of its body>...
case_of() { printf 'TEST(Room, %s) {\n%s\n}\n' "$1" "$(printf '  %s\n' "${@:2}")"; }
{
  case_of IsSkipped 'if (IsWine()) GTEST_SKIP();'
  case_of IsSkippedToo 'if (kIsWindows)' '  GTEST_SKIP();'
  case_of LeavesARowOut 'for (;;) {' '  if (kIsMsxml) continue;' '}'
  case_of AsksOnly 'EXPECT_EQ(kIsWindows ? 1 : 2, 1);' 'for (;;) continue;'
} >tests/room_test.cpp
rows=("$checks/check_rows_left_out.sh" document.md tests)
expect 0 "" "${rows[@]}"
case_of EndsEarly 'if (IsWine()) return;' >tests/more_test.cpp
expect 1 "does not tell what Room.EndsEarly leaves out" "${rows[@]}"
case_of GoesOn 'if (kIsWindows &&' '    other)' '  continue;' >tests/more_test.cpp
expect 1 "what Room.GoesOn leaves out" "${rows[@]}"
case_of KeepsOthers 'if (kIsMsxml) continue;' >tests/more_test.cpp
expect 1 "what Room.KeepsOthers leaves out" "${rows[@]}"
printf 'void Helper() {\n  if (IsWine()) return;\n}\n' >tests/more_test.cpp
expect 1 "more_test.cpp:2" "${rows[@]}"
mv tests/more_test.cpp tests/more_posix_test.cpp # of one system alone
expect 0 "" "${rows[@]}"
sed -i 's/IsSkippedToo/IsRenamed/' tests/room_test.cpp
expect 1 "lists Room.IsSkippedToo, which is no case" "${rows[@]}"
echo >tests/room_test.cpp
expect 1 "no case is found" "${rows[@]}"

# --- Results ------------------------------------------------------------------------------------------------

mkdir -p built/room/results
# result <file> <case> <skipped or completed>
result() {
  printf '    <testcase name="%s" status="run" result="%s" time="0" timestamp="" classname="Room" />\r\n' "$2" "$3" \
    >>"built/room/results/$1.xml"
}
skipped=("$checks/check_skipped.sh" document.md built)
expect 1 "0 cases were run" "${skipped[@]}"
result one IsSkipped skipped
result one IsWhole completed
expect 0 "2 cases were run, 1 skipped, of 2 listed" "${skipped[@]}"
result two IsSkippedToo skipped
expect 0 "3 cases were run, 2 skipped, of 2 listed" "${skipped[@]}"
result three Another skipped
expect 1 "Room.Another was skipped" "${skipped[@]}"
"$checks/check_skipped.sh" --clear built
expect 1 "0 cases were run" "${skipped[@]}"
result one IsSkipped completed
expect 1 "Room.IsSkipped was not skipped" "${skipped[@]}"
"$checks/check_skipped.sh" --clear built
result one IsSkipped skipped
sed -i 's/.Room.IsSkipped.,/& &/' document.md
expect 1 "Room.IsSkipped is listed twice" "${skipped[@]}"
exit $((failures > 0))
