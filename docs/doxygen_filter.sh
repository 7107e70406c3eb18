#!/bin/sh
# doxygen_filter.sh HEADER: the header as Doxygen is to read it. The headers are written for people: the comment that a
# file begins with is about the file, and in tome.h the comment above a parameter record is about its operation, too.
case "$1" in
    *.dox) cat "$1" ;;
    */tome.h)
        awk '
            NR == 1 { print "/** @file"; sub(/^\/\*/, " *") }
            /^\/\* ----/ { print; next }
            /^\/\* / { sub(/^\/\*/, "/**"); text = ""; in_text = 1 }
            in_text { text = text $0 "\n"; if (/\*\//) in_text = 0 }
            /^TOME_API/ { printf "%s", text }
            /[^ ].* \/\* / { sub(/ \/\* /, " /**< ") }
            { print }' "$1"
        ;;
    *)
        awk '
            NR == 1 { print "/// @file" }
            !past_intro && /^\/\// { sub(/^\/\//, "///"); print; next }
            { past_intro = 1; print }' "$1"
        ;;
esac
