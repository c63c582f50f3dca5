# SPDX-License-Identifier: MIT
"""The exception raised when a library call fails."""


class QelError(Exception):
    """A failed call, with the library's last-error record: `code` (interface codes 1 to 4,
    or the device's own code, such as 19 "Data Recieve Failed"), `node` (the device's
    identifier, or 1 for an identifier out of range) and `text`."""

    def __init__(self, call, code, node, text):
        super().__init__("%s failed: error %d on device %d: %s" % (call, code, node, text))
        self.call = call
        self.code = code
        self.node = node
        self.text = text


def last_error(lib, call):
    import ctypes

    code, node = ctypes.c_uint(), ctypes.c_uint()
    lib.qelErrorGetLast(ctypes.byref(code), ctypes.byref(node))
    text = lib.qelErrorGetLastStr()
    return QelError(call, code.value, node.value, text.decode() if text else "")
