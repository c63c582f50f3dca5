// SPDX-License-Identifier: MIT
// What stands between the network and a device's motors: every force command is checked
// (non-finite ones rejected, the magnitude clamped), the force rendered moves towards the last
// accepted command no faster than the allowed rate, and a watchdog brings it to zero when the
// commands stop. Plain arithmetic on the caller's clock, so that it can be checked alone.
#ifndef QEL_BRIDGE_COMMAND_GUARD_H
#define QEL_BRIDGE_COMMAND_GUARD_H

namespace bridge {

struct GuardLimits {
    double maxForce = 3;         // N
    double maxForceRate = 200;   // N/s
    double commandTimeout = 0.1; // s
    double watchdogRamp = 0.05;  // s: a tripped watchdog reaches zero force within this
};

class CommandGuard {
public:
    explicit CommandGuard(const GuardLimits& limits) : limits_(limits) {}

    // A command received at time `now` (seconds). Returns false when it is rejected.
    bool command(const double force[3], double now);
    // Advances the rendered force to time `now` and returns it in `force`.
    void step(double now, double force[3]);
    // Forgets every command and renders nothing (force output switched off, device lost).
    void reset();

    unsigned long rejected() const { return rejected_; }
    unsigned long clamped() const { return clamped_; }
    unsigned long trips() const { return trips_; }
    bool tripped() const { return tripped_; }

private:
    GuardLimits limits_;
    double target_[3] = {0, 0, 0};
    double output_[3] = {0, 0, 0};
    double lastCommand_ = -1; // time of the last accepted command; < 0: none yet
    double lastStep_ = -1;
    double rampRate_ = 0; // N/s while the watchdog ramps down
    bool tripped_ = false;
    unsigned long rejected_ = 0, clamped_ = 0, trips_ = 0;
};

} // namespace bridge

#endif
