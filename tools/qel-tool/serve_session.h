// SPDX-License-Identifier: MIT
// The served device: a sampler thread reads its state at display pace and publishes it as
// JSON; the page's controls act on it. One lock serialises every call to the device, because
// the library's last-error record, which each call is checked against, is shared.
#ifndef QELTOOL_SERVE_SESSION_H
#define QELTOOL_SERVE_SESSION_H

#include <condition_variable>
#include <cstdint>
#include <deque>
#include <mutex>
#include <string>
#include <thread>

#include "device.h"

namespace qeltool {

class Session {
public:
    static constexpr double kMaxTestForce = 2.0; // newtons, the magnitude a page may ask for
    static constexpr double kForceLease = 0.5;   // seconds a test force lasts unless renewed

    explicit Session(Device& device);
    ~Session(); // stops the sampler and switches everything off

    void start(double rateHz);
    // Switches everything off and ends the sampler; the streams see closing() then.
    void shutDown();
    bool closing() const;

    // Waits (at most timeout seconds) for a state newer than `after`; returns its number
    // (still `after` when none came) and the state in `json`.
    uint64_t awaitState(uint64_t after, double timeout, std::string& json);

    // Controls. Each returns an empty text when done, else why not (and records it as an
    // error that the page shows).
    std::string setOutput(bool on); // force output with the drives powered
    std::string setGravity(bool on);
    // Clamped to kMaxTestForce; lapses to zero unless renewed within kForceLease.
    std::string setTestForce(const Vector& force);
    std::string loadCalibration();

private:
    void sample();
    std::string stateJson();
    void recordError(const std::string& message);
    // Once the device has failed (the library then fails every call until it is opened again),
    // opens it again, at most once a second.
    void recover();
    template <class Action>
    std::string control(Action action);

    Device& device_;
    std::mutex deviceLock_; // every call to device_, and the members below up to errors_
    Vector testForce_{};
    double leaseEnd_ = 0;
    bool gravity_ = false;
    bool calibrated_ = false;
    bool failing_ = false;
    double retry_ = 0;
    struct Error {
        double time; // seconds since the start
        std::string message;
    };
    std::deque<Error> errors_; // newest first
    double start_;

    mutable std::mutex stateLock_;
    std::condition_variable stateChanged_;
    std::string state_;
    uint64_t sequence_ = 0;
    bool closing_ = false;
    double period_ = 1.0 / 60;
    std::thread sampler_;
};

// A force of magnitude at most `limit` in the same direction.
Vector clampMagnitude(const Vector& force, double limit);

} // namespace qeltool

#endif
