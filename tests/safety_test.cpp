// Safe beside other programs and through every exit: one owner per port, drives off when a
// program leaves without closing, no undefined force, and a real position once calibration
// returns. The second programs are this test program run again in a role (QEL_SAFETY_ROLE),
// and qel-tool, under the same emulated device.
#include <gtest/gtest.h>
#include <sys/wait.h>

#include <algorithm>
#include <chrono>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <limits>
#include <memory>
#include <string>
#include <unistd.h>

#include "QEL.h"
#include "QEL_OPEN.h"
#include "emulator.h"
#include "fixtures.h"

namespace {

using qeltest::waitUntil;

std::string role() {
    const char* r = std::getenv("QEL_SAFETY_ROLE");
    return r ? r : "";
}

double secondsSince(std::chrono::steady_clock::time_point start) {
    return std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
}

// Runs a command (with this program as $SELF) and returns its exit status and its output.
int run(const std::string& command, std::string* output = nullptr) {
    char self[4096] = {};
    EXPECT_GT(readlink("/proc/self/exe", self, sizeof self - 1), 0);
    FILE* pipe = popen(("SELF='" + std::string(self) + "'; " + command + " 2>&1").c_str(), "r");
    if (!pipe) return -1;
    char buffer[512];
    std::string text;
    while (std::fgets(buffer, sizeof buffer, pipe)) text += buffer;
    if (output) *output = text;
    int status = pclose(pipe);
    return WIFEXITED(status) ? WEXITSTATUS(status) : -1;
}

std::string inRole(const char* name) {
    return std::string("QEL_SAFETY_ROLE=") + name + " \"$SELF\" --gtest_filter=SecondProgram.*";
}

class Safety : public qeltest::InterfaceTest {
protected:
    void TearDown() override {
        InterfaceTest::TearDown();
        emulator.reset();
    }
    // The emulated device, opened, initialised and calibrated through the interface, with the
    // handle off the device's axis.
    void start() {
        qelemu::EmulatorOptions options;
        options.device.resize(1);
        options.device[0].usePosition = true;
        options.device[0].position[0] = 20;
        options.device[0].position[1] = -15;
        options.device[0].position[2] = 190;
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
    // Frames of every kind but the cyclic one.
    uint64_t commandFrames() {
        uint64_t n = 0;
        for (int code = 0; code < 256; ++code)
            if (code != 0xB0) n += device().frames(static_cast<uint8_t>(code));
        return n;
    }
    // The commands of a pass that began after the call.
    void motorCommandsAfterPasses(int commands[3]) {
        uint64_t from = device().frames(0xB0);
        ASSERT_TRUE(waitUntil([&] { return device().frames(0xB0) >= from + 3; }));
        for (int i = 0; i < 3; ++i) commands[i] = device().motorCommand(i);
    }
    std::unique_ptr<qelemu::Emulator> emulator;
};

TEST_F(Safety, ASecondOpenerIsTurnedAwayAtOnceAndTheOwnerLosesNothing) {
    start();
    powerForces();
    ASSERT_EQ(qelSetForce(0, 0, 0.5, 1), 1);
    uint64_t cyclic = device().frames(0xB0);
    uint64_t commands = commandFrames();

    // Another device object in this program, another program through the library, qel-tool.
    QEL other;
    auto start = std::chrono::steady_clock::now();
    EXPECT_EQ(other.Open(1), 0);
    EXPECT_LT(secondsSince(start), 0.1);
    EXPECT_EQ(other.m_ErrCode, 16);
    std::string output;
    EXPECT_EQ(run(inRole("open")), 0);
    EXPECT_EQ(run("\"" QEL_TOOL "\" list", &output), 0) << output;
    EXPECT_NE(output.find("in use"), std::string::npos) << output;
    EXPECT_EQ(run("\"" QEL_TOOL "\" info -d 1", &output), 36) << output;
    EXPECT_NE(output.find("in use"), std::string::npos) << output;

    // The owner's loop went on undisturbed: nobody else's frame reached the device, and a
    // lost or garbled reply would have left an error pending that fails this read.
    double x, y, z;
    EXPECT_EQ(qelGetPosition(&x, &y, &z, 1), 1);
    EXPECT_EQ(commandFrames(), commands);
    EXPECT_EQ(device().badChecksums() + device().unknownCodes() + device().garbageBytes(), 0u);
    EXPECT_GT(device().frames(0xB0), cyclic);
    EXPECT_TRUE(device().drivesEnabled());
}

TEST_F(Safety, AProgramThatLeavesWithForceOnSwitchesTheDrivesOff) {
    emulator.reset(new qelemu::Emulator());
    std::string output;
    EXPECT_EQ(run(inRole("leave"), &output), 0) << output;
    EXPECT_GE(device().frames(0xA7), 2u) << "the drives were switched on, then off";
    EXPECT_FALSE(device().drivesEnabled());
}

TEST_F(Safety, NonFiniteForceIsNoForceAlongItsAxis) {
    start();
    powerForces();
    const double inf = std::numeric_limits<double>::infinity();
    int plain[3], withBadX[3];
    ASSERT_EQ(qelSetForce(0, 0, 1, 1), 1);
    motorCommandsAfterPasses(plain);
    for (double bad : {std::nan(""), inf, -inf}) {
        ASSERT_EQ(qelSetForce(bad, 0, 1, 1), 1);
        motorCommandsAfterPasses(withBadX);
        for (int i = 0; i < 3; ++i) EXPECT_EQ(withBadX[i], plain[i]) << bad;
        ASSERT_EQ(qelSetForce(bad, bad, bad, 1), 1);
        motorCommandsAfterPasses(withBadX);
        for (int i = 0; i < 3; ++i) EXPECT_EQ(withBadX[i], 0) << bad;
    }
    // Finite but far beyond range: the motors saturate.
    ASSERT_EQ(qelSetForce(1e300, -1e300, 1e300, 1), 1);
    motorCommandsAfterPasses(withBadX);
    int strongest = 0;
    for (int c : withBadX) strongest = std::max(strongest, std::abs(c));
    EXPECT_EQ(strongest, 32767);
    EXPECT_EQ(qelSetForce(0, 0, 0, 1), 1);
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

// ---- The second programs ----

TEST(SecondProgram, Open) {
    if (role() != "open") GTEST_SKIP() << "run by Safety tests";
    // The device's settle time is left as it is: the refusal must come before it.
    ASSERT_EQ(qelGetDeviceCount(), 1);
    auto start = std::chrono::steady_clock::now();
    EXPECT_EQ(qelOpen(), 0);
    EXPECT_LT(secondsSince(start), 0.1);
    qeltest::expectLastError(16, 1, "Device Open Failed");
}

TEST(SecondProgram, Leave) {
    if (role() != "leave") GTEST_SKIP() << "run by Safety tests";
    hal::UartDevices::settleMicroseconds = 0;
    ASSERT_EQ(qelOpen(), 1);
    ASSERT_EQ(qelInit(1), 1);
    ASSERT_EQ(qelCalibrateDevice(1), 1);
    ASSERT_EQ(qelEnableForce(1, 1), 1);
    ASSERT_EQ(qelEnableDevice(true, 1), 1);
    ASSERT_EQ(qelSetForce(0, 0, 1, 1), 1);
    // Leaves as a program that returns from main without closing.
    std::exit(0);
}

} // namespace
