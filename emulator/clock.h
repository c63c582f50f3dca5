// SPDX-License-Identifier: MIT
// The emulator's one clock: monotonic nanoseconds, for line timing and stale input.
#ifndef QELEMU_CLOCK_H
#define QELEMU_CLOCK_H

#include <time.h>

#include <cstdint>

namespace qelemu {

inline int64_t monotonicNs() {
    timespec ts;
    clock_gettime(CLOCK_MONOTONIC, &ts);
    return static_cast<int64_t>(ts.tv_sec) * 1000000000 + ts.tv_nsec;
}

} // namespace qelemu

#endif
