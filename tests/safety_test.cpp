// SPDX-License-Identifier: MIT
// Safe beside other programs and through every exit, and the units docs/frame.md states. The
// second programs are this program run again in a role (QEL_SAFETY_ROLE), and qel-tool.
#include <gtest/gtest.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <cmath>
#include <cstdlib>
#include <memory>
#include <string>

#include "QEL.h"
#include "QEL_OPEN.h"
#include "emulator.h"
#include "fixtures.h"
#include "wire.h"

namespace {

namespace cmd = qelemu::cmd;

bool inRole(const char* role) {
    const char* r = std::getenv("QEL_SAFETY_ROLE");
    return r && std::string(r) == role;
}

double secondsSince(std::chrono::steady_clock::time_point start) {
    return std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
}

// Runs a shell command, $SELF naming this program; its exit status, its output in `output`.
int run(const std::string& command, std::string* output = nullptr) {
    char self[4096] = {};
    EXPECT_GT(readlink("/proc/self/exe", self, sizeof self - 1), 0);
    FILE* pipe = popen(("SELF='" + std::string(self) + "'; " + command + " 2>&1").c_str(), "r");
    std::string text;
    for (char buffer[512]; pipe && std::fgets(buffer, sizeof buffer, pipe);) text += buffer;
    if (output) *output = text;
    int status = pipe ? pclose(pipe) : -1;
    return WIFEXITED(status) ? WEXITSTATUS(status) : -1;
}

const char kSecondOpen[] = "QEL_SAFETY_ROLE=open \"$SELF\" --gtest_filter=SecondProgram.*";
const char kSecondLeave[] = "QEL_SAFETY_ROLE=leave \"$SELF\" --gtest_filter=SecondProgram.*";

class Safety : public qeltest::InterfaceTest {
protected:
    void TearDown() override {
        InterfaceTest::TearDown();
        emulator.reset();
    }
    // Opened, initialised and calibrated, the handle off the plane x = 0 (where the Jacobian,
    // solved without exchanging rows, is poor).
    void start() {
        qelemu::EmulatorOptions options;
        options.device.resize(1);
        options.device[0].usePosition = true;
        const double at[3] = {30, -10, 190};
        std::copy(at, at + 3, options.device[0].position);
        emulator.reset(new qelemu::Emulator(options));
        ASSERT_EQ(qelOpen(), 1);
        ASSERT_EQ(qelInit(1), 1);
        ASSERT_EQ(qelCalibrateDevice(1), 1);
    }
    void powerForces() {
        ASSERT_EQ(qelEnableForce(1, 1), 1);
        ASSERT_EQ(qelEnableDevice(true, 1), 1);
    }
    qelemu::Device& device() { return emulator->device(0); }
    // Returns once a pass that began after the call has been answered.
    void afterPasses() {
        uint64_t from = device().frames(cmd::Cyclic);
        ASSERT_TRUE(qeltest::waitUntil([&] { return device().frames(cmd::Cyclic) >= from + 3; }));
    }
    void motorCommands(int commands[3]) {
        afterPasses();
        for (int i = 0; i < 3; ++i) commands[i] = device().motorCommand(i);
    }
    uint64_t nonCyclicFrames() {
        uint64_t n = 0;
        for (int code = 0; code < 256; ++code)
            if (code != cmd::Cyclic) n += device().frames(static_cast<uint8_t>(code));
        return n;
    }
    std::unique_ptr<qelemu::Emulator> emulator;
};

TEST_F(Safety, ASecondOpenerIsTurnedAwayAtOnceAndTheOwnerLosesNothing) {
    start();
    powerForces();
    ASSERT_EQ(qelSetForce(0, 0, 0.5, 1), 1);
    uint64_t cyclic = device().frames(cmd::Cyclic), others = nonCyclicFrames();

    // Another device object in this program, another program through the library, qel-tool.
    QEL other;
    auto start = std::chrono::steady_clock::now();
    EXPECT_EQ(other.Open(1), 0);
    EXPECT_LT(secondsSince(start), 0.1);
    EXPECT_EQ(other.m_ErrCode, 16);
    std::string output;
    EXPECT_EQ(run(kSecondOpen, &output), 0) << output;
    EXPECT_EQ(run("\"" QEL_TOOL "\" list", &output), 0) << output;
    EXPECT_NE(output.find("in use"), std::string::npos) << output;
    EXPECT_EQ(run("\"" QEL_TOOL "\" info -d 1", &output), 36) << output;
    EXPECT_NE(output.find("in use"), std::string::npos) << output;

    // No foreign frame reached the device, and a lost or garbled reply would have left an error
    // pending in the owner, which fails this read.
    double x, y, z;
    EXPECT_EQ(qelGetPosition(&x, &y, &z, 1), 1);
    EXPECT_EQ(nonCyclicFrames(), others);
    EXPECT_EQ(device().badChecksums() + device().unknownCodes() + device().garbageBytes(), 0u);
    EXPECT_GT(device().frames(cmd::Cyclic), cyclic);
    EXPECT_TRUE(device().drivesEnabled());
}

TEST_F(Safety, AProgramThatLeavesWithForceOnSwitchesTheDrivesOff) {
    emulator.reset(new qelemu::Emulator());
    std::string output;
    EXPECT_EQ(run(kSecondLeave, &output), 0) << output;
    EXPECT_GE(device().frames(0xA7), 2u) << "the drives were switched on, then off";
    EXPECT_FALSE(device().drivesEnabled());
}

TEST_F(Safety, NonFiniteForceIsNoForceAlongItsAxis) {
    start();
    powerForces();
    int plain[3], bad[3];
    ASSERT_EQ(qelSetForce(0, 0, 1, 1), 1);
    motorCommands(plain);
    for (double value : {NAN, INFINITY, -INFINITY}) {
        ASSERT_EQ(qelSetForce(value, 0, 1, 1), 1);
        motorCommands(bad);
        for (int i = 0; i < 3; ++i) EXPECT_EQ(bad[i], plain[i]) << value;
        ASSERT_EQ(qelSetForce(value, value, value, 1), 1);
        motorCommands(bad);
        for (int i = 0; i < 3; ++i) EXPECT_EQ(bad[i], 0) << value;
    }
    // Finite but far beyond range: the motors saturate.
    ASSERT_EQ(qelSetForce(1e300, -1e300, 1e300, 1), 1);
    motorCommands(bad);
    EXPECT_EQ(std::max({std::abs(bad[0]), std::abs(bad[1]), std::abs(bad[2])}), 32767);
}

// The arm's joints are stepped by what the rates the device reports would carry them in
// +-5 ms, so that no clock of a busy machine enters the measurement.
TEST_F(Safety, LinearVelocityIsMillimetresPerSecondTimesMinus128OverTheResolution) {
    start();
    // 1/128 turn per second a unit, positive as the joint angle rises.
    const int units[3] = {12, -7, 4};
    const double dt = 0.005, factor = -1048576.0 / 128;
    for (int i = 0; i < 3; ++i) device().setEncoderVelocity(i, units[i]);
    double q[6], p[2][3], reported[3];
    device().jointAngles(q);
    afterPasses();
    ASSERT_EQ(qelGetLinearVelocity(&reported[0], &reported[1], &reported[2], 1), 1);
    for (int side = 0; side < 2; ++side) {
        double moved[6];
        for (int i = 0; i < 6; ++i)
            moved[i] = q[i] + (i < 3 ? (2 * side - 1) * units[i] * 2 * M_PI / 128 * dt : 0);
        device().setJointAngles(moved);
        afterPasses();
        ASSERT_EQ(qelGetPosition(&p[side][0], &p[side][1], &p[side][2], 1), 1);
    }
    for (int k = 0; k < 3; ++k)
        EXPECT_NEAR((p[1][k] - p[0][k]) / (2 * dt), factor * reported[k],
                    0.005 * std::abs(factor * reported[k]) + 0.01)
            << "axis " << k;
}

TEST(Calibration, ReturnsOnlyOnceThePositionIsSolved) {
    hal::UartDevices::settleMicroseconds = 0;
    qelemu::Emulator emulator;
    ASSERT_EQ(QEL::GetDeviceCount(), 1);
    QEL device;
    // Each round a first calibration: the device is brought up afresh, its position reset.
    for (int round = 0; round < 1000; ++round) {
        ASSERT_EQ(device.Open(1), 1);
        ASSERT_EQ(device.Initialize(), 1) << "round " << round << ": " << device.m_ErrString;
        ASSERT_EQ(device.GetCalibration(), 1) << "round " << round << ": " << device.m_ErrString;
        ASSERT_FALSE(device.m_Position[0] == 0 && device.m_Position[1] == 0 &&
                     device.m_Position[2] == 0)
            << "round " << round << ": " << device.m_ErrString;
        ASSERT_EQ(device.Close(), 1);
    }
}

TEST(SecondProgram, Open) {
    if (!inRole("open")) GTEST_SKIP() << "run by Safety tests";
    // The settle time is left as it is: the refusal comes before it.
    ASSERT_EQ(qelGetDeviceCount(), 1);
    auto start = std::chrono::steady_clock::now();
    EXPECT_EQ(qelOpen(), 0);
    EXPECT_LT(secondsSince(start), 0.1);
    qeltest::expectLastError(16, 1, "Device Open Failed");
}

TEST(SecondProgram, Leave) {
    if (!inRole("leave")) GTEST_SKIP() << "run by Safety tests";
    hal::UartDevices::settleMicroseconds = 0;
    ASSERT_EQ(qelOpen(), 1);
    ASSERT_EQ(qelInit(1), 1);
    ASSERT_EQ(qelCalibrateDevice(1), 1);
    ASSERT_EQ(qelEnableForce(1, 1), 1);
    ASSERT_EQ(qelEnableDevice(true, 1), 1);
    ASSERT_EQ(qelSetForce(0, 0, 1, 1), 1);
    std::exit(0); // as a program that returns from main without closing
}

} // namespace
