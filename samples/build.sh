#!/bin/sh
# Rebuilds blinky/blinky.elf and kiln/kiln.elf, or the one that is named. Needs Clang 14 and LLD for the first (Debian: clang
# lld), GCC 12 for ARM for the other (gcc-arm-none-eabi). The results do not depend on the folder.
set -eu
cd "$(dirname "$0")"
samples=$PWD
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT

blinky() {
  cd "$samples/blinky"
  for source in start main led log; do
    clang --target=powerpc-none-eabi -mcpu=603e -msoft-float -std=gnu89 -O1 -ffreestanding -fno-pic -Wall -Wextra -Werror \
      -gdwarf-2 -gstrict-dwarf -gpubnames -fno-asynchronous-unwind-tables -mllvm -generate-arange-section \
      -fdebug-prefix-map="$PWD"=/blinky -c $source.c -o "$work/$source.o"
  done
  ld.lld -m elf32ppc -z max-page-size=16 -T blinky.ld "$work/start.o" "$work/main.o" "$work/led.o" "$work/log.o" -o blinky.elf
  chmod 644 blinky.elf
}

# With the flags that a debug build has by default: -g.
kiln() {
  cd "$samples/kiln"
  flags="-g -O2 -mcpu=cortex-m3 -mthumb -ffreestanding -ffunction-sections -fdata-sections -Wall -Wextra -Werror"
  flags="$flags -fdebug-prefix-map=$PWD=/kiln"
  for source in startup.s profile.c main.c; do
    arm-none-eabi-gcc $flags -c $source -o "$work/$source.o"
  done
  arm-none-eabi-gcc $flags -std=c++20 -fno-exceptions -fno-rtti -c heater.cpp -o "$work/heater.cpp.o"
  arm-none-eabi-ld -T kiln.ld --gc-sections "$work/startup.s.o" "$work/profile.c.o" "$work/main.c.o" "$work/heater.cpp.o" -o kiln.elf
  chmod 644 kiln.elf
}

for sample in ${*:-blinky kiln}; do
  $sample
done
