// SPDX-License-Identifier: MIT
// wall: a virtual wall and a spring, rendered from the application's own loop at its own rate,
// or with --servo from the library's servo callback on every refresh pass.
// The wall is the plane z = Z; the handle may go up to it freely and meets a stiff spring
// behind it. A soft spring pulls the handle towards the wall's centre line x = y = 0; a damper
// on the spring, and on the wall while the handle is inside it, keeps both from ringing. The
// device's refresh thread runs much faster than the application's loop and renders the last
// force set; the servo callback computes the force on every pass instead, from the position
// of that pass, which lets a stiffer wall stay stable.
//
// Safety: forces and their limit ramp in over the first second (the handle may already be
// inside the wall), forces are clamped to a maximum, and on exit or Ctrl-C the force goes to
// zero, the drives go off and the device is closed.
//
//   wall [options]
//     --seconds S     run this long (default 30; Ctrl-C ends it sooner)
//     --wall Z        the wall's plane in millimetres (default 200)
//     --stiffness K   wall stiffness in N/mm (default 0.5)
//     --spring K      centring spring in N/mm (default 0.1)
//     --damping B     damper in N per mm/s (default 0.005)
//     --rate HZ       the application loop's rate (default 1000)
//     --ramp S        seconds over which forces ramp in (default 1)
//     --max-force N   largest force rendered (default 6)
//     --no-gravity    leave gravity compensation off
//     --csv FILE      record the run: time, position, penetration, force, ramp
//     --servo         compute the force in the servo callback; the loop only watches
//
// Without hardware, with a scripted hand pushing up into the wall with 2 N:
//   qel-emulator --hand push --hand-point 0,0,230 -- wall --seconds 5
//   qel-emulator --hand push --hand-point 0,0,230 -- wall --seconds 5 --servo --stiffness 4
#include <algorithm>
#include <cmath>
#include <cstdio>
#include <unistd.h>
#include <vector>

#include "QEL_OPEN.h"
#include "example_support.h"

namespace {

struct Sample {
    double t, p[3], penetration, f[3], ramp;
};

bool writeCsv(const char* path, const std::vector<Sample>& samples) {
    FILE* out = std::fopen(path, "w");
    if (!out) return false;
    std::fprintf(out, "t_s,x_mm,y_mm,z_mm,penetration_mm,fx_N,fy_N,fz_N,ramp\n");
    for (const Sample& s : samples)
        std::fprintf(out, "%.4f,%.3f,%.3f,%.3f,%.3f,%.4f,%.4f,%.4f,%.5f\n", s.t, s.p[0], s.p[1],
                     s.p[2], s.penetration, s.f[0], s.f[1], s.f[2], s.ramp);
    return std::fclose(out) == 0;
}

// The wall's force law, fed one position at a time with its time in seconds since the start.
struct WallLaw {
    double wallZ, stiffness, spring, damping, rampSeconds, maxForce;
    double previous[3] = {0, 0, 0}, previousT = 0, v[3] = {0, 0, 0};
    bool first = true;

    double ramp(double t) const {
        return rampSeconds > 0 ? std::max(0.0, std::min(1.0, t / rampSeconds)) : 1.0;
    }

    void force(double t, const double p[3], double f[3]) {
        // The handle's velocity in mm/s from successive positions, smoothed over some 20 ms
        // whatever the rate the law runs at.
        if (!first && t > previousT) {
            const double dt = t - previousT, smoothing = dt / (dt + 0.019);
            for (int i = 0; i < 3; ++i) v[i] += smoothing * ((p[i] - previous[i]) / dt - v[i]);
        }
        first = false;
        for (int i = 0; i < 3; ++i) previous[i] = p[i];
        previousT = t;

        // Everywhere a soft spring and damper pull towards the centre line; past the wall a
        // stiff spring and the damper push back along -z, and never pull into the wall.
        double penetration = std::max(0.0, p[2] - wallZ);
        f[0] = -spring * p[0] - damping * v[0];
        f[1] = -spring * p[1] - damping * v[1];
        f[2] = penetration > 0 ? std::min(0.0, -stiffness * penetration - damping * v[2]) : 0.0;
        // Safe start: the force and its limit both grow from zero over the ramp, so that a
        // handle found deep inside the wall is pushed out gently.
        for (int i = 0; i < 3; ++i) f[i] *= ramp(t);
        example::clampForce(f, ramp(t) * maxForce);
    }
};

// The servo callback: the same law on every refresh pass, timed by the pass's reply. It runs
// on the library's thread, so it only computes; the main loop reads what it commanded.
struct ServoWall {
    WallLaw law;
    double startSeconds;
};
void servoWall(const qelServoState* state, double force[3], void* user) {
    ServoWall* wall = static_cast<ServoWall*>(user);
    wall->law.force(state->timeNs * 1e-9 - wall->startSeconds, state->position, force);
}

} // namespace

int main(int argc, char** argv) {
    const double seconds = example::option(argc, argv, "--seconds", 30);
    const double wallZ = example::option(argc, argv, "--wall", 200);
    const double stiffness = example::option(argc, argv, "--stiffness", 0.5);
    const double spring = example::option(argc, argv, "--spring", 0.1);
    const double damping = example::option(argc, argv, "--damping", 0.005);
    const double rate = example::option(argc, argv, "--rate", 1000);
    const double rampSeconds = example::option(argc, argv, "--ramp", 1);
    const double maxForce = example::option(argc, argv, "--max-force", 6);
    const bool gravity = !example::flag(argc, argv, "--no-gravity");
    const char* csv = example::textOption(argc, argv, "--csv", nullptr);
    const bool servo = example::flag(argc, argv, "--servo");
    const char id = 1;

    example::catchStopSignals();
    if (!example::startDevice(id)) return 1;
    if (!example::enableForces(id, gravity)) {
        qelClose(id);
        return 1;
    }
    std::printf("wall: z = %.1f mm, %.2f N/mm; spring %.2f N/mm; damper %.3f N per mm/s; loop "
                "%.0f Hz; force from %s; gravity compensation %s\n",
                wallZ, stiffness, spring, damping, rate, servo ? "the servo callback" : "the loop",
                gravity ? "on" : "off");
    std::fflush(stdout);

    std::vector<Sample> samples;
    samples.reserve(static_cast<size_t>(std::min(seconds, 600.0) * rate) + 16);
    const bool live = isatty(STDOUT_FILENO);
    double deepest = 0, strongest = 0, settledSum[2] = {0, 0};
    double lastStatus = -1, loopRate = 0;
    long passes = 0, settledPasses = 0, passesAtStatus = 0;
    int status = 0;

    const double start = example::now();
    ServoWall wall{{wallZ, stiffness, spring, damping, rampSeconds, maxForce}, start};
    if (servo && !qelSetServoCallback(servoWall, &wall, id)) {
        example::stopDevice(id);
        return example::fail("qelSetServoCallback");
    }
    example::Pacer pacer(rate);
    double t = 0;
    while (!example::stopRequested() && t < seconds) {
        t = example::now() - start;
        double p[3];
        if (!qelGetPosition(&p[0], &p[1], &p[2], id)) {
            status = example::fail("qelGetPosition");
            break;
        }
        double f[3];
        if (servo) {
            if (!qelGetForce(&f[0], &f[1], &f[2], id)) {
                status = example::fail("qelGetForce");
                break;
            }
        } else {
            wall.law.force(t, p, f);
            if (!qelSetForce(f[0], f[1], f[2], id)) {
                status = example::fail("qelSetForce");
                break;
            }
        }
        const double penetration = std::max(0.0, p[2] - wallZ), ramp = wall.law.ramp(t);

        double magnitude = std::sqrt(f[0] * f[0] + f[1] * f[1] + f[2] * f[2]);
        deepest = std::max(deepest, penetration);
        strongest = std::max(strongest, magnitude);
        if (t >= seconds - 1.0 && t >= rampSeconds) { // the last second: how it settled
            settledSum[0] += penetration;
            settledSum[1] += -f[2];
            ++settledPasses;
        }
        ++passes;
        samples.push_back({t, {p[0], p[1], p[2]}, penetration, {f[0], f[1], f[2]}, ramp});

        // A status line ten times a second on a terminal, once a second otherwise.
        if (t - lastStatus >= (live ? 0.1 : 1.0)) {
            if (lastStatus >= 0) loopRate = (passes - passesAtStatus) / (t - lastStatus);
            lastStatus = t;
            passesAtStatus = passes;
            std::printf("%s%5.1f s  z %7.2f mm  penetration %5.2f mm  force %5.2f N  ramp %3.0f%%  "
                        "loop %4.0f Hz  refresh %6.0f/s%s",
                        live ? "\r" : "", t, p[2], penetration, magnitude, 100 * ramp, loopRate,
                        qelGetComFreq(id), live ? "" : "\n");
            std::fflush(stdout);
        }
        pacer.wait();
    }
    const double elapsed = example::now() - start;
    const double refresh = qelGetComFreq(id);

    // Safe stop, also after Ctrl-C: no callback, zero force, drives off, close.
    if (servo) qelSetServoCallback(nullptr, nullptr, id);
    example::stopDevice(id);
    if (live) std::printf("\n");
    if (example::stopRequested()) std::printf("wall: interrupted, forces stopped\n");

    std::printf("wall: %.1f s, application loop %.0f Hz (asked %.0f), device refresh %.0f/s\n",
                elapsed, passes / elapsed, rate, refresh);
    std::printf("wall: largest penetration %.2f mm, largest force %.2f N\n", deepest, strongest);
    if (settledPasses > 0)
        std::printf("wall: settled penetration %.2f mm, wall force %.2f N (last second)\n",
                    settledSum[0] / settledPasses, settledSum[1] / settledPasses);
    std::printf("wall: drives off, device closed\n");
    if (csv) {
        if (!writeCsv(csv, samples)) {
            std::perror(csv);
            return 1;
        }
        std::printf("wall: %zu samples written to %s\n", samples.size(), csv);
    }
    return status;
}
