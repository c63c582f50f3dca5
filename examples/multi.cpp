// SPDX-License-Identifier: MIT
// multi: two devices side by side, teleoperation in miniature. Device 1 is the leader: move
// it by hand. Device 2, the follower, is pulled by a spring and a damper towards the point
// where the leader's handle is, each in its own frame. Both are gravity compensated.
//
//   multi [--seconds S] [--stiffness K] [--damping B] [--rate HZ] [--max-force N]
//     --seconds S    run this long (default 30; Ctrl-C ends it sooner)
//     --stiffness K  coupling spring in N/mm (default 0.3)
//     --damping B    coupling damper in N per mm/s (default 0.004)
//     --rate HZ      the application loop's rate (default 1000)
//     --max-force N  largest force on the follower (default 5)
//
// Without hardware, with a scripted hand moving the leader round a circle:
//   qel-emulator --devices 2 --hand circle,none -- multi --seconds 5
#include <algorithm>
#include <cmath>
#include <cstdio>

#include "QEL_OPEN.h"
#include "example_support.h"

int main(int argc, char** argv) {
    const double seconds = example::option(argc, argv, "--seconds", 30);
    const double stiffness = example::option(argc, argv, "--stiffness", 0.3);
    const double damping = example::option(argc, argv, "--damping", 0.004);
    const double rate = example::option(argc, argv, "--rate", 1000);
    const double maxForce = example::option(argc, argv, "--max-force", 5);
    const char leader = 1, follower = 2;

    example::catchStopSignals();
    if (qelGetDeviceCount() < 2) {
        std::fprintf(stderr, "multi: needs two devices\n");
        return 1;
    }
    // Each device has its own refresh thread; this thread calls the interface for both.
    bool ready = example::startDevice(leader) && example::startDevice(follower) &&
                 example::enableForces(leader, true) && example::enableForces(follower, true);
    if (!ready) {
        example::stopDevice(leader);
        example::stopDevice(follower);
        return 1;
    }
    std::printf("multi: device %d leads, device %d follows with %.2f N/mm\n", leader, follower,
                stiffness);

    const double start = example::now(), rampSeconds = 1.0;
    example::Pacer pacer(rate);
    double previousGap[3] = {0, 0, 0}, gapRate[3] = {0, 0, 0}, previousT = 0;
    double followerPath = 0, lastFollower[3] = {0, 0, 0}, lastPrint = -1;
    double gapSum = 0, largestGap = 0;
    long gapSamples = 0;
    bool first = true;
    int status = 0;
    for (double t = 0; !example::stopRequested() && t < seconds; pacer.wait()) {
        t = example::now() - start;
        double l[3], f[3];
        if (!qelGetPosition(&l[0], &l[1], &l[2], leader) ||
            !qelGetPosition(&f[0], &f[1], &f[2], follower)) {
            status = example::fail("qelGetPosition");
            break;
        }
        // The gap from follower to leader, and how fast it changes (filtered differences).
        double gap[3], force[3];
        for (int i = 0; i < 3; ++i) gap[i] = l[i] - f[i];
        double dt = t - previousT;
        if (!first && dt > 0)
            for (int i = 0; i < 3; ++i)
                gapRate[i] += 0.1 * ((gap[i] - previousGap[i]) / dt - gapRate[i]);
        double ramp = std::min(1.0, t / rampSeconds);
        for (int i = 0; i < 3; ++i) force[i] = ramp * (stiffness * gap[i] + damping * gapRate[i]);
        example::clampForce(force, maxForce);
        if (!qelSetForce(force[0], force[1], force[2], follower)) {
            status = example::fail("qelSetForce");
            break;
        }

        double distance = std::sqrt(gap[0] * gap[0] + gap[1] * gap[1] + gap[2] * gap[2]);
        if (!first)
            followerPath +=
                std::hypot(f[0] - lastFollower[0], f[1] - lastFollower[1], f[2] - lastFollower[2]);
        if (t >= rampSeconds) {
            gapSum += distance;
            largestGap = std::max(largestGap, distance);
            ++gapSamples;
        }
        if (t - lastPrint >= 0.2) {
            lastPrint = t;
            std::printf("%5.1f s  leader %7.2f %7.2f %7.2f  follower %7.2f %7.2f %7.2f  gap %6.2f "
                        "mm\n",
                        t, l[0], l[1], l[2], f[0], f[1], f[2], distance);
            std::fflush(stdout);
        }
        for (int i = 0; i < 3; ++i) {
            previousGap[i] = gap[i];
            lastFollower[i] = f[i];
        }
        previousT = t;
        first = false;
    }

    example::stopDevice(follower);
    example::stopDevice(leader);
    if (gapSamples > 0)
        std::printf("multi: the follower travelled %.1f mm; gap %.2f mm on average, %.2f mm at "
                    "most (after the ramp)\n",
                    followerPath, gapSum / gapSamples, largestGap);
    return status;
}
