#!/usr/bin/env bash
# Formatting of all C++ files; prints what clang-format would change. --fix changes it.
set -euo pipefail
cd "$(dirname "$0")/.."
files=$(git ls-files '*.h' '*.cpp')
if [ "${1:-}" = --fix ]; then
  clang-format -i $files
else
  clang-format --dry-run -Werror $files
fi
