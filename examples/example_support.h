// SPDX-License-Identifier: MIT
// Small helpers the examples share: reading their few options, a monotonic clock, a paced
// loop, Ctrl-C, and bringing a device up with the library's error text on failure. Only the
// exported interface of QEL_OPEN.h is used.
#ifndef QEL_EXAMPLE_SUPPORT_H
#define QEL_EXAMPLE_SUPPORT_H

#include <atomic>
#include <chrono>
#include <cmath>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <thread>

#include "QEL_OPEN.h"

namespace example {

// The value after `--name` on the command line, or `fallback`.
inline double option(int argc, char** argv, const char* name, double fallback) {
    for (int i = 1; i + 1 < argc; ++i)
        if (std::strcmp(argv[i], name) == 0) return std::atof(argv[i + 1]);
    return fallback;
}
inline const char* textOption(int argc, char** argv, const char* name, const char* fallback) {
    for (int i = 1; i + 1 < argc; ++i)
        if (std::strcmp(argv[i], name) == 0) return argv[i + 1];
    return fallback;
}
inline bool flag(int argc, char** argv, const char* name) {
    for (int i = 1; i < argc; ++i)
        if (std::strcmp(argv[i], name) == 0) return true;
    return false;
}

// Seconds on the monotonic clock. The library's own qelGetTime and qelSleep are placeholders,
// so an application keeps time itself.
inline double now() {
    using namespace std::chrono;
    return duration<double>(steady_clock::now().time_since_epoch()).count();
}

// Paces a loop at `hz` passes per second: wait() sleeps until the next pass is due. A pass that
// comes late does not make the following ones hurry to catch up.
class Pacer {
public:
    explicit Pacer(double hz) : period_(1.0 / hz), next_(now()) {}
    void wait() {
        next_ += period_;
        double late = now() - next_;
        if (late > period_)
            next_ += std::floor(late / period_) * period_;
        else if (late < 0)
            std::this_thread::sleep_for(std::chrono::duration<double>(-late));
    }

private:
    double period_, next_;
};

// Ctrl-C (and a polite kill) asks the loop to end, so that the program can still switch the
// drives off and close the device. A second Ctrl-C ends the program at once.
inline std::atomic<bool>& stopRequested() {
    static std::atomic<bool> requested{false};
    return requested;
}
inline void catchStopSignals() {
    struct sigaction action = {};
    action.sa_handler = [](int) { stopRequested() = true; };
    action.sa_flags = SA_RESETHAND;
    sigaction(SIGINT, &action, nullptr);
    sigaction(SIGTERM, &action, nullptr);
}

// Prints what failed with the library's last error, and returns 1 for main to return.
inline int fail(const char* what) {
    unsigned int code = 0, node = 0;
    qelErrorGetLast(&code, &node);
    const char* text = qelErrorGetLastStr();
    std::fprintf(stderr, "%s failed: error %u (%s) on device %u\n", what, code,
                 text ? text : "no text", node);
    return 1;
}

// Opens device `id` (1-based), starts its refresh thread and loads the calibration stored in
// the device: the usual bring-up. Prints the error and returns false when a step fails.
inline bool startDevice(char id) {
    if (qelOpenID(id) != id) return fail("qelOpenID"), false;
    if (!qelInit(id)) return fail("qelInit"), false;
    // Returns once the position has been solved from the calibrated counts.
    if (!qelCalibrateDevice(id)) return fail("qelCalibrateDevice"), false;
    return true;
}

// Lets force rendering begin: the commanded force is zero, force output is switched on, then
// the drives are powered. Gravity compensation is switched as asked.
inline bool enableForces(char id, bool gravityCompensation) {
    if (!qelSetForce(0, 0, 0, id)) return fail("qelSetForce"), false;
    if (!qelSetGravityCompensation(gravityCompensation ? 1 : 0, id))
        return fail("qelSetGravityCompensation"), false;
    if (!qelEnableForce(1, id)) return fail("qelEnableForce"), false;
    if (!qelEnableDevice(true, id)) return fail("qelEnableDevice"), false;
    return true;
}

// The safe way out: zero force, drives off, then close (which switches the drives off too,
// and stops the refresh thread).
inline void stopDevice(char id) {
    qelSetForce(0, 0, 0, id);
    qelEnableDevice(false, id);
    qelClose(id);
}

// Scales `f` down to at most `limit` newtons, keeping its direction.
inline void clampForce(double f[3], double limit) {
    double magnitude = std::sqrt(f[0] * f[0] + f[1] * f[1] + f[2] * f[2]);
    if (magnitude > limit)
        for (int i = 0; i < 3; ++i) f[i] *= limit / magnitude;
}

} // namespace example

#endif
