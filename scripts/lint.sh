#!/usr/bin/env bash
# The order of includes, a build with Clang, its tests, cppcheck over the program's sources and clang-tidy.
#
#   scripts/lint.sh [all|changed]    what clang-tidy reads: every source file, by default, or those that commits of the
#                                    two days before the newest one changed
set -euo pipefail
cd "$(dirname "$0")/.."

scope=${1:-all}
scripts/setup.sh check
printf '\n== Includes\n'
scripts/check_includes.py
printf '\n== Clang\n'
scripts/test.sh clang
printf '\n== cppcheck\n'
cppcheck -q -j "$(nproc)" --error-exitcode=1 --enable=warning,performance,portability --std=c++20 \
  --suppressions-list=.cppcheck -I host/include -I plugin -I cli -I tests -I fuzz host plugin cli fuzz bench
printf '\n== clang-tidy\n'
mapfile -t sources < <(sed -n 's|.*"file": "\(.*\)".*|\1|p' build/clang/compile_commands.json | sort -u)
if [ "$scope" = changed ]; then
  base=$(git rev-list -1 --before="$(($(git log -1 --format=%ct) - 2 * 24 * 3600))" HEAD)
  if [ -n "$base" ]; then
    mapfile -t changed < <(git diff --name-only --diff-filter=d "$base" HEAD -- '*.cpp' | sed "s|^|$PWD/|" | sort)
    mapfile -t sources < <(comm -12 <(printf '%s\n' "${sources[@]}") <(printf '%s\n' "${changed[@]}"))
  fi
fi
echo "${#sources[@]} files"
[ ${#sources[@]} -eq 0 ] || printf '%s\0' "${sources[@]}" | xargs -0 -n 1 -P "$(nproc)" clang-tidy-14 --quiet -p build/clang
