#!/bin/sh
# SPDX-License-Identifier: MIT
# Every long option a program's --help lists, and every option of each subcommand its --help
# lists, appears in the program's manual page.
#   man_options_test.sh PROGRAM PAGE.scd [PROGRAM PAGE.scd ...]
set -eu
failed=0
long_options() { grep -oE -- '--[a-z][a-z0-9-]*' | sort -u; }
# The words listed under a "commands:" (or "subcommands:") heading, up to the next blank line.
subcommands() {
    awk 'tolower($0) ~ /^(sub)?commands:/ { on = 1; next }
         on && /^[[:space:]]*$/ { on = 0 }
         on && match($0, /^[[:space:]]+[a-z][a-z0-9-]*/) { w = substr($0, RSTART, RLENGTH);
                                                         gsub(/[[:space:]]/, "", w); print w }'
}
check() { # PAGE WHERE OPTIONS...
    page=$1 where=$2
    shift 2
    for option in "$@"; do
        grep -qE -- "$option([^a-z0-9-]|\$)" "$page" ||
            { echo "FAIL: $where lists $option, $(basename "$page") does not"; failed=1; }
    done
}
while [ $# -ge 2 ]; do
    program=$1 page=$2
    shift 2
    name=$(basename "$program")
    help=$("$program" --help)
    # shellcheck disable=SC2046
    check "$page" "$name --help" $(echo "$help" | long_options)
    for sub in $(echo "$help" | subcommands); do
        # shellcheck disable=SC2046
        check "$page" "$name $sub --help" $("$program" "$sub" --help | long_options)
        grep -q "$sub" "$page" || { echo "FAIL: $(basename "$page") has no $sub"; failed=1; }
    done
done
[ $failed -eq 0 ] && echo "manual pages: every option is described"
exit $failed
