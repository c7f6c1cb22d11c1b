#!/usr/bin/env bash
# Builds the benchmarks and runs their comparison once on a small file, so that they are known to work. The figures of
# docs/performance.md are of large files: bench/compare.py --runs 5 FILE...
set -euo pipefail
cd "$(dirname "$0")/.."

scripts/setup.sh bench
if command -v ccache >/dev/null; then export CMAKE_CXX_COMPILER_LAUNCHER=ccache; fi
printf '\n== Benchmarks\n'
cmake --preset bench >/dev/null
cmake --build --preset bench -j "$(nproc)"
bench/compare.py --runs 1 --skip lookup --skip growth samples/blinky/blinky.elf
build/bench/elfload_bench --benchmark_min_time=0.01 samples/blinky/blinky.elf
