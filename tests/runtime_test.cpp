// SPDX-License-Identifier: MIT
// The device runtime against the emulated device: initialisation and the device models, the
// refresh thread's traffic and rate, calibration in the device's registers, and the lifetime of
// the thread when devices are closed, dead or reopened.
#include <gtest/gtest.h>

#include <dirent.h>
#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <cmath>
#include <cstdio>
#include <cstring>
#include <functional>
#include <memory>
#include <string>
#include <thread>

#include "QEL.h"
#include "QEL_OPEN.h"
#include "emulator.h"
#include "fixtures.h"
#include "wire.h"

namespace {

namespace cmd = qelemu::cmd;

using qeltest::waitUntil;

using qelemu::Fault;
using qelemu::FaultKind;
using Clock = std::chrono::steady_clock;

// Calls `visit` with the /proc directory of every refresh thread alive in this process: they
// carry their own name.
void forEachRefreshThread(const std::function<void(const std::string&)>& visit) {
    DIR* dir = opendir("/proc/self/task");
    while (struct dirent* entry = readdir(dir)) {
        std::string task = std::string("/proc/self/task/") + entry->d_name;
        char name[64] = {};
        if (FILE* f = fopen((task + "/comm").c_str(), "r")) {
            if (fgets(name, sizeof name, f) && std::string(name) == "qel-refresh\n") visit(task);
            fclose(f);
        }
    }
    closedir(dir);
}

int refreshThreads() {
    int count = 0;
    forEachRefreshThread([&](const std::string&) { ++count; });
    return count;
}

// Processor time the refresh threads have used so far, in seconds.
double refreshThreadsCpuSeconds() {
    long ticks = 0;
    forEachRefreshThread([&](const std::string& task) {
        if (FILE* f = fopen((task + "/stat").c_str(), "r")) {
            char line[1024] = {};
            if (fgets(line, sizeof line, f)) {
                // utime and stime are the 12th and 13th fields after the ")" that closes the name.
                long utime = 0, stime = 0;
                const char* rest = strrchr(line, ')');
                if (rest && sscanf(rest + 1, " %*c %*d %*d %*d %*d %*d %*u %*u %*u %*u %*u %ld %ld",
                                   &utime, &stime) == 2)
                    ticks += utime + stime;
            }
            fclose(f);
        }
    });
    return static_cast<double>(ticks) / static_cast<double>(sysconf(_SC_CLK_TCK));
}

// A thread that was just started names itself a moment later: allow it that moment; a thread
// the library left behind stays.
bool threadsSettleAt(int expected) {
    bool settled = waitUntil([&] { return refreshThreads() == expected; }, 2000);
    if (!settled) ADD_FAILURE() << refreshThreads() << " refresh threads, expected " << expected;
    return settled;
}

double secondsSince(Clock::time_point start) {
    return std::chrono::duration<double>(Clock::now() - start).count();
}

qelemu::DeviceOptions deviceOfType(int type, uint32_t serial = 0) {
    qelemu::DeviceOptions d;
    d.type = type;
    d.serialNumber = serial;
    return d;
}

class Runtime : public qeltest::InterfaceTest {
protected:
    void TearDown() override {
        objects.clear();
        qeltest::InterfaceTest::TearDown();
        emulator.reset();
    }
    qelemu::Emulator& start(std::vector<qelemu::DeviceOptions> devices,
                            qelemu::Line line = qelemu::Line::Pty) {
        qelemu::EmulatorOptions options;
        options.devices = static_cast<int>(devices.size());
        options.device = devices;
        options.line = line;
        emulator.reset(new qelemu::Emulator(options));
        EXPECT_EQ(QEL::GetDeviceCount(), options.devices);
        return *emulator;
    }
    // A device object of the test's own, opened on port n (1-based).
    QEL& open(int n) {
        objects.emplace_back(new QEL());
        EXPECT_EQ(objects.back()->Open(n), n);
        return *objects.back();
    }
    QEL& ready(int n) {
        QEL& device = open(n);
        EXPECT_EQ(device.Initialize(), 1);
        return device;
    }
    // The refresh thread has exchanged at least `frames` more full frames with the device.
    bool passes(qelemu::Device& device, uint64_t frames = 3) {
        uint64_t from = device.frames(cmd::Cyclic);
        return waitUntil([&] { return device.frames(cmd::Cyclic) >= from + frames; });
    }
    std::unique_ptr<qelemu::Emulator> emulator;
    std::vector<std::unique_ptr<QEL>> objects;
};

TEST_F(Runtime, InitialisationReadsTheDeviceAndLoadsTheModelOfItsType) {
    start({deviceOfType(1, 4242), deviceOfType(2)});
    QEL& one = ready(1);
    QEL& two = ready(2);

    EXPECT_EQ(one.m_SerialNumber, 4242u);
    EXPECT_EQ(two.m_SerialNumber, 10002u);
    EXPECT_EQ(one.m_EncoderResolution, 1u << 20);
    EXPECT_EQ(one.m_NominalCurrent, 2000);
    EXPECT_EQ(two.m_DeviceType, 2);
    EXPECT_TRUE(one.m_fInit);
    EXPECT_STREQ(one.m_SystemName, "QEL SDK 1.1.1.1");
    EXPECT_TRUE(one.m_fBase && one.m_fWrist && one.m_fLeftHanded);
    EXPECT_FALSE(one.m_fGipper || one.m_fActiveWrist || one.m_fForceEnable);

    // A few entries of each model table, including the truncated and register-derived ones.
    EXPECT_EQ(one.m_NumofMotor, 3);
    EXPECT_EQ(one.m_DimFixedPlat, 80.25);
    EXPECT_EQ(one.m_gPassLink, 0.08934);
    EXPECT_EQ(one.m_Beta, 1.5707963);
    EXPECT_EQ(one.m_DefAng[5], 167.5);
    EXPECT_EQ(one.m_TorqueConstant, 48.6);
    EXPECT_EQ(one.m_SprK, 0.0) << "type 1 has no spring";
    EXPECT_EQ(two.m_lenActLink, 70.0);
    EXPECT_EQ(two.m_Beta, 0.9454448396777778);
    EXPECT_EQ(two.m_Lambuta, 0.5235987666666666);
    EXPECT_EQ(two.m_TransRat[0], 11.89);
    EXPECT_EQ(two.m_SprK, 0.74);
    EXPECT_EQ(two.m_SprInitLen, 12.5); // register 132 holds 1250

    // The fixed links come from the dimensions held before the call: none the first time, the
    // loaded model's after initialising again.
    EXPECT_EQ(one.m_FixedLinkVect[0].m_p[0], 0.0);
    ASSERT_EQ(one.Close(), 1);
    ASSERT_EQ(one.Open(1), 1);
    ASSERT_EQ(one.Initialize(), 1);
    // The arms sit at 90, 210 and 330 degrees as derived from the truncated quarter turn
    // 1.5707963, which shows in the sixth digit.
    EXPECT_DOUBLE_EQ(one.m_FixedLinkVect[0].m_p[1], -80.25 * std::sin(1.5707963));
    EXPECT_DOUBLE_EQ(one.m_FixedLinkVect[1].m_p[0], -80.25 * std::cos(1.5707963 * 7 / 3));
    EXPECT_NEAR(one.m_FixedLinkVect[1].m_p[0], 80.25 * std::sqrt(3.0) / 2, 1e-5);
}

TEST_F(Runtime, UnknownTypeKeepsThePreviousModelAndSerialZeroCannotInitialise) {
    qelemu::Emulator& emu = start({deviceOfType(2), deviceOfType(1)});
    QEL& device = ready(1);
    ASSERT_EQ(device.Close(), 1);
    emu.device(0).setType(7);
    ASSERT_EQ(device.Open(1), 1);
    ASSERT_EQ(device.Initialize(), 1);
    EXPECT_EQ(device.m_DeviceType, 7);
    EXPECT_EQ(device.m_lenActLink, 70.0) << "the type-2 model stays";
    EXPECT_TRUE(passes(emu.device(0))) << "an unknown type still runs the thread";
    ASSERT_EQ(device.Close(), 1);

    // A fresh object knows no model at all.
    QEL& fresh = ready(1);
    EXPECT_EQ(fresh.m_lenActLink, 0.0);

    emu.device(1).setSerialNumber(0);
    QEL& nameless = open(2);
    EXPECT_EQ(nameless.Initialize(), 0);
    EXPECT_EQ(nameless.m_ErrCode, 0) << "no error of its own";
    std::this_thread::sleep_for(std::chrono::milliseconds(20));
    EXPECT_EQ(emu.device(1).frames(cmd::Cyclic), 0u) << "no thread started";

    QEL closed;
    EXPECT_EQ(closed.Initialize(), 0);
    EXPECT_EQ(closed.m_ErrCode, 1);
    EXPECT_FALSE(closed.m_fInit);
}

TEST_F(Runtime, ComFreqCountsTheFramesTheDeviceAnswers) {
    qelemu::Emulator& emu = start({deviceOfType(1)});
    QEL& device = ready(1);

    // m_ComFreq changes once a second, counting the passes of the second before. Between two
    // changes the device must have answered that many frames.
    for (int attempt = 0; attempt < 3; ++attempt) {
        double first = device.m_ComFreq;
        ASSERT_TRUE(waitUntil([&] { return device.m_ComFreq != first; }));
        uint64_t framesAtFirst = emu.device(0).frames(cmd::Cyclic);
        auto firstChange = Clock::now();
        double second = device.m_ComFreq;
        ASSERT_TRUE(waitUntil([&] { return device.m_ComFreq != second; }));
        uint64_t framesAtSecond = emu.device(0).frames(cmd::Cyclic);
        double reported = device.m_ComFreq;
        // Two periods with the very same count would look like one; measure again.
        if (secondsSince(firstChange) > 1.5) continue;
        double counted = static_cast<double>(framesAtSecond - framesAtFirst);
        EXPECT_GT(reported, 100.0);
        EXPECT_NEAR(counted, reported, 0.05 * reported);
        return;
    }
    FAIL() << "m_ComFreq did not change once a second";
}

TEST_F(Runtime, CyclicFramesCarryTheCommandsWithVelocityDampingAndTheLedsAndButtons) {
    qelemu::Emulator& emu = start({deviceOfType(1)});
    qelemu::Device& arm = emu.device(0);
    QEL& device = ready(1);

    // The thread damps the motor command by 200 units per unit of the velocity the device
    // reported, outside a dead band of 15, wrapping to 16 bits.
    arm.setEncoderVelocity(0, 16);
    arm.setEncoderVelocity(1, -16);
    arm.setEncoderVelocity(2, 15);
    device.m_MotorDACValue[0] = device.m_MotorDACValue[1] = device.m_MotorDACValue[2] = 1000;
    device.m_CtrlWord[5] = 0x15;
    device.m_EncoderTarget[4] = 0xFFFFFF;
    device.m_SetCommd = 0xBEEF;
    ASSERT_TRUE(passes(arm, 5));
    qelemu::CyclicRequest sent = arm.lastCyclic();
    EXPECT_EQ(sent.channelCount, 6);
    EXPECT_EQ(sent.control[5], 0x15);
    EXPECT_EQ(sent.target[4], 0xFFFFFFu);
    EXPECT_EQ(sent.commandWord, 0xBEEF);
    EXPECT_EQ(sent.motor[0], 1000 - 3200);
    EXPECT_EQ(sent.motor[1], 1000 + 3200);
    EXPECT_EQ(sent.motor[2], 1000);

    arm.setEncoderVelocity(0, -20);
    device.m_MotorDACValue[0] = 32000;
    ASSERT_TRUE(passes(arm, 5));
    EXPECT_EQ(arm.lastCyclic().motor[0], -29536) << "36000 wrapped, not saturated";

    // With the thread running the LED bits ride in the command word, not in frames of their own;
    // the buttons come back in every frame's status word.
    uint64_t ledFrames = arm.frames(cmd::SetLed);
    ASSERT_EQ(device.SetLED(4, true), 1);
    ASSERT_EQ(device.SetLED(1, true), 1);
    EXPECT_TRUE(waitUntil([&] { return arm.leds() == 5; })) << int(arm.leds());
    EXPECT_EQ(arm.frames(cmd::SetLed), ledFrames);
    arm.setButtons(0x02);
    bool pressed = false;
    EXPECT_TRUE(waitUntil([&] { return device.GetButton(1, &pressed) && pressed; }));
    ASSERT_EQ(device.GetButton(0, &pressed), 1);
    EXPECT_FALSE(pressed);
}

TEST_F(Runtime, SavedCalibrationLandsInTheRegistersAndSurvivesARestart) {
    const std::string path = "/tmp/qel-calibration-" + std::to_string(getpid());
    unlink(path.c_str());
    qelemu::DeviceOptions options = deviceOfType(1);
    options.stateFile = path;
    qelemu::Emulator& emu = start({options});
    qelemu::Device& arm = emu.device(0);
    QEL& device = ready(1);

    unsigned int mins[6] = {900000, 900001, 900002, 70000, 70001, 70002};
    unsigned int maxs[6] = {1200000, 1200001, 1200002, 170000, 170001, 170002};
    EXPECT_EQ(device.SaveCalibration(mins, maxs, 15), 0);
    EXPECT_EQ(device.m_ErrCode, 0);
    EXPECT_FALSE(device.m_fCalibrate);
    EXPECT_EQ(arm.reg32(100), 948576u) << "a refused mask writes nothing";

    for (unsigned char mask : {7, 63, 127}) {
        ASSERT_EQ(device.SaveCalibration(mins, maxs, mask), 1) << int(mask);
        EXPECT_TRUE(device.m_fCalibrate);
        arm.restart();
        bool wrist = mask != 7;
        for (int j = 0; j < 6; ++j) {
            SCOPED_TRACE("mask " + std::to_string(mask) + " axis " + std::to_string(j));
            bool stored = j < 3 || wrist;
            EXPECT_EQ(arm.reg32(static_cast<uint16_t>(100 + 4 * j)), stored ? mins[j] : 0u);
            EXPECT_EQ(arm.reg32(static_cast<uint16_t>(102 + 4 * j)), stored ? maxs[j] : 0u);
        }
        mins[3] += 1000; // the next save must be seen to land
    }

    ASSERT_EQ(device.Close(), 1);
    QEL& other = ready(1);
    ASSERT_EQ(other.GetCalibration(), 1);
    EXPECT_EQ(other.m_EncoderMaxValue[5], 170002u);
    EXPECT_EQ(other.AutoCalibrate(), 0);
    unlink(path.c_str());
}

TEST_F(Runtime, CloseReturnsPromptlyMidExchangeAndFromADeadDevice) {
    qelemu::Emulator& emu = start({deviceOfType(1), deviceOfType(1)});
    ASSERT_EQ(qelOpenID(1), 1);
    ASSERT_EQ(qelInit(1), 1);
    ASSERT_EQ(qelOpenID(2), 2);
    ASSERT_EQ(qelInit(2), 1);
    ASSERT_TRUE(passes(emu.device(0)));

    // Every reply now takes 300 ms, so a close always finds the thread inside an exchange.
    emu.device(0).injectFault(Fault::everyNth(FaultKind::Delay, 1).pause(300));
    std::this_thread::sleep_for(std::chrono::milliseconds(50));
    auto start = Clock::now();
    EXPECT_EQ(qelClose(1), 1);
    EXPECT_LT(secondsSince(start), 2.0);

    // A device that stops answering altogether: its port stays, nobody reads or writes it.
    ASSERT_TRUE(passes(emu.device(1)));
    emu.stop();
    start = Clock::now();
    EXPECT_EQ(qelClose(2), 1);
    EXPECT_LT(secondsSince(start), 2.0);
}

// A device that answers within microseconds is read without sleeping; one that takes
// milliseconds, or whose replies come in USB packets at (micro)frame boundaries, must be
// waited for asleep, not with a processor spinning for it.
TEST_F(Runtime, RefreshThreadSleepsThroughASlowDevicesReplies) {
    for (qelemu::Line line :
         {qelemu::Line::Pty, qelemu::Line::UsbFullSpeed, qelemu::Line::UsbHighSpeed}) {
        SCOPED_TRACE(qelemu::lineName(line));
        qelemu::Emulator& emu = start({deviceOfType(1)}, line);
        QEL& device = ready(1);
        ASSERT_TRUE(passes(emu.device(0)));
        if (line == qelemu::Line::Pty) {
            emu.device(0).injectFault(Fault::everyNth(FaultKind::Delay, 1).pause(2));
            ASSERT_TRUE(passes(emu.device(0)));
        }

        uint64_t framesBefore = emu.device(0).frames(cmd::Cyclic);
        double cpuBefore = refreshThreadsCpuSeconds();
        auto start = Clock::now();
        std::this_thread::sleep_for(std::chrono::seconds(1));
        double cpu = refreshThreadsCpuSeconds() - cpuBefore;
        double wall = secondsSince(start);
        EXPECT_GT(emu.device(0).frames(cmd::Cyclic) - framesBefore, 100u);
        EXPECT_LT(cpu, 0.25 * wall);
        EXPECT_EQ(device.Close(), 1);
        objects.clear();
        emulator.reset();
    }
}

TEST_F(Runtime, RepeatedBringUpAndDoubleInitialisationLeaveNoThreadBehind) {
    qelemu::Emulator& emu = start({deviceOfType(1)});
    for (int cycle = 0; cycle < 100; ++cycle) {
        ASSERT_EQ(qelOpen(), 1) << cycle;
        ASSERT_EQ(qelInit(1), 1) << cycle;
        if (cycle % 10 == 0) {
            ASSERT_EQ(qelInit(1), 1) << "a second thread on the object";
        }
        ASSERT_EQ(qelClose(1), 1) << cycle;
    }
    EXPECT_TRUE(threadsSettleAt(0));

    // Reopening a device object whose thread was told to stop lets that thread go first.
    QEL& device = ready(1);
    ASSERT_EQ(device.Initialize(), 1);
    EXPECT_TRUE(passes(emu.device(0)));
    ASSERT_EQ(device.Close(), 1);
    ASSERT_EQ(device.Open(1), 1);
    EXPECT_TRUE(threadsSettleAt(0));
    ASSERT_EQ(device.Initialize(), 1);
    EXPECT_TRUE(threadsSettleAt(1));
}

} // namespace
