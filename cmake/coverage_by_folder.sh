#!/usr/bin/env bash
# Sums the per-file table of `llvm-cov report` (standard input) by folder: lines and branches.
set -euo pipefail
# shellcheck disable=SC2016  # the dollars are awk's
awk '
  # file, then count, missed and share of regions, functions, lines and branches
  NF == 13 && $1 ~ /^src\/.*\.(cpp|h)$/ {
    folder = $1
    if (!sub(/\/[^\/]*$/, "", folder)) folder = "."
    for (row = 0; row < 2; ++row) {
      name = row ? "total" : folder
      lines[name] += $8; missedLines[name] += $9; branches[name] += $11; missedBranches[name] += $12
    }
  }
  function share(count, missed) { return count ? sprintf("%6.2f %%", 100 * (count - missed) / count) : "       -" }
  function row_of(name) {
    return sprintf("%-16s %8d %s %8d %s", name, lines[name], share(lines[name], missedLines[name]), branches[name],
                   share(branches[name], missedBranches[name]))
  }
  END {
    printf "%-16s %8s %8s %8s %8s\n", "folder of src", "lines", "covered", "branches", "covered"
    for (name in lines) if (name != "total") print row_of(name) | "LC_ALL=C sort"
    close("LC_ALL=C sort")
    print row_of("total")
  }'
