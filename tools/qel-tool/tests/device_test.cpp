// The subcommands run in this process against emulated devices: what they print, what they
// leave in the device's registers and drives, and the exit status each device fault gives.
#include <gtest/gtest.h>

#include <atomic>
#include <cmath>
#include <cstdio>
#include <fstream>
#include <iostream>
#include <memory>
#include <sstream>
#include <thread>
#include <unistd.h>

#include "QEL_OPEN.h"
#include "commands.h"
#include "device.h"
#include "emulator.h"
#include "failure.h"
#include "trace.h"
#include "uartconnector.h"

using namespace qeltool;
using qelemu::Fault;
using qelemu::FaultKind;

namespace {

struct Result {
    int status = kOk;
    std::string out;   // standard output
    std::string error; // the failure's message
};

// Runs a subcommand as main() does, with standard output captured and `input` as standard
// input for its questions.
Result tool(int (*run)(Args&), std::vector<std::string> words, const std::string& input = "") {
    std::istringstream in(input);
    std::streambuf* savedIn = std::cin.rdbuf(in.rdbuf());
    testing::internal::CaptureStdout();
    Result r;
    try {
        Args args(std::move(words));
        r.status = run(args);
    } catch (const Failure& e) {
        r.status = e.status;
        r.error = e.what();
    }
    std::fflush(stdout);
    r.out = testing::internal::GetCapturedStdout();
    std::cin.rdbuf(savedIn);
    return r;
}

bool contains(const std::string& text, const std::string& part) {
    return text.find(part) != std::string::npos;
}

constexpr double kDegree = 3.1415926 / 180.0;

class ToolOnEmulator : public ::testing::Test {
protected:
    void SetUp() override { hal::UartDevices::settleMicroseconds = 0; }
    void TearDown() override {
        stopSweep();
        for (int id = 1; id <= 10; ++id) qelClose(static_cast<char>(id));
        emulator.reset();
    }
    void start(int devices = 1, int type = 1) {
        qelemu::EmulatorOptions options;
        options.devices = devices;
        for (int k = 0; k < devices; ++k) {
            qelemu::DeviceOptions d;
            d.type = type;
            d.serialNumber = static_cast<uint32_t>(501 + k);
            options.device.push_back(d);
        }
        emulator.reset();
        emulator.reset(new qelemu::Emulator(options));
    }
    qelemu::Device& device(int index = 0) { return emulator->device(index); }

    // Holds arm joint 1 at `from` degrees, turns it to `to` within the first half of `seconds`
    // and holds it there, as a hand moving the arm from one end stop to the other.
    void sweep(double from, double to, double seconds) {
        sweeping = true;
        sweeper = std::thread([this, from, to, seconds] {
            double q[6] = {40 * kDegree, 40 * kDegree, 40 * kDegree, 0, 0, 0};
            const int steps = 100;
            for (int k = 0; k <= steps && sweeping; ++k) {
                double f = std::min(1.0, std::max(0.0, (k - 0.2 * steps) / (0.3 * steps)));
                q[0] = (from + (to - from) * f) * kDegree;
                device().setJointAngles(q);
                usleep(static_cast<useconds_t>(seconds * 1e6 / steps));
            }
        });
    }
    void stopSweep() {
        sweeping = false;
        if (sweeper.joinable()) sweeper.join();
    }

    std::unique_ptr<qelemu::Emulator> emulator;
    std::thread sweeper;
    std::atomic<bool> sweeping{false};
};

} // namespace

// ---- list, info, param ----

TEST_F(ToolOnEmulator, ListShowsEachDevicesNodeSerialNumberAndType) {
    start(2, 2);
    Result r = tool(runList, {});
    EXPECT_EQ(r.status, kOk) << r.error;
    EXPECT_TRUE(contains(r.out, "1   " + emulator->devnode(0))) << r.out;
    EXPECT_TRUE(contains(r.out, "501        2\n")) << r.out;
    EXPECT_TRUE(contains(r.out, "2   " + emulator->devnode(1))) << r.out;
    EXPECT_TRUE(contains(r.out, "502        2\n")) << r.out;
}

TEST_F(ToolOnEmulator, InfoShowsRegistersGeometryAndStoredLimits) {
    start(1, 2);
    device().setReg(130, 123);
    device().setReg32(108, 4242);
    Result r = tool(runInfo, {});
    ASSERT_EQ(r.status, kOk) << r.error;
    EXPECT_TRUE(contains(r.out, "serial number          501")) << r.out;
    EXPECT_TRUE(contains(r.out, "nominal torque         123 N*mm")) << r.out;
    EXPECT_TRUE(contains(r.out, "actuated link          70.000 mm")) << r.out;
    EXPECT_TRUE(contains(r.out, "136-137  serial           0x000001F5  501")) << r.out;
    EXPECT_TRUE(contains(r.out, "arm 3               4242")) << r.out;
}

TEST_F(ToolOnEmulator, ParamWritesRegistersAndCommitStoresThem) {
    start();
    EXPECT_EQ(tool(runParam, {"set", "300", "70000"}).status, kOk);
    EXPECT_EQ(device().reg32(300), 70000u);
    EXPECT_EQ(tool(runParam, {"set", "302", "-2", "--short"}).status, kOk);
    EXPECT_EQ(device().reg(302), 0xFFFE);
    Result get = tool(runParam, {"get", "300", "serial", "type", "--bare"});
    EXPECT_EQ(get.out, "70000\n501\n1\n");
    Result commit = tool(runParam, {"commit"});
    EXPECT_EQ(commit.status, kOk) << commit.error;
    std::vector<uint8_t> last = device().lastRequest(0xAD);
    ASSERT_GE(last.size(), 6u);
    EXPECT_EQ((std::vector<uint8_t>(last.begin() + 2, last.begin() + 6)),
              (std::vector<uint8_t>{0x00, 199, 0x00, 170}));
}

// ---- calibrate ----

TEST_F(ToolOnEmulator, CalibrateRecordSavesTheSweptRangeAcrossTheWrap) {
    start();
    const uint32_t turn = 1u << 20;
    // From 80 degrees down to 10: the count rises from above the stored lower limit past
    // the single turn's wrap.
    uint32_t atEighty = device().countForAngle(0, 80 * kDegree) % turn;
    uint32_t atTen = device().countForAngle(0, 10 * kDegree) % turn;
    ASSERT_LT(atTen, atEighty);
    uint32_t storedArm2 = device().reg32(106), storedYaw = device().reg32(114);
    sweep(80, 10, 1.0);
    Result r = tool(runCalibrate, {"record", "--time", "1", "--yes"});
    stopSweep();
    ASSERT_EQ(r.status, kOk) << r.error << r.out;
    EXPECT_EQ(device().reg32(100), atEighty);
    EXPECT_EQ(device().reg32(102), atTen);
    EXPECT_EQ(device().reg32(106), storedArm2); // axes that stood still keep their limits
    EXPECT_EQ(device().reg32(114), storedYaw);
    EXPECT_TRUE(contains(r.out, "(kept: hardly moved)")) << r.out;
    EXPECT_TRUE(contains(r.out, "limits saved")) << r.out;
    EXPECT_EQ(device().reg(199), 170); // committed
}

TEST_F(ToolOnEmulator, CalibrateRecordSavesNothingUnlessConfirmed) {
    start();
    uint32_t stored = device().reg32(100);
    sweep(80, 30, 0.6);
    Result no = tool(runCalibrate, {"record", "--time", "0.6"}, "n\n");
    stopSweep();
    EXPECT_EQ(no.status, kNotConfirmed) << no.error;
    EXPECT_EQ(device().reg32(100), stored);

    sweep(80, 30, 0.6);
    Result yes = tool(runCalibrate, {"record", "--time", "0.6"}, "y\n");
    stopSweep();
    EXPECT_EQ(yes.status, kOk) << yes.error;
    EXPECT_NE(device().reg32(100), stored);
}

TEST_F(ToolOnEmulator, CalibrateRecordOfAStillArmSavesNothing) {
    start();
    uint32_t stored = device().reg32(100);
    Result r = tool(runCalibrate, {"record", "--time", "0.3", "--yes"});
    EXPECT_EQ(r.status, kFailed);
    EXPECT_TRUE(contains(r.error, "no axis moved")) << r.error;
    EXPECT_EQ(device().reg32(100), stored);
}

TEST_F(ToolOnEmulator, CalibrateLoadShowsTheStoredLimitsAndThePosition) {
    start();
    Result r = tool(runCalibrate, {});
    ASSERT_EQ(r.status, kOk) << r.error;
    double p[3];
    ASSERT_TRUE(device().position(p));
    char expected[64];
    std::snprintf(expected, sizeof expected, "position %.3f, %.3f, %.3f mm", p[0] + 0.0, p[1] + 0.0,
                  p[2]);
    EXPECT_TRUE(contains(r.out, "arm 1             948576")) << r.out;
    EXPECT_NEAR(std::stod(r.out.substr(r.out.rfind(", ") + 2)), p[2], 0.01) << r.out;
}

// ---- record and monitor ----

TEST_F(ToolOnEmulator, RecordWritesEverySampleAndLeavesTheDrivesOff) {
    start();
    // Off the arm's axis of symmetry, where the library's Jacobian is singular.
    const double pose[6] = {35 * kDegree, 45 * kDegree, 40 * kDegree, 0, 0, 0};
    device().setJointAngles(pose);
    char path[] = "/tmp/qel-tool-test.XXXXXX";
    int fd = mkstemp(path);
    ASSERT_GE(fd, 0);
    close(fd);
    Result r = tool(runRecord, {"-o", path, "--rate", "100", "--time", "0.3", "--force", "0,0,2"});
    ASSERT_EQ(r.status, kOk) << r.error;
    EXPECT_FALSE(device().drivesEnabled());
    std::ifstream in(path);
    Trace t = readTrace(in, path);
    std::remove(path);
    EXPECT_EQ(t.columns.size(), 13u);
    ASSERT_EQ(t.rows.size(), 30u);
    double p[3];
    ASSERT_TRUE(device().position(p));
    for (const std::vector<double>& row : t.rows) {
        EXPECT_NEAR(row[static_cast<size_t>(t.column("z_mm"))], p[2], 0.01);
        EXPECT_EQ(row[static_cast<size_t>(t.column("fz_N"))], 2.0);
        // Pulling up takes torque on every arm motor.
        for (const char* m : {"motor0", "motor1", "motor2"})
            EXPECT_NE(row[static_cast<size_t>(t.column(m))], 0.0) << m;
    }
    EXPECT_LT(t.rows.front()[0], 0.05);
    EXPECT_NEAR(t.rows.back()[0], 0.29, 0.05);
}

TEST_F(ToolOnEmulator, MonitorShowsEachRefreshAndEndsAfterTheCount) {
    start();
    device().setButtons(0x05);
    Result r = tool(runMonitor, {"--count", "2", "--rate", "20", "--plain"});
    ASSERT_EQ(r.status, kOk) << r.error;
    EXPECT_TRUE(contains(r.out, "refresh 1")) << r.out;
    EXPECT_TRUE(contains(r.out, "refresh 2")) << r.out;
    EXPECT_FALSE(contains(r.out, "refresh 3")) << r.out;
    EXPECT_TRUE(contains(r.out, "buttons      pressed: 0, 2")) << r.out;
    EXPECT_TRUE(contains(r.out, "drives       off")) << r.out;
    EXPECT_FALSE(contains(r.out, "\x1b[")) << r.out;
}

TEST_F(ToolOnEmulator, MonitorWithGravityPowersTheDrivesOnlyWhileItRuns) {
    start();
    Result r = tool(runMonitor, {"--count", "2", "--gravity", "--ansi"});
    ASSERT_EQ(r.status, kOk) << r.error;
    EXPECT_TRUE(contains(r.out, "on, rendering the force with gravity compensation")) << r.out;
    EXPECT_TRUE(contains(r.out, "\x1b[9A")) << r.out; // the second refresh redraws the first
    EXPECT_FALSE(device().drivesEnabled());
}

// ---- faults and their exit statuses ----

TEST_F(ToolOnEmulator, ADeviceThatDoesNotAnswerIsStatus39) {
    start();
    device().injectFault(Fault::onCode(FaultKind::NoReply, 0xAC));
    Result r = tool(runParam, {"get", "serial"});
    EXPECT_EQ(r.status, 39);
    EXPECT_TRUE(contains(r.error, "Data Recieve Failed (device error 19)")) << r.error;
}

TEST_F(ToolOnEmulator, AGarbledReplyIsStatus40AndAWrongOne41) {
    start();
    device().injectFault(Fault::next(FaultKind::CorruptChecksum));
    EXPECT_EQ(tool(runParam, {"get", "type"}).status, 40);
    device().clearFaults();
    device().injectFault(Fault::next(FaultKind::WrongHeader));
    Result r = tool(runParam, {"get", "type"});
    EXPECT_EQ(r.status, 41);
    EXPECT_TRUE(contains(r.error, "Invalid Received Data! (device error 257)")) << r.error;
}

TEST_F(ToolOnEmulator, DrivesThatRefuseToPowerEndTheMonitor) {
    start();
    device().injectFault(Fault::onCode(FaultKind::ZeroAck, 0xA7));
    Result r = tool(runMonitor, {"--count", "1", "--gravity", "--plain"});
    EXPECT_EQ(r.status, 41) << r.error;
    EXPECT_TRUE(contains(r.error, "cannot power the drives")) << r.error;
}

TEST_F(ToolOnEmulator, AnUninitialisedDeviceIsStatus22) {
    start();
    Selection first;
    Device d(first);
    try {
        d.position();
        FAIL();
    } catch (const Failure& e) {
        EXPECT_EQ(e.status, 22);
        EXPECT_TRUE(contains(e.what(), "Device Not Initialized")) << e.what();
    }
}

TEST_F(ToolOnEmulator, MissingDevicesAndSerialNumbers) {
    start(0);
    EXPECT_EQ(tool(runInfo, {}).status, 10);
    EXPECT_EQ(tool(runList, {}).status, kOk);
    start(1);
    Result second = tool(runParam, {"get", "serial", "-d", "2"});
    EXPECT_EQ(second.status, 12);
    EXPECT_EQ(second.error, "there is no device 2: 1 device is connected");
    Result serial = tool(runParam, {"get", "type", "--serial", "999"});
    EXPECT_EQ(serial.status, 12);
    EXPECT_EQ(tool(runParam, {"get", "type", "--serial", "501", "--bare"}).out, "1\n");
}

TEST_F(ToolOnEmulator, ASerialNumberOfZeroStopsInitialisationWithoutAReason) {
    start();
    device().setSerialNumber(0);
    Result r = tool(runInfo, {});
    EXPECT_EQ(r.status, kNoReason);
    EXPECT_TRUE(contains(r.error, "cannot initialise it")) << r.error;
}
