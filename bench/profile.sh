#!/usr/bin/env bash
# Where one contender spends its time, by the library's rooms: bench/profile.sh to_xml/library/L
# Needs perf and a built benchmark (./build.sh bench). Samples are counted where they fall, not where they were
# called from; what the benchmark itself does is left out.
set -euo pipefail
cd "$(dirname "${BASH_SOURCE[0]}")/.."

contender=${1:?a benchmark, as in to_xml/library/L}
bench=build/bench/bench/sbxml_bench
data=$(mktemp)
trap 'rm -f "$data"' EXIT

perf record -q -o "$data" "$bench" --benchmark_filter="^$contender\$" --benchmark_repetitions=1 \
  --benchmark_enable_random_interleaving=false --benchmark_min_time=8 >/dev/null 2>&1

perf report -i "$data" --stdio -g none --sort dso,symbol --percent-limit 0 2>/dev/null |
  awk '
    function room(dso, symbol) {
      if (dso ~ /kernel/) return "kernel: fresh pages, soft reads and writes"
      if (dso ~ /libc\.so/) return symbol ~ /alloc|free/ ? "malloc and free" : "copies and other parts of the C library"
      if (symbol ~ /NSDBG|CLogConfig|DBGLog|LogRecord|LogFailed/) return "log calls that nobody wants"
      if (symbol ~ /xml::native::.*(Serialize|SerializedUnits|Output|Put)/) return "serialiser"
      if (symbol ~ /xml::native::.*Reader|XML_/ || symbol !~ /sbx::/) return "parser"
      if (symbol ~ /sbx::xml::|XMLDOMHelper|XMLElementRef|XMLChildEnum/) return "tree and its helpers"
      if (symbol ~ /Rule|ValuePath|GetValueFrom|FindValue|ResolvePath|SplitIndexed|SetValueIn/) return "rules"
      if (symbol ~ /Presentation|Restrict|Render/) return "presentation"
      if (symbol ~ /platform::/) return "caller memory"
      if (symbol ~ /JSBin2XML|SBXML2Bin|PrimaryValueToText|PrimaryFromText|Append|JSHandle|AddBlock|Read|StoreScalar|Scan[A-Z]|UpToZero/) return "walk and values"
      if (symbol ~ /JSStruct|JSPDB|Decode|ParseItemType|Resolve|TypeChain|FindItem|FindStruct|FindPrimary|PrimaryType|Description/) return "descriptions"
      return "the rest of the library"
    }
    /^ *[0-9.]+%/ {
      share = $1 + 0
      if ($2 !~ /libsbxml|libc\.so|kernel/) next
      symbol = $0
      sub(/^.*\[[.k]\] /, "", symbol)
      sub(/ +- +- *$/, "", symbol)
      rooms[room($2, symbol)] += share
      total += share
      if (shown < 12) { top[shown++] = sprintf("%6.1f %%  %s", share, symbol) }
    }
    END {
      for (name in rooms) printf "%6.1f %%  %s\n", 100 * rooms[name] / total, name | "sort -rn"
      close("sort -rn")
      print "\nFunctions, of all samples:"
      for (i = 0; i < shown; ++i) print top[i]
    }'
