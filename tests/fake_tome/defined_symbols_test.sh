#!/bin/sh
# defined_symbols_test.sh LIST LIBRARY PROGRAM: fails, naming them, where PROGRAM does not define those symbols of LIST
# that LIBRARY calls: they would be the real engine's.
set -eu
export LC_ALL=C
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
# symbols FILE TYPE: its names of that type; some systems put an underscore before the names of C.
symbols() {
    nm -P "$1" > "$work/nm"
    awk -v type="$2" '$2 == type { sub(/^_/, "", $1); print $1 }' "$work/nm" | sort -u
}
symbols "$2" U > "$work/undefined"
sort "$1" | comm -12 - "$work/undefined" > "$work/called"
[ -s "$work/called" ] || { echo "$2 calls nothing of $1"; exit 1; }
symbols "$3" T | comm -23 "$work/called" - > "$work/missing"
[ ! -s "$work/missing" ] || { echo "not defined:"; cat "$work/missing"; exit 1; }
