#!/usr/bin/env bash
# compare_test.sh: compare.sh passes where it should and fails where it should, with programs made up for it.
set -euo pipefail
compare=$(dirname "${BASH_SOURCE[0]}")/compare.sh
folder=$(mktemp -d)
trap 'rm -rf "$folder"' EXIT

# program <name> <cases told of> <cases printed> <sed's words> [<end>]
program() {
  printf '#!/usr/bin/env bash\necho "%s cases"\nseq -f "%%.0f kind: said" 0 %d | sed "%s"\n%s\n' "$2" $(($3 - 1)) "$4" \
    "${5:-}" >"$folder/$1"
  chmod +x "$folder/$1"
}
program whole 2100 2100 ''
program broken_off 2100 2100 '' 'kill -ABRT $$'
program ended_with_a_code 2100 2100 '' 'exit 3'
program cut 2100 2050 ''
program too_few 1999 1999 ''
program one_twice 2100 2100 '7s/^6/5/'
program other 2100 2100 's/^8 .*/& more/; s/^17 .*/& more/'
program again_other 2100 2100 's/^8 .*/& much more/; s/^17 .*/& more/'
program silent 2100 2100 '' # without the line that tells
sed -i '/^echo/d' "$folder/silent"
printf '# a reason\n< 8 kind: said\n> 8 kind: said more\n\n# another\n< 17 kind: said\n> 17 kind: said more\n' >"$folder/known"

failures=0
# expect <0 or 1> <program> <program> [<known differences>]
expect() {
  local wanted=$1 got=0
  shift
  "$compare" "$folder/$1" "$folder/$2" ${3:+"$folder/$3"} >"$folder/told" 2>&1 || got=1
  [ "$got" = "$wanted" ] && return
  printf 'compare.sh %s: %s and not %s\n' "$*" "$got" "$wanted"
  cat "$folder/told"
  failures=$((failures + 1))
}
expect 0 whole whole
for bad in broken_off ended_with_a_code cut too_few one_twice silent; do
  expect 1 "$bad" whole
  expect 1 whole "$bad"
  expect 1 "$bad" "$bad"
done
expect 1 whole other
expect 0 whole other known
expect 1 other whole known # each on its own side
expect 1 whole again_other known
expect 1 whole whole known # no longer differs
mkdir "$folder/a folder"
# shellcheck disable=SC2016 # the runner's own words
printf '#!/usr/bin/env bash\necho "run by $1" >"%s/ran"\nexec "$2"\n' "$folder" >"$folder/a folder/runner"
chmod +x "$folder/a folder/runner"
"$compare" "$folder/whole" "$folder/other" "$folder/known" "$folder/a folder/runner" words >/dev/null || failures=$((failures + 1))
[ "$(cat "$folder/ran")" = "run by words" ] || failures=$((failures + 1))
exit $((failures > 0))
