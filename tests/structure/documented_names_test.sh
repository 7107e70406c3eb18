#!/bin/sh
# documented_names_test.sh SOURCES: what docs/ and the README name in `code` is there: tests and their programs, suites
# and files, and the sources. Names with a placeholder ("<folder>", "…", "MODULE") are patterns and not looked at.
set -eu
export LC_ALL=C
cd "$1"
scratch=$(mktemp -d)
trap 'rm -rf "$scratch"' EXIT

folders='tool digest files project content engine identity records workspace review tome tests include examples cmake scripts'

# "file.md name" for each word between backquotes; a.{h,cpp} is two words.
grep -oE '`[^`]+`' docs/*.md README.md | sed -E 's/:`/ /; s/`$//' |
    awk '{ for (i = 2; i <= NF; ++i) { print $1, $i } }' | grep -vE '<|…|\*|MODULE' |
    awk 'match($2, /\{[a-z,]+\}/) {
             count = split(substr($2, RSTART + 1, RLENGTH - 2), kinds, ",")
             for (i = 1; i <= count; ++i) { print $1, substr($2, 1, RSTART - 1) kinds[i] substr($2, RSTART + RLENGTH) }
             next
         }
         { print }' | sort -u >"$scratch/names"
[ -s "$scratch/names" ]

find $folders CMakeLists.txt -type f >"$scratch/files"
grep -E '\.(h|hpp|cpp|c|sh|txt|cmake)$' "$scratch/files" >"$scratch/sources"
sed -E 's|.*/||' "$scratch/files" | sort -u >"$scratch/basenames"

# The tests: "Suite.Name" of GoogleTest, "folder.Name" of ctest.
{
    grep -E '_test\.cpp$' "$scratch/sources" | xargs cat | tr '\n' ' ' |
        grep -oE 'TEST(_F|_P)?\( *[A-Za-z0-9_]+, *[A-Za-z0-9_]+ *\)' | sed -E 's/^[A-Z_]+\( *//; s/, */./; s/ *\)$//'
    grep -E 'CMakeLists\.txt$' "$scratch/sources" | xargs grep -hoE 'add_test\(NAME [A-Za-z0-9_.]+' | sed 's/.* //'
} | sort -u >"$scratch/tests"
grep -oE '^ *quill_test\([a-z_]+' $(grep -E '^tests/.*CMakeLists\.txt$' "$scratch/sources") |
    sed -E 's/.*\((.*)/\1_tests/' | sort -u >"$scratch/programs"
xargs cat <"$scratch/sources" | grep -oE '[A-Za-z_][A-Za-z0-9_]+' | sort -u >"$scratch/words"
[ -s "$scratch/tests" ] && [ -s "$scratch/programs" ] && [ -s "$scratch/words" ]

# Whether the file that a name means, or the module's header or source, is there.
is_path() { [ -e "$1" ] || [ -e "$1.h" ] || [ -e "$1.cpp" ]; }
is_in() { grep -qxF -e "$2" "$scratch/$1"; }

while read -r document name; do
    first=${name%%/*}
    case $name in
        include/tome/) ;;  # Where tome/include is installed.
        */*) case " $folders " in *" $first "*) is_path "${name%/}" ;; esac ;;
        *_test.cpp | *_test.c | *_test.sh) is_in basenames "$name" ;;
        *_tests) is_in programs "$name" ;;
        *) ! echo "$name" | grep -qE '^([A-Z][A-Za-z0-9]+|[a-z_]+)\.[A-Z][A-Za-z0-9]+$' || is_in tests "$name" ;;
    esac || echo "$document: $name"
    # A test, a suite or a type by its name alone.
    ! echo "$name" | grep -qE '^[A-Z][a-z]+([A-Z][a-z]*)+$' || is_in words "$name" || echo "$document: $name"
done <"$scratch/names" >"$scratch/unknown"
[ ! -s "$scratch/unknown" ] || { echo "named, but not there:"; cat "$scratch/unknown"; exit 1; } >&2
