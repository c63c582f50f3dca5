# SPDX-License-Identifier: MIT
"""What a Python servo callback costs the refresh loop: the loop's rate without a callback and
with one that only sets the force, alternated over three rounds, and the time a pass gains.

Runs under qel-emulator with the binding on the path:
    PYTHONPATH=python QEL_LIBRARY=build/src/libqel.so.1 qel-emulator -- python3 bench/python_servo.py
"""
import statistics
import time

import qel


def push(state, force):
    force[2] = 0.0


def settled_rate(device):
    # The library counts passes over whole seconds: wait for one spent entirely as it is now.
    time.sleep(2.1)
    return device.loop_rate


with qel.Device(1) as device:
    device.force_enabled = True
    bare, python = [], []
    for _ in range(3):
        bare.append(settled_rate(device))
        device.servo(push)
        python.append(settled_rate(device))
        device.servo(None)
    b, p = statistics.median(bare), statistics.median(python)
    print("python servo callback: %.1f us per pass (refresh %.0f /s without, %.0f /s with)"
          % (1e6 * (1 / p - 1 / b), b, p))
