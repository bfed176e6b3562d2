#!/usr/bin/env bash
# Runs each fuzz target, or the ones named, for some seconds: tools/fuzz.sh SECONDS [NAME...].
# Seeds are in fuzz/corpus/NAME; what a target finds on its way goes to build/fuzz/found/NAME. An
# input that fails is left in build/fuzz/failures: put it into fuzz/corpus/NAME with the mend.
set -uo pipefail
cd "$(dirname "$0")/.."
seconds=${1:?usage: tools/fuzz.sh SECONDS [NAME...]}
shift
tools/build.sh fuzz >/dev/null || exit 1
if [ $# -gt 0 ]; then names=("$@"); else
  names=()
  for source in fuzz/*_fuzz.cpp; do
    name=${source##*/}
    names+=("${name%_fuzz.cpp}")
  done
fi
export ASAN_OPTIONS=detect_leaks=1:allocator_may_return_null=1
mkdir -p build/fuzz/failures

run_one() {
  local name=$1
  mkdir -p "build/fuzz/found/$name" "fuzz/corpus/$name"
  if timeout $((seconds * 2 + 120)) "build/fuzz/${name}_fuzz" ${RUVO_FUZZ_SEED:+-seed="$RUVO_FUZZ_SEED"} -max_total_time="$seconds" -timeout=10 \
    -rss_limit_mb=2048 -max_len=40000 -artifact_prefix="build/fuzz/failures/$name-" \
    "build/fuzz/found/$name" "fuzz/corpus/$name" >"build/fuzz/$name.log" 2>&1; then
    printf 'ok      %-16s %s\n' "$name" "$(grep -E '^Done|DONE' "build/fuzz/$name.log" | tail -n 1)"
  else
    printf 'FAILED  %s\n' "$name"
    tail -n 40 "build/fuzz/$name.log"
    return 1
  fi
}

status=0
running=0
for name in "${names[@]}"; do
  run_one "$name" &
  running=$((running + 1))
  if [ $running -ge "$(nproc)" ]; then
    wait -n || status=1
    running=$((running - 1))
  fi
done
while [ $running -gt 0 ]; do
  wait -n || status=1
  running=$((running - 1))
done
exit $status
