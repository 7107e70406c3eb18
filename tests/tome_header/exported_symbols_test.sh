#!/bin/sh
# exported_symbols_test.sh LIBRARY LIST: fails, showing the difference, unless LIBRARY defines exactly the symbols of LIST.
set -eu
export LC_ALL=C
library=$1
list=$2

work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
nm -D --defined-only "$library" > "$work/nm"
awk '{ print $NF }' "$work/nm" | sed 's/@.*//' | sort > "$work/exported"
sort "$list" > "$work/listed"
diff "$work/listed" "$work/exported"
