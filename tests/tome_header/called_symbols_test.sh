#!/bin/sh
# called_symbols_test.sh LIST OBJECT: fails, naming them, where OBJECT does not call all symbols of LIST.
set -eu
export LC_ALL=C
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
nm -P "$2" > "$work/nm"
# Some systems put an underscore before the names of C.
awk '$2 == "U" { sub(/^_/, "", $1); print $1 }' "$work/nm" | sort > "$work/called"
sort "$1" | comm -23 - "$work/called" > "$work/missing"
[ ! -s "$work/missing" ] || { echo "not called:"; cat "$work/missing"; exit 1; }
