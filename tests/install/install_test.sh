#!/bin/sh
# SPDX-License-Identifier: MIT
# Installs the build into a fresh prefix and builds a small C application against that copy
# alone, once through find_package(qel) and once through pkg-config, and a C++ program written
# like qel-tool through find_package(qel), then runs them under the installed qel-emulator with
# the handle at a known place.
#   install_test.sh CMAKE GENERATOR C_COMPILER BUILD_DIR CONSUMER_SOURCE_DIR
set -eu
cmake=$1 generator=$2 cc=$3 build=$4 source=$5
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
prefix=$work/prefix
fail() {
    echo "FAIL: $*" >&2
    exit 1
}

"$cmake" --install "$build" --prefix "$prefix" >"$work/install.log" || fail "install"
libdir=$(dirname "$(find "$prefix" -name libqel.so.1)")
for f in "$libdir/libqel.so.1" "$libdir/libqel.so" "$prefix/include/qel/QEL_OPEN.h" \
    "$prefix/include/qel/qelDefines.h" "$libdir/cmake/qel/qelConfig.cmake" \
    "$libdir/cmake/qel/qelConfigVersion.cmake" "$libdir/pkgconfig/qel.pc" \
    "$prefix/lib/udev/rules.d/70-qel.rules" "$prefix/bin/qel-emulator" "$prefix/bin/qel-tool"; do
    [ -e "$f" ] || fail "not installed: ${f#"$prefix"/}"
done
[ "$(ls "$prefix/include/qel" | tr '\n' ' ')" = "QEL_OPEN.h qelDefines.h " ] ||
    fail "headers beyond the exported two: $(ls "$prefix/include/qel" | tr '\n' ' ')"
[ -L "$libdir/libqel.so.1" ] || fail "libqel.so.1 is not the SONAME link"
soname=$(readelf -d "$libdir/libqel.so.1" | sed -n 's/.*(SONAME).*\[\(.*\)\]/\1/p')
[ "$soname" = libqel.so.1 ] || fail "SONAME is '$soname'"
emulator="$prefix/bin/qel-emulator --position 10,-20,180 --"
expected='consumer: device 1 at 10.00 -20.00 180.00 mm'

# The installed tool finds the library of its own prefix, with no linker path set.
out=$(env -u LD_LIBRARY_PATH $emulator "$prefix/bin/qel-tool" list) || fail "installed qel-tool list"
echo "$out" | grep -q /dev/ || fail "installed qel-tool list said: $out"

# find_package(qel) and the imported target qel::qel.
"$cmake" -S "$source" -B "$work/cmake-build" -G "$generator" -DCMAKE_C_COMPILER="$cc" \
    -DCMAKE_PREFIX_PATH="$prefix" >"$work/configure.log" 2>&1 ||
    { cat "$work/configure.log" >&2; fail "configure with find_package"; }
"$cmake" --build "$work/cmake-build" >"$work/build.log" 2>&1 ||
    { cat "$work/build.log" >&2; fail "build with find_package"; }
readelf -d "$work/cmake-build/consumer" | grep -q 'NEEDED.*\[libqel\.so\.1\]' ||
    fail "the consumer does not need libqel.so.1"
out=$($emulator "$work/cmake-build/consumer") || fail "the CMake-built consumer failed"
[ "$out" = "$expected" ] || fail "CMake-built consumer said: $out"
# The C++ program written like qel-tool, from the same headers.
out=$($emulator "$work/cmake-build/tool_like") || fail "the tool-like program failed"
[ "$out" = "tool-like: serial 10001 type 1 at 10.00 -20.00 180.00 mm, wrist 0.0 0.0 0.0 deg" ] ||
    fail "the tool-like program said: $out"

# pkg-config --cflags --libs qel, from a different directory than the prefix's.
export PKG_CONFIG_PATH="$libdir/pkgconfig"
[ "$(pkg-config --modversion qel)" = "$(sed -n 's/^Version: //p' "$libdir/pkgconfig/qel.pc")" ] ||
    fail "pkg-config does not read qel.pc"
cd "$work"
# shellcheck disable=SC2046
"$cc" -std=c99 -Wall -Wextra -pedantic -Werror "$source/consumer.c" \
    $(pkg-config --cflags --libs qel) -o consumer-pc || fail "build with pkg-config"
out=$(LD_LIBRARY_PATH=$(pkg-config --variable=libdir qel) $emulator ./consumer-pc) ||
    fail "the pkg-config-built consumer failed"
[ "$out" = "$expected" ] || fail "pkg-config-built consumer said: $out"
# The Python package, importable from the prefix, finds the prefix's library by itself.
if [ -x /usr/bin/python3 ]; then
    python_dir=$(dirname "$(dirname "$(find "$prefix" -path '*/qel/__init__.py')")")
    out=$(cd "$work" && PYTHONPATH="$python_dir" QEL_LIBRARY= \
        $emulator /usr/bin/python3 -c \
        'import qel; d = qel.Device(1).open(); print("%.1f %.1f %.1f" % d.position); d.close()') ||
        fail "the installed Python package failed"
    [ "$out" = "10.0 -20.0 180.0" ] || fail "the installed Python package said: $out"
fi
echo "install: all checks passed"
