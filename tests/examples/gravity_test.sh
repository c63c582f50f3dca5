#!/bin/sh
# SPDX-License-Identifier: MIT
# gravity against the emulated arm in physics mode: with compensation the released handle
# stays close to where it was; without, the same arm falls several times as far.
#   gravity_test.sh QEL_EMULATOR GRAVITY
# The arm starts with its joints at 95 degrees on device type 2, a pose at which the library's
# model of the arm's weight and the emulated arm agree closely; at other poses they differ
# enough that a compensated handle still drifts.
set -eu
emulator=$1 gravity=$2
. "$(dirname "$0")/common.sh"
moved() {
    "$emulator" --type 2 --physics --pose 95,95,95 --report -- "$gravity" --seconds 2 "$@" \
        >"$out" 2>&1 || fail "exit status $?"
    grep -q 'device 1 (serial [0-9]*): drives off' "$out" || fail "the drives were left on"
    sed -n 's/^gravity: the handle moved \([0-9.]*\) mm.*/\1/p' "$out"
}

on=$(moved)
[ -n "$on" ] || fail "no summary"
off=$(moved --off)
[ -n "$off" ] || fail "no summary"
echo "moved $on mm with compensation, $off mm without"
awk -v on="$on" -v off="$off" 'BEGIN { exit !(on < 10 && off > 2 * on && off > 10) }' ||
    fail "compensation did not hold the handle ($on mm with, $off mm without)"
echo "gravity: all checks passed"
