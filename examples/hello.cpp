// SPDX-License-Identifier: MIT
// hello: the first program. It finds a device, brings it up, and prints where the handle is
// ten times a second until the handle's button is pressed or the time is up.
//
//   hello [--seconds S]        (default 30 seconds)
//
// Without hardware: qel-emulator -- hello --seconds 5
#include <cstdio>

#include "QEL_OPEN.h"
#include "example_support.h"

int main(int argc, char** argv) {
    const double seconds = example::option(argc, argv, "--seconds", 30);

    // Every count, open or select call searches the system afresh.
    int devices = qelGetDeviceCount();
    if (devices < 1) {
        std::fprintf(stderr, "hello: no device found (is it plugged in, and may you use it?)\n");
        return 1;
    }
    std::printf("hello: %d device(s) found\n", devices);

    // Open device 1, start its refresh thread, load the calibration stored in the device.
    // Identifiers are 1-based; -1 would name the current device.
    const char id = 1;
    if (qelOpenID(id) != id) return example::fail("qelOpenID");
    if (!qelInit(id)) return example::fail("qelInit");
    if (!qelCalibrateDevice(id)) return example::fail("qelCalibrateDevice");
    unsigned int serial = 0;
    if (qelGetSerialNumber(&serial, id)) std::printf("hello: device %d, serial %u\n", id, serial);

    std::printf("%6s  %24s  %24s  %6s  %10s\n", "t (s)", "position x y z (mm)",
                "yaw pitch roll (deg)", "button", "refresh/s");
    const double start = example::now();
    example::Pacer pacer(10);
    int status = 0;
    for (;;) {
        // The refresh thread keeps these fresh; reading them costs no traffic on the line.
        double x, y, z, yaw, pitch, roll;
        if (!qelGetPositionAndOrientationDeg(&x, &y, &z, &yaw, &pitch, &roll, id)) {
            status = example::fail("qelGetPositionAndOrientationDeg");
            break;
        }
        int button = qelGetButton(0, id);
        double rate = qelGetComFreq(id); // refresh passes in the last second
        double t = example::now() - start;
        std::printf("%6.1f  %8.2f%8.2f%8.2f  %8.2f%8.2f%8.2f  %6d  %10.0f\n", t, x, y, z, yaw,
                    pitch, roll, button, rate);
        std::fflush(stdout);
        if (button) {
            std::printf("hello: button pressed\n");
            break;
        }
        if (t >= seconds) {
            std::printf("hello: time is up\n");
            break;
        }
        pacer.wait();
    }

    // Closing stops the refresh thread and switches the drives off.
    if (!qelClose(id)) return example::fail("qelClose");
    return status;
}
