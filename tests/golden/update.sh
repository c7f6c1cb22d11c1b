#!/bin/sh
# Writes the golden dumps anew, with the elfload given, after checking the files' dumps against readelf.
#
#   update.sh ELFLOAD
set -eu
here=$(cd "$(dirname "$0")" && pwd)
python3 "$here/../corpus/compare_dump.py" --self-test --elfload "$1" "$here/../../samples"
python3 "$here/golden_test.py" --elfload "$1" --update "$here/../../samples"
