# SPDX-License-Identifier: MIT
"""The binding end to end: each test runs a short Python program under qel-emulator, which
reports each emulated device's final state, and checks what the program printed and what the
device saw."""
import json
import os
import re
import subprocess
import sys
import textwrap

import pytest

EMULATOR = os.environ.get("QEL_EMULATOR", "qel-emulator")
PYTHON_DIR = os.path.dirname(os.path.dirname(os.path.abspath(__file__)))


def run(program, *emulator_options):
    """Runs `program` under the emulator; returns its printed JSON and the device reports."""
    env = dict(os.environ)
    env["PYTHONPATH"] = PYTHON_DIR + os.pathsep + env.get("PYTHONPATH", "")
    done = subprocess.run(
        [EMULATOR, *emulator_options, "--report", "--", sys.executable, "-c",
         textwrap.dedent(program)],
        env=env, capture_output=True, text=True, timeout=60)
    assert done.returncode == 0, done.stdout + done.stderr
    reports = re.findall(r"qel-emulator: device (\d+) .*?: (.*)", done.stderr)
    lines = [l for l in done.stdout.splitlines() if l.startswith("{")]
    return (json.loads(lines[-1]) if lines else None), dict(reports)


def test_position_matches_the_emulated_arm():
    result, _ = run("""
        import json, qel
        with qel.Device(1) as device:
            print(json.dumps({"position": device.position, "rate": device.loop_rate}))
        """, "--position", "10,-5,190")
    assert result["position"] == pytest.approx([10, -5, 190], abs=0.05)


def test_force_is_rendered_and_the_drives_are_off_after_the_block():
    result, reports = run("""
        import json, time, qel
        with qel.Device(1) as device:
            device.force_enabled = True
            device.force = (0.0, 0.0, 2.0)
            time.sleep(0.2)
            print(json.dumps({"force": device.force}))
        """, "--position", "10,-5,190")
    assert result["force"] == [0.0, 0.0, 2.0]
    assert "drives off" in reports["1"]
    motors = [int(m) for m in re.search(r"motors (-?\d+),(-?\d+),(-?\d+)", reports["1"]).groups()]
    assert any(m != 0 for m in motors), reports["1"]


def test_the_drives_are_switched_off_when_the_block_raises():
    result, reports = run("""
        import json, qel
        try:
            with qel.Device(1) as device:
                device.force_enabled = True
                raise RuntimeError("application failure")
        except RuntimeError:
            print(json.dumps({"raised": True}))
        """)
    assert result == {"raised": True}
    assert "drives off" in reports["1"]


def test_failures_raise_with_the_library_code_node_and_text():
    result, _ = run("""
        import json, qel
        out = {}
        try:
            qel.Device(7).open()
        except qel.QelError as e:
            out["range"] = [e.code, e.node, e.text]
        with qel.Device(1) as device:
            lib = qel.lib()
            lib.qelDisableExpertMode()
            if not lib.qelSaveConfiguration(1):
                e = qel.errors.last_error(lib, "qelSaveConfiguration")
                out["expert"] = [e.code, e.node, e.text]
        print(json.dumps(out))
        """)
    assert result["range"] == [3, 1, "Invalid Input Parameter"]
    assert result["expert"] == [4, 1, "Expert Mode Not Set"]


def test_the_wall_example_holds_the_pushing_hand():
    example = os.path.join(os.path.dirname(PYTHON_DIR), "examples", "python", "wall.py")
    env = dict(os.environ)
    env["PYTHONPATH"] = PYTHON_DIR + os.pathsep + env.get("PYTHONPATH", "")
    done = subprocess.run(
        [EMULATOR, "--physics", "--hand", "push", "--hand-point", "0,0,230", "--report", "--",
         sys.executable, example, "--seconds", "3"],
        env=env, capture_output=True, text=True, timeout=60)
    assert done.returncode == 0, done.stdout + done.stderr
    m = re.search(r"python loop: (\d+) updates/s, refresh thread: (\d+) exchanges/s, "
                  r"deepest penetration ([\d.]+) mm", done.stdout)
    assert m, done.stdout
    assert float(m.group(1)) > 100
    # The hand pushes 2 N into a 0.5 N/mm wall: about 4 mm, where without the wall it would
    # reach its own stop 30 mm behind it.
    assert float(m.group(3)) < 15
    assert "drives off" in done.stderr


def test_servo_callback_sets_the_force_on_every_pass():
    result, reports = run("""
        import json, time, qel
        calls = []
        def push(state, force):
            calls.append(state.pass_)
            force[2] = 1.5
        with qel.Device(1) as device:
            device.force_enabled = True
            device.servo(push)
            time.sleep(0.3)
            device.servo(None)
            n = len(calls)
            time.sleep(0.05)
            print(json.dumps({"force": device.force, "calls": n, "after": len(calls),
                              "steps": sorted(set(b - a for a, b in zip(calls, calls[1:])))}))
        """, "--position", "10,-5,190")
    assert result["force"] == [0.0, 0.0, 1.5]
    assert result["calls"] > 10 and result["after"] == result["calls"]
    assert result["steps"] == [1], "one call on every pass"
    motors = [int(m) for m in re.search(r"motors (-?\d+),(-?\d+),(-?\d+)", reports["1"]).groups()]
    assert any(m != 0 for m in motors), reports["1"]
