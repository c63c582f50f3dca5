// SPDX-License-Identifier: MIT
// The emulated device's answers to the host's frames: each request checked, acted on and
// answered with the reply's exact layout.
#include "device.h"

#include <algorithm>
#include <cstring>

#include "device_internal.h"

namespace qelemu {

namespace {

void put16be(uint8_t* at, uint16_t v) {
    at[0] = static_cast<uint8_t>(v >> 8);
    at[1] = static_cast<uint8_t>(v);
}
void put16le(uint8_t* at, uint16_t v) {
    at[0] = static_cast<uint8_t>(v);
    at[1] = static_cast<uint8_t>(v >> 8);
}
void put24le(uint8_t* at, uint32_t v) {
    at[0] = static_cast<uint8_t>(v);
    at[1] = static_cast<uint8_t>(v >> 8);
    at[2] = static_cast<uint8_t>(v >> 16);
}
uint16_t get16be(const uint8_t* at) { return static_cast<uint16_t>(at[0] << 8 | at[1]); }
uint16_t get16le(const uint8_t* at) { return static_cast<uint16_t>(at[1] << 8 | at[0]); }
uint32_t get24le(const uint8_t* at) {
    return static_cast<uint32_t>(at[0]) | static_cast<uint32_t>(at[1]) << 8 |
           static_cast<uint32_t>(at[2]) << 16;
}
// A 32-bit count as the preset and target fields carry it: the low half doubled in a 24-bit
// field, then the high half.
uint32_t getSplitCount(const uint8_t* at) { return (get24le(at) >> 1) + (get16le(at + 3) << 16); }

} // namespace

void Device::writeEncoderBlock(uint8_t* at, uint32_t count, bool fullCount) const {
    if (fullCount) {
        // The read-encoders reply carries the whole count: low half doubled, then high half.
        put24le(at, (count & 0xFFFF) * 2);
        put16le(at + 3, static_cast<uint16_t>(count >> 16));
        return;
    }
    const uint16_t* r = registers_.get();
    uint32_t res = r[reg::Resolution] | static_cast<uint32_t>(r[reg::Resolution + 1]) << 16;
    uint32_t single = res ? count % res : count;
    uint32_t turns = res ? count / res : 0;
    put24le(at, (single & 0x7FFFFF) * 2); // 23 significant bits
    put16le(at + 3, static_cast<uint16_t>(turns));
}

size_t Device::readEncoders(uint8_t* reply) {
    double q[6];
    arm_->jointAngles(q);
    for (int i = 0; i < 6; ++i) {
        uint32_t count = countLocked(i, q) + (i < 3 ? preset_[i] : 0);
        writeEncoderBlock(reply + 2 + 5 * i, count, true);
    }
    put16le(reply + 32, statusWord_);
    return 36;
}

size_t Device::shortCyclic(const uint8_t* req, uint8_t* reply) {
    for (int i = 0; i < 3; ++i) motor_[i] = static_cast<int16_t>(get16be(req + 2 + 2 * i));
    leds_ = req[9]; // the command word's low byte
    stepPhysicsLocked();
    double q[6];
    arm_->jointAngles(q);
    for (int i = 0; i < 6; ++i) {
        uint32_t count = countLocked(i, q) + (i < 3 ? preset_[i] : 0);
        writeEncoderBlock(reply + 2 + 5 * i, count, false);
    }
    for (int i = 0; i < 3; ++i) put16be(reply + 32 + 2 * i, static_cast<uint16_t>(motor_[i]));
    put16be(reply + 38, statusWord_); // big-endian in this frame
    return 42;
}

size_t Device::cyclic(const uint8_t* req, uint8_t* reply) {
    const int64_t now = monotonicNs();
    if (lastCyclicNs_) longestCyclicGapNs_ = std::max(longestCyclicGapNs_, now - lastCyclicNs_);
    lastCyclicNs_ = now;
    // The host's channel count is a nibble; the device has six channels.
    const int n = std::min(req[2] >> 4, 6);
    CyclicRequest& c = lastCyclic_;
    c.motorCount = req[2] & 0x0F;
    c.channelCount = static_cast<uint8_t>(n);
    for (int i = 0; i < n; ++i) {
        const uint8_t* b = req + 3 + 10 * i;
        c.control[i] = b[0];
        c.target[i] = getSplitCount(b + 1);
        c.velocityTarget[i] = static_cast<int16_t>(get16be(b + 6));
        c.motor[i] = static_cast<int16_t>(get16be(b + 8));
    }
    c.commandWord = get16be(req + 3 + 10 * n);
    leds_ = static_cast<uint8_t>(c.commandWord);
    for (int i = 0; i < n && i < 3; ++i) motor_[i] = c.motor[i];
    if (cyclicLogOn_ && cyclicLog_.size() < cyclicLog_.capacity()) {
        CyclicLogEntry entry;
        entry.frame = frames_[cmd::Cyclic];
        entry.ns = monotonicNs();
        for (int i = 0; i < 3; ++i) entry.motor[i] = motor_[i];
        cyclicLog_.push_back(entry);
    }

    stepPhysicsLocked();
    double q[6], qdot[6];
    arm_->jointAngles(q);
    arm_->jointVelocities(qdot);
    std::memset(reply + 2, 0, 63);
    reply[2] = static_cast<uint8_t>(n << 4 | 3);
    for (int i = 0; i < n; ++i) {
        uint8_t* b = reply + 3 + 10 * i;
        b[0] = channelStatus_[i];
        uint32_t count = countLocked(i, q) + (i < 3 ? preset_[i] : 0);
        writeEncoderBlock(b + 1, count, false);
        put16be(b + 6, static_cast<uint16_t>(velocityLocked(i, qdot)));
        put16be(b + 8, static_cast<uint16_t>(currentLocked(i)));
    }
    put16le(reply + 3 + 10 * n, statusWord_); // little-endian in this frame
    return 67;
}

size_t Device::handle(const uint8_t* req, size_t length, uint8_t* reply) {
    std::lock_guard<std::mutex> lock(mutex_);
    const uint8_t code = length >= 2 ? req[1] : 0;
    const size_t expected = requestLength(code);
    if (length < 2 || req[0] != kHeader || expected == 0) {
        ++unknownCodes_;
        return 0;
    }
    if (length != expected) {
        ++badChecksums_;
        return 0;
    }
    // The full cyclic frame's checksum follows the channels the host filled in; with fewer
    // than six channels the bytes after it are whatever the host's buffer held.
    size_t checked = expected;
    if (code == cmd::Cyclic) {
        int n = req[2] >> 4;
        if (n > 6) {
            ++badChecksums_;
            return 0;
        }
        checked = 7 + 10 * static_cast<size_t>(n);
    }
    if (crc16(req, checked) != 0) {
        ++badChecksums_;
        return 0;
    }
    ++frames_[code];
    std::memcpy(lastRequest_[code - 0xA0], req, length);
    lastRequestLength_[code - 0xA0] = static_cast<uint8_t>(length);

    reply[0] = kHeader;
    reply[1] = code;
    size_t body = 0; // reply length before the checksum
    switch (code) {
    case cmd::ReadEncoders:
        body = readEncoders(reply) - 2;
        break;
    case cmd::SetMotors:
        for (int i = 0; i < 3; ++i) motor_[i] = static_cast<int16_t>(get16be(req + 2 + 2 * i));
        body = 2;
        break;
    case cmd::SetMode:
        // Mode 0 would read back as a failure; the device refuses it.
        if (req[2] != 0) mode_ = req[2];
        reply[2] = req[2] != 0;
        body = 3;
        break;
    case cmd::GetMode:
        reply[2] = mode_;
        body = 3;
        break;
    case cmd::SetLed:
        leds_ = req[2];
        reply[2] = 1;
        body = 3;
        break;
    case cmd::GetMotors:
        for (int i = 0; i < 3; ++i) put16be(reply + 2 + 2 * i, static_cast<uint16_t>(motor_[i]));
        body = 8;
        break;
    case cmd::EnableDrives:
        drives_ = req[2] != 0;
        reply[2] = 1;
        body = 3;
        break;
    case cmd::SetBrakes:
        brakes_ = req[2] != 0;
        reply[2] = 1;
        body = 3;
        break;
    case cmd::GetBrakes:
        reply[2] = brakes_;
        body = 3;
        break;
    case cmd::SetMotorVelocity:
        motorVelocity_ = get16be(req + 2);
        reply[2] = 1;
        body = 3;
        break;
    case cmd::Preset: {
        // Offsets the reported counts so that the joints' present angles read as the values.
        double q[6];
        arm_->jointAngles(q);
        for (int i = 0; i < 3; ++i) preset_[i] = getSplitCount(req + 2 + 5 * i) - countLocked(i, q);
        reply[2] = 1;
        body = 3;
        break;
    }
    case cmd::ReadRegister: {
        uint16_t number = get16be(req + 2);
        put16be(reply + 2, number);
        put16be(reply + 4, registers_[number]);
        body = 6;
        break;
    }
    case cmd::WriteRegister: {
        uint16_t number = get16be(req + 2), value = get16be(req + 4);
        registers_[number] = value;
        put16be(reply + 2, number);
        put16be(reply + 4, value);
        body = 6;
        if (number == reg::Commit && value == reg::CommitValue) commitLocked();
        break;
    }
    case cmd::ShortCyclic:
        body = shortCyclic(req, reply) - 2;
        break;
    case cmd::Cyclic:
        body = cyclic(req, reply) - 2;
        break;
    }
    appendCrc(reply, body);
    return body + 2;
}

} // namespace qelemu
