// SPDX-License-Identifier: MIT
// Buttons, LEDs, brakes, time and the operations with fixed answers: frames byte for byte
// against scripted replies, and the brakes and serial number end to end against the emulated
// device.
#include <gtest/gtest.h>

#include <utility>
#include <vector>

#include "ready_device.h"
#include "wire.h"

namespace {

namespace cmd = qelemu::cmd;

using qeltest::Bytes;
using qeltest::frame;

using InputFrames = qeltest::ReadyScriptedDeviceTest;

TEST_F(InputFrames, LedBitsAccumulateAndGoOutInTheirOwnFrame) {
    for (int i = 0; i < 3; ++i) peer->reply(frame({0xBE, cmd::SetLed, 0x01}));
    ASSERT_EQ(device.SetLED(1, true), 1);
    ASSERT_EQ(device.SetLED(4, true), 1);
    ASSERT_EQ(device.SetLED(1, false), 1);
    EXPECT_EQ(peer->requests(), (std::vector<Bytes>{frame({0xBE, cmd::SetLed, 0x01}),
                                                    frame({0xBE, cmd::SetLed, 0x05}),
                                                    frame({0xBE, cmd::SetLed, 0x04})}));

    // Only a status of exactly 1 is an acceptance.
    peer->reply(frame({0xBE, cmd::SetLed, 0x02}));
    EXPECT_EQ(device.SetLED(8, true), 0);
    EXPECT_EQ(device.m_ErrCode, 257);
    EXPECT_EQ(device.m_LEDState, 0x0C) << "the bits are kept even when the device refuses";

    // With the refresh thread running only the command word's low byte changes.
    device.ClearError();
    device.fThreadRunning = true;
    device.m_SetCommd = 0xAB77;
    ASSERT_EQ(device.SetLED(0x0C, false), 1);
    EXPECT_EQ(device.m_SetCommd, 0xAB00);
    ASSERT_EQ(device.SetLED(0x81, true), 1);
    EXPECT_EQ(device.m_SetCommd, 0xAB81);
    EXPECT_EQ(peer->requests().size(), 4u);
}

TEST_F(InputFrames, BrakeFrames) {
    peer->reply(frame({0xBE, cmd::SetBrakes, 0x01}));
    ASSERT_EQ(device.SetBrakes(true), 1);
    peer->reply(frame({0xBE, cmd::SetBrakes, 0x00}));
    EXPECT_EQ(device.SetBrakes(false), 0);
    EXPECT_EQ(device.m_ErrCode, 257);

    // The brake state is an answer, not an acknowledgement: 0 is a valid reply.
    device.ClearError();
    bool engaged = true;
    peer->reply(frame({0xBE, cmd::GetBrakes, 0x00}));
    ASSERT_EQ(device.GetBrakes(&engaged), 1);
    EXPECT_FALSE(engaged);
    peer->reply(frame({0xBE, cmd::GetBrakes, 0x40}));
    ASSERT_EQ(device.GetBrakes(&engaged), 1);
    EXPECT_TRUE(engaged);
    peer->reply(frame({0xBE, cmd::SetBrakes, 0x00}));
    EXPECT_EQ(device.GetBrakes(&engaged), 0);
    EXPECT_EQ(device.m_ErrCode, 257);
    EXPECT_TRUE(engaged) << "the output is left alone";
    Bytes query = frame({0xBE, cmd::GetBrakes});
    EXPECT_EQ(peer->requests(),
              (std::vector<Bytes>{frame({0xBE, cmd::SetBrakes, 0x01}),
                                  frame({0xBE, cmd::SetBrakes, 0x00}), query, query, query}));
}

TEST_F(InputFrames, ButtonsAreTheStatusWordsLowByte) {
    device.m_DeviceState = 0x0105;
    bool pressed = false;
    // Bit 8 of the word is set but is no button; the index wraps at 32.
    const std::pair<int, bool> cases[] = {{0, true},  {1, false},  {2, true},  {8, false},
                                          {32, true}, {33, false}, {-32, true}};
    for (const auto& c : cases) {
        ASSERT_EQ(device.GetButton(c.first, &pressed), 1);
        EXPECT_EQ(pressed, c.second) << "button " << c.first;
    }

    device.m_fInit = false;
    pressed = false;
    EXPECT_EQ(device.GetButton(0, &pressed), 0);
    EXPECT_EQ(device.m_ErrCode, 2);
    EXPECT_FALSE(pressed);
}

// The exchange rate is the stored one on a ready device, 0 with no new error while an error is
// pending, and 0 with error 2 before initialisation: the exported call tells a failure from a
// device that has not yet counted a second by the error alone.
TEST_F(InputFrames, ExchangeRateIsGuarded) {
    device.m_ComFreq = 1234.5;
    EXPECT_EQ(device.GetComFreq(), 1234.5);
    EXPECT_EQ(device.m_ErrCode, 0);
    device.ErrorCatch(20);
    EXPECT_EQ(device.GetComFreq(), 0.0);
    EXPECT_EQ(device.m_ErrCode, 20);
    device.m_fInit = false;
    device.ClearError();
    EXPECT_EQ(device.GetComFreq(), 0.0);
    EXPECT_EQ(device.m_ErrCode, 2);
}

// Declared for the interface and answered without any check, so a closed object gives the
// same answers and records no error. Most answer 0; these do not.
TEST(FixedAnswers, AnsweredWithoutAnyGuard) {
    QEL d;
    EXPECT_EQ(d.GetSystemName(), nullptr);
    EXPECT_TRUE(d.GetActiveMask() && d.GetPassiveMask() && d.GetLockMask());
    EXPECT_EQ(d.GetDefaultParam(1), 1.0);
    EXPECT_EQ(d.GetUpperParam(1), 1.0);
    EXPECT_EQ(d.GetLowerParam(1), 1.0);
    EXPECT_EQ(d.GetButtonCount(), 1);
    EXPECT_EQ(d.m_ErrCode, 0);
}

TEST(HostTime, MonotonicNanosecondsAndSleepsLongerThanASecond) {
    QEL d;
    double before = d.GetTime();
    double reference = static_cast<double>(GetNanoSeconds());
    EXPECT_NEAR(before, reference, 1e7) << "the monotonic clock, in nanoseconds";

    // More than a second, so that the seconds and the nanoseconds must both be right.
    EXPECT_EQ(d.Sleep(1050000000), 1);
    double slept = (d.GetTime() - before) / 1e9;
    EXPECT_GE(slept, 1.05);
    EXPECT_LT(slept, 1.5);
}

} // namespace
