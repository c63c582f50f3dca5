// SPDX-License-Identifier: MIT
// What tests and the launcher read from the emulated device and set on it from outside the
// line: registers, counters, logs, outputs, inputs and the arm's pose.
#include "device.h"

#include "device_internal.h"

namespace qelemu {

uint16_t Device::reg(uint16_t number) const {
    std::lock_guard<std::mutex> lock(mutex_);
    return registers_[number];
}

void Device::setReg(uint16_t number, uint16_t value) {
    std::lock_guard<std::mutex> lock(mutex_);
    registers_[number] = value;
}

uint32_t Device::reg32(uint16_t number) const {
    std::lock_guard<std::mutex> lock(mutex_);
    return registers_[number] | static_cast<uint32_t>(registers_[uint16_t(number + 1)]) << 16;
}

void Device::setReg32(uint16_t number, uint32_t value) {
    std::lock_guard<std::mutex> lock(mutex_);
    registers_[number] = static_cast<uint16_t>(value);
    registers_[uint16_t(number + 1)] = static_cast<uint16_t>(value >> 16);
}

uint64_t Device::frames(uint8_t code) const {
    std::lock_guard<std::mutex> lock(mutex_);
    return frames_[code];
}

uint64_t Device::badChecksums() const {
    std::lock_guard<std::mutex> lock(mutex_);
    return badChecksums_;
}

uint64_t Device::unknownCodes() const {
    std::lock_guard<std::mutex> lock(mutex_);
    return unknownCodes_;
}

uint64_t Device::garbageBytes() const {
    std::lock_guard<std::mutex> lock(mutex_);
    return garbageBytes_;
}

void Device::countUnknownCode() {
    std::lock_guard<std::mutex> lock(mutex_);
    ++unknownCodes_;
}

void Device::countGarbage(size_t bytes) {
    std::lock_guard<std::mutex> lock(mutex_);
    garbageBytes_ += bytes;
}

int64_t Device::longestCyclicGapNs() const {
    std::lock_guard<std::mutex> lock(mutex_);
    return longestCyclicGapNs_;
}

void Device::resetCyclicGap() {
    std::lock_guard<std::mutex> lock(mutex_);
    lastCyclicNs_ = 0;
    longestCyclicGapNs_ = 0;
}

std::vector<uint8_t> Device::lastRequest(uint8_t code) const {
    std::lock_guard<std::mutex> lock(mutex_);
    if (code < 0xA0 || code > 0xB0) return {};
    const uint8_t* at = lastRequest_[code - 0xA0];
    return std::vector<uint8_t>(at, at + lastRequestLength_[code - 0xA0]);
}

void Device::startCyclicLog(size_t capacity) {
    std::lock_guard<std::mutex> lock(mutex_);
    cyclicLog_.clear();
    cyclicLog_.reserve(capacity);
    cyclicLogOn_ = true;
}

std::vector<Device::CyclicLogEntry> Device::stopCyclicLog() {
    std::lock_guard<std::mutex> lock(mutex_);
    cyclicLogOn_ = false;
    std::vector<CyclicLogEntry> log;
    log.swap(cyclicLog_);
    return log;
}

CyclicRequest Device::lastCyclic() const {
    std::lock_guard<std::mutex> lock(mutex_);
    return lastCyclic_;
}

uint8_t Device::mode() const {
    std::lock_guard<std::mutex> lock(mutex_);
    return mode_;
}

uint8_t Device::leds() const {
    std::lock_guard<std::mutex> lock(mutex_);
    return leds_;
}

bool Device::brakes() const {
    std::lock_guard<std::mutex> lock(mutex_);
    return brakes_;
}

bool Device::drivesEnabled() const {
    std::lock_guard<std::mutex> lock(mutex_);
    return drives_;
}

int16_t Device::motorCommand(int motor) const {
    std::lock_guard<std::mutex> lock(mutex_);
    return motor >= 0 && motor < 3 ? motor_[motor] : 0;
}

uint16_t Device::motorVelocity() const {
    std::lock_guard<std::mutex> lock(mutex_);
    return motorVelocity_;
}

std::array<uint32_t, 3> Device::presetOffsets() const {
    std::lock_guard<std::mutex> lock(mutex_);
    return {preset_[0], preset_[1], preset_[2]};
}

void Device::setStatusWord(uint16_t word) {
    std::lock_guard<std::mutex> lock(mutex_);
    statusWord_ = word;
}

void Device::setButtons(uint8_t bits) {
    std::lock_guard<std::mutex> lock(mutex_);
    statusWord_ = static_cast<uint16_t>((statusWord_ & 0xFF00) | bits);
}

uint16_t Device::statusWord() const {
    std::lock_guard<std::mutex> lock(mutex_);
    return statusWord_;
}

void Device::setChannelStatus(int channel, uint8_t status) {
    std::lock_guard<std::mutex> lock(mutex_);
    if (channel >= 0 && channel < 6) channelStatus_[channel] = status;
}

void Device::setMotorCurrent(int channel, std::optional<int16_t> current) {
    std::lock_guard<std::mutex> lock(mutex_);
    if (channel >= 0 && channel < 6) currentPin_[channel] = current;
}

void Device::setEncoderVelocity(int channel, std::optional<int16_t> velocity) {
    std::lock_guard<std::mutex> lock(mutex_);
    if (channel >= 0 && channel < 6) velocityPin_[channel] = velocity;
}

void Device::jointAngles(double q[6]) const {
    std::lock_guard<std::mutex> lock(mutex_);
    arm_->jointAngles(q);
}

bool Device::position(double p[3]) const {
    std::lock_guard<std::mutex> lock(mutex_);
    return arm_->position(p);
}

void Device::setJointAngles(const double q[6]) {
    std::lock_guard<std::mutex> lock(mutex_);
    arm_->setJointAngles(q);
}

bool Device::setPosition(const double p[3]) {
    std::lock_guard<std::mutex> lock(mutex_);
    return arm_->setPosition(p);
}

uint32_t Device::encoderCount(int channel) const {
    std::lock_guard<std::mutex> lock(mutex_);
    if (channel < 0 || channel >= 6) return 0;
    double q[6];
    arm_->jointAngles(q);
    return countLocked(channel, q) + (channel < 3 ? preset_[channel] : 0);
}

uint32_t Device::countForAngle(int channel, double angle) const {
    std::lock_guard<std::mutex> lock(mutex_);
    if (channel < 0 || channel >= 6) return 0;
    double q[6] = {};
    q[channel] = angle;
    return countLocked(channel, q);
}

void Device::setPhysics(bool on) {
    std::lock_guard<std::mutex> lock(mutex_);
    arm_->setPhysics(on);
    lastStepNs_ = 0;
}

void Device::setHand(const HandScript& hand) {
    std::lock_guard<std::mutex> lock(mutex_);
    arm_->setHand(hand);
}

} // namespace qelemu
