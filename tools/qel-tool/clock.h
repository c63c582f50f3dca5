// SPDX-License-Identifier: MIT
// Monotonic time in seconds and sleeping to a deadline on the same clock.
#ifndef QELTOOL_CLOCK_H
#define QELTOOL_CLOCK_H

#include <cerrno>
#include <ctime>

namespace qeltool {

inline double now() {
    struct timespec t;
    clock_gettime(CLOCK_MONOTONIC, &t);
    return static_cast<double>(t.tv_sec) + static_cast<double>(t.tv_nsec) / 1e9;
}

// Returns early when a signal arrives, so that a stop request is seen at once.
inline void sleepUntil(double deadline) {
    struct timespec t;
    t.tv_sec = static_cast<time_t>(deadline);
    t.tv_nsec = static_cast<long>((deadline - static_cast<double>(t.tv_sec)) * 1e9);
    if (t.tv_nsec >= 1000000000L) {
        ++t.tv_sec;
        t.tv_nsec -= 1000000000L;
    }
    clock_nanosleep(CLOCK_MONOTONIC, TIMER_ABSTIME, &t, nullptr);
}

} // namespace qeltool

#endif
