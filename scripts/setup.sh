#!/usr/bin/env bash
# Installs what is missing of the Debian packages that a task needs. Asks for nothing; does nothing when all is there.
#
#   scripts/setup.sh [test|check|bench|fuzz|platforms]
#
# test, the default: to build and to test; check: for scripts/lint.sh and .ci/run as well; bench, fuzz and platforms: for the
# scripts of that name as well.
set -euo pipefail

packages=(
  cmake
  g++
  g++-12-multilib # not g++-multilib: that one does not go together with Debian's cross compilers
  googletest
  libcli11-dev
  libfmt-dev
  libgtest-dev
  ninja-build
  python3
  qemu-system-misc # m68k
  qemu-system-ppc
  rapidjson-dev
)
case "${1:-test}" in
  test) ;;
  check) packages+=(clang-14 clang-format-14 clang-tidy-14 cppcheck) ;;
  bench) packages+=(binutils libbenchmark-dev libdw-dev) ;;
  fuzz) packages+=(clang-14 libclang-rt-14-dev) ;;
  platforms)
    packages+=(
      binutils-mingw-w64
      g++-mingw-w64-i686-posix
      g++-mingw-w64-x86-64-posix
      g++-powerpc-linux-gnu
      qemu-user
      wine
      wine64
    )
    ;;
  *) echo "usage: scripts/setup.sh [test|check|bench|fuzz|platforms]" >&2; exit 2 ;;
esac

missing=()
for package in "${packages[@]}"; do
  status=$(dpkg-query -W -f '${db:Status-Status}' "$package" 2>/dev/null || true)
  [ "$status" = installed ] || missing+=("$package")
done
[ ${#missing[@]} -gt 0 ] || exit 0

as_root=()
if [ "$(id -u)" -ne 0 ]; then
  if ! command -v sudo >/dev/null; then
    echo "Please install these packages as root: ${missing[*]}" >&2
    exit 1
  fi
  as_root=(sudo)
fi
echo "Installing ${missing[*]}"
"${as_root[@]}" apt-get update -qq
"${as_root[@]}" env DEBIAN_FRONTEND=noninteractive apt-get install -qq -y --no-install-recommends --no-remove "${missing[@]}"
