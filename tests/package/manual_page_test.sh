#!/bin/sh
# manual_page_test.sh TOOL PAGE: the page has no fault that mandoc or man can find, and describes every command of the
# tool's usage text.
set -eu
tool=$1
page=$2
fail() { echo "$1" >&2; exit 1; }

for command in $("$tool" 2>&1 | sed -n 's/^  quill_project_tool \([a-z-]*\) .*/\1/p'); do
    # shellcheck disable=SC2016
    grep -q "^\.It Cm $command\$" "$page" || grep -q "^\.It Cm $command " "$page" || fail "not described: $command"
    described=yes
done
[ "${described:-}" ] || fail "the tool names no command"

if command -v mandoc >/dev/null; then
    mandoc -T lint "$page"
elif command -v man >/dev/null; then
    warnings=$(MANWIDTH=80 man --warnings -l "$page" 2>&1 >/dev/null)
    [ -z "$warnings" ] || fail "$warnings"
else
    exit 77
fi
