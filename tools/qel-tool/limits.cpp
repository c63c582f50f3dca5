// SPDX-License-Identifier: MIT
#include "limits.h"

namespace qeltool {

void LimitTracker::add(uint32_t count) {
    if (resolution_ == 0) return;
    count %= resolution_;
    if (!seen_) {
        seen_ = true;
        position_ = low_ = high_ = count;
    } else {
        int64_t step = static_cast<int64_t>(count) - static_cast<int64_t>(last_);
        const int64_t turn = resolution_;
        if (step > turn / 2) step -= turn;
        if (step < -turn / 2) step += turn;
        position_ += step;
        if (position_ < low_) low_ = position_;
        if (position_ > high_) high_ = position_;
    }
    last_ = count;
}

uint32_t LimitTracker::lower() const {
    if (!seen_) return 0;
    const int64_t turn = resolution_;
    int64_t low = low_ % turn;
    if (low < 0) low += turn;
    return static_cast<uint32_t>(low);
}

uint32_t LimitTracker::upper() const {
    if (!seen_) return 0;
    return static_cast<uint32_t>((static_cast<uint64_t>(lower()) + span()) % resolution_);
}

uint64_t storedSpan(uint32_t lower, uint32_t upper, uint32_t resolution) {
    if (resolution == 0) return upper >= lower ? upper - lower : 0;
    int64_t span = (static_cast<int64_t>(upper) - static_cast<int64_t>(lower)) % resolution;
    return static_cast<uint64_t>(span < 0 ? span + resolution : span);
}

double LimitTracker::spanDegrees() const {
    return resolution_ ? static_cast<double>(span()) * 360.0 / resolution_ : 0.0;
}

} // namespace qeltool
