#!/usr/bin/env bash
# Builds one preset (linux, asan, windows, fuzz) in build/<preset>: tools/build.sh PRESET [TARGET...]
set -euo pipefail
cd "$(dirname "$0")/.."
preset=${1:?usage: tools/build.sh linux|asan|windows|fuzz [target...]}
shift
cmake --preset "$preset" >/dev/null
cmake --build --preset "$preset" ${1:+--target "$@"}
