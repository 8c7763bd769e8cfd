#!/usr/bin/env bash
# reasons_test.sh <reasons>: finds what failed in a long output, and only that, within the lines that it may use.
set -euo pipefail
reasons=$1
output=$(mktemp)
trap 'rm -f "$output"' EXIT

passing() { seq -f "        Start %g: Room.Case" "$1" "$2"; }
{
  echo 'build.sh: testing build/release'
  passing 1 400
  echo '  7/900 Test   #7: Room.Case7 ..........................................***Failed    0.35 sec'
  echo 'case_test.cpp:12: Failure'
  echo 'Expected equality of these values:'
  passing 401 500
  echo '  8/900 Test   #9: Room.Case9 ...........................................   Passed    0.35 sec'
  echo 'what a passed case says'
  echo '  9/900 Test  #11: Room.Case11 ..........................................***Timeout 300.00 sec'
  echo 'still waiting'
  echo ' 10/900 Test  #12: Room.Case12 ..........................................***Skipped   0.01 sec'
  echo 'nothing to do here'
  echo '/a/file.cpp:3:4: error: no such member'
  echo '+> 17 kind: said more'
  echo 'a_word_with_error: in the middle'
  passing 501 900
  echo 'Errors while running CTest'
} >"$output"

failures=0
told=$("$reasons" "$output" 60)
# expect <yes or no> <text>
expect() {
  local got=no
  [[ $told == *"$2"* ]] && got=yes
  [ "$got" = "$1" ] && return
  printf 'told of "%s": %s\n%s\n' "$2" "$got" "$told"
  failures=$((failures + 1))
}
for text in 'Case7 ...***Failed' 'case_test.cpp:12: Failure' 'Expected equality' 'Case11 ...***Timeout' 'still waiting' \
  'error: no such member' '+> 17 kind' 'Errors while running CTest'; do
  expect yes "$text"
done
for text in 'Start 3:' 'Start 450:' 'a passed case' 'nothing to do' 'a_word_with'; do expect no "$text"; done

told=$("$reasons" "$output" 10) # too few for all of it: the end is told all the same
expect yes 'Case7 ...***Failed'
expect no 'no such member'
expect yes 'Errors while running CTest'
[ "$(wc -l <<<"$told")" -le 10 ] || { echo "more than 10 lines"; failures=$((failures + 1)); }
exit $((failures > 0))
