#include "device.h"

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <cstring>
#include <ctime>
#include <fstream>
#include <sstream>

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

int64_t monotonicNs() {
    timespec ts;
    clock_gettime(CLOCK_MONOTONIC, &ts);
    return static_cast<int64_t>(ts.tv_sec) * 1000000000 + ts.tv_nsec;
}

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

int16_t saturate16(double v) {
    if (v > 32767) return 32767;
    if (v < -32767) return -32767;
    return static_cast<int16_t>(std::lround(v));
}

} // namespace

// The arm the encoders measure, kept out of the header.
struct Device::Arm {
    ArmModel model;
    bool physicsOn = false;
    explicit Arm(int type) : model(ArmGeometry::forType(type)) {}
    void setJointAngles(const double q[6]) { model.setJointAngles(q); }
    void jointAngles(double q[6]) const { model.jointAngles(q); }
    void jointVelocities(double v[6]) const { model.jointVelocities(v); }
    bool setPosition(const double p[3]) { return model.setPosition(p); }
    bool position(double p[3]) const { return model.position(p); }
    void setPhysics(bool on) {
        physicsOn = on;
        model.setPhysics(on);
    }
    void setHand(const HandScript& hand) { model.setHand(hand); }
    void step(double dt, const double torque[3], bool drives) { model.step(dt, torque, drives); }
};

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

// ---- frames ----

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

// ---- faults ----

Device::ReplyPlan Device::applyFaults(uint8_t* reply, size_t length) {
    std::lock_guard<std::mutex> lock(mutex_);
    ReplyPlan plan;
    plan.length = length;
    const uint8_t code = reply[1];
    unsigned matched = 0;
    int pauseMs = 0, delayMs = 0;
    size_t splitAt = 0;
    for (FaultRule& rule : faults_) {
        if (!rule.active) continue;
        const Fault& f = rule.fault;
        if (f.kind == FaultKind::ZeroAck && !isAcknowledgement(code)) continue;
        bool hit = false;
        switch (f.when) {
        case Fault::When::Next:
            hit = true;
            rule.active = false;
            break;
        case Fault::When::EveryNth:
            hit = ++rule.seen % static_cast<uint64_t>(f.every > 0 ? f.every : 1) == 0;
            break;
        case Fault::When::OnCode:
            hit = f.code == code;
            break;
        }
        if (!hit) continue;
        matched |= 1u << static_cast<int>(f.kind);
        if (f.kind == FaultKind::SplitReply) pauseMs = f.pauseMs, splitAt = f.splitAt;
        if (f.kind == FaultKind::Delay) delayMs += f.pauseMs;
    }
    if (!matched) return plan;
    auto has = [matched](FaultKind k) { return (matched >> static_cast<int>(k)) & 1u; };
    for (int k = 0; k < kFaultKinds; ++k)
        if (matched >> k & 1u) ++faultsApplied_[k];

    // Faults that leave a well-formed frame with wrong content recompute the checksum; the
    // checksum corruption comes after them.
    const size_t body = length - 2;
    if (has(FaultKind::WrongHeader)) reply[0] = 0xBF;
    if (has(FaultKind::WrongCode)) reply[1] = static_cast<uint8_t>(code + 1);
    if (has(FaultKind::ZeroAck)) reply[2] = 0;
    if (has(FaultKind::WrongHeader) || has(FaultKind::WrongCode) || has(FaultKind::ZeroAck))
        appendCrc(reply, body);
    if (has(FaultKind::CorruptChecksum)) reply[length - 1] ^= 0x5A;
    if (has(FaultKind::ShortReply)) plan.length = length - 1;
    if (has(FaultKind::SplitReply)) {
        plan.splitAt = splitAt ? splitAt : plan.length / 2;
        if (plan.splitAt >= plan.length) plan.splitAt = 0;
        plan.pauseMs = pauseMs;
    }
    if (has(FaultKind::Delay)) plan.delayMs = delayMs;
    if (has(FaultKind::NoReply)) plan.length = 0;
    if (has(FaultKind::Unplug)) plan.unplug = true, plan.length = 0;
    return plan;
}

void Device::injectFault(const Fault& fault) {
    std::lock_guard<std::mutex> lock(mutex_);
    for (FaultRule& rule : faults_) {
        if (rule.active) continue;
        rule.fault = fault;
        rule.seen = 0;
        rule.active = true;
        return;
    }
}

void Device::clearFaults() {
    std::lock_guard<std::mutex> lock(mutex_);
    for (FaultRule& rule : faults_) rule.active = false;
}

uint64_t Device::faultsApplied(FaultKind kind) const {
    std::lock_guard<std::mutex> lock(mutex_);
    return faultsApplied_[static_cast<int>(kind)];
}

// ---- accessors ----

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
