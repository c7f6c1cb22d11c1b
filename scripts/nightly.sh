#!/usr/bin/env bash
# The long runs: fuzzing, files made to be costly, a quarter of a million variants of files, the other platforms.
#
#   scripts/nightly.sh [SECONDS [VARIANTS]]    of fuzzing for each target, 1800 by default; of files, 250000 by default
#
# The environment variable ELFLOAD_CORPUS names a folder of ELF files to go through besides the samples.
set -euo pipefail
cd "$(dirname "$0")/.."

scripts/lint.sh
scripts/platforms.sh
for preset in release m32; do
  printf '\n== Costly files: %s\n' "$preset"
  cmake --preset "$preset" >/dev/null
  cmake --build --preset "$preset" -j "$(nproc)" --target elfload elfloader
  for rules in loader published; do
    python3 -B fuzz/hostile --elfload "build/$preset/elfload" --rules "$rules"
  done
done
printf '\n== Variants\n'
if [ -d /dev/shm ]; then export TMPDIR=/dev/shm; fi # every variant is a file for a moment
files=(samples/*/*.elf)
[ -z "${ELFLOAD_CORPUS:-}" ] || files+=("$ELFLOAD_CORPUS")
cmake --preset release >/dev/null
cmake --build --preset release -j "$(nproc)" --target fuzz_mutate
build/release/fuzz_mutate "${2:-250000}" "${files[@]}" >/dev/null
printf '\n== Fuzzing\n'
scripts/fuzz.sh "${1:-1800}"
