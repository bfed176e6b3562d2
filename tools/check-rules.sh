#!/usr/bin/env bash
# The rules of the house that a compiler doesn't see: who may include whom, nothing above the seam
# knows the platform, no calls that this system has better ones for. Prints each violation.
set -euo pipefail
cd "$(dirname "$0")/.."
violations=0
report() {
  [ -z "$1" ] && return
  printf '%s:\n%s\n' "$2" "$1"
  violations=1
}

folders='platform object format time codec paths stream document cmdline update'
product=$(git ls-files -- $(for f in $folders; do printf '%s/*.h %s/*.cpp ' "$f" "$f"; done) xpdoc)
headers=$(printf '%s\n' $product | grep '\.h$')
above_seam=$(printf '%s\n' $product | grep -v '^platform/')

# Headers include only their own folder and folders to the left of an arrow:
#   platform <- object <- format, time, codec <- paths, stream <- document, cmdline <- update
declare -A below=(
  [platform]='platform'
  [object]='platform object'
  [format]='platform object format'
  [time]='platform object time'
  [codec]='platform object codec stream'
  [paths]='platform object format time codec paths stream'
  [stream]='platform object format time codec paths stream'
  [document]='platform object format time codec paths stream document'
  [cmdline]='platform object format time codec paths stream cmdline'
  [update]="$folders"
)
for header in $headers; do
  folder=${header%%/*}
  [ -n "${below[$folder]:-}" ] || continue
  allowed=$(printf '%s|' ${below[$folder]})
  report "$(grep -nE '^#include "' "$header" | grep -vE "\"(${allowed%|})/" | sed "s|^|$header:|" || true)" \
    'header includes against the arrows'
done

report "$(grep -nE 'windows\.h|_WIN32|\bHANDLE\b|\berrno\b|unistd\.h|sys/|__linux__' $above_seam || true)" \
  'the platform is known above the seam'
report "$(grep -nE '^#include <' $above_seam |
  grep -vE '<(stddef|stdint|string|math|float|limits|atomic|bit|type_traits|utility|new|zlib|immintrin|cpuid)(\.h)?>' || true)" \
  'a system header above the seam'
report "$(grep -nE '\b(sprintf|snprintf|strcpy|strcat|strtok|gets|malloc|calloc|realloc|atoi|strtol|printf)\(' $above_seam |
  grep -vE 'xp_[a-z_]*printf\(|// ' || true)" 'a banned call'
report "$(grep -nE '\b(std::(string|vector|map|unordered_map|function|shared_ptr|unique_ptr))\b' $above_seam || true)" \
  'a standard container in product code'
exit $violations
