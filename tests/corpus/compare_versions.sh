#!/bin/bash
# Sees that the same program with debug information of other versions gives the same records: all files NAME-VERSION.elf of the
# folders against NAME-2s.elf, the strict one of version 2, by the script that is named, which comes with those files.
#
#   ELFLOAD=build/release/elfload compare_versions.sh COMPARE.PY FOLDER...
set -u
compare=$1
shift
elfload=${ELFLOAD:-build/release/elfload}
rules=()
"$elfload" --help | grep -q -- --rules && rules=(--rules published)
export DWARFRULES=PUBLISHED
total=0 failed=0
for folder; do
  for base in "$folder"/*-2s.elf; do
    name=${base%-2s.elf}
    flags=()
    case $name in *clang*) flags+=(--more-rows) ;; esac
    case $name in *-O0) flags+=(--locals) ;; esac
    for other in "$name"-*.elf; do
      [ "$other" = "$base" ] || [ ! -e "$other" ] && continue
      total=$((total + 1))
      python3 "$compare" "${flags[@]}" --limit "${LIMIT:-3}" "$elfload" "${rules[@]}" "$base" "$other" || failed=$((failed + 1))
    done
  done
done
echo "$total files compared, $failed differ"
[ "$failed" = 0 ] && [ "$total" -gt 0 ]
