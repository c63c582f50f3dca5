#!/bin/sh
# SPDX-License-Identifier: MIT
# The udev rule names the same port the library's discovery looks for, and does what it is
# for: the seat's user gets the port, ModemManager leaves it alone, stable names are added.
#   udev_rule_test.sh RULE_FILE DISCOVERY_SOURCE
set -eu
rule=$1 discovery=$2
fail() {
    echo "FAIL: $*" >&2
    exit 1
}
# The identifiers discovery matches, as written in its source.
vendor=$(sed -n 's/^const char kVendorId\[\] = "\([^"]*\)";$/\1/p' "$discovery")
product=$(sed -n 's/^const char kProductId\[\] = "\([^"]*\)";$/\1/p' "$discovery")
model=$(sed -n 's/^const char kModel\[\] = "\([^"]*\)";$/\1/p' "$discovery")
[ -n "$vendor" ] && [ -n "$product" ] && [ -n "$model" ] ||
    fail "cannot read the identifiers from $discovery"

grep -q "^ENV{ID_VENDOR_ID}!=\"$vendor\", GOTO=\"qel_end\"$" "$rule" || fail "vendor $vendor"
grep -q "^ENV{ID_MODEL_ID}!=\"$product\", GOTO=\"qel_end\"$" "$rule" || fail "product $product"
grep -q "^ENV{ID_MODEL}!=\"$model\", GOTO=\"qel_end\"$" "$rule" || fail "model $model"
grep -q '^SUBSYSTEM!="tty", GOTO="qel_end"$' "$rule" || fail "not limited to tty devices"
grep -q '^TAG+="uaccess"$' "$rule" || fail "no uaccess tag"
grep -q '^ENV{ID_MM_DEVICE_IGNORE}="1"$' "$rule" || fail "ModemManager not told to ignore it"
grep -q 'SYMLINK+="qel/' "$rule" || fail "no stable name"
grep -q '^LABEL="qel_end"$' "$rule" || fail "the end label"
! grep -q 'MODE=' "$rule" || fail "sets a mode; access goes by uaccess"
# Rules whose number is below 73 run before the seat rules that turn uaccess into access.
case $(basename "$rule") in
[0-6][0-9]-* | 7[0-2]-*) ;;
*) fail "$(basename "$rule") sorts after the seat rules" ;;
esac
echo "udev rule: all checks passed"
