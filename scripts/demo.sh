#!/usr/bin/env bash
# Sets up, builds, and shows what the loader finds in a sample firmware.
set -euo pipefail
cd "$(dirname "$0")/.."

scripts/setup.sh
if command -v ccache >/dev/null; then export CMAKE_CXX_COMPILER_LAUNCHER=ccache; fi
cmake --preset release >/dev/null
cmake --build --preset release -j "$(nproc)" --target elfload elfloader

show() {
  printf '\n$ elfload %s\n' "$*"
  build/release/elfload "$@"
}
for sample in samples/*/*.elf; do
  show info "$sample"
  show modules "$sample"
done
show dump --module main.c samples/blinky/blinky.elf
show dump --module queue.cc samples/pump/pump.elf
