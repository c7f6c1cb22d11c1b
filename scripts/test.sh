#!/usr/bin/env bash
# Sets up, builds, and runs every test.
#
#   scripts/test.sh [PRESET...]    the presets of CMakePresets.json to go through; release, asan and m32 by default
set -euo pipefail
cd "$(dirname "$0")/.."

presets=("$@")
[ ${#presets[@]} -gt 0 ] || presets=(release asan m32)
scripts/setup.sh test
if command -v ccache >/dev/null; then export CMAKE_CXX_COMPILER_LAUNCHER=ccache; fi
jobs=$(nproc)
for preset in "${presets[@]}"; do
  printf '\n== %s\n' "$preset"
  cmake --preset "$preset" >/dev/null
  cmake --build --preset "$preset" -j "$jobs"
  ctest --preset "$preset" -j "$jobs" --no-tests=error
done
