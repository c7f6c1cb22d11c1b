#!/bin/sh
# Rebuilds blinky/blinky.elf. Needs Clang 14 and LLD (Debian: clang lld). The result does not depend on the folder.
set -eu
cd "$(dirname "$0")/blinky"
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT

for source in start main led log; do
  clang --target=powerpc-none-eabi -mcpu=603e -msoft-float -std=gnu89 -O1 -ffreestanding -fno-pic -Wall -Wextra -Werror \
    -gdwarf-2 -gstrict-dwarf -gpubnames -fno-asynchronous-unwind-tables -mllvm -generate-arange-section \
    -fdebug-prefix-map="$PWD"=/blinky -c $source.c -o "$work/$source.o"
done
ld.lld -m elf32ppc -z max-page-size=16 -T blinky.ld "$work/start.o" "$work/main.o" "$work/led.o" "$work/log.o" -o blinky.elf
chmod 644 blinky.elf
