#!/usr/bin/env bash
# SPDX-License-Identifier: MIT
# qel-tool itself, run as a user runs it, under qel-emulator. One group of checks per call:
#   end_to_end.sh QEL_TOOL QEL_EMULATOR GROUP
# Exits 0 when every check of the group passed, 77 when the group cannot run here.
set -uo pipefail
tool=$1 emu=$2 group=$3
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
failed=0 passed=0

# check NAME STATUS COMMAND...: runs COMMAND with its output in $work/out (standard output)
# and $work/err (standard error) and expects the exit status.
check() {
    local name=$1 want=$2
    shift 2
    "$@" >"$work/out" 2>"$work/err" </dev/null
    local got=$?
    if [[ $got -ne $want ]]; then
        echo "FAIL $name: exit status $got, expected $want"
        sed 's/^/  out: /' "$work/out" | head -20
        sed 's/^/  err: /' "$work/err" | head -20
        failed=$((failed + 1))
        return 1
    fi
    passed=$((passed + 1))
}

# expect NAME FILE PATTERN: the file (out or err) has a line matching the extended regex.
expect() {
    local name=$1 file=$2 pattern=$3
    if ! grep -Eq -- "$pattern" "$work/$file"; then
        echo "FAIL $name: no line of $file matches /$pattern/"
        sed "s/^/  $file: /" "$work/$file" | head -30
        failed=$((failed + 1))
        return 1
    fi
    passed=$((passed + 1))
}

group_cli() {
    check help 0 "$tool" --help
    for c in list info monitor calibrate param record plot; do
        expect "help lists $c" out "^  $c +"
    done
    expect "help has the exit statuses" out "^  39 +data receive failed"
    for c in list info monitor calibrate param record plot; do
        check "$c --help" 0 "$tool" "$c" --help && expect "$c usage" out "^usage: qel-tool $c"
    done
    check "help param" 0 "$tool" help param && expect "help param usage" out "^usage: qel-tool param"
    check version 0 "$tool" --version && expect version out "^qel-tool [0-9]+\.[0-9]+"
    # A bad command line, of either program: one line naming the option and the value, status 2.
    refused() {
        local pattern=$1
        shift
        check "refused: $*" 2 "$@" && expect "refused: $*" err "^$pattern$" &&
            { [[ $(wc -l <"$work/err") -eq 1 ]] || { echo "FAIL refused: $*: more than one line"; failed=$((failed + 1)); }; }
    }
    refused "qel-tool: .*not expected: --bogus" "$tool" --bogus
    refused "qel-tool: a command is needed.*" "$tool"
    refused "qel-tool list: .*not expected: --frob" "$tool" list -- --frob
    refused "qel-tool record: --rate: 'nan' is not a number" "$tool" record -o x.csv --rate nan
    refused "qel-tool record: --output is required" "$tool" record
    refused "qel-tool param set: the 16-bit value: 70000 is not between -32768 and 65535" "$tool" param set type 70000
    refused "qel-emulator: --type: 'foo' is not a whole number" "$emu" --type foo -- true
    refused "qel-emulator: --devices: 11 is not between 0 and 10" "$emu" --devices 11 -- true
    refused "qel-emulator: --hand: 'wave' is not one of hold, push, circle, none" "$emu" --hand wave -- true
    refused "qel-emulator: --line: 'usb' is not one of pty, usb-fs, usb-hs" "$emu" --line usb -- true
}

group_devices() {
    check list 0 "$emu" --devices 2 --type 2 --serial 777,778 -- "$tool" list
    expect "list header" out "^ID +NODE +SERIAL +TYPE$"
    expect "list first" out "^1 +/dev/tty[A-Za-z]+[0-9] +777 +2$"
    expect "list second" out "^2 +/dev/tty[A-Za-z]+[0-9] +778 +2$"
    check "list nothing" 0 "$emu" --devices 0 -- "$tool" list && expect "list nothing" err "no devices found"
    check "info without devices" 10 "$emu" --devices 0 -- "$tool" info
    expect "info without devices" err "No Device Connected to the System \(interface error 1\)"
    check "info of a missing device" 12 "$emu" --devices 2 -- "$tool" info -d 3
    expect "info of a missing device" err "there is no device 3: 2 devices are connected"
    check "unknown serial" 12 "$emu" --devices 2 -- "$tool" info --serial 999
    check "info by serial" 0 "$emu" --devices 2 --type 2 --serial 777,778 -- "$tool" info --serial 778
    expect "info serial" out "^  serial number +778$"
    expect "info type" out "^  device type +2$"
    expect "info model" out "^  nominal torque +100 N\*mm$"
    expect "info geometry" out "^  actuated link +70\.000 mm$"
    expect "info registers" out "^  136-137 +serial +0x0000030A +778$"
    expect "info limits across the wrap" out "^  arm 1 +948576 +333994 +433994 +149\.00$"
    expect "info limits" out "^  wrist yaw +100000 +799051 +699051 +240\.00$"
    expect "info limits of the last axis" out "^  wrist roll +100000 +27182 +975758 +335\.00$"
    check "info of an unknown type" 0 "$emu" --type 7 -- "$tool" info
    expect "info of an unknown type" out "no geometry for type 7"
}

group_param() {
    # A 32-bit value takes two registers, low half first.
    check "set and get" 0 "$emu" -- sh -c "'$tool' param set 0x12C 70000 && '$tool' param set 302 -7 --short &&
        '$tool' param get 300 --bare && '$tool' param get 301 302 --short --bare"
    expect "set" out "register 300 set to 70000 \(0x00011170\)"
    expect "set short" out "register 302 set to -7 \(0xFFF9\)"
    tail -3 "$work/out" | paste -sd' ' >"$work/got" && expect "get" got "^70000 1 -7$"
    check "commit" 0 "$emu" --state "$work/state" -- sh -c "'$tool' param set nominal-torque 150 && '$tool' param commit"
    expect "commit" out "registers stored permanently"
    check "committed" 0 "$emu" --state "$work/state" -- "$tool" param get nominal-torque
    expect "committed" out "^register 130 \(nominal-torque\): 150 \(0x0096\)$"
    check "not committed" 0 "$emu" --state "$work/state" -- sh -c "'$tool' param set 130 99 && true"
    check "lost" 0 "$emu" --state "$work/state" -- "$tool" param get 130 --bare
    expect "lost" out "^150$"
    check names 0 "$tool" param names && expect names out "^serial +136-137 +32 "
}

group_calibrate() {
    check load 0 "$emu" -- "$tool" calibrate
    expect load out "calibration loaded"
    expect "load limits" out "^arm 1 +948576 +156319 +88\.00$"
    expect "load position" out "^position -?0\.000, -?0\.000, 175\.924 mm$"
    check "still arm" 1 "$emu" -- "$tool" calibrate record --time 0.3 --yes
    expect "still arm" err "no axis moved by a degree or more: nothing saved"
    check "not confirmed" 3 "$emu" --hand circle -- "$tool" calibrate record --time 0.8
    expect "not confirmed" err "not confirmed: nothing saved"
    check "record" 0 "$emu" --hand circle --state "$work/state" -- "$tool" calibrate record --time 1 --yes --progress
    expect "record progress" err "arm 1 +\[#*-*\] +[0-9]+%"
    expect "record saved" out "limits saved"
    check "saved" 0 "$emu" --state "$work/state" -- "$tool" param get arm1-lower yaw-lower --bare
    if [[ $(head -1 "$work/out") == 948576 ]]; then
        echo "FAIL saved: the arm's lower limit is still the old one"
        failed=$((failed + 1))
    fi
    expect "wrist kept" out "^100000$"
}

group_monitor() {
    check "plain" 0 "$emu" -- "$tool" monitor --count 3 --rate 20 --plain
    [[ $(grep -c '^position ' "$work/out") -eq 3 ]] || { echo "FAIL plain: not 3 refreshes"; failed=$((failed + 1)); }
    expect "plain position" out "^position +x +-?[0-9.]+ +y +-?[0-9.]+ +z +[0-9.]+ +mm$"
    expect "plain drives" out "^drives +off"
    expect "plain rate" out "^loop rate"
    ! grep -q $'\x1b' "$work/out" || { echo "FAIL plain: escape sequences"; failed=$((failed + 1)); }
    check "ansi" 0 "$emu" -- "$tool" monitor --time 0.3 --rate 10 --ansi
    expect "ansi redraws the 9 lines" out $'\x1b\\[9A'
    expect "ansi hides the cursor" out $'\x1b\\[\\?25l'
    check "gravity" 0 "$emu" --report --physics -- "$tool" monitor --count 2 --gravity --plain
    expect "gravity" out "^drives +on, rendering the force with gravity compensation"
    expect "gravity ends" err "device 1 .*: drives off,"
}

group_record_plot() {
    check record 0 "$emu" --report --hand circle -- "$tool" record -o "$work/trace.csv" --rate=50 --time 0.5 --force 0,0,1 --progress
    expect "record progress" err "100%"
    expect "record summary" err "recorded 25 samples at 50 Hz"
    expect "record ends" err "device 1 .*: drives off,"
    expect "record header" trace.csv "^t_s,x_mm,y_mm,z_mm,vx,vy,vz,fx_N,fy_N,fz_N,motor0,motor1,motor2$"
    # Every sample: the handle near the circle's plane, the force, and torque on every motor.
    [[ $(wc -l <"$work/trace.csv") -eq 26 &&
        $(grep -Ec '^[0-9.]+(,-?[0-9.]+){2},(1[7-9]|20)[0-9]\.[0-9]{4}(,[^,]+){3},0\.0000,0\.0000,1\.0000(,-?[1-9][0-9]*){3}$' "$work/trace.csv") -eq 25 ]] ||
        { echo "FAIL record: not 25 samples of the force"; failed=$((failed + 1)); }
    sed -n '2p;$p' "$work/trace.csv" | cut -d, -f1 | paste -sd' ' >"$work/got"
    expect "record times" got "^0\.0[0-4][0-9]* 0\.(4[3-9]|5[0-3])[0-9]*$"
    check "record to stdout" 0 "$emu" -- "$tool" record -o - --time 0.05 --quiet
    expect "record to stdout" out "^t_s,"
    check "unwritable" 1 "$emu" -- "$tool" record -o "$work/no/such/dir.csv" --time 0.1
    if ! command -v gnuplot >/dev/null; then
        echo "gnuplot is not installed: plot not checked"
    else
        # Quotes and a line break in the names gnuplot is given.
        cp "$work/trace.csv" "$work/it's.csv"
        check plot 0 "$tool" plot "$work/it's.csv" --title $'two\nlines'
        expect plot out "plotted 25 samples to .*it's\.png"
        [[ $(head -c 8 "$work/it's.png" | od -An -tx1 | tr -d ' \n') == 89504e470d0a1a0a ]] ||
            { echo "FAIL plot: $work/it's.png is no PNG"; failed=$((failed + 1)); }
    fi
    printf 't_s,x_mm\r\n0,1\r\n' >"$work/other.csv"
    check "plot of another file, CRLF" 1 "$tool" plot "$work/other.csv"
    expect "plot of another file" err "has no column y_mm"
    printf 't_s,x_mm\n0,1\n\n0,oops\n' >"$work/bad.csv"
    check "plot of a broken file" 1 "$tool" plot "$work/bad.csv" && expect "broken" err "bad\.csv:4: 'oops' is not a number"
    printf 't_s,x_mm\n0\n' >"$work/short.csv"
    check "plot of a short row" 1 "$tool" plot "$work/short.csv"
    expect "short row" err "short\.csv:2: 1 fields where the header has 2"
    : >"$work/empty.csv"
    check "plot of an empty file" 1 "$tool" plot "$work/empty.csv" && expect "empty" err "empty\.csv: the file is empty"
}

"group_$group"
echo "$passed passed, $failed failed"
[[ $failed -eq 0 ]]
