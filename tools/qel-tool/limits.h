// SPDX-License-Identifier: MIT
// The range an encoder axis sweeps while the arm is moved by hand. Before calibration the
// library reports single-turn counts, which wrap from the resolution back to 0; the tracker
// follows the count across the wrap (steps shorter than half a turn), so that a range across
// it comes out whole.
#ifndef QELTOOL_LIMITS_H
#define QELTOOL_LIMITS_H

#include <cstdint>

namespace qeltool {

// The span from a lower to an upper limit as stored, across the wrap where there is one.
uint64_t storedSpan(uint32_t lower, uint32_t upper, uint32_t resolution);

class LimitTracker {
public:
    explicit LimitTracker(uint32_t resolution) : resolution_(resolution) {}

    void add(uint32_t count);
    bool empty() const { return !seen_; }
    // The limits as the device stores them: both as counts within one turn, so that the
    // upper one lies below the lower one when the range crosses the wrap.
    uint32_t lower() const;
    uint32_t upper() const;
    uint64_t span() const { return seen_ ? static_cast<uint64_t>(high_ - low_) : 0; }
    double spanDegrees() const;

private:
    uint32_t resolution_;
    bool seen_ = false;
    uint32_t last_ = 0;
    int64_t position_ = 0; // the count followed across wraps
    int64_t low_ = 0, high_ = 0;
};

} // namespace qeltool

#endif
