#!/bin/sh
# module_tests_test.sh SOURCES: each module has tests that are found by its name: a file MODULE_test or MODULE_WHAT_test
# in a folder of tests/. A file belongs to the module with the longest name that its own begins with.
set -eu
export LC_ALL=C
cd "$1"
scratch=$(mktemp -d)
trap 'rm -rf "$scratch"' EXIT

# Nothing in these can go wrong by itself.
cat >"$scratch/excepted" <<'END'
blob_key             a record
branch_record        a record
content_store        an interface; content_store_suite_test holds all its kinds to it
remote               an interface; repository_operations_test and others go through it
object_sink          an interface and a list
review_record        records
workspace_record     records
tome_workspace_state a record; tome_binding_test sees what is put into it
clock                one line around the system's clock
name_folding_table   generated; name_folding_test goes through it
sha256_compression   declarations; sha256_test runs each implementation that the processor has
END

find digest files project content engine identity records workspace review tool tome -path tome/include -prune -o \
    -name '*.h' -print | sed -E 's|.*/||; s|\.h$||' | sort -u >"$scratch/modules"
find tests -name '*_test.*' | sed -E 's|.*/||; s|_test\..*$||' | sort -u >"$scratch/tests"
[ -s "$scratch/modules" ] && [ -s "$scratch/tests" ]

awk 'NR == FNR { module[$1] = 1; next }
     { name = $1; while (name != "" && !(name in module)) { if (!sub(/_[^_]*$/, "", name)) { name = "" } }
       if (name != "") { print name } }' "$scratch/modules" "$scratch/tests" | sort -u >"$scratch/tested"
awk '{ print $1 }' "$scratch/excepted" | sort >"$scratch/names"

comm -23 "$scratch/modules" "$scratch/tested" | comm -23 - "$scratch/names" >"$scratch/missing"
[ ! -s "$scratch/missing" ] ||
    { echo "modules without a test file of their name:"; cat "$scratch/missing"; exit 1; } >&2
comm -23 "$scratch/names" "$scratch/modules" >"$scratch/gone"
[ ! -s "$scratch/gone" ] || { echo "excepted, but no module:"; cat "$scratch/gone"; exit 1; } >&2
