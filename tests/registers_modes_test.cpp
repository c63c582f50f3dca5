// SPDX-License-Identifier: MIT
// Register, parameter and mode frames of the device object, byte for byte against scripted
// replies.
#include <gtest/gtest.h>

#include <vector>

#include "fixtures.h"
#include "wire.h"

namespace {

namespace cmd = qelemu::cmd;

using qeltest::Bytes;
using qeltest::frame;

using DeviceFrames = qeltest::ScriptedDeviceTest;

// The commit (register 199, value 170) is checked with the calibration that ends with it.
TEST_F(DeviceFrames, ThirtyTwoBitParametersTravelAsTwoRegistersLowHalfFirst) {
    peer->reply(frame({0xBE, cmd::WriteRegister, 0x00, 0x88, 0x56, 0x78}));
    peer->reply(frame({0xBE, cmd::WriteRegister, 0x00, 0x89, 0x12, 0x34}));
    ASSERT_EQ(device.SetParam(136, 0x12345678u), 1);

    // A low half of 0xFFFF is 65535, not -1.
    peer->reply(frame({0xBE, cmd::ReadRegister, 0x00, 0x00, 0xFF, 0xFF}));
    peer->reply(frame({0xBE, cmd::ReadRegister, 0x00, 0x00, 0x00, 0x02}));
    unsigned int value = 0;
    ASSERT_EQ(device.GetParam(128, &value), 1);
    EXPECT_EQ(value, 0x2FFFFu);
    EXPECT_EQ(peer->requests(),
              (std::vector<Bytes>{frame({0xBE, cmd::WriteRegister, 0x00, 0x88, 0x56, 0x78}),
                                  frame({0xBE, cmd::WriteRegister, 0x00, 0x89, 0x12, 0x34}),
                                  frame({0xBE, cmd::ReadRegister, 0x00, 0x80}),
                                  frame({0xBE, cmd::ReadRegister, 0x00, 0x81})}));
}

TEST_F(DeviceFrames, RegisterRepliesThatDoNotMatchAreInvalidData) {
    // The device answered, but echoed another value than the one written.
    peer->reply(frame({0xBE, cmd::WriteRegister, 0x00, 0x82, 0x00, 0x65}));
    EXPECT_EQ(device.WriteRegister(130, 100), 0);
    EXPECT_EQ(device.m_ErrCode, 257);
    EXPECT_STREQ(device.m_ErrString, "Invalid Received Data!");

    device.ClearError();
    short value = 42;
    peer->reply(frame({0xBF, cmd::ReadRegister, 0x00, 0x00, 0x00, 0x07}));
    EXPECT_EQ(device.ReadRegister(130, &value), 0);
    EXPECT_EQ(device.m_ErrCode, 257);
    EXPECT_EQ(value, 42) << "the output is left alone";

    // A failed first half stops a 32-bit read before its second register.
    device.ClearError();
    peer->reply(frame({0xBE, cmd::SetMotorVelocity, 0x00, 0x00, 0x00, 0x07}));
    unsigned int wide = 9;
    EXPECT_EQ(device.GetParam(100, &wide), 0);
    EXPECT_EQ(wide, 9u);
    EXPECT_EQ(peer->requests().size(), 3u);
}

TEST_F(DeviceFrames, ParameterCallsOnAClosedDeviceFailQuietly) {
    device.Close();
    short s = 0;
    unsigned int u = 0;
    EXPECT_EQ(device.SaveData(), 0);
    EXPECT_EQ(device.SetParam(130, static_cast<short>(5)), 0);
    EXPECT_EQ(device.SetParam(136, 5u), 0);
    EXPECT_EQ(device.GetParam(130, &s), 0);
    EXPECT_EQ(device.GetParam(136, &u), 0);
    EXPECT_EQ(device.GetSerialNumber(), 0u);
    EXPECT_EQ(device.SetSerialNumber(7), 0);
    EXPECT_EQ(device.m_ErrCode, 0);
    EXPECT_TRUE(peer->requests().empty());
}

// Setting, refusing and blocking modes are checked end to end and frame by frame with the
// force mode; these are the rules of their own.
TEST_F(DeviceFrames, ModesAreReadWithoutTheGuardsAndZeroIsNoAnswer) {
    EXPECT_EQ(device.SetMode(0x25), 0);
    EXPECT_EQ(device.m_ErrCode, 2);

    // Reading needs no initialised device and goes out even while an error is pending.
    unsigned char mode = 0;
    peer->reply(frame({0xBE, cmd::GetMode, 0x22}));
    ASSERT_EQ(device.GetMode(&mode), 1);
    EXPECT_EQ(mode, 0x22);
    device.ClearError();
    peer->reply(frame({0xBE, cmd::GetMode, 0x00}));
    EXPECT_EQ(device.GetMode(&mode), 0) << "mode 0 is not an answer";
    EXPECT_EQ(device.m_ErrCode, 257);
    EXPECT_EQ(mode, 0x22);
    EXPECT_EQ(peer->requests(), std::vector<Bytes>(2, frame({0xBE, cmd::GetMode})));
}

} // namespace
