#!/usr/bin/env python3
# SPDX-License-Identifier: MIT
"""A virtual wall rendered from Python: a spring pushes the handle back out of the half-space
beyond a plane. The force ramps in over the first half second (safe start), and leaving the
`with` block, however it is left, switches the drives off (safe stop).

    qel-emulator --physics --hand push --hand-point 0,0,230 --hand-normal 0,0,1 -- \\
        python3 examples/python/wall.py --seconds 3

Units: millimetres and newtons. The loop's own rate is printed next to the refresh thread's,
which runs in the library at the line's pace whatever Python does.
"""
import argparse
import time

import qel


def main():
    parser = argparse.ArgumentParser(description=__doc__.splitlines()[0])
    parser.add_argument("--seconds", type=float, default=10.0, help="how long to run")
    parser.add_argument("--wall", type=float, default=200.0, help="the wall's z, millimetres")
    parser.add_argument("--stiffness", type=float, default=0.5, help="spring, newtons per mm")
    args = parser.parse_args()

    with qel.Device(1) as device:
        device.gravity_compensation(True)
        device.force = (0.0, 0.0, 0.0)
        device.force_enabled = True
        start = time.monotonic()
        passes = 0
        deepest = 0.0
        while True:
            elapsed = time.monotonic() - start
            if elapsed > args.seconds:
                break
            x, y, z = device.position
            depth = z - args.wall
            ramp = min(1.0, elapsed / 0.5)
            push = -args.stiffness * depth * ramp if depth > 0 else 0.0
            device.force = (0.0, 0.0, push)
            deepest = max(deepest, depth)
            passes += 1
            time.sleep(0.0005)  # leave the cores to the refresh thread and the device
        print("python loop: %.0f updates/s, refresh thread: %.0f exchanges/s, "
              "deepest penetration %.2f mm" % (passes / args.seconds, device.loop_rate, deepest))


if __name__ == "__main__":
    main()
