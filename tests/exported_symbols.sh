#!/usr/bin/env bash
# SPDX-License-Identifier: MIT
# Checks the library's dynamic symbol table against tests/exported_symbols.txt: every plain
# name is exported unmangled, every type-encoded one only under its encoded name, and the
# library exports no other qel function under either kind of name.
set -euo pipefail
lib=$1
list=$2
symbols=$(nm -D --defined-only "$lib" | awk '$2 == "T" { print $3 }')
failed=0 checked=0
declare -A listed
while read -r line; do
    [[ -z "$line" || "$line" == \#* ]] && continue
    checked=$((checked + 1))
    if [[ "$line" == *=* ]]; then
        encoded=${line%%=*} plain=${line#*=}
        listed[$encoded]=1
        grep -qx "$encoded" <<<"$symbols" || { echo "missing: $encoded"; failed=1; }
        grep -qx "$plain" <<<"$symbols" && { echo "exported unmangled too: $plain"; failed=1; }
    else
        listed[$line]=1
        grep -qx "$line" <<<"$symbols" || { echo "missing: $line"; failed=1; }
    fi
done <"$list"
# The qel functions: plain names, and C++ names of free functions (_Z, length, name).
while read -r symbol; do
    [[ -z "$symbol" ]] && continue
    [[ -n "${listed[$symbol]:-}" ]] || { echo "not listed: $symbol"; failed=1; }
done < <(grep -E '^(qel|_Z[0-9]+qel)' <<<"$symbols" || true)
echo "$checked names checked"
exit $failed
