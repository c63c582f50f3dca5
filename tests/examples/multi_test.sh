#!/bin/sh
# SPDX-License-Identifier: MIT
# multi against two emulated arms in physics mode: the scripted hand moves device 1 round a
# circle of 20 mm, and device 2 follows it closely; with one device it refuses to start.
#   multi_test.sh QEL_EMULATOR MULTI
set -eu
emulator=$1 multi=$2
. "$(dirname "$0")/common.sh"

"$emulator" --devices 2 --hand circle,none --report -- "$multi" --seconds 3 >"$out" 2>&1 ||
    fail "exit status $?"
[ "$(grep -c 'device [12] (serial [0-9]*): drives off' "$out")" -eq 2 ] ||
    fail "drives left on"
summary=$(grep '^multi: the follower travelled' "$out") || fail "no summary"
echo "$summary" | awk '{ path = $5; mean = $8; most = $12
        exit !(path > 150 && mean < 6 && most < 12) }' ||
    fail "the follower did not follow: $summary"

status=0
"$emulator" -- "$multi" --seconds 1 >"$out" 2>&1 || status=$?
[ "$status" -eq 1 ] || fail "exit status $status with one device"
grep -q 'needs two devices' "$out" || fail "no word of the second device"
echo "multi: all checks passed"
