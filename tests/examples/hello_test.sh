#!/bin/sh
# SPDX-License-Identifier: MIT
# hello against the emulated device: ten rows a second at the handle's true place until the
# time is up; an early stop when the button goes down; a plain failure without a device.
#   hello_test.sh QEL_EMULATOR HELLO
set -eu
emulator=$1 hello=$2
. "$(dirname "$0")/common.sh"
# The table rows: time, x, y, z, yaw, pitch, roll, button, refresh rate.
rows() { awk '$1 ~ /^[0-9]+\.[0-9]$/ && NF == 9' "$out"; }

"$emulator" --position 10,-20,180 -- "$hello" --seconds 1 >"$out" 2>&1 || fail "exit status $?"
grep -q '^hello: time is up$' "$out" || fail "the time limit did not end it"
count=$(rows | wc -l)
[ "$count" -ge 6 ] && [ "$count" -le 12 ] || fail "$count rows in one second at ten a second"
rows | awk '{ if ($2 < 9.95 || $2 > 10.05 || $3 < -20.05 || $3 > -19.95 || $4 < 179.95 ||
                  $4 > 180.05 || $8 != 0) bad = 1 } END { exit bad }' ||
    fail "a row is not at 10, -20, 180 mm with the button up"

"$emulator" --pose 40,40,40,10,20,30 --press-button 1.5 -- "$hello" --seconds 30 >"$out" 2>&1 ||
    fail "exit status $?"
grep -q '^hello: button pressed$' "$out" || fail "the button did not end it"
rows | tail -n 1 | awk '$8 != 1 { exit 1 }' || fail "the last row shows the button up"
rows | awk '{ if ($5 < 9.99 || $5 > 10.01 || $6 < 19.99 || $6 > 20.01 || $7 < 29.99 ||
                  $7 > 30.01) bad = 1 } END { exit bad }' ||
    fail "the wrist's angles are not 10, 20, 30 degrees"

status=0
"$emulator" --devices 0 -- "$hello" --seconds 1 >"$out" 2>&1 || status=$?
[ "$status" -eq 1 ] || fail "exit status $status without a device"
grep -q 'no device found' "$out" || fail "no word of the missing device"
echo "hello: all checks passed"
