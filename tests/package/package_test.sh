#!/bin/sh
# package_test.sh SOURCE BUILD: makes the Debian package, unpacks it with dpkg-deb -x into an empty root, and uses it
# from there: the tool, and examples/review_tool linked through CMake and through pkg-config. Then moves what was
# unpacked and uses it again. Exit status 77 where the programs for that are missing.
set -eu
source=$1
build=$2
for program in cpack dpkg-deb dpkg-shlibdeps file pkg-config; do
    command -v "$program" >/dev/null || { echo "$program is missing"; exit 77; }
done
fail() { echo "$1" >&2; exit 1; }

unset CDPATH LD_LIBRARY_PATH CMAKE_PREFIX_PATH PKG_CONFIG_PATH KEEL_TOME_REMOTE_URL QUILL_TOME_REMOTE_URL
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
cd "$work"

# Makes the package and checks what dpkg would act on; unpacks it as root/.
make_package() {
    cpack --config "$build/CPackConfig.cmake" -G DEB -B packages > cpack.log 2>&1 || { cat cpack.log >&2; exit 1; }
    package=$(echo packages/quill-project-tool_*.deb)
    [ -f "$package" ] || fail "no package was made"
    [ "$(dpkg-deb -f "$package" Maintainer)" = "Quill developers <quill@localhost>" ] || fail "wrong maintainer"
    for library in libc6 libstdc++6 libsqlite3-0; do
        dpkg-deb -f "$package" Depends | grep -qF "$library" || fail "no dependency on $library"
    done
    dpkg-deb -x "$package" root
    [ "$(ls root)" = usr ] || fail "the package has files outside /usr: $(ls root)"
    [ -f root/usr/share/man/man1/quill_project_tool.1 ] || fail "the package has no manual page"
    # What names a folder of this machine would stop working elsewhere.
    if grep -rlF -e "$source" -e "$build" root; then fail "the package names folders of the build"; fi
}

# What quill_project_tool of the given prefix makes of a new project, $1/Garden.quillproject.
use_tool() {
    mkdir "$1"
    project=$1/Garden.quillproject
    tool=$2/bin/quill_project_tool
    export QUILL_TOME_REMOTE_URL="file://$work/$1/remote"
    ldd "$tool" | grep -qF "$2/" || fail "the tool does not find libtome in its prefix"
    "$tool" create "$project" --template "$source/examples/garden/Garden.usda" > "$1/out"
    "$tool" initialize-history "$project" > "$1/out"
    [ "$(cat "$1/out")" = "Initialized project history at revision 1" ] || fail "initialize-history: $(cat "$1/out")"
    "$tool" create-workspace "$project" main "Evening light" --author ana > "$1/out"
    "$tool" sync-workspace "$project" evening-light Scenes/Main.usda > "$1/out"
    echo '# warmer sun' >> "$project/.derived/tome-workspaces/evening-light/Scenes/Main.usda"
    "$tool" commit-workspace "$project" evening-light Scenes/Main.usda > "$1/out"
    "$tool" restore-proof "$project" > "$1/out"
    grep -qx RESTORE_PROOF_PASS "$1/out" || fail "restore-proof: $(cat "$1/out")"
}

# Runs a built review_tool on the project that use_tool made.
use_review_tool() {
    "$1" "$project" list > listed
    grep -q '^main: Main$' listed || fail "main is not listed"
    grep -q '^evening-light: Evening light$' listed || fail "the workspace is not listed"
    grep -q 'restore-proof: Restore exact proof state A' listed || fail "no revisions are listed"
}

# Takes the workspace through a review with a built review_tool that has the commands for that.
review_and_merge() {
    [ "$("$1" "$project" review evening-light "Warmer sun" bo cy)" = "warmer-sun: open" ] || fail "no review"
    "$1" "$project" comment warmer-sun "Just right." | grep -q '^comment-' || fail "no comment"
    [ "$("$1" "$project" approve warmer-sun bo)" = "warmer-sun: open" ] || fail "one of two approvals counts for both"
    "$1" "$project" merge warmer-sun 2> err && fail "merged unapproved"
    grep -qx "review_tool: review is not approved: warmer-sun" err || fail "merge: $(cat err)"
    [ "$("$1" "$project" approve warmer-sun cy)" = "warmer-sun: approved" ] || fail "not approved"
    [ "$("$1" "$project" merge warmer-sun)" = "warmer-sun: merged" ] || fail "not merged"
    [ "$(tail -n 1 "$project/Scenes/Main.usda")" = "# warmer sun" ] || fail "the merge did not reach the package"
}

# An outside program's own header, of the same name as one of the library's, must not be taken for that one.
mkdir -p outside/project outside/records
echo '#error "taken for a header of the library"' | tee outside/project/manifest.h > outside/records/unique_strings.h

# Builds and runs review_tool with the package in the given prefix, in the folder $1.
link_to() {
    mkdir "$1"
    cp -R "$source/examples/review_tool" "$1/source"
    { cmake -S "$1/source" -B "$1/build" -DCMAKE_PREFIX_PATH="$2" -DCMAKE_BUILD_TYPE=Release \
        -DCMAKE_CXX_FLAGS="-Wall -Wextra -Werror" &&
        cmake --build "$1/build"; } > "$1/log" 2>&1 || { cat "$1/log" >&2; exit 1; }
    use_review_tool "$1/build/review_tool"
    if "$1/build/review_tool" 2>&1 | grep -q ' merge '; then
        review_and_merge "$1/build/review_tool"
    fi

    export PKG_CONFIG_PATH="$2/lib/pkgconfig"
    # shellcheck disable=SC2046
    "${CXX:-c++}" -std=c++20 -Wall -Wextra -Werror -Ioutside $(pkg-config --cflags quill) "$1/source/main.cpp" \
        -o "$1/review_tool" $(pkg-config --libs quill) "-Wl,-rpath,$(pkg-config --variable=libdir quill)"
    use_review_tool "$1/review_tool"
}

make_package
use_tool first "$work/root/usr"
link_to linked "$work/root/usr"
mv root/usr moved
use_tool second "$work/moved"
link_to linked_again "$work/moved"
