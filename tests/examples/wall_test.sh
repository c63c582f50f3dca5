#!/bin/sh
# SPDX-License-Identifier: MIT
# wall against the emulated arm in physics mode, with the scripted hand pushing up into the
# wall with 2 N: the 0.5 N/mm wall holds it 4 mm deep; forces ramp in and stay under their
# limit; the run is recorded; the drives are off at the end, and after Ctrl-C too. Without
# the wall the same hand pushes the handle all the way to its own stop 30 mm further on. The
# servo callback renders the same wall.
#   wall_test.sh QEL_EMULATOR WALL
set -eu
emulator=$1 wall=$2
. "$(dirname "$0")/common.sh"
csv=$dir/run.csv
hand="--hand push --hand-point 0,0,230 --hand-force 2"
value() { sed -n "s/^wall: $1 \([0-9.]*\) .*/\1/p" "$out"; }

# shellcheck disable=SC2086
"$emulator" $hand --report -- "$wall" --seconds 3 --csv "$csv" >"$out" 2>&1 ||
    fail "exit status $?"
grep -q 'device 1 (serial [0-9]*): drives off' "$out" || fail "the drives were left on"
settled=$(value "settled penetration")
largest=$(value "largest penetration [0-9.]* mm, largest force")
loop=$(sed -n 's/^wall: .*application loop \([0-9]*\) Hz.*/\1/p' "$out")
[ -n "$settled" ] && [ -n "$largest" ] && [ -n "$loop" ] || fail "no summary"
awk -v s="$settled" 'BEGIN { exit !(s > 2.5 && s < 5.5) }' ||
    fail "settled $settled mm deep, not about 4"
awk -v f="$largest" 'BEGIN { exit !(f <= 6.001) }' || fail "a force of $largest N over the limit"
[ "$loop" -ge 700 ] || fail "the application loop ran at $loop Hz"

# The recording: about 1000 rows a second; no force beyond ramp x limit, so that the first
# rows carry almost none; the ramp full after its second.
head -n 1 "$csv" | grep -q '^t_s,x_mm,y_mm,z_mm,penetration_mm,fx_N,fy_N,fz_N,ramp$' ||
    fail "the recording's header"
awk -F, 'NR > 1 {
        rows++
        f = sqrt($6 * $6 + $7 * $7 + $8 * $8)
        if (f > $9 * 6 + 0.005) over++
        if ($1 >= 1.05 && $9 != 1) late++
        if ($1 < 0.05 && f > 0.35) early++
    }
    END {
        if (rows < 2100 || over || late || early)
            printf "%d rows, %d over the ramped limit, %d late, %d early\n", rows, over, late, early
        exit !(rows >= 2100 && !over && !late && !early)
    }' "$csv" >&2 ||
    fail "the recording breaks the ramp or the limit, or has too few rows"

# The same wall from the servo callback.
# shellcheck disable=SC2086
"$emulator" $hand -- "$wall" --seconds 3 --servo >"$out" 2>&1 || fail "exit status $?"
servo=$(value "settled penetration")
awk -v s="$servo" 'BEGIN { exit !(s > 2.5 && s < 5.5) }' ||
    fail "from the callback settled $servo mm deep, not about 4"

# Without the wall the hand goes to its stop at 230 mm.
# shellcheck disable=SC2086
"$emulator" $hand -- "$wall" --seconds 2 --stiffness 0 >"$out" 2>&1 || fail "exit status $?"
free=$(value "settled penetration")
awk -v s="$free" 'BEGIN { exit !(s > 20) }' || fail "without the wall only $free mm deep"

# Ctrl-C: qel-emulator hands the signal to the example, which stops the forces and closes.
# shellcheck disable=SC2086
"$emulator" $hand --report -- "$wall" --seconds 60 >"$out" 2>&1 &
pid=$!
waited=0
until grep -q '^wall: z = ' "$out"; do
    sleep 0.2
    waited=$((waited + 1))
    [ "$waited" -lt 100 ] || fail "the example did not start"
done
sleep 1
kill -INT "$pid"
status=0
wait "$pid" || status=$?
[ "$status" -eq 0 ] || fail "exit status $status after Ctrl-C"
grep -q '^wall: interrupted, forces stopped$' "$out" || fail "Ctrl-C did not stop the loop"
grep -q '^wall: drives off, device closed$' "$out" || fail "no safe stop after Ctrl-C"
grep -q 'device 1 (serial [0-9]*): drives off' "$out" || fail "the drives were left on"
echo "wall: all checks passed"
