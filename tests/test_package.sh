#!/usr/bin/env bash
# tests/test_package.sh DIR: the TV packages build with rpmbuild from the
# source tarball (into DIR), and the plug-in package carries the 32-bit ARM
# hard-float library under its soname, with its link, exporting the entry point.
set -uo pipefail
repo=$(cd "$(dirname "${BASH_SOURCE[0]}")/.." && pwd)
out=$1
lib=libtavrin-debugmenu.so.0.0.06
soname=libtavrin-debugmenu.so.0
failures=0
check() {  # check WHAT COMMAND...
    local what=$1; shift
    if "$@"; then echo "ok: $what"; else echo "FAILED: $what"; failures=$((failures + 1)); fi
}

mkdir -p "$out"
log=$out.log
if ! "$repo/packaging/build-rpm" "$out" >"$log" 2>&1; then
    tail -n 40 "$log"
    echo "FAILED: rpmbuild (whole log: $log)"
    exit 1
fi
echo "ok: rpmbuild"

version=$(awk '$1 == "Version:" { print $2; exit }' "$repo/packaging/tavrin-debugmenu.spec")
pkg=$(ls "$out"/RPMS/armv7hl/tavrin-debugmenu-"$version"-*.armv7hl.rpm 2>/dev/null | head -n 1)
devel=$(ls "$out"/RPMS/armv7hl/tavrin-debugmenu-devel-"$version"-*.armv7hl.rpm 2>/dev/null | head -n 1)
check "plug-in package built" test -f "$pkg"
check "devel package built" test -f "$devel"
check "source package built" test -n "$(compgen -G "$out/SRPMS/tavrin-debugmenu-$version-*.src.rpm")"
[ -f "$pkg" ] || exit 1

files=$(rpm -qlvp "$pkg")
check "the package holds the library and its soname link, nothing else" \
    test "$(awk '{ print $1 ~ /^-/ ? "file " $9 : "link " $9 " " $10 " " $11 }' <<<"$files")" = \
         "link /usr/lib/$soname -> $lib
file /usr/lib/$lib"
check "the package provides the soname" grep -qx "$soname" < <(rpm -qp --provides "$pkg")
check "the devel package holds the header and the link-time name" \
    test "$(rpm -qlp "$devel" | grep -cE "^/usr/include/tavrin_debugmenu.h$|^/usr/lib/libtavrin-debugmenu.so$")" = 2

tree=$(mktemp -d "$out/payload.XXXXXX")
rpm2archive - <"$pkg" | tar -xzf - -C "$tree"
so=$tree/usr/lib/$lib
check "the library's soname" grep -q "(SONAME).*\[$soname\]" < <(readelf -d "$so")
check "32-bit ARM" grep -qE "Class:[[:space:]]+ELF32" < <(readelf -h "$so")
check "machine ARM" grep -qE "Machine:[[:space:]]+ARM" < <(readelf -h "$so")
check "hard-float calling convention" grep -q "Tag_ABI_VFP_args: VFP registers" < <(readelf -A "$so")
check "tavrin_startmaindebug exported" grep -qE " T tavrin_startmaindebug$" < <(nm -D --defined-only "$so")

[ "$failures" -eq 0 ]
