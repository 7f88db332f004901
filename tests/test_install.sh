#!/usr/bin/env bash
# tests/test_install.sh BUILD [LAUNCHER...]: cmake --install puts the plug-in
# where a TV image carries it (component plugin alone) and a whole
# development prefix whose debugmenu runs the installed plug-in. LAUNCHER
# runs the build's programs (a cross build's emulator).
set -uo pipefail
build=$1; shift
lib=libtavrin-debugmenu.so.0.0.06
failures=0
check() {  # check WHAT COMMAND...
    local what=$1; shift
    if "$@"; then echo "ok: $what"; else echo "FAILED: $what"; failures=$((failures + 1)); fi
}

scratch=$(mktemp -d "$build/install-test.XXXXXX")
trap 'rm -rf "$scratch"' EXIT

# The TV image: the library with its version links and the headers, nothing else.
image=$scratch/image
DESTDIR=$image cmake --install "$build" --prefix /usr --component plugin >/dev/null
libdir=$(cd "$image/usr" && find . -name "$lib" -printf '%h\n' | sed 's,^\./,,')
check "the plug-in in the image's library directory" test -f "$image/usr/$libdir/$lib"
check "the soname link" test "$(readlink "$image/usr/$libdir/libtavrin-debugmenu.so.0")" = "$lib"
check "the link-time link" test "$(readlink "$image/usr/$libdir/libtavrin-debugmenu.so")" = libtavrin-debugmenu.so.0
check "the exported header" test -f "$image/usr/include/tavrin_debugmenu.h"
check "the headers it includes" \
    test -z "$(grep -o '"tavrin/[^"]*"' "$image/usr/include/tavrin_debugmenu.h" | tr -d '"' |
               while read -r h; do [ -f "$image/usr/include/$h" ] || echo "$h"; done)"
check "no host, emulator or scripts in the image" \
    test -z "$(cd "$image" && find . \( -type f -o -type l \) | grep -vE "^\./usr/(include/|$libdir/libtavrin-debugmenu\.so)")"

# A development prefix: the installed host runs the installed plug-in.
prefix=$scratch/prefix
cmake --install "$build" --prefix "$prefix" >/dev/null
check "debugmenu on the prefix's path" test -x "$prefix/bin/debugmenu"
check "the device-root script" test -x "$prefix/share/tavrin-debugmenu/scripts/devroot"
# Outside a device root: the emulator keeps its state in the scratch
# directory, not in the machine's /var/lib.
out=$(printf '99\n' | TV_EMULATOR_DIR=$scratch/state "$@" "$prefix/bin/debugmenu" 2>&1)
check "the installed debugmenu runs the installed plug-in" grep -q "\[ TAVRIN Debug Menu \]" <<<"$out"

[ "$failures" -eq 0 ]
