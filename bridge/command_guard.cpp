// SPDX-License-Identifier: MIT
#include "command_guard.h"

#include <algorithm>
#include <cmath>

namespace bridge {

namespace {
double norm(const double v[3]) { return std::sqrt(v[0] * v[0] + v[1] * v[1] + v[2] * v[2]); }
} // namespace

bool CommandGuard::command(const double force[3], double now) {
    for (int i = 0; i < 3; ++i)
        if (!std::isfinite(force[i])) {
            ++rejected_;
            return false;
        }
    double magnitude = norm(force);
    double scale = 1;
    if (magnitude > limits_.maxForce) {
        scale = limits_.maxForce / magnitude;
        ++clamped_;
    }
    for (int i = 0; i < 3; ++i) target_[i] = force[i] * scale;
    lastCommand_ = now;
    tripped_ = false;
    return true;
}

void CommandGuard::step(double now, double force[3]) {
    double dt = lastStep_ < 0 ? 0 : std::max(0.0, now - lastStep_);
    lastStep_ = now;
    double rate = limits_.maxForceRate;
    bool silent = lastCommand_ < 0 || now - lastCommand_ > limits_.commandTimeout;
    if (silent) {
        if (!tripped_ && lastCommand_ >= 0) {
            // Fast enough to reach zero within the ramp time from wherever the force is.
            tripped_ = true;
            ++trips_;
            rampRate_ = std::max(limits_.maxForceRate, norm(output_) / limits_.watchdogRamp);
        }
        for (double& t : target_) t = 0;
        if (tripped_) rate = rampRate_;
    }
    // Move towards the target along the straight line, at most rate * dt.
    double delta[3], distance;
    for (int i = 0; i < 3; ++i) delta[i] = target_[i] - output_[i];
    distance = norm(delta);
    double allowed = rate * dt;
    double fraction = distance <= allowed ? 1 : allowed / distance;
    for (int i = 0; i < 3; ++i) {
        output_[i] += delta[i] * fraction;
        force[i] = output_[i];
    }
}

void CommandGuard::reset() {
    for (int i = 0; i < 3; ++i) target_[i] = output_[i] = 0;
    lastCommand_ = -1;
    lastStep_ = -1;
    tripped_ = false;
}

} // namespace bridge
