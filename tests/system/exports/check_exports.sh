#!/usr/bin/env bash
# check_exports.sh <library> <header> <map> <build type>: the library defines the functions of the header, versioned as
# the map says, and nothing else; its SONAME is the one that programs were linked with; it needs the C library alone; it
# is hardened as SECURITY.md says.
set -euo pipefail
library=$1 header=$2 map=$3 build_type=$4
failures=0

# expect_same <what> <expected> <found>
expect_same() {
  [ "$2" = "$3" ] && return
  printf 'FAILED: %s\n' "$1"
  diff <(printf '%s\n' "$2") <(printf '%s\n' "$3") || true
  failures=$((failures + 1))
}

of_header=$(tr '\n' ' ' <"$header" | grep -oE 'SBX_API [a-z0-9_]+ SBX[A-Za-z_]+\(' | grep -oE 'SBX[A-Z][A-Za-z_]+\(' |
  grep -v SBX_API | tr -d '(' | LC_ALL=C sort)
of_map=$(grep -oE '^ +SBX[A-Za-z_]+;' "$map" | tr -d ' ;' | LC_ALL=C sort)
version=$(grep -oE '^SBXML_[0-9.]+' "$map")
of_library=$(nm -D --defined-only "$library" | awk '$2 != "A" { print $3 }' | LC_ALL=C sort)
soname=$(readelf -d "$library" | sed -n 's/.*SONAME.*\[\(.*\)\]/\1/p')
needs=$(readelf -d "$library" | sed -n 's/.*NEEDED.*\[\(.*\)\]/\1/p' | grep -vE '^(libc|libm|ld-linux-[a-z0-9-]+)\.so\.[0-9]+$' || true)
writable_code=$(readelf -lW "$library" | grep -E '^ *(LOAD|GNU_STACK).*RWE' || true)

expect_same "nine functions in the header" 9 "$(wc -l <<<"$of_header")"
expect_same "the map lists the header's functions" "$of_header" "$of_map"
expect_same "the library exports the map's functions" "${of_map//$'\n'/@@$version$'\n'}@@$version" "$of_library"
expect_same "SONAME" libsbxml.so.1 "$soname"
expect_same "needs the C library alone" "" "$needs"
expect_same "no memory both writable and executable" "" "$writable_code"
expect_same "no text relocations" "" "$(readelf -d "$library" | grep TEXTREL || true)"
if [ "$(uname -m)" = x86_64 ]; then
  landed=$(objdump -d --no-show-raw-insn "$library" | grep -A1 -E '^[0-9a-f]+ <SBX[A-Za-z_]+(@@.*)?>:' | grep -c endbr64)
  expect_same "landing pads of the nine functions" 9 "$landed"
fi
expect_same "stack protection" 1 "$(nm -D --undefined-only "$library" | grep -c '__stack_chk_fail')"
case $build_type in
  Release | RelWithDebInfo)
    expect_same "fortified C functions" 1 "$(nm -D --undefined-only "$library" | grep -c '__snprintf_chk')"
    ;;
esac
expect_same "bound at load" 1 "$(readelf -d "$library" | grep -cE 'FLAGS.*BIND_NOW')"
expect_same "read-only after relocation" 1 "$(readelf -lW "$library" | grep -c GNU_RELRO)"
exit $((failures > 0))
