#!/usr/bin/env bash
# Everything that CI does, from a bare Debian 12 with git and apt: installs packages, checks our
# rules and the format, builds and tests natively, under AddressSanitizer and UBSan, and cross-built
# under Wine, runs the whole program on real packages and servers, and each fuzz target for some
# seconds. Ends in the line "N passed, N failed".
#
#   tools/test.sh                 all
#   tools/test.sh STAGE...        only these: rules linux asan windows e2e fuzz tidy bench
set -uo pipefail
cd "$(dirname "$0")/.."

bash tools/setup.sh || { echo "packages could not be installed"; exit 1; }

passed=0
failed=0
logs=build/test-logs
mkdir -p "$logs"

# check NAME COMMAND...: one check; its output goes to a log, which is shown when it fails.
check() {
  local name=$1 log started=$SECONDS
  shift
  log="$logs/${name//[^A-Za-z0-9_-]/_}.log"
  if "$@" >"$log" 2>&1; then
    passed=$((passed + 1))
    printf 'ok      %-44s %4ds\n' "$name" $((SECONDS - started))
    return 0
  fi
  failed=$((failed + 1))
  printf 'FAILED  %-44s %4ds\n' "$name" $((SECONDS - started))
  tail -n 60 "$log" | sed 's/^/    /'
  return 1
}

# cases NAME COMMAND...: a test program; its cases are counted instead of the program.
cases() {
  local name=$1 log started=$SECONDS good bad
  shift
  log="$logs/${name//[^A-Za-z0-9_-]/_}.log"
  "$@" >"$log" 2>&1
  local status=$?
  tr -d '\r' <"$log" >"$log.plain"
  good=$(grep -oE '\[  PASSED  \] [0-9]+|^[0-9]+ passed' "$log.plain" | grep -oE '[0-9]+' | tail -n 1)
  bad=$(grep -oE '^ *[0-9]+ FAILED TEST|[0-9]+ failed$' "$log.plain" | grep -oE '[0-9]+' | tail -n 1)
  good=${good:-0} bad=${bad:-0}
  # A program that died, or ran nothing, has failed whatever it printed.
  if [ $status -ne 0 ] && [ "$bad" = 0 ]; then bad=1; fi
  if [ "$good" = 0 ] && [ "$bad" = 0 ]; then bad=1; fi
  passed=$((passed + good)) failed=$((failed + bad))
  if [ "$bad" = 0 ]; then
    printf 'ok      %-44s %4ds  %s cases\n' "$name" $((SECONDS - started)) "$good"
  else
    printf 'FAILED  %-44s %4ds  %s of %s cases\n' "$name" $((SECONDS - started)) "$bad" $((good + bad))
    grep -E 'FAILED|Failure|ERROR|runtime error|not ok' "$log.plain" | head -n 40 | sed 's/^/    /'
    tail -n 40 "$log.plain" | sed 's/^/    /'
  fi
}

build_programs() {
  tools/build.sh linux && tools/build.sh windows
}

stage_rules() {
  check 'rules of the house' tools/check-rules.sh
  check 'formatting' tools/check-format.sh
}

stage_linux() {
  check 'build linux' tools/build.sh linux || return
  cases 'unit tests, native' timeout 600 build/linux/unit_tests --gtest_brief=1
  cases 'host tests, native' timeout 900 build/linux/host_tests --gtest_brief=1
}

stage_asan() {
  export ASAN_OPTIONS=detect_leaks=1:abort_on_error=0 UBSAN_OPTIONS=print_stacktrace=1
  check 'build asan' tools/build.sh asan || return
  cases 'unit tests, sanitizers' timeout 900 build/asan/unit_tests --gtest_brief=1
  cases 'host tests, sanitizers' timeout 1200 build/asan/host_tests --gtest_brief=1
}

stage_windows() {
  check 'build windows' tools/build.sh windows || return
  check 'imports of ruvo.exe' tools/check-imports.sh build/windows/ruvo.exe
  (. tools/wine-env.sh) >"$logs/wine.log" 2>&1
  cases 'unit tests, Wine' tools/wine-run.sh 900 build/windows/unit_tests.exe --gtest_brief=1
  cases 'Windows tests, Wine' tools/wine-run.sh 900 build/windows/windows_tests.exe --gtest_brief=1
}

stage_e2e() {
  local script
  check 'build both programs' build_programs || return
  for script in tests/e2e/*_test.sh; do
    cases "e2e ${script##*/}" timeout 1200 bash "$script"
  done
}

stage_fuzz() {
  check 'build fuzz' tools/build.sh fuzz || return
  # One seed, so that the same tree is judged alike each time; tools/fuzz.sh alone explores.
  check 'fuzz targets' env RUVO_FUZZ_SEED=1 tools/fuzz.sh "${RUVO_FUZZ_SECONDS:-3}"
}

stage_tidy() {
  check 'clang-tidy' tools/check-tidy.sh
}

if [ $# -gt 0 ]; then
  stages=("$@")
else
  stages=(rules linux asan windows e2e fuzz tidy)
fi
for stage in "${stages[@]}"; do
  printf '\n-- %s\n' "$stage"
  "stage_$stage"
done

printf '\n%d passed, %d failed\n' "$passed" "$failed"
[ "$failed" -eq 0 ]
