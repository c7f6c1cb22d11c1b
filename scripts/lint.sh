#!/usr/bin/env bash
# The order of includes, a build with Clang, its tests, cppcheck over the program's sources and clang-tidy over every
# source file.
set -euo pipefail
cd "$(dirname "$0")/.."

scripts/setup.sh check
printf '\n== Includes\n'
scripts/check_includes.py
printf '\n== Clang\n'
scripts/test.sh clang
printf '\n== cppcheck\n'
cppcheck -q -j "$(nproc)" --error-exitcode=1 --enable=warning,performance,portability --std=c++20 \
  --suppressions-list=.cppcheck -I host/include -I plugin -I cli -I tests -I fuzz host plugin cli fuzz bench
printf '\n== clang-tidy\n'
sed -n 's|.*"file": "\(.*\)".*|\1|p' build/clang/compile_commands.json | sort -u |
  xargs -n 1 -P "$(nproc)" clang-tidy-14 --quiet -p build/clang
