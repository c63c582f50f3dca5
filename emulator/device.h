// SPDX-License-Identifier: MIT
// One emulated device: its register bank, the state the host sets through the line (mode,
// LEDs, brakes, drives, motor commands), the arm it reports encoder counts of, and the faults
// a test asks it to commit. The device answers one request frame at a time through handle(),
// a plain function call; the serving thread of Emulator feeds it from the port.
//
// Every public member is safe to call from any thread while the serving thread runs.
//
// Device units and defaults (registers are 16-bit; 32-bit values span two registers, low
// half first):
// - encoder resolution (128/129): 1048576 counts per joint turn (2^20);
// - nominal torque (130): 100 N*mm at the motor; nominal current (131): 2000 mA;
// - spring registers (132/133/134): 1250, 0, 0 (a type-2 spring of initial length 12.5);
// - device type (135): 1, or the DeviceOptions' type;
// - serial number (136/137): 10001 + device index unless DeviceOptions names one;
// - calibration limits (100..123): lower limit of the arm joints 948576, upper limit lower +
//   the arm's range of motion in counts (88 degrees for type 1, 149 for type 2), so the range
//   crosses the single-turn wrap at 1048576; the wrist's lower limit 100000 and upper limit
//   lower + its range (240, 115/125, 320/335 degrees);
// - encoder velocity: 1/128 of a joint turn per second (2.8125 degrees/s) per unit, signed
//   16-bit, positive as the joint angle rises (the count falls). The host subtracts 200 motor
//   units per unit from its motor commands outside a dead band of 15 units (about 42
//   degrees/s); with a positive motor command driving the angle up, only this sign makes that
//   term a damping. The host's joint velocity, -2 pi v / resolution, therefore runs opposite
//   to the joint's motion;
// - motor current: motor command / 32767 * nominal current while the drives are on, else 0.
//
// Encoder count of channel i: min_i + (DefAng_i - angle_i) / 360 * resolution, rounded, modulo
// 2^32, where DefAng is 86.5 (type 1) or 149 (type 2) degrees for the arm and 120, 45, 167.5
// degrees for the wrist's yaw, pitch and roll; a preset offsets channels 0-2.
#ifndef QELEMU_DEVICE_H
#define QELEMU_DEVICE_H

#include <array>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <vector>

#include "arm_model.h"
#include "wire.h"

namespace qelemu {

// Register numbers the host uses.
namespace reg {
constexpr uint16_t CalibrationFirst = 100; // lower limit of axis j at 100 + 4j, upper at 102 + 4j
constexpr uint16_t CalibrationLast = 123;
constexpr uint16_t Resolution = 128; // 32-bit
constexpr uint16_t NominalTorque = 130;
constexpr uint16_t NominalCurrent = 131;
constexpr uint16_t SpringLength = 132;
constexpr uint16_t SpringForce = 133;
constexpr uint16_t Reserved134 = 134;
constexpr uint16_t DeviceType = 135;
constexpr uint16_t SerialNumber = 136; // 32-bit
constexpr uint16_t Commit = 199;       // writing CommitValue stores the bank
constexpr uint16_t CommitValue = 170;
} // namespace reg

enum class FaultKind {
    CorruptChecksum, // the reply's last checksum byte is altered
    WrongHeader,     // byte 0 is 0xBF, checksum recomputed so that it still passes
    WrongCode,       // byte 1 is the request's code + 1, checksum recomputed
    ShortReply,      // the reply's last byte is not sent
    SplitReply,      // the reply goes out in two writes, pauseMs apart
    NoReply,         // nothing is sent
    ZeroAck,         // acknowledgement byte 0 (mode byte 0 for 0xA3), checksum recomputed;
                     // applies to acknowledgement and mode replies only
    Delay,           // pauseMs before the reply is sent
    Unplug,          // the port is removed instead of replying
};
constexpr int kFaultKinds = 9;

struct Fault {
    enum class When {
        Next,     // the next reply it applies to, once
        EveryNth, // every nth reply it applies to, counted from when it was injected
        OnCode,   // every reply to requests with the given code
    };
    FaultKind kind = FaultKind::NoReply;
    When when = When::Next;
    int every = 1;
    uint8_t code = 0;
    int pauseMs = 20;   // Delay, SplitReply
    size_t splitAt = 0; // SplitReply: bytes in the first write; 0 = half the reply

    static Fault next(FaultKind kind) { return Fault{kind, When::Next, 1, 0}; }
    static Fault everyNth(FaultKind kind, int n) { return Fault{kind, When::EveryNth, n, 0}; }
    static Fault onCode(FaultKind kind, uint8_t code) { return Fault{kind, When::OnCode, 1, code}; }
    Fault& pause(int ms) {
        pauseMs = ms;
        return *this;
    }
    Fault& split(size_t at) {
        splitAt = at;
        return *this;
    }
};

struct DeviceOptions {
    int type = 1;              // register 135 at first start (when no state file exists)
    uint32_t serialNumber = 0; // 0: 10001 + device index
    // Registers are read from this file at start and restart() and written to it on commit;
    // empty: no persistence, each start has the defaults.
    std::string stateFile;
    // Initial pose: joint angles in radians (three arm joints, wrist yaw, pitch, roll); with
    // usePosition the handle position instead (millimetres, inverse kinematics).
    double jointAngles[6] = {0.6981317, 0.6981317, 0.6981317, 0, 0, 0}; // arm at 40 degrees
    bool usePosition = false;
    double position[3] = {0, 0, 180};
    bool physics = false;
    HandScript hand;
};

// What the host sent in the last full cyclic frame (0xB0), decoded.
struct CyclicRequest {
    uint8_t motorCount = 0;   // low nibble of byte 2
    uint8_t channelCount = 0; // high nibble of byte 2
    uint8_t control[6] = {};
    uint32_t target[6] = {};
    int16_t velocityTarget[6] = {};
    int16_t motor[6] = {};
    uint16_t commandWord = 0;
};

class Device {
public:
    Device(int index, const DeviceOptions& options = DeviceOptions());
    ~Device();
    Device(const Device&) = delete;
    Device& operator=(const Device&) = delete;

    int index() const { return index_; }

    // Answers one complete request frame (its full fixed length). Returns the reply length
    // written to `reply` (at least kMaxFrame bytes), or 0 when the device stays silent: a bad
    // checksum, an unknown code or a wrong length, each counted. Faults are not applied here.
    size_t handle(const uint8_t* request, size_t length, uint8_t* reply);

    // Registers. A write here is like a write from the line: lost on restart() unless
    // committed.
    uint16_t reg(uint16_t number) const;
    void setReg(uint16_t number, uint16_t value);
    uint32_t reg32(uint16_t number) const; // number = low half, number + 1 = high half
    void setReg32(uint16_t number, uint32_t value);
    void commit(); // what writing 170 to register 199 does
    uint32_t serialNumber() const { return reg32(reg::SerialNumber); }
    void setSerialNumber(uint32_t serial) { setReg32(reg::SerialNumber, serial); }
    int type() const { return static_cast<int16_t>(reg(reg::DeviceType)); }
    void setType(int type) { setReg(reg::DeviceType, static_cast<uint16_t>(type)); }

    // Traffic seen: answered frames per command code, and dropped requests.
    uint64_t frames(uint8_t code) const;
    uint64_t badChecksums() const;
    uint64_t unknownCodes() const;
    uint64_t garbageBytes() const; // bytes skipped while looking for a frame header
    // The longest time between two full cyclic frames (0xB0) answered since the last reset,
    // in nanoseconds; 0 before the second frame.
    int64_t longestCyclicGapNs() const;
    void resetCyclicGap();
    // The raw bytes of the last well-formed request with this code (empty if none).
    std::vector<uint8_t> lastRequest(uint8_t code) const;
    CyclicRequest lastCyclic() const;

    // A log of the full cyclic frames as they arrive: when (CLOCK_MONOTONIC nanoseconds), their
    // number among all cyclic frames, and the motor commands they carried. For measuring the
    // host's pass timing and command latency; the log holds at most `capacity` entries (the
    // first ones) and costs nothing until started.
    struct CyclicLogEntry {
        uint64_t frame = 0;
        int64_t ns = 0;
        int16_t motor[3] = {};
    };
    void startCyclicLog(size_t capacity);
    std::vector<CyclicLogEntry> stopCyclicLog();

    // State set by the host.
    uint8_t mode() const;
    uint8_t leds() const;
    bool brakes() const;
    bool drivesEnabled() const;
    int16_t motorCommand(int motor) const;         // last of 0xA1, 0xAF, 0xB0; motor 0..2
    uint16_t motorVelocity() const;                // last 0xAA value
    std::array<uint32_t, 3> presetOffsets() const; // added to channels 0-2 by 0xAB

    // State the device reports.
    void setStatusWord(uint16_t word);
    void setButtons(uint8_t bits); // the status word's low byte
    uint16_t statusWord() const;
    void setChannelStatus(int channel, uint8_t status);
    // Pins a channel's reported motor current; nullopt returns it to the derived value.
    void setMotorCurrent(int channel, std::optional<int16_t> current);
    // Pins a channel's reported encoder velocity; nullopt returns it to the model's.
    void setEncoderVelocity(int channel, std::optional<int16_t> velocity);

    // Ground truth and pose.
    void jointAngles(double q[6]) const;
    bool position(double p[3]) const;
    void setJointAngles(const double q[6]);
    bool setPosition(const double p[3]);
    // The count of a channel as the device reports it now (0xA0), preset included.
    uint32_t encoderCount(int channel) const;
    // The count for a joint angle (radians) from the current registers, without preset.
    uint32_t countForAngle(int channel, double angle) const;
    void setPhysics(bool on);
    void setHand(const HandScript& hand);

    // Faults: at most eight at a time.
    void injectFault(const Fault& fault);
    void clearFaults();
    uint64_t faultsApplied(FaultKind kind) const;

    // Power cycle: registers are read back from the state file (or the defaults without
    // one), so uncommitted writes are lost; mode, LEDs, drives, brakes, motor commands and
    // presets go back to their power-on values. Counters, faults and the pose are kept.
    void restart();

    // How the serving thread sends a reply after faults have been applied.
    struct ReplyPlan {
        size_t length = 0;  // bytes to send; 0 = none
        size_t splitAt = 0; // > 0: two writes
        int pauseMs = 0;    // between the two writes
        int delayMs = 0;    // before the first
        bool unplug = false;
    };
    // Applies the injected faults to a reply that handle() produced.
    ReplyPlan applyFaults(uint8_t* reply, size_t length);

    // For the serving thread's frame splitter.
    void countUnknownCode();
    void countGarbage(size_t bytes);

private:
    struct Arm;
    struct FaultRule {
        Fault fault;
        uint64_t seen = 0;
        bool active = false;
    };

    void loadRegisters();
    void commitLocked();
    void setDefaultRegisters();
    void powerOn();
    uint32_t countLocked(int channel, const double q[6]) const;
    int16_t velocityLocked(int channel, const double qdot[6]) const;
    int16_t currentLocked(int channel) const;
    void stepPhysicsLocked();
    void writeEncoderBlock(uint8_t* at, uint32_t count, bool fullCount) const;
    size_t cyclic(const uint8_t* req, uint8_t* reply);
    size_t shortCyclic(const uint8_t* req, uint8_t* reply);
    size_t readEncoders(uint8_t* reply);

    const int index_;
    const DeviceOptions options_;
    mutable std::mutex mutex_;
    std::unique_ptr<uint16_t[]> registers_; // 65536
    std::unique_ptr<Arm> arm_;

    uint64_t frames_[256] = {};
    uint64_t badChecksums_ = 0, unknownCodes_ = 0, garbageBytes_ = 0;
    uint8_t lastRequest_[17][kMaxFrame] = {};
    uint8_t lastRequestLength_[17] = {};
    CyclicRequest lastCyclic_;
    std::vector<CyclicLogEntry> cyclicLog_;
    bool cyclicLogOn_ = false;

    uint8_t mode_ = 0;
    uint8_t leds_ = 0;
    bool brakes_ = false;
    bool drives_ = false;
    int16_t motor_[3] = {};
    uint16_t motorVelocity_ = 0;
    uint32_t preset_[3] = {};
    uint16_t statusWord_ = 0;
    uint8_t channelStatus_[6] = {};
    std::optional<int16_t> currentPin_[6];
    std::optional<int16_t> velocityPin_[6];
    int64_t lastStepNs_ = 0;
    int64_t lastCyclicNs_ = 0;
    int64_t longestCyclicGapNs_ = 0;

    FaultRule faults_[8];
    uint64_t faultsApplied_[kFaultKinds] = {};
};

} // namespace qelemu

#endif
