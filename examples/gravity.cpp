// SPDX-License-Identifier: MIT
// gravity: gravity compensation. The refresh thread adds the torques that hold the arm's own
// weight to every force it renders, so with force output on and a zero force commanded the
// handle floats wherever it is let go.
//
//   gravity [--seconds S] [--off]
//     --seconds S  run this long (default 30 seconds; Ctrl-C ends it sooner)
//     --off        force output on but compensation off, to feel the difference
//
// Without hardware, on an emulated arm of type 2 with its joints at 95 degrees, where the
// compensation's model of the arm's weight fits the emulated arm best:
//   qel-emulator --type 2 --pose 95,95,95 --physics -- gravity --seconds 5
#include <cmath>
#include <cstdio>

#include "QEL_OPEN.h"
#include "example_support.h"

int main(int argc, char** argv) {
    const double seconds = example::option(argc, argv, "--seconds", 30);
    const bool compensate = !example::flag(argc, argv, "--off");
    const char id = 1;

    example::catchStopSignals();
    if (!example::startDevice(id)) return 1;
    // Force output on, zero force commanded, the arm's weight compensated (9.81 m/s^2).
    if (!example::enableForces(id, compensate)) {
        qelClose(id);
        return 1;
    }
    std::printf("gravity: compensation %s; let go of the handle\n", compensate ? "on" : "off");

    double first[3];
    if (!qelGetPosition(&first[0], &first[1], &first[2], id)) {
        example::fail("qelGetPosition");
        example::stopDevice(id);
        return 1;
    }
    const double start = example::now();
    example::Pacer pacer(5);
    double moved = 0, p[3] = {first[0], first[1], first[2]};
    while (!example::stopRequested() && example::now() - start < seconds) {
        pacer.wait();
        if (!qelGetPosition(&p[0], &p[1], &p[2], id)) break;
        moved = std::hypot(p[0] - first[0], p[1] - first[1], p[2] - first[2]);
        std::printf("%6.1f s  position %8.2f %8.2f %8.2f mm  %6.2f mm from the start\n",
                    example::now() - start, p[0], p[1], p[2], moved);
        std::fflush(stdout);
    }

    example::stopDevice(id);
    std::printf("gravity: the handle moved %.2f mm in %.1f s with compensation %s\n", moved,
                example::now() - start, compensate ? "on" : "off");
    return 0;
}
