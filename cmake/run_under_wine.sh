#!/usr/bin/env bash
# run_under_wine.sh <build folder> <program> [<argument>...]: runs a Windows program without a display, in a Wine
# prefix of the build folder, which it makes at first.
set -euo pipefail
build=$1
shift

wine=/usr/lib/wine/wine64 # where Debian keeps the program itself, without the package that starts it by name
[ -x "$wine" ] || wine=$(type -P wine64 || type -P wine) || { echo "no Wine found" >&2; exit 127; }
export WINEPREFIX=$build/wine WINEDEBUG=${WINEDEBUG:--all}
export WINEPATH="Z:${build//\//\\}" # where sbxml.dll is built
# Neither asks for its own installer; none of what is run here needs them.
export WINEDLLOVERRIDES="mscoree,mshtml=;winemenubuilder.exe="

if [ ! -e "$WINEPREFIX/.complete" ]; then
  mkdir -p "$WINEPREFIX"
  exec 9>"$build/wine.lock"
  flock 9
  if [ ! -e "$WINEPREFIX/.complete" ]; then
    "$wine" wineboot --init >"$build/wine.log" 2>&1 </dev/null 9>&-
    touch "$WINEPREFIX/.complete"
  fi
  exec 9>&-
fi
exec "$wine" "$@"
