#!/bin/sh
# SPDX-License-Identifier: MIT
# The bridge (Cyclone DDS) and a Fast DDS program built from the same IDL files exchange the
# device's pose, a force command and the rendered force, on the loopback interface only.
#   fastdds_interop_test.sh QEL_EMULATOR QEL_BRIDGE FASTDDS_PEER
set -eu
: "${CYCLONEDDS_URI:?must name the loopback configuration (ctest sets it)}"
emulator=$1 bridge=$2 peer=$3
log=$(mktemp)
trap 'rm -f "$log"' EXIT
export ROS_DOMAIN_ID=65
"$emulator" --position 0,0,185 -- "$bridge" --allow-force --max-force 2 --seconds 30 \
    >"$log" 2>&1 &
pid=$!
status=0
"$peer" /qel/device_10001 0.5 || status=$?
kill -TERM "$pid"
wait "$pid" || status=$?
[ "$status" -eq 0 ] || { cat "$log" >&2; exit 1; }
echo "fastdds interop: all checks passed"
