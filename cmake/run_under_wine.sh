#!/usr/bin/env bash
# run_under_wine.sh <build folder> <program> [<argument>...]: runs a Windows program without a display, in a Wine
# prefix of the build folder, which it makes at first.
# run_under_wine.sh <build folder> --end-server: ends what still runs in that prefix.
set -euo pipefail
build=$1
shift

program=/usr/lib/wine/wine64 # where Debian keeps the programs themselves, without the scripts that start them by name
[ -x "$program" ] || program=$(type -P wine64 || type -P wine) || { echo "no Wine found" >&2; exit 127; }
server=/usr/lib/wine/wineserver64
[ -x "$server" ] || server=$(type -P wineserver) || { echo "no Wine server found" >&2; exit 127; }
export WINEPREFIX=$build/wine WINEDEBUG=${WINEDEBUG:--all}
export WINEPATH="Z:${build//\//\\}" # where sbxml.dll is built
# Neither asks for its own installer; none of what is run here needs them.
export WINEDLLOVERRIDES="mscoree,mshtml=;winemenubuilder.exe="

# A heap at random lies now and then on a page that Wine needs (docs/platforms.md, "Tests under Wine").
wine=(setarch --addr-no-randomize "$program")
"${wine[@]:0:2}" true 2>/dev/null || wine=("$program") # a container may forbid it

if [ "$1" = --end-server ]; then
  [ ! -d "$WINEPREFIX" ] || { "$server" -k && "$server" -w; } || true # it says so if there is none
  exit 0
fi

# Debian's Wine starts servers that end with their last program, and drop whoever connects meanwhile; starting one
# and its services for each program is slow too. Ours ends after a minute without programs. What it needs is started
# here, without our streams: services keep those of the first program, and who reads it would wait for their end.
mkdir -p "$WINEPREFIX"
exec 9>"$build/wine.lock"
flock 9
new=no
"$server" -p60 >/dev/null 2>&1 </dev/null 9>&- && new=yes # else there is one
if [ ! -e "$WINEPREFIX/.complete" ]; then
  "${wine[@]}" wineboot --init >"$build/wine.log" 2>&1 </dev/null 9>&-
  # No debugger for programs that fault: it brings up a desktop, which keeps their streams too.
  "${wine[@]}" reg add 'HKLM\Software\Microsoft\Windows NT\CurrentVersion\AeDebug' /v Debugger /d none /f \
    >>"$build/wine.log" 2>&1 </dev/null 9>&-
  touch "$WINEPREFIX/.complete"
elif [ "$new" = yes ]; then
  "${wine[@]}" cmd /c exit >/dev/null 2>&1 </dev/null 9>&-
fi
exec 9>&-
exec "${wine[@]}" "$@"
