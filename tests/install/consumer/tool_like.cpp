// SPDX-License-Identifier: MIT
// A C++ program in the manner of qel-tool, built against the installed headers alone: it opens
// a device by serial number, reads a register, the handle's position and the wrist's angles in
// degrees, and commands a zero force, reporting failures in the library's own words.
#include <QEL_OPEN.h>

#include <cstdio>
#include <thread>

namespace {

int fail(const char* what) {
    unsigned int code = 0, node = 0;
    qelErrorGetLast(&code, &node);
    const char* text = qelErrorGetLastStr();
    std::fprintf(stderr, "tool-like: cannot %s: %s (error %u)\n", what, text ? text : "", code);
    return 1;
}

} // namespace

int main() {
    const unsigned int serial = 10001; // the emulated first device's
    const unsigned short deviceTypeRegister = 135;
    int id = qelOpenSerial(serial);
    if (id < 1 || !qelInit(static_cast<char>(id)) || !qelCalibrateDevice(static_cast<char>(id)))
        return fail("open the device");
    char device = static_cast<char>(id);
    short type = 0;
    qelEnableExpertMode(); // the register functions are expert functions
    if (!qelGetParaShort(deviceTypeRegister, &type, device)) return fail("read the type");
    double p[3] = {}, o[3] = {};
    for (int tries = 0; tries < 2000 && p[2] == 0; ++tries) {
        if (!qelGetPosition(&p[0], &p[1], &p[2], device)) return fail("read the position");
        std::this_thread::sleep_for(std::chrono::milliseconds(1));
    }
    if (!qelGetOrientationDeg(&o[0], &o[1], &o[2], device)) return fail("read the orientation");
    if (!qelSetForce(0, 0, 0, device)) return fail("set the force");
    std::printf("tool-like: serial %u type %d at %.2f %.2f %.2f mm, wrist %.1f %.1f %.1f deg\n",
                serial, type, p[0], p[1], p[2], o[0], o[1], o[2]);
    return qelClose(device) ? 0 : fail("close the device");
}
