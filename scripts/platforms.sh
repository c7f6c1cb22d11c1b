#!/usr/bin/env bash
# Builds for Windows (64 and 32 bits) and for a big-endian PowerPC with the cross compilers of Debian, runs the unit
# tests under wine and QEMU, and compares what the programs write with what the native one does, byte for byte.
#
#   scripts/platforms.sh [PRESET...]    mingw64, mingw32 and powerpc by default; nothing runs the 32-bit Windows programs
#
# The files are the samples, and those of the folder that the environment variable ELFLOAD_CORPUS names.
set -euo pipefail
cd "$(dirname "$0")/.."

presets=("$@")
[ ${#presets[@]} -gt 0 ] || presets=(mingw64 mingw32 powerpc)
scripts/setup.sh platforms
if command -v ccache >/dev/null; then export CMAKE_CXX_COMPILER_LAUNCHER=ccache; fi
# wine keeps to the build folder, asks for no parts that console programs do without, and leaves no server running.
export WINEDEBUG=-all WINEPREFIX=$PWD/build/wine WINEDLLOVERRIDES='mscoree,mshtml='
mkdir -p build
jobs=$(nproc)
scratch=$(mktemp -d)
trap 'wineserver -k >/dev/null 2>&1 || true; rm -rf "$scratch"' EXIT

cmake --preset release >/dev/null
cmake --build --preset release -j "$jobs" --target elfload elfloader
files=(samples/*/*.elf)
[ -z "${ELFLOAD_CORPUS:-}" ] || files+=("$ELFLOAD_CORPUS"/*.elf)

# Writes what the program named after the folder says about every file.
answers() {
  local folder=$1 file name
  shift
  mkdir "$scratch/$folder"
  for file in "${files[@]}"; do
    name=$scratch/$folder/$(basename "$file")
    "$@" --rules loader dump --json "$file" >"$name.loader.json" 2>/dev/null || true
    "$@" dump --json "$file" >"$name.json" 2>"$name.messages" || true
    sed -i 's/\r$//' "$name.messages" # Windows ends the lines of messages its own way
    "$@" dump "$file" >"$name.txt" 2>/dev/null || true
    "$@" find "$file" main 0x100 0x2000 >"$name.found" 2>/dev/null || true
    for kind in hex srec bin; do
      # S-records hold the name of their file, so both are written under one name.
      "$@" load --out "$scratch/out.$kind" "$file" >/dev/null 2>&1 && mv "$scratch/out.$kind" "$name.$kind" || true
    done
  done
}
answers native build/release/elfload

for preset in "${presets[@]}"; do
  printf '\n== %s\n' "$preset"
  cmake --preset "$preset" >/dev/null
  cmake --build --preset "$preset" -j "$jobs"
  case $preset in
    mingw*)
      objdump=$(sed -n 's/^MINGW_TRIPLET.*=//p' "build/$preset/CMakeCache.txt")-objdump
      "$objdump" -p "build/$preset/elfloader.dll" >"$scratch/exports"
      for name in GetCompVersions GetComponent; do
        grep -qE "\] $name\$" "$scratch/exports" || { echo "elfloader.dll does not export $name" >&2; exit 1; }
      done
      run=(wine "build/$preset/elfload.exe")
      ;;
    *) run=(qemu-ppc -L /usr/powerpc-linux-gnu "build/$preset/elfload") ;;
  esac
  [ "$preset" != mingw32 ] || continue
  ctest --preset "$preset" -j "$jobs" --no-tests=error --timeout 300
  answers "$preset" "${run[@]}"
  diff -r "$scratch/native" "$scratch/$preset"
  echo "${#files[@]} files: the same as the native program"
done
