# SPDX-License-Identifier: MIT
"""A device as a Python object: opened, initialised and calibrated on entry, drives off and
closed on exit."""
import ctypes

from . import _lib
from .errors import last_error


class Device:
    """One device, by its 1-based identifier.

    Units are those of the C interface: positions in millimetres, forces in newtons, angles
    in radians, velocities in millimetres per the device's velocity period, the loop rate in
    exchanges per second. Every failing call raises QelError with the library's error code,
    node and text.

        with qel.Device(1) as device:
            device.force_enabled = True
            print(device.position)
    """

    def __init__(self, id=1, library=None, calibrate=True):
        self.id = id
        self._lib = _lib.load(library)
        self._calibrate = calibrate
        self._open = False
        self._servo = None

    # ---- Lifecycle ----

    def _check(self, call, result):
        if not result:
            raise last_error(self._lib, call)
        return result

    def open(self):
        """Opens and initialises the device and, unless told otherwise, loads the calibration
        stored in it (positions need it)."""
        self._lib.qelClearError()
        self._check("qelOpenID", self._lib.qelOpenID(self.id) == self.id)
        self._open = True
        try:
            self._check("qelInit", self._lib.qelInit(self.id))
            if self._calibrate:
                # Returns once the position has been solved from the calibrated counts.
                self._check("qelCalibrateDevice", self._lib.qelCalibrateDevice(self.id))
        except Exception:
            self.close()
            raise
        return self

    def close(self):
        """Switches the drives off and closes the device; does nothing if it is not open."""
        if not self._open:
            return
        self._open = False
        self._lib.qelEnableDevice(False, self.id)
        self._check("qelClose", self._lib.qelClose(self.id))
        # The library calls the callback no more once the device is closed.
        self._servo = None

    def __enter__(self):
        return self.open()

    def __exit__(self, *exc):
        self.close()
        return False

    # ---- Reading ----

    def _three(self, call, function):
        values = [ctypes.c_double() for _ in range(3)]
        self._check(call, function(*[ctypes.byref(v) for v in values], self.id))
        return tuple(v.value for v in values)

    @property
    def position(self):
        """The handle's position (x, y, z) in millimetres."""
        return self._three("qelGetPosition", self._lib.qelGetPosition)

    @property
    def orientation(self):
        """The wrist's rotation matrix as three rows."""
        matrix = (ctypes.c_double * 3 * 3)()
        self._check("qelGetOrientationFrame",
                    self._lib.qelGetOrientationFrame(matrix, self.id))
        return tuple(tuple(row) for row in matrix)

    @property
    def orientation_angles(self):
        """The wrist's yaw, pitch and roll joint angles in radians."""
        return self._three("qelGetOrientationRad", self._lib.qelGetOrientationRad)

    @property
    def velocity(self):
        """The handle's linear velocity (x, y, z), millimetres per the device's period."""
        return self._three("qelGetLinearVelocity", self._lib.qelGetLinearVelocity)

    def button(self, index=0):
        """Whether the button is pressed."""
        return self._lib.qelGetButton(index, self.id) == 1

    @property
    def loop_rate(self):
        """The refresh loop's exchanges per second over the last second."""
        return self._lib.qelGetComFreq(self.id)

    # ---- Force ----

    @property
    def force(self):
        """The force (x, y, z) in newtons that the refresh thread renders."""
        return self._three("qelGetForce", self._lib.qelGetForce)

    @force.setter
    def force(self, f):
        fx, fy, fz = f
        self._check("qelSetForce", self._lib.qelSetForce(fx, fy, fz, self.id))

    @property
    def force_enabled(self):
        raise AttributeError("force_enabled can only be set")

    @force_enabled.setter
    def force_enabled(self, on):
        """Switches force output and the drives on together, or the drives off."""
        if on:
            self._check("qelEnableForce", self._lib.qelEnableForce(1, self.id))
            self._check("qelEnableDevice", self._lib.qelEnableDevice(True, self.id))
        else:
            self._check("qelEnableDevice", self._lib.qelEnableDevice(False, self.id))
            self._check("qelEnableForce", self._lib.qelEnableForce(0, self.id))

    def gravity_compensation(self, on=True):
        """Switches gravity compensation on or off."""
        self._check("qelSetGravityCompensation",
                    self._lib.qelSetGravityCompensation(1 if on else 0, self.id))

    # ---- Servo callback ----

    def servo(self, callback):
        """Runs callback(state, force) on the library's refresh thread on every pass of the
        calibrated device, or with None stops doing so.

        `state` is a qel.ServoState: position (mm), velocity (mm/s), orientation, buttons,
        pass_ and timeNs (CLOCK_MONOTONIC of the pass's reply). `force` holds the commanded
        force (newtons); what the callback leaves in force[0], force[1], force[2] goes out in
        the next frame. The callback must not block nor call the device; an exception it raises
        is printed and the pass goes on with the force as it stands.

        Each call takes the interpreter's lock and builds the state's Python objects through
        ctypes, which adds to every pass: bench/python_servo.py measured 16 us a pass on a
        2-core machine at a load of 5 and 120 us at a load of 20, so a Python callback suits a loop of a few thousand passes a
        second. A thread of the program that holds the interpreter's lock holds up the device.
        """
        if callback is None:
            self._check("qelSetServoCallback",
                        self._lib.qelSetServoCallback(_lib.SERVO_FN(), None, self.id))
            self._servo = None
            return

        def trampoline(state, force, _user):
            callback(state.contents, force)

        function = _lib.SERVO_FN(trampoline)
        self._check("qelSetServoCallback",
                    self._lib.qelSetServoCallback(function, None, self.id))
        # Kept alive while the library may call it; the one it replaces no longer is called.
        self._servo = function
