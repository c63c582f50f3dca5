#!/bin/sh
# Builds the Debian package with CPack into a fresh directory and checks its control fields
# and that every installed part is in it under /usr.
#   package_test.sh CPACK BUILD_DIR
set -eu
cpack=$1 build=$2
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
fail() {
    echo "FAIL: $*" >&2
    exit 1
}

"$cpack" -G DEB -B "$work" --config "$build/CPackConfig.cmake" >"$work/cpack.log" 2>&1 ||
    { cat "$work/cpack.log" >&2; fail "cpack"; }
deb=$(find "$work" -maxdepth 1 -name 'qel_*.deb')
[ -n "$deb" ] || fail "no qel_*.deb written"
dpkg-deb --field "$deb" Package Version Architecture Depends >"$work/fields"
cat "$work/fields"
grep -q '^Package: qel$' "$work/fields" || fail "package name"
grep -q '^Architecture: amd64$' "$work/fields" || fail "architecture"
for dependency in libudev1 libstdc++6 umockdev; do
    grep -q "^Depends:.*\b$dependency\b" "$work/fields" || fail "does not depend on $dependency"
done

dpkg-deb --contents "$deb" | awk '{ print $6 }' >"$work/contents"
for path in lib/libqel.so.1 lib/libqel.so include/qel/QEL_OPEN.h include/qel/qelDefines.h \
    lib/cmake/qel/qelConfig.cmake lib/cmake/qel/qelTargets.cmake lib/pkgconfig/qel.pc \
    lib/udev/rules.d/70-qel.rules bin/qel-emulator; do
    grep -q "^\./usr/.*$path\( ->.*\)\?$" "$work/contents" || fail "not in the package: $path"
done
# The shared library is announced to other packages and registered with the dynamic linker.
mkdir "$work/control"
dpkg-deb --control "$deb" "$work/control"
grep -q '^libqel 1 qel' "$work/control/shlibs" || fail "no shlibs entry for libqel.so.1"
cat "$work/control/postinst" "$work/control/triggers" 2>/dev/null | grep -q ldconfig ||
    fail "ldconfig is not run on installation"
echo "package: all checks passed"
