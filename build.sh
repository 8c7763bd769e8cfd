#!/usr/bin/env bash
# The one door to building, testing and checking: ./build.sh help
set -euo pipefail
cd "$(dirname "${BASH_SOURCE[0]}")"

jobs=$(nproc)

say() { printf 'build.sh: %s\n' "$*"; }
fail() { printf 'build.sh: %s\n' "$*" >&2; exit 1; }

# --- set-up -------------------------------------------------------------------------------------------------

is_installed() { [ "$(dpkg-query -W -f='${db:Status-Status}' "$1" 2>/dev/null)" = installed ]; }

as_root() {
  if [ "$(id -u)" -eq 0 ]; then
    "$@"
  elif command -v sudo >/dev/null; then
    sudo "$@"
  else
    fail "needs root for: $*"
  fi
}

# need <purpose>...: installs what packages.txt lists for these purposes and the system lacks.
need() {
  command -v dpkg-query >/dev/null || fail "packages.txt names Debian packages; install their like by hand"
  local purpose package missing=()
  while read -r purpose package; do
    case " $* " in *" $purpose "*) is_installed "$package" || missing+=("$package") ;; esac
  done < <(grep -v '^#' packages.txt)
  [ ${#missing[@]} -gt 0 ] || return 0
  say "installing ${missing[*]}"
  as_root apt-get update -q
  as_root env DEBIAN_FRONTEND=noninteractive apt-get install -q -y --no-install-recommends "${missing[@]}"
}

# --- building -----------------------------------------------------------------------------------------------

# configure <preset>: once, and again when the presets change; ninja follows all other changes itself.
configure() {
  if [ "build/$1/build.ninja" -nt CMakePresets.json ]; then return 0; fi
  if command -v ccache >/dev/null; then
    export CMAKE_C_COMPILER_LAUNCHER=ccache CMAKE_CXX_COMPILER_LAUNCHER=ccache
  fi
  say "configuring build/$1"
  cmake --preset "$1"
}

# build <preset> [<target>...]
build() {
  local preset=$1
  shift
  configure "$preset"
  say "building ${*:-everything} in build/$preset"
  cmake --build "build/$preset" -j "$jobs" ${1:+--target "$@"}
}

# run_tests <preset> [<ctest's options>...]: ctest's own lines come last.
run_tests() {
  local preset=$1
  shift
  build "$preset"
  say "testing build/$preset"
  ctest --preset "$preset" -j "$jobs" "$@"
}

end_wine() { cmake/run_under_wine.sh "$PWD/build/windows" --end-server; }

# The tests for Windows, in a fresh prefix: nothing of an earlier run is left in its registry or its folders.
test_windows() {
  trap end_wine EXIT
  end_wine
  rm -rf build/windows/wine build/windows/wine.lock
  build windows
  parity & # in a shell of its own, which ends at the first failure; the tests run all the same
  local differs=no
  wait $! || differs=yes
  run_tests windows
  [ $differs = no ] || fail "the builds differ"
}

# The zip for Windows, with its contents checked.
package() {
  trap end_wine EXIT
  build windows
  say "packing build/windows"
  tests/system/packaging/check_archive.sh build/windows build/windows/package
  say "made $(echo build/windows/package/*.zip)"
}

# One corpus through the builds for both systems.
parity() {
  local program=tests/system/parity/parity_cases
  build release parity_cases
  say "comparing build/release with build/windows"
  SBXML_LOG_DIR=$PWD/build/release/tests/log tests/system/parity/compare.sh build/release/$program \
    build/windows/$program.exe tests/system/parity/known_differences.txt cmake/run_under_wine.sh "$PWD/build/windows"
}

# --- checks -------------------------------------------------------------------------------------------------

sources() { find bench examples fuzz include src tests tools -name '*.[ch]' -o -name '*.cpp' | LC_ALL=C sort; }

# lint_sources <preset>: everything that its compiler sees; generated sources are not ours to check.
lint_sources() { sed -n 's/^ *"file": "\(.*\)",\{0,1\}$/\1/p' "build/$1/compile_commands.json" |
  grep -E "^$PWD/(src|tools|examples)/.*\.(c|cpp)$" | LC_ALL=C sort -u; }

# tidy <folder of compile commands> <clang-tidy's options>...: over the sources that are read.
tidy() { xargs -P "$jobs" -n 1 clang-tidy-14 --quiet --extra-arg=-Wno-unknown-warning-option -p "$@"; }

# What is built for Windows alone. Clang has to be told where GCC keeps its headers, and lacks one of its options.
lint_windows() {
  local commands=build/windows/lint headers
  configure windows
  mkdir -p "$commands"
  sed 's/ -fno-keep-inline-dllexport//' build/windows/compile_commands.json >"$commands/compile_commands.json"
  headers=$(x86_64-w64-mingw32-g++-posix -print-file-name=include)/c++
  LC_ALL=C comm -13 <(lint_sources release) <(lint_sources windows) |
    tidy "$commands" --checks=-misc-misplaced-const --extra-arg=--target=x86_64-w64-mingw32 \
      --extra-arg="-isystem$headers" --extra-arg="-isystem$headers/x86_64-w64-mingw32" # handles are const as such
}

lint() {
  configure release
  say "shellcheck"
  find . -path ./build -prune -o -name '*.sh' -print0 | xargs -0 shellcheck .ci/reasons .ci/run
  say "structure"
  tests/system/structure/check_structure.sh .
  say "clang-tidy"
  lint_sources release | tidy build/release
  say "clang-tidy for Windows"
  lint_windows
}

coverage() {
  local profiles=$PWD/build/coverage/profiles data=build/coverage/coverage.profdata objects=() binary
  build coverage
  rm -rf "$profiles"
  say "testing build/coverage"
  LLVM_PROFILE_FILE="$profiles/%p-%m.profraw" ctest --preset coverage -j "$jobs"
  # A process that was killed in the middle of its own leaves one that is no profile.
  llvm-profdata-14 merge -sparse -failure-mode=all -o "$data" "$profiles"/*.profraw
  objects=(build/coverage/libsbxml.so)
  for binary in build/coverage/tests/*/*_tests; do objects+=(-object "$binary"); done
  say "report in build/coverage/report/index.html"
  llvm-cov-14 show "${objects[@]}" -instr-profile="$data" -format=html -show-branches=count \
    -output-dir=build/coverage/report src >/dev/null
  llvm-cov-14 report "${objects[@]}" -instr-profile="$data" src >build/coverage/report.txt
  cmake/coverage_by_folder.sh <build/coverage/report.txt
}

# fuzz [seconds]: each target for that long (default: a minute), on what earlier runs found worth keeping.
fuzz() {
  local seconds=${1:-60} target
  local targets=(all_together description_document lint_documents memory_to_xml rule_document xml_to_memory)
  build fuzz fuzz_targets
  ulimit -s 1024 # deep inputs then reach the end of the stack at once
  export SBXML_LOG_DIR=$PWD/build/fuzz/log SBXML_RUNTIME_DIR=$PWD/build/fuzz/run
  for target in "${targets[@]}"; do
    fuzz/make_seeds.sh "$target" "build/fuzz/seeds/$target"
    mkdir -p "build/fuzz/corpus/$target" "build/fuzz/findings"
    say "fuzzing $target for $seconds seconds"
    "build/fuzz/fuzz/fuzz_$target" -max_total_time="$seconds" -timeout=20 -rss_limit_mb=4096 -print_final_stats=1 -entropic=0 \
      -dict=fuzz/words.dict -artifact_prefix="build/fuzz/findings/$target-" -verbosity=0 \
      "build/fuzz/corpus/$target" "build/fuzz/seeds/$target"
  done
}

usage() {
  cat <<'TEXT'
./build.sh <command>

  demo            build the example host and run it
  test            build everything (release) and run the tests
  test-release    the same at the size of a release: 20,000 killed writers, 100,000 graphs there and back, every
                  step and byte at which a process may die
  test-sanitized  the tests under AddressSanitizer and UndefinedBehaviorSanitizer
  test-tsan       the tests under ThreadSanitizer
  test-windows    the same for 64-bit Windows: cross-built by mingw-w64, tested under Wine
  package         the zip for 64-bit Windows: library, commands, header, import library, documents; what is in it is
                  checked
  bench           build the benchmarks and run them
  bench-log       what a log call costs: silent, into the file, into the live channel; one thread and four
  fuzz [seconds]  each fuzz target for that long (default 60), with clang; runbook in fuzz/README.md
  coverage        the tests with clang's coverage; report in build/coverage/report
  format          format all sources in place
  check-format    fail where a source is not formatted
  lint            shellcheck, the rules of who may include what, clang-tidy over the sources of both systems
  help            this text

Each installs the Debian packages that it lacks (packages.txt), as root or through sudo.
TEXT
}

main() {
  case ${1:-help} in
    demo)
      need build test
      build release print_shop
      say "running print_shop in build/release/examples/print_shop"
      cd build/release/examples/print_shop # where it leaves its files
      ./print_shop
      say "its log, $PWD/Logs/libsbxml.so.Log, begins"
      head -n 12 < <(iconv -f UTF-16 -t UTF-8 Logs/libsbxml.so.Log)
      ;;
    test)
      need build test
      run_tests release
      ;;
    test-release)
      need build test
      export SBXML_LOG_KILLS=${SBXML_LOG_KILLS:-20000} SBXML_ROUND_TRIPS=${SBXML_ROUND_TRIPS:-100000}
      run_tests release --timeout 7200
      ;;
    test-sanitized)
      need build test
      run_tests sanitized
      ;;
    test-tsan)
      need build test
      run_tests tsan
      ;;
    test-windows)
      need build test windows
      test_windows
      ;;
    package)
      need build test windows
      package
      ;;
    bench)
      need build bench
      build bench sbxml_bench sbxml_rules_bench
      build/bench/bench/sbxml_bench "${@:2}"
      [ $# -gt 1 ] || build/bench/bench/sbxml_rules_bench
      ;;
    bench-log)
      need build bench
      build bench sbxml_log_bench
      build/bench/bench/sbxml_log_bench "${@:2}"
      ;;
    coverage)
      need build test clang
      coverage
      ;;
    fuzz)
      need build clang
      fuzz "${2:-60}"
      ;;
    format)
      need check
      sources | xargs clang-format-14 -i
      ;;
    check-format)
      need check
      sources | xargs clang-format-14 --dry-run -Werror
      ;;
    lint)
      need build test check windows
      lint
      ;;
    help | -h | --help) usage ;;
    *)
      usage >&2
      fail "no command $1"
      ;;
  esac
}

main "$@"
