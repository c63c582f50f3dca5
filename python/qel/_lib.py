# SPDX-License-Identifier: MIT
"""Loading libqel.so.1 and declaring its exported functions for ctypes."""
import ctypes
import ctypes.util
import os

from ._functions import FUNCTIONS

# The thread routine type of qelStartThread: void* (*)(void*).
THREAD_FN = ctypes.CFUNCTYPE(ctypes.c_void_p, ctypes.c_void_p)



class ServoState(ctypes.Structure):
    """What the servo callback is told of each refresh pass (qelServoState)."""
    _fields_ = [
        ("position", ctypes.c_double * 3),        # mm
        ("velocity", ctypes.c_double * 3),        # mm/s
        ("orientation", ctypes.c_double * 3 * 3),
        ("buttons", ctypes.c_uint),               # bit i: button i pressed
        ("pass_", ctypes.c_ulonglong),            # refresh passes since qelInit
        ("timeNs", ctypes.c_longlong),            # CLOCK_MONOTONIC of the pass's reply
    ]


# The servo callback type: void (*)(const qelServoState*, double force[3], void* user).
SERVO_FN = ctypes.CFUNCTYPE(None, ctypes.POINTER(ServoState), ctypes.POINTER(ctypes.c_double),
                            ctypes.c_void_p)

_TYPES = {
    "void": None,
    "int": ctypes.c_int,
    # Device identifiers are a C char used as a small signed number (-1: current device).
    "char": ctypes.c_byte,
    "bool": ctypes.c_bool,
    "double": ctypes.c_double,
    "short": ctypes.c_short,
    "ushort": ctypes.c_ushort,
    "uchar": ctypes.c_ubyte,
    "uint": ctypes.c_uint,
    "string": ctypes.c_char_p,
    "char_p": ctypes.c_char_p,
    "void_p": ctypes.c_void_p,
    "thread_fn": THREAD_FN,
    "servo_fn": SERVO_FN,
    "int_p": ctypes.POINTER(ctypes.c_int),
    "short_p": ctypes.POINTER(ctypes.c_short),
    "double_p": ctypes.POINTER(ctypes.c_double),
    "uint_p": ctypes.POINTER(ctypes.c_uint),
    "uchar_p": ctypes.POINTER(ctypes.c_ubyte),
    "ushort_p": ctypes.POINTER(ctypes.c_ushort),
    "matrix3_p": ctypes.POINTER(ctypes.c_double * 3),
    "matrix6_p": ctypes.POINTER(ctypes.c_double * 6),
}

_library = None


def _candidates(path):
    if path:
        yield path
    env = os.environ.get("QEL_LIBRARY")
    if env:
        yield env
    # Installed beside this package's prefix: <prefix>/lib/python3/dist-packages/qel.
    here = os.path.dirname(os.path.abspath(__file__))
    for up in (3, 4):
        prefix = os.path.abspath(os.path.join(here, *([".."] * up)))
        for libdir in ("lib", "lib64", os.path.join("lib", "x86_64-linux-gnu")):
            yield os.path.join(prefix, libdir, "libqel.so.1")
    yield "libqel.so.1"
    found = ctypes.util.find_library("qel")
    if found:
        yield found


def load(path=None):
    """Loads the library once: from `path`, the environment variable QEL_LIBRARY, the install
    prefix this package sits in, or the system's library path, the first that loads."""
    global _library
    if _library is not None and path is None:
        return _library
    errors = []
    for candidate in _candidates(path):
        try:
            library = ctypes.CDLL(candidate)
            break
        except OSError as e:
            errors.append(str(e))
    else:
        raise OSError("libqel.so.1 not found: " + "; ".join(errors))
    for name, (result, parameters) in FUNCTIONS.items():
        function = getattr(library, name)
        function.restype = _TYPES[result]
        function.argtypes = [_TYPES[p] for p in parameters]
    _library = library
    return library
