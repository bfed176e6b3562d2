#!/usr/bin/env bash
# Simulates a rollout over a million computers; see docs/rollout.md.
set -euo pipefail
cd "$(dirname "$0")/.."
tools/build.sh linux rollout >/dev/null
exec build/linux/rollout
