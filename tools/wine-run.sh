#!/usr/bin/env bash
# Runs a Windows program in the private Wine of tools/wine-env.sh: tools/wine-run.sh SECONDS PROGRAM
# [ARGUMENT...]. The exit code is the low byte of the program's.
set -uo pipefail
top=$(cd "$(dirname "$0")/.." && pwd)
seconds=$1
shift
. "$top/tools/wine-env.sh"
exec timeout -k 5 "$seconds" wine "$@"
