// SPDX-License-Identifier: MIT
// The emulated device's state: its registers and their persistence, power-on, and the
// encoders, motor currents and physics that the arm model drives.
#include "device.h"

#include <cmath>
#include <cstdio>
#include <cstring>
#include <fstream>
#include <sstream>

#include "device_internal.h"

namespace qelemu {

namespace {

// The host converts with this eight-digit pi; converting with the same value keeps an
// angle -> count -> angle round trip exact to the count.
constexpr double kPi = 3.1415926;
constexpr uint32_t kDefaultResolution = 1u << 20;
constexpr uint32_t kArmLowerLimit = 948576; // 100000 counts below the single-turn wrap
constexpr uint32_t kWristLowerLimit = 100000;
constexpr uint8_t kPowerOnMode = 0x22;
// A physics step never covers more than this, so a pause in the host's traffic does not
// become one huge step.
constexpr double kMaxStepSeconds = 0.005;

double defaultAngleDeg(int type, int channel) {
    static const double wrist[3] = {120.0, 45.0, 167.5};
    if (channel >= 3) return wrist[channel - 3];
    return type == 2 ? 149.0 : 86.5;
}

double rangeDeg(int type, int channel) {
    static const double type1[6] = {88, 88, 88, 240, 115, 320};
    static const double type2[6] = {149, 149, 149, 240, 125, 335};
    return type == 2 ? type2[channel] : type1[channel];
}

double transmissionRatio(int type) { return type == 2 ? 11.89 : 20.0; }

int16_t saturate16(double v) {
    if (v > 32767) return 32767;
    if (v < -32767) return -32767;
    return static_cast<int16_t>(std::lround(v));
}

} // namespace

Device::Device(int index, const DeviceOptions& options)
    : index_(index), options_(options), registers_(new uint16_t[65536]()),
      arm_(new Arm(options.type)) {
    loadRegisters();
    powerOn();
    if (options.usePosition)
        arm_->setPosition(options.position);
    else
        arm_->setJointAngles(options.jointAngles);
    if (options.hand.kind != HandScript::None) arm_->setHand(options.hand);
    arm_->setPhysics(options.physics);
}

Device::~Device() = default;

void Device::setDefaultRegisters() {
    std::memset(registers_.get(), 0, 65536 * sizeof(uint16_t));
    uint16_t* r = registers_.get();
    const int type = options_.type;
    const uint32_t res = kDefaultResolution;
    auto set32 = [r](uint16_t n, uint32_t v) {
        r[n] = static_cast<uint16_t>(v);
        r[n + 1] = static_cast<uint16_t>(v >> 16);
    };
    for (int j = 0; j < 6; ++j) {
        uint32_t lower = j < 3 ? kArmLowerLimit : kWristLowerLimit;
        uint32_t span = static_cast<uint32_t>(std::lround(rangeDeg(type, j) / 360.0 * res));
        // Limits are single-turn readings: the arm's upper limit lies past the wrap, so it
        // reads below the lower one.
        set32(static_cast<uint16_t>(reg::CalibrationFirst + 4 * j), lower);
        set32(static_cast<uint16_t>(reg::CalibrationFirst + 4 * j + 2), (lower + span) % res);
    }
    set32(reg::Resolution, res);
    r[reg::NominalTorque] = 100;
    r[reg::NominalCurrent] = 2000;
    r[reg::SpringLength] = 1250;
    r[reg::SpringForce] = 0;
    r[reg::DeviceType] = static_cast<uint16_t>(type);
    set32(reg::SerialNumber,
          options_.serialNumber ? options_.serialNumber : 10001u + static_cast<uint32_t>(index_));
}

void Device::loadRegisters() {
    std::ifstream in;
    if (!options_.stateFile.empty()) in.open(options_.stateFile);
    if (!in.is_open()) {
        setDefaultRegisters();
        return;
    }
    // The file holds every non-zero register; the rest are zero.
    std::memset(registers_.get(), 0, 65536 * sizeof(uint16_t));
    std::string line;
    while (std::getline(in, line)) {
        if (line.empty() || line[0] == '#') continue;
        std::istringstream fields(line);
        unsigned number = 0, value = 0;
        if (fields >> number >> value && number < 65536)
            registers_[number] = static_cast<uint16_t>(value);
    }
}

void Device::commit() {
    std::lock_guard<std::mutex> lock(mutex_);
    commitLocked();
}

void Device::commitLocked() {
    if (options_.stateFile.empty()) return;
    // Written aside and renamed, so a reader never sees half a bank.
    std::string temporary = options_.stateFile + ".tmp";
    {
        std::ofstream out(temporary, std::ios::trunc);
        if (!out) return;
        out << "# emulated device registers: number value (registers not listed are 0)\n";
        for (unsigned n = 0; n < 65536; ++n)
            if (registers_[n]) out << n << ' ' << registers_[n] << '\n';
        if (!out) return;
    }
    std::rename(temporary.c_str(), options_.stateFile.c_str());
}

void Device::powerOn() {
    mode_ = kPowerOnMode;
    leds_ = 0;
    brakes_ = false;
    drives_ = false;
    for (int i = 0; i < 3; ++i) motor_[i] = 0, preset_[i] = 0;
    motorVelocity_ = 0;
    lastStepNs_ = 0;
}

void Device::restart() {
    std::lock_guard<std::mutex> lock(mutex_);
    loadRegisters();
    powerOn();
}

// ---- encoders ----

uint32_t Device::countLocked(int channel, const double q[6]) const {
    const uint16_t* r = registers_.get();
    int type = static_cast<int16_t>(r[reg::DeviceType]);
    double res = r[reg::Resolution] | static_cast<uint32_t>(r[reg::Resolution + 1]) << 16;
    uint16_t minReg = static_cast<uint16_t>(reg::CalibrationFirst + 4 * channel);
    uint32_t min = r[minReg] | static_cast<uint32_t>(r[minReg + 1]) << 16;
    double deg = q[channel] * 180.0 / kPi;
    int64_t offset = std::llround((defaultAngleDeg(type, channel) - deg) / 360.0 * res);
    return min + static_cast<uint32_t>(offset);
}

int16_t Device::velocityLocked(int channel, const double qdot[6]) const {
    if (velocityPin_[channel]) return *velocityPin_[channel];
    // One unit is 1/128 joint turn per second, counted positive as the joint angle rises (the
    // count falls): the sign under which the host's velocity term, which subtracts 200 motor
    // units per unit outside a dead band of 15, damps the motion, as it must on the device.
    return saturate16(qdot[channel] / (2 * kPi) * 128.0);
}

int16_t Device::currentLocked(int channel) const {
    if (currentPin_[channel]) return *currentPin_[channel];
    if (channel >= 3 || !drives_) return 0;
    return saturate16(motor_[channel] / 32767.0 *
                      static_cast<int16_t>(registers_[reg::NominalCurrent]));
}

void Device::stepPhysicsLocked() {
    if (!arm_->physicsOn) return;
    int64_t now = monotonicNs();
    double dt = lastStepNs_ ? (now - lastStepNs_) * 1e-9 : 0.0;
    lastStepNs_ = now;
    if (dt > kMaxStepSeconds) dt = kMaxStepSeconds;
    if (dt <= 0) return;
    // Motor command +-32767 is +- the nominal motor torque; the joint sees it through the
    // transmission.
    double scale = static_cast<int16_t>(registers_[reg::NominalTorque]) / 32767.0 *
                   transmissionRatio(options_.type);
    double torque[3] = {motor_[0] * scale, motor_[1] * scale, motor_[2] * scale};
    arm_->step(dt, torque, drives_);
}

} // namespace qelemu
