#!/bin/sh
# A module is a header with its source, a folder is a floor or a part of one. Modules include one another without a
# circle, folders include only folders of the floors below them, only the bindings include the engine's interface, and
# docs/architecture.md names every module.
set -eu
cd "$1"
fail() { echo "$1" >&2; exit 1; }
scratch=$(mktemp -d)
trap 'rm -rf "$scratch"' EXIT

# The floors, lowest first; folders on one line do not know each other. docs/architecture.md draws them.
floors='digest files
project
content
engine
identity
records
workspace/checkout
workspace/index
workspace/operations
workspace/history
review
tool'
engine_floors='digest files
tome/base
tome/object
tome/store
tome/remote tome/merge
tome/checkout
tome/operations'

folders=$(printf '%s\n%s\n' "$floors" "$engine_floors" | tr ' ' '\n' | sort -u)
find $folders -maxdepth 1 \( -name '*.h' -o -name '*.cpp' \) | sort >"$scratch/files"
find tool digest files project content engine identity records workspace review tome -path tome/include -prune -o \
    \( -name '*.h' -o -name '*.cpp' \) -print | sort | diff "$scratch/files" - >&2 || fail "files in a folder of no floor"

# "module module" for every include between modules.
xargs grep -HoE '^#include "[a-z_/0-9]+\.h"' <"$scratch/files" |
    sed -E 's/\.(h|cpp):#include "/ /; s/\.h"$//' | awk '$1 != $2' >"$scratch/modules"
[ -s "$scratch/modules" ] || fail "no includes found"
tsort <"$scratch/modules" >/dev/null 2>"$scratch/circle" ||
    { cat "$scratch/circle" >&2; fail "modules include one another in a circle"; }

# Whether no include leads up or aside in the given floors.
check_floors() {
    echo "$1" | awk '{ for (i = 1; i <= NF; ++i) print $i, NR }' >"$scratch/floor"
    sed -E 's|/[a-z0-9_]+( \|$)|\1|g' "$scratch/modules" | paste -d ' ' - "$scratch/modules" |
        awk 'NR == FNR { floor[$1] = $2; next }
             ($1 in floor) && $1 != $2 && !(($2 in floor) && floor[$2] < floor[$1]) { print $3 " includes " $4 }' \
            "$scratch/floor" - >"$scratch/upward"
    [ ! -s "$scratch/upward" ] || { cat "$scratch/upward" >&2; fail "includes that do not lead to a lower floor"; }
}
check_floors "$floors"
check_floors "$engine_floors"

# One module knows which kinds of remote there are.
awk '$2 == "tome/remote/directory_remote" && $1 != "tome/remote/repository"' "$scratch/modules" >"$scratch/kinds"
[ ! -s "$scratch/kinds" ] ||
    { cat "$scratch/kinds" >&2; fail "a kind of remote is included outside tome/remote/repository"; }

sed -nE 's|^(.*/)?([a-z0-9_]+)\.h$|\2|p' "$scratch/files" | while read -r module; do
    grep -q "\`$module\`" docs/architecture.md || echo "$module"
done >"$scratch/unlisted"
[ ! -s "$scratch/unlisted" ] || { cat "$scratch/unlisted" >&2; fail "modules that docs/architecture.md does not name"; }

xargs grep -l '<tome/tome.h>' <"$scratch/files" |
    grep -vE '^(engine/tome_(binding|call)[a-z_]*|content/tome_content_store[a-z_]*|tome/.*)\.(h|cpp)$' >&2 &&
    fail "the engine's interface is included outside the binding"
exit 0
