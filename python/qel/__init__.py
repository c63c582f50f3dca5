# SPDX-License-Identifier: MIT
"""Python binding of libqel, the driver of the force-feedback delta arm.

    import qel
    with qel.Device(1) as device:
        device.gravity_compensation(True)
        device.force_enabled = True
        device.force = (0.0, 0.0, 1.0)   # newtons
        print(device.position)           # millimetres

`device.servo(callback)` runs a force law on the library's refresh thread on every pass.
`qel.lib()` gives the library itself, every exported function with a plain name declared for
ctypes, for what the Device class does not cover.
"""
from ._lib import ServoState, load as lib
from .device import Device
from .errors import QelError

__all__ = ["Device", "QelError", "ServoState", "lib"]
