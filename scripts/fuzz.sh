#!/usr/bin/env bash
# Runs every fuzz target from its seeds for some seconds each, with the address and undefined behaviour sanitizers.
#
#   scripts/fuzz.sh [SECONDS [TARGET...]]    10 seconds and all targets by default
#
# What the fuzzer learns is kept in build/fuzz/corpus. An input that does harm is left in build/fuzz/found; once mended
# it belongs into fuzz/seeds/TARGET.
set -euo pipefail
cd "$(dirname "$0")/.."

seconds=${1:-10}
targets=("${@:2}")
scripts/setup.sh fuzz
if command -v ccache >/dev/null; then export CMAKE_CXX_COMPILER_LAUNCHER=ccache; fi
cmake --preset fuzz >/dev/null
cmake --build --preset fuzz -j "$(nproc)"
build=$PWD/build/fuzz
[ ${#targets[@]} -gt 0 ] || mapfile -t targets < <(ls "$build/fuzz-seeds" | grep -v '^stamp$')

fuzz() {
  local target=$1 found=$2/found/$1- log=$2/$1.log
  local folders=("$2/corpus/$1" "$2/fuzz-seeds/$1")
  [ ! -d "fuzz/seeds/$1" ] || folders+=("fuzz/seeds/$1")
  mkdir -p "${folders[0]}" "$2/found"
  if "$2/fuzz_$1" -max_total_time="$seconds" -max_len=20000 -len_control=20 -timeout=10 -rss_limit_mb=2048 \
    -close_fd_mask=1 -entropic=0 -print_final_stats=1 -dict=fuzz/elf.dict -artifact_prefix="$found" \
    "${folders[@]}" >"$log" 2>&1; then
    printf '%-16s %9s runs %s\n' "$target" "$(sed -n 's/stat::number_of_executed_units: *//p' "$log")" \
      "$(grep -o 'cov: [0-9]*' "$log" | tail -1)"
  else
    printf '%-16s FAILED, see %s\n' "$target" "$log"
    grep -E 'ERROR|runtime error|SUMMARY|host run|Test unit written' "$log" | head -5
    return 1
  fi
}
export -f fuzz
export seconds
printf '%s\0' "${targets[@]}" | xargs -0 -I{} -P "$(nproc)" bash -c 'fuzz "$@"' fuzz {} "$build"
