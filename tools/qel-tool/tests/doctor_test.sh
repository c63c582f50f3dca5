#!/bin/sh
# SPDX-License-Identifier: MIT
# qel-tool doctor under qel-emulator: all in place, then a port this user may not open.
#   doctor_test.sh QEL_TOOL QEL_EMULATOR
set -u
tool=$1 emulator=$2
fail() {
    echo "FAIL: $*"
    echo "$out"
    exit 1
}
out=$("$emulator" --serial 4242 -- "$tool" doctor 2>&1) || fail "doctor failed with a device in place"
for check in library ports access modemmanager device; do
    echo "$out" | grep -q "^$check  *ok: " || fail "no ok for $check"
done
echo "$out" | grep -q "serial number 4242, [1-9][0-9]* exchanges per second" || fail "device line"

# As another user, on a port that only its owner may open: the doctor names the port and fails.
if [ "$(id -u)" -ne 0 ]; then
    echo "doctor: all checks passed (the unprivileged case needs root to drop to)"
    exit 0
fi
out=$("$emulator" -- sh -c 'chmod -R go+rX "$UMOCKDEV_DIR" &&
    chmod go-rw "$(readlink -f "$UMOCKDEV_DIR/dev/ttyACM0")" &&
    exec setpriv --reuid=nobody --regid=nogroup --clear-groups "$0" doctor' "$tool" 2>&1)
[ $? -eq 1 ] || fail "doctor did not fail on a port this user may not open"
echo "$out" | grep -q "^access  *fix: this user may not read and write /dev/ttyACM0" ||
    fail "no advice on access"
echo "doctor: all checks passed"
