#!/usr/bin/env bash
# Checks the library's dynamic symbol table against tests/exported_symbols.txt: every plain
# name is exported unmangled, and every type-encoded one only under its encoded name.
set -euo pipefail
lib=$1
list=$2
symbols=$(nm -D --defined-only "$lib" | awk '$2 == "T" { print $3 }')
failed=0 checked=0
while read -r line; do
    [[ -z "$line" || "$line" == \#* ]] && continue
    checked=$((checked + 1))
    if [[ "$line" == *=* ]]; then
        encoded=${line%%=*} plain=${line#*=}
        grep -qx "$encoded" <<<"$symbols" || { echo "missing: $encoded"; failed=1; }
        grep -qx "$plain" <<<"$symbols" && { echo "exported unmangled too: $plain"; failed=1; }
    else
        grep -qx "$line" <<<"$symbols" || { echo "missing: $line"; failed=1; }
    fi
done <"$list"
echo "$checked names checked"
exit $failed
