#!/bin/bash
# Links the programs of src/ with every kind of debug information that the tool chains here can write, for the checks of
# the published rules. What a missing compiler would make is passed over; what exists is not made again.
#
#   build_published.sh FOLDER      nothing of it belongs into git
#
# Debian: gcc-arm-none-eabi gcc-powerpc-linux-gnu g++-powerpc-linux-gnu clang lld dwz gfortran-powerpc-linux-gnu
# gnat-12-powerpc-linux-gnu gdc-12-powerpc-linux-gnu gfortran-12-multilib gdc-12-multilib fp-compiler:i386
set -u
mkdir -p "$1"
out=$(cd "$1" && pwd)
cd "$(dirname "$0")/src" || exit 1
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
export LC_ALL=C SOURCE_DATE_EPOCH=1000000000

has() { command -v "$1" >/dev/null 2>&1; }
makes() { [ ! -e "$out/$1.elf" ] && rm -rf "${work:?}"/* && echo "$1"; }

# step COMMAND...: says what failed, and that nothing came of it.
step() { nice "$@" >"$work/log" 2>&1 || { echo "  failed: $*"; head -5 "$work/log"; return 1; }; }

map=-fdebug-prefix-map=$PWD=/project
bare="-ffreestanding -fno-pic -fno-stack-protector $map -w"
cxx="-std=c++17 -fno-exceptions -fno-threadsafe-statics $bare"
sections="-ffunction-sections -fdata-sections"
arm="-mcpu=cortex-m3 -mthumb"
# Below 0x10000 there is nothing, so that 0 is no address.
layout="-static -n -z max-page-size=16 -e _start --unresolved-symbols=ignore-all -Ttext=0x10000 -Tdata=0x20000000"
lldlayout="-static -n -e _start --unresolved-symbols=ignore-all --image-base=0x10000"

# link NAME LINKER FLAGS FILE...
link() {
  local name=$1 linker=$2 flags=$3
  shift 3
  step $linker $flags "$@" -o "$work/$name.elf" && cp "$work/$name.elf" "$out/"
}

# firmware NAME COMPILER LINKER "FLAGS" "LINKER FLAGS": assembler beside C.
firmware() {
  makes "$1" && has "${2%% *}" && has "${3%% *}" || return 0
  step $2 -g $arm $map -c startup.s -o "$work/startup.o" && step $2 $bare $4 -c firmware.c -o "$work/firmware.o" &&
    link "$1" "$3" "$5" "$work/startup.o" "$work/firmware.o"
}
gcc="arm-none-eabi-gcc" gnu="arm-none-eabi-ld" lld="ld.lld-14 -m armelf"
firmware arm-startup "$gcc" "$gnu" "-g -O1 $arm $sections" "$layout"
firmware arm-startup-gc "$gcc" "$gnu" "-g -O1 $arm $sections" "$layout --gc-sections"
firmware arm-startup-lld "$gcc" "$lld" "-g -O1 $arm $sections" "$lldlayout"
firmware arm-startup-lld-gc "$gcc" "$lld" "-g -O1 $arm $sections" "$lldlayout --gc-sections"
for version in 2 3 4 5; do
  firmware arm-gc-$version "$gcc" "$gnu" "-gdwarf-$version -O2 $arm $sections" "$layout --gc-sections"
  firmware arm-lld-gc-$version "$gcc" "$lld" "-gdwarf-$version -O2 $arm $sections" "$lldlayout --gc-sections"
done
firmware arm-O3-hot "$gcc" "$gnu" "-g -O3 -freorder-blocks-and-partition $arm" "$layout"
firmware arm-pubnames "$gcc" "$gnu" "-g -gpubnames -O2 $arm" "$layout"
firmware arm-gnu-pubnames "$gcc" "$gnu" "-g -ggnu-pubnames -O2 $arm" "$layout"
firmware arm-O0 "$gcc" "$gnu" "-g -O0 $arm" "$layout"
firmware arm-O0-strict2 "$gcc" "$gnu" "-gdwarf-2 -gstrict-dwarf -O0 $arm" "$layout"
firmware arm-64bit-format "$gcc" "$gnu" "-g -gdwarf64 -O1 $arm" "$layout"
firmware arm-64bit-format-4 "$gcc" "$gnu" "-gdwarf-4 -gdwarf64 -O1 $arm" "$layout"
clang="clang-14 --target=arm-none-eabi -mcpu=cortex-m3 -mthumb"
for version in 2 3 4 5; do
  firmware armclang-gc-$version "$clang" "$lld" "-gdwarf-$version -O2 $sections" "$lldlayout --gc-sections"
done
firmware armclang-names "$clang" "$lld" "-gdwarf-5 -gpubnames -O1" "$lldlayout"
firmware armclang-gnu-names "$clang" "$lld" "-gdwarf-4 -ggnu-pubnames -O1" "$lldlayout"
firmware armclang-split "$clang" "$lld" "-gdwarf-5 -gsplit-dwarf -O1" "$lldlayout"
firmware armclang-split-4 "$clang" "$lld" "-gdwarf-4 -gsplit-dwarf -O1" "$lldlayout"
firmware armclang-aranges "$clang" "$lld" "-gdwarf-5 -mllvm -generate-arange-section -O1 $sections" "$lldlayout --gc-sections"
firmware armclang-compressed "$clang" "$lld" "-gdwarf-5 -O1" "$lldlayout --compress-debug-sections=zlib"

if makes arm-lto && has $gcc; then
  step $gcc $bare $arm -g -O2 -flto -c firmware.c -o "$work/firmware.o" && step $gcc $arm -g -c startup.s -o "$work/startup.o" &&
    step $gcc $arm -g -O2 -flto -nostdlib -Wl,-Ttext=0x10000 -Wl,-Tdata=0x20000000 -Wl,-n \
      -Wl,--unresolved-symbols=ignore-all "$work/firmware.o" "$work/startup.o" -o "$work/l.elf" && cp "$work/l.elf" "$out/arm-lto.elf"
fi

# cpp NAME COMPILER LINKER "FLAGS" "LINKER FLAGS"
cpp() {
  makes "$1" && has "${2%% *}" && has "${3%% *}" || return 0
  step $2 $cxx $4 -c shapes.cpp -o "$work/shapes.o" && step $2 $cxx $4 -c other.cpp -o "$work/other.o" &&
    step $2 $cxx $4 -DUSE=second_use -c other.cpp -o "$work/second.o" &&
    link "$1" "$3" "$5" "$work/shapes.o" "$work/other.o" "$work/second.o"
}
for version in 2 3 4 5; do
  cpp ppc-cpp17-O0-$version powerpc-linux-gnu-g++ powerpc-linux-gnu-ld "-gdwarf-$version -O0" "$layout"
  cpp ppc-cpp17-O2-$version powerpc-linux-gnu-g++ powerpc-linux-gnu-ld "-gdwarf-$version -O2" "$layout"
  cpp armclang-cpp17-O0-$version "clang++-14 ${clang#* }" "$lld" "-gdwarf-$version -O0" "$lldlayout"
  cpp armclang-cpp17-O2-$version "clang++-14 ${clang#* }" "$lld" "-gdwarf-$version -O2 $sections" "$lldlayout --gc-sections"
done
cpp arm-cpp17-O1-4t arm-none-eabi-g++ $gnu "-gdwarf-4 -fdebug-types-section -O1 $arm" "$layout"
cpp arm-cpp17-O1-5t arm-none-eabi-g++ $gnu "-gdwarf-5 -fdebug-types-section -O1 $arm" "$layout"
cpp armclang-cpp17-O1-4t "clang++-14 ${clang#* }" "$lld" "-gdwarf-4 -fdebug-types-section -O1" "$lldlayout"
cpp armclang-cpp17-O1-5t "clang++-14 ${clang#* }" "$lld" "-gdwarf-5 -fdebug-types-section -O1" "$lldlayout"
cpp armclang-cpp17-names "clang++-14 ${clang#* }" "$lld" "-gdwarf-5 -gpubnames -O1" "$lldlayout"
cpp armclang-cpp17-gnu-names "clang++-14 ${clang#* }" "$lld" "-gdwarf-4 -ggnu-pubnames -O1" "$lldlayout"

# Common parts of several units in partial units, in the file itself and in another one.
for version in 4 5; do
  for file in arm-startup ppc-cpp17-O0-$version ppc-cpp17-O2-$version; do
    has dwz && [ -e "$out/$file.elf" ] && makes $file-dwz >/dev/null &&
      step dwz -o "$work/dwz.elf" "$out/$file.elf" && cp "$work/dwz.elf" "$out/$file-dwz.elf"
  done
done
if has dwz && [ -e "$out/ppc-cpp17-O0-4.elf" ] && makes ppc-dwz-multi >/dev/null; then
  cp "$out/ppc-cpp17-O0-4.elf" "$work/a.elf" && cp "$out/ppc-cpp17-O2-4.elf" "$work/b.elf" &&
    step dwz -m "$work/common.debug" -M ppc-dwz-multi.debug "$work/a.elf" "$work/b.elf" &&
    cp "$work/a.elf" "$out/ppc-dwz-multi.elf" && cp "$work/common.debug" "$out/ppc-dwz-multi.debug"
fi

# Other languages. Their run-time libraries are left out: nothing runs.
ppcld="powerpc-linux-gnu-ld"
for version in 2 3 4 5; do
  if makes ppc-fortran-$version && has powerpc-linux-gnu-gfortran; then
    step powerpc-linux-gnu-gfortran -gdwarf-$version -O1 $map -J "$work" -fno-pic -c arrays.f90 -o "$work/f.o" &&
      link ppc-fortran-$version $ppcld "${layout/_start/main}" "$work/f.o"
  fi
  if makes ppc-ada-$version && has powerpc-linux-gnu-gcc-12; then
    step powerpc-linux-gnu-gcc-12 -gdwarf-$version -O0 $map -fno-pic -c stock.adb -o "$work/stock.o" &&
      link ppc-ada-$version $ppcld "${layout/_start/run_ada}" "$work/stock.o"
  fi
  if makes ppc-d-$version && has powerpc-linux-gnu-gdc-12; then
    step powerpc-linux-gnu-gdc-12 -gdwarf-$version -fno-druntime -O0 $map -fno-pic -c parts.d -o "$work/d.o" &&
      link ppc-d-$version $ppcld "$layout" "$work/d.o"
  fi
done
if makes ppc-ada-gnat && has powerpc-linux-gnu-gcc-12; then  # what GNAT encodes into names when asked
  step powerpc-linux-gnu-gcc-12 -g -fgnat-encodings=all -O1 $map -fno-pic -c stock.adb -o "$work/stock.o" &&
    link ppc-ada-gnat $ppcld "${layout/_start/run_ada}" "$work/stock.o"
fi
i386="-m elf_i386 $layout"
if makes i386-fortran && has gfortran && step gfortran -m32 -g -O2 $map -J "$work" -fno-pic -c arrays.f90 -o "$work/f.o"; then
  link i386-fortran ld "${i386/_start/main}" "$work/f.o"
fi
if makes i386-d && has gdc && step gdc -m32 -g -fno-druntime -O1 $map -fno-pic -c parts.d -o "$work/d.o"; then
  link i386-d ld "$i386" "$work/d.o"
fi
for version in 2 3; do
  if makes i386-pascal-$version && has ppc386 &&
    step ppc386 -Tlinux ${FPCUNITS:+-Fu$FPCUNITS} -gw$version -Cn -FE"$work" tasks.pas; then
    link i386-pascal-$version ld "${i386/_start/main}" "$work/tasks.o"
  fi
done
if has clang-14 && makes i386-clang-cpp17 && has ld.lld-14; then
  step clang++-14 --target=i386-linux-gnu $cxx -g -O1 -c shapes.cpp -o "$work/s.o" &&
    link i386-clang-cpp17 "ld.lld-14 -m elf_i386" "$lldlayout" "$work/s.o"
fi
exit 0
