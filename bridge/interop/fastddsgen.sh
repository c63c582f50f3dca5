#!/bin/sh
# SPDX-License-Identifier: MIT
# Runs fastddsgen on the given IDL files into OUT_DIR. fastddsgen writes the types that the
# files include into the same folder but names the headers of other packages by their package
# path (std_msgs/msg/Header.h): those includes are made flat to match.
#   fastddsgen.sh FASTDDSGEN OUT_DIR IDL_DIR FILE...
set -eu
fastddsgen=$1 out=$2 idl=$3
shift 3
mkdir -p "$out"
"$fastddsgen" -replace -d "$out" -I "$idl" "$@" >"$out/fastddsgen.log"
sed -i -E 's|#include "[a-z0-9_]+/msg/([A-Za-z0-9]+)\.h"|#include "\1.h"|' "$out"/*.h "$out"/*.cxx
