#!/usr/bin/env bash
# Checks that ruvo.exe stands alone: it may import from the libraries below, which every Windows
# since Vista has, and from no other. What only some runs need is loaded when it is needed.
# Usage: check-imports.sh [build/windows/ruvo.exe]
set -euo pipefail
program=${1:-$(dirname "$0")/../build/windows/ruvo.exe}
allowed=' ADVAPI32.dll KERNEL32.dll msi.dll msvcrt.dll USER32.dll VERSION.dll WS2_32.dll '

imports=$(x86_64-w64-mingw32-objdump -p "$program" | sed -n 's/^.*DLL Name: //p' | sort -fu)
[ -n "$imports" ] || { echo "check-imports: no imports read from $program" >&2; exit 1; }
foreign=$(for name in $imports; do
  case "${allowed,,}" in *" ${name,,} "*) ;; *) echo "$name" ;; esac
done)
if [ -n "$foreign" ]; then
  echo "check-imports: $program imports from libraries that are not on the list:" $foreign >&2
  exit 1
fi
echo "check-imports: ok:" $imports
