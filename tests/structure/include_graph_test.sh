#!/bin/sh
# Modules include one another without a circle, the digest, the files' folder and the engine know nothing of the project
# library, and only the binding includes the engine's interface. A module is a header with its source.
set -eu
cd "$1"
fail() { echo "$1" >&2; exit 1; }

edges=$(grep -HoE '^#include "(tool|project|content|identity|workspace|review|files|tome)/[a-z0-9_]+\.h"' \
    tool/*.h tool/*.cpp project/*.h project/*.cpp content/*.h content/*.cpp identity/*.h identity/*.cpp \
    workspace/*.h workspace/*.cpp review/*.h review/*.cpp files/*.h files/*.cpp tome/*.h tome/*.cpp |
    sed -E 's/\.(h|cpp):#include "/ /; s/\.h"$//')
[ -n "$edges" ] || fail "no includes found"
echo "$edges" | awk '$1 != $2' | tsort >/dev/null 2>/tmp/include_graph.$$ ||
    { cat /tmp/include_graph.$$ >&2; rm -f /tmp/include_graph.$$; fail "modules include one another in a circle"; }
rm -f /tmp/include_graph.$$

echo "$edges" | awk '$1 ~ /^content\/sha256/ && $2 !~ /^content\/sha256/' | grep . && fail "the digest is no leaf"
echo "$edges" | awk '$1 ~ /^files\// && $2 !~ /^files\//' | grep . && fail "the files' folder stands on others"
echo "$edges" | awk '$1 ~ /^tome\// && $2 !~ /^(tome|files)\// && $2 != "content/sha256"' | grep . &&
    fail "the engine reaches into the project library"
echo "$edges" | awk '$1 !~ /^tome\// && $2 ~ /^tome\//' | grep . && fail "the library reaches into the engine"
grep -l '<tome/tome.h>' tool/* project/* content/* identity/* workspace/* review/* files/* |
    grep -vE '^(workspace/tome_binding[a-z_]*|content/tome_content_store[a-z_]*)\.(h|cpp)$' &&
    fail "the engine's interface is included outside the binding"
exit 0
