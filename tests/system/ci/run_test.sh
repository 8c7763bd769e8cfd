#!/usr/bin/env bash
# run_test.sh <folder of run and reasons>: every stage is run, whichever of them fails; a failure is told at the end.
set -euo pipefail
folder=$(mktemp -d)
trap 'rm -rf "$folder"' EXIT
cp -r "$1" "$folder/.ci"
failures=0

# expect <0 or 1> <stage of the last words> <stage that fails>...
expect() {
  local wanted=$1 last=$2 got=0 stages
  shift 2
  # shellcheck disable=SC2016 # the other script's own words
  printf '#!/usr/bin/env bash\necho "$1" >>stages\necho "words of $1"\n[[ " %s " != *" $1 "* ]]\n' "$*" >"$folder/build.sh"
  chmod +x "$folder/build.sh"
  rm -f "$folder/stages"
  "$folder/.ci/run" >"$folder/output" 2>&1 || got=1
  stages=$(sort "$folder/stages" | tr '\n' ' ')
  [ "$got" = "$wanted" ] && [ "$stages" = "check-format lint test test-sanitized test-tsan test-windows " ] &&
    [ "$(sed -n 's/^=== .* \(.*\) failed:$/\1/p' "$folder/output" | tr '\n' ' ')" = "${*:+$* }" ] &&
    [ "$(tail -n 1 "$folder/output")" = "words of $last" ] && return
  printf 'with "%s" failing: %s, stages %s\n' "$*" "$got" "$stages"
  cat "$folder/output"
  failures=$((failures + 1))
}
expect 0 test-sanitized
expect 1 lint lint
expect 1 test-sanitized test test-sanitized
expect 1 test-sanitized test check-format lint test-windows test-tsan test-sanitized
exit $((failures > 0))
