#!/bin/sh
# SPDX-License-Identifier: MIT
# teleop against two emulated arms, each behind its own qel-bridge, on the loopback interface:
# the scripted hand moves the leader round a circle and the follower, pulled through the
# bridges' topics only, follows it closely (uncoupled, the gap would stay near 30 mm); both
# bridges switch their drives off at the end.
#   teleop_test.sh QEL_EMULATOR QEL_BRIDGE TELEOP
set -eu
: "${CYCLONEDDS_URI:?must name the loopback configuration (ctest sets it)}"
emulator=$1 bridge=$2 teleop=$3
dir=$(mktemp -d)
trap 'kill $(jobs -p) 2>/dev/null || true; rm -rf "$dir"' EXIT
fail() {
    echo "FAIL: $*" >&2
    cat "$dir"/* >&2
    exit 1
}
export ROS_DOMAIN_ID=66
"$emulator" --serial 1 --hand circle -- "$bridge" --namespace /leader --allow-force --gravity \
    --max-force 5 --seconds 7 2>"$dir/leader.log" &
"$emulator" --serial 2 --physics -- "$bridge" --namespace /follower --allow-force --gravity \
    --max-force 5 --seconds 7 2>"$dir/follower.log" &
"$teleop" --seconds 4 >"$dir/teleop.out" 2>&1 || fail "teleop exit status $?"
wait
grep -q 'device 1: drives off, closed' "$dir/leader.log" || fail "the leader's drives"
grep -q 'device 2: drives off, closed' "$dir/follower.log" || fail "the follower's drives"
grep -q '^teleop: latency .* median [0-9.]* ms, 99th percentile [0-9.]* ms' "$dir/teleop.out" ||
    fail "no latency"
mean=$(sed -n 's/^teleop: gap \([0-9.]*\) mm on average.*/\1/p' "$dir/teleop.out")
awk -v mean="$mean" 'BEGIN { exit !(mean != "" && mean < 12) }' ||
    fail "the follower did not follow (mean gap $mean mm)"
echo "teleop: mean gap $mean mm; all checks passed"
