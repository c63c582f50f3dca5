# SPDX-License-Identifier: MIT
# Sourced by the example tests: a scratch directory removed on exit, the program's output file
# in it, and fail(), which shows that output with the reason.
dir=$(mktemp -d)
trap 'rm -rf "$dir"' EXIT
out=$dir/out
fail() {
    echo "FAIL: $*" >&2
    cat "$out" >&2
    exit 1
}
