// SPDX-License-Identifier: MIT
// The servo callback end to end against the emulated device: its calls, the road of its force
// to the motors, and setting, removing and closing while the refresh thread runs.
#include <gtest/gtest.h>

#include <algorithm>
#include <atomic>
#include <chrono>
#include <memory>
#include <vector>

#include "QEL_OPEN.h"
#include "emulator.h"
#include "fixtures.h"

namespace {

using qeltest::waitUntil;

// What the callbacks record. `forbidden` is raised once a call must no longer happen.
struct Record {
    qelemu::Device* device = nullptr;
    std::atomic<long> calls{0}, gaps{0}, foreignUser{0}, forbiddenCalls{0};
    std::atomic<bool> forbidden{false}, inside{false};
    unsigned long long lastPass = 0;
    // The first frame after `switchFrame` carries the force the callback set there.
    std::atomic<uint64_t> switchFrame{0};
};
Record record;
int userA, userB;

void note(void* user, void* own, const qelServoState* s) {
    ++record.calls;
    if (user != own) ++record.foreignUser;
    if (record.forbidden) ++record.forbiddenCalls;
    if (record.lastPass && s->pass != record.lastPass + 1) ++record.gaps;
    record.lastPass = s->pass;
}
// Callbacks that take a while, so that a setter often meets one in progress.
void slowly(void* user, void* own, const qelServoState* s) {
    record.inside = true;
    note(user, own, s);
    const auto until = std::chrono::steady_clock::now() + std::chrono::microseconds(10);
    while (std::chrono::steady_clock::now() < until) {
    }
    if (record.forbidden) ++record.forbiddenCalls;
    record.inside = false;
}
void callbackA(const qelServoState* s, double*, void* user) { slowly(user, &userA, s); }
void callbackB(const qelServoState* s, double*, void* user) { slowly(user, &userB, s); }

// Pushes 2 N down from its 200th call on, and notes the frame exchanged on that pass.
void pushFrom200thCall(const qelServoState* s, double force[3], void* user) {
    note(user, &userA, s);
    if (record.calls == 200) record.switchFrame = record.device->frames(0xB0);
    if (record.calls >= 200) force[2] = -2.0;
}

class ServoCallback : public qeltest::InterfaceTest {
protected:
    void SetUp() override {
        InterfaceTest::SetUp();
        // A pose off the plane x = 0, where the Jacobian is well conditioned.
        qelemu::EmulatorOptions options;
        options.device.resize(1);
        const double pose[6] = {0.6, 0.8, 1.0, 0, 0, 0};
        std::copy(pose, pose + 6, options.device[0].jointAngles);
        emulator.reset(new qelemu::Emulator(options));
        ASSERT_EQ(qelOpen(), 1);
        ASSERT_EQ(qelInit(1), 1);
        ASSERT_EQ(qelCalibrateDevice(1), 1);
        record.device = &emulator->device(0);
        record.calls = record.gaps = record.foreignUser = record.forbiddenCalls = 0;
        record.forbidden = false;
        record.lastPass = 0;
    }
    void TearDown() override {
        InterfaceTest::TearDown();
        emulator.reset();
    }
    std::unique_ptr<qelemu::Emulator> emulator;
};

TEST_F(ServoCallback, RunsOncePerPassAndItsForceGoesOutInTheNextFrame) {
    ASSERT_EQ(qelEnableForce(1, 1), 1);
    ASSERT_EQ(qelEnableDevice(true, 1), 1);
    qelemu::Device& device = emulator->device(0);
    device.startCyclicLog(100000);
    const uint64_t framesBefore = device.frames(0xB0);
    ASSERT_EQ(qelSetServoCallback(pushFrom200thCall, &userA, 1), 1);
    ASSERT_TRUE(waitUntil([] { return record.calls > 400; }, 10000));
    ASSERT_EQ(qelSetServoCallback(nullptr, nullptr, 1), 1);
    const long calls = record.calls;
    const uint64_t frames = device.frames(0xB0) - framesBefore;
    std::vector<qelemu::Device::CyclicLogEntry> log = device.stopCyclicLog();

    EXPECT_EQ(record.gaps, 0);
    EXPECT_EQ(record.foreignUser, 0);
    EXPECT_NEAR(static_cast<double>(calls), static_cast<double>(frames), 2.0);

    // The frame of pass 200 still carries no force; the one after it carries the push.
    const uint64_t at = record.switchFrame;
    ASSERT_GT(at, framesBefore);
    int checked = 0;
    for (const auto& entry : log) {
        if (entry.frame == at || entry.frame == at + 1) {
            EXPECT_EQ(entry.motor[0] != 0, entry.frame == at + 1) << entry.motor[0];
            ++checked;
        }
    }
    EXPECT_EQ(checked, 2);
    double fx, fy, fz;
    ASSERT_EQ(qelGetForce(&fx, &fy, &fz, 1), 1);
    EXPECT_EQ(fz, -2.0) << "the callback's force is the commanded force";
}

TEST_F(ServoCallback, SettingAndRemovingWhileTheThreadRunsNeverCallsARemovedOne) {
    for (int i = 0; i < 1000; ++i) {
        record.forbidden = false;
        const long before = record.calls;
        ASSERT_EQ(qelSetServoCallback(i % 2 ? callbackA : callbackB, i % 2 ? &userA : &userB, 1),
                  1);
        ASSERT_TRUE(waitUntil([&] { return record.calls > before; }));
        if (i % 3) continue;
        ASSERT_EQ(qelSetServoCallback(nullptr, nullptr, 1), 1);
        record.forbidden = true;
        if (record.inside) ++record.forbiddenCalls;
    }
    record.forbidden = false;
    ASSERT_EQ(qelSetServoCallback(callbackA, &userA, 1), 1);
    const long before = record.calls;
    ASSERT_TRUE(waitUntil([&] { return record.calls > before + 100; }, 10000));
    ASSERT_EQ(qelClose(1), 1);
    record.forbidden = true;
    EXPECT_FALSE(record.inside);
    const long atClose = record.calls;
    ASSERT_EQ(qelOpen(), 1);
    ASSERT_EQ(qelInit(1), 1);
    ASSERT_EQ(qelCalibrateDevice(1), 1);
    const uint64_t reopened = emulator->device(0).frames(0xB0);
    ASSERT_TRUE(
        waitUntil([&] { return emulator->device(0).frames(0xB0) > reopened + 200; }, 10000));

    EXPECT_EQ(record.forbiddenCalls, 0);
    EXPECT_EQ(record.foreignUser, 0);
    EXPECT_EQ(record.calls, atClose) << "a closed device forgets its callback";
}

} // namespace
