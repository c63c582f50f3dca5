// SPDX-License-Identifier: MIT
#include "serve_session.h"

#include <chrono>
#include <cmath>
#include <cstdio>

#include "clock.h"
#include "failure.h"
#include "serve_json.h"

namespace qeltool {

Vector clampMagnitude(const Vector& force, double limit) {
    double size = std::sqrt(force[0] * force[0] + force[1] * force[1] + force[2] * force[2]);
    if (!(size > limit)) return force;
    double scale = limit / size;
    return {force[0] * scale, force[1] * scale, force[2] * scale};
}

Session::Session(Device& device) : device_(device), start_(now()) {}

Session::~Session() { shutDown(); }

void Session::start(double rateHz) {
    period_ = 1.0 / rateHz;
    sampler_ = std::thread([this] { sample(); });
}

void Session::shutDown() {
    {
        std::lock_guard<std::mutex> lock(deviceLock_);
        device_.stopRendering();
    }
    {
        std::lock_guard<std::mutex> lock(stateLock_);
        closing_ = true;
    }
    stateChanged_.notify_all();
    if (sampler_.joinable()) sampler_.join();
}

bool Session::closing() const {
    std::lock_guard<std::mutex> lock(stateLock_);
    return closing_;
}

uint64_t Session::awaitState(uint64_t after, double timeout, std::string& json) {
    std::unique_lock<std::mutex> lock(stateLock_);
    stateChanged_.wait_for(lock, std::chrono::duration<double>(timeout),
                           [&] { return closing_ || sequence_ != after; });
    json = state_;
    return sequence_;
}

void Session::recordError(const std::string& message) {
    // A failure that lasts (an unplugged device) is listed once, not at every sample.
    if (!errors_.empty() && errors_.front().message == message) return;
    errors_.push_front({now() - start_, message});
    if (errors_.size() > 8) errors_.pop_back();
}

void Session::sample() {
    double next = now();
    for (;;) {
        {
            std::lock_guard<std::mutex> lock(stateLock_);
            if (closing_) return;
        }
        std::string json;
        {
            std::lock_guard<std::mutex> lock(deviceLock_);
            // The watchdog: a test force lasts only while its page keeps renewing it.
            if (leaseEnd_ > 0 && now() > leaseEnd_) {
                leaseEnd_ = 0;
                testForce_ = {};
                try {
                    if (device_.rendering()) device_.setForce(testForce_);
                } catch (const Failure& e) {
                    recordError(e.what());
                }
                recordError("the test force stopped: its page no longer renews it");
            }
            json = stateJson();
            if (failing_ && now() > retry_) recover();
        }
        {
            std::lock_guard<std::mutex> lock(stateLock_);
            state_ = std::move(json);
            ++sequence_;
        }
        stateChanged_.notify_all();
        next += period_;
        if (next < now()) next = now(); // behind: skip rather than catch up in a burst
        sleepUntil(next);
    }
}

std::string Session::stateJson() {
    std::string out = "{\"t\":" + json::number(now() - start_, 6);
    try {
        Vector force = device_.force();
        out += ",\"position\":" + json::array(device_.position()) +
               ",\"velocity\":" + json::array(device_.velocity()) +
               ",\"force\":" + json::array(force) +
               ",\"joints\":" + json::array(device_.armAngles()) +
               ",\"frame\":" + json::array(device_.orientationFrame(), 5);
        unsigned buttons = 0;
        for (int b = 0; b < 8; ++b)
            if (device_.button(b)) buttons |= 1u << b;
        out += ",\"buttons\":" + std::to_string(buttons) +
               ",\"loopRate\":" + json::number(device_.loopRate(), 5);
        // The library cuts the drives on its own above the speed limit: the motor commands
        // it would render tell whether they are still on.
        bool drives =
            device_.rendering() && device_.motorCommands(force, device_.armEncoders()).has_value();
        out += ",\"output\":" + std::string(json::boolean(device_.rendering())) +
               ",\"drives\":" + json::boolean(drives) + ",\"led\":" + json::boolean(drives);
        failing_ = false;
    } catch (const Failure& e) {
        recordError(e.what());
        if (!failing_) retry_ = now() + 1.0;
        failing_ = true;
    }
    out += ",\"gravity\":" + std::string(json::boolean(gravity_)) +
           ",\"calibrated\":" + json::boolean(calibrated_) +
           ",\"testForce\":" + json::array(testForce_) + ",\"errors\":[";
    for (size_t i = 0; i < errors_.size(); ++i)
        out += (i ? ",{\"t\":" : "{\"t\":") + json::number(errors_[i].time, 6) +
               ",\"message\":" + json::text(errors_[i].message) + "}";
    return out + "]}";
}

void Session::recover() {
    retry_ = now() + 1.0;
    testForce_ = {};
    leaseEnd_ = 0;
    gravity_ = calibrated_ = false;
    try {
        device_.reopen();
        device_.loadCalibration();
        calibrated_ = true;
        recordError("opened the device again: force output, drives and gravity compensation are "
                    "off");
    } catch (const Failure& e) {
        recordError(e.what());
    }
}

template <class Action>
std::string Session::control(Action action) {
    std::lock_guard<std::mutex> lock(deviceLock_);
    try {
        action();
        return {};
    } catch (const Failure& e) {
        recordError(e.what());
        return e.what();
    }
}

std::string Session::setOutput(bool on) {
    return control([&] {
        if (!on) {
            device_.stopRendering();
            testForce_ = {};
            leaseEnd_ = 0;
            return;
        }
        // Again when on already: the library may have cut the drives (speed limit).
        device_.render(testForce_, gravity_);
    });
}

std::string Session::setGravity(bool on) {
    return control([&] {
        gravity_ = on;
        if (device_.rendering()) device_.setGravity(on);
    });
}

std::string Session::setTestForce(const Vector& force) {
    return control([&] {
        testForce_ = clampMagnitude(force, kMaxTestForce);
        bool zero = testForce_[0] == 0 && testForce_[1] == 0 && testForce_[2] == 0;
        leaseEnd_ = zero ? 0 : now() + kForceLease;
        if (device_.rendering()) device_.setForce(testForce_);
    });
}

std::string Session::loadCalibration() {
    return control([&] {
        calibrated_ = false;
        device_.loadCalibration();
        calibrated_ = true;
    });
}

} // namespace qeltool
