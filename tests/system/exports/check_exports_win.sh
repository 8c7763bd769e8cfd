#!/usr/bin/env bash
# check_exports_win.sh <objdump> <library> <header>: sbxml.dll exports the functions of the header at their ordinals
# and nothing else, is called sbxml.dll, may lie anywhere in memory, and needs DLLs of the system alone.
set -euo pipefail
dump=$("$1" -p "$2") header=$3
failures=0

# expect_same <what> <expected> <found>
expect_same() {
  [ "$2" = "$3" ] && return
  printf 'FAILED: %s\n' "$1"
  diff <(printf '%s\n' "$2") <(printf '%s\n' "$3") || true
  failures=$((failures + 1))
}

ordinals='1 SBXGetLastError
2 SBXVerifyStructSize
4 SBXBinaryToXML_Text
5 SBXBinaryToXML_File
6 SBXXMLToBinary
7 SBXFreeJSHandle
8 SBXHandleToBuffer
9 SBXReadXML
10 SBXWriteXML'
system='ADVAPI32.dll
KERNEL32.dll
OLEAUT32.dll
RPCRT4.dll
VERSION.dll
msvcrt.dll
ole32.dll'

of_header=$(tr '\n' ' ' <"$header" | grep -oE 'SBX_API [a-z0-9_]+ SBX[A-Za-z_]+\(' | grep -oE 'SBX[A-Z][A-Za-z_]+\(' |
  grep -v SBX_API | tr -d '(' | LC_ALL=C sort)
base=$(sed -n 's/^Export RVA.*//p; s/^Ordinal Base[[:space:]]*\([0-9]*\)$/\1/p' <<<"$dump")
names=$(awk -v base="$base" '/^\[Ordinal\/Name Pointer\] Table/ { on = 1; next } on && /^[[:space:]]*\[/ {
  gsub(/[\[\]]/, " "); print $1 + base, $NF; next } on { on = 0 }' <<<"$dump" | sort -n)
addresses=$(awk '/^Export Address Table/ { on = 1; next } on && /Export RVA|Forwarder RVA/ { count++; next }
  on && /^$/ { on = 0 } END { print count + 0 }' <<<"$dump")
needs=$(sed -n 's/^[[:space:]]*DLL Name: //p' <<<"$dump" | LC_ALL=C sort)

expect_same "nine names at their ordinals" "$ordinals" "$names"
expect_same "nothing exported by number alone" 9 "$addresses"
expect_same "the header's functions" "$of_header" "$(cut -d' ' -f2 <<<"$names" | LC_ALL=C sort)"
expect_same "its name" sbxml.dll "$(sed -n 's/^Name[[:space:]]*[0-9a-f]* \(.*\)$/\1/p' <<<"$dump" | tr -d '[:space:]')"
expect_same "needs the system alone" "$system" "$needs"
for flag in DYNAMIC_BASE NX_COMPAT HIGH_ENTROPY_VA; do
  expect_same "$flag" 1 "$(grep -cE "^[[:space:]]*$flag\$" <<<"$dump")"
done
exit $((failures > 0))
