// SPDX-License-Identifier: MIT
// Force enabling, the drives and the direct motor frames: byte for byte against scripted
// replies, and end to end against the emulated device.
#include <gtest/gtest.h>

#include <functional>
#include <vector>

#include "ready_device.h"
#include "wire.h"

namespace {

namespace cmd = qelemu::cmd;

using qeltest::Bytes;
using qeltest::frame;

using DriveFrames = qeltest::ReadyScriptedDeviceTest;
using Drives = qeltest::ReadyEmulatedDeviceTest;

TEST_F(DriveFrames, EnablingTheDrivesLightsTheirLedOnlyWhenAccepted) {
    peer->reply(frame({0xBE, cmd::EnableDrives, 0x01}));
    peer->reply(frame({0xBE, cmd::SetLed, 0x01}));
    ASSERT_EQ(device.EnableDevice(true), 1);
    EXPECT_TRUE(device.m_fDeviceEnable);
    EXPECT_EQ(device.m_LEDState, 2);

    // A refusal leaves the flag and the LED as they were.
    peer->reply(frame({0xBE, cmd::EnableDrives, 0x00}));
    EXPECT_EQ(device.EnableDevice(false), 0);
    EXPECT_EQ(device.m_ErrCode, 257);
    EXPECT_TRUE(device.m_fDeviceEnable);
    EXPECT_EQ(device.m_LEDState, 2);
    EXPECT_EQ(peer->requests(), (std::vector<Bytes>{frame({0xBE, cmd::EnableDrives, 0x01}),
                                                    frame({0xBE, cmd::SetLed, 0x02}),
                                                    frame({0xBE, cmd::EnableDrives, 0x00})}));
}

TEST_F(DriveFrames, ForceOffParksTheDeviceButTheFlagStaysSet) {
    peer->reply(frame({0xBE, cmd::SetMode, 0x01}));
    ASSERT_EQ(device.SetFrcEnabled(true), 1);
    EXPECT_TRUE(device.m_fForceEnable);
    EXPECT_EQ(device.m_OperationMode, 0x22);

    // In the force mode, switching off asks for the mode and then selects the parked one.
    peer->reply(frame({0xBE, cmd::GetMode, 0x22}));
    peer->reply(frame({0xBE, cmd::SetMode, 0x01}));
    ASSERT_EQ(device.SetFrcEnabled(false), 1);
    EXPECT_EQ(peer->requests(),
              (std::vector<Bytes>{frame({0xBE, cmd::SetMode, 0x22}), frame({0xBE, cmd::GetMode}),
                                  frame({0xBE, cmd::SetMode, 0x25})}));
    EXPECT_EQ(device.m_OperationMode, 0x25);
    EXPECT_TRUE(device.m_fForceEnable) << "the flag is not cleared by switching off";

    // In any other mode it only takes note of the mode.
    peer->reply(frame({0xBE, cmd::GetMode, 0x30}));
    ASSERT_EQ(device.SetFrcEnabled(false), 1);
    EXPECT_EQ(peer->requests().size(), 4u);
    EXPECT_EQ(device.m_OperationMode, 0x30);

    // A refused force mode clears the flag.
    peer->reply(frame({0xBE, cmd::SetMode, 0x00}));
    EXPECT_EQ(device.SetFrcEnabled(true), 0);
    EXPECT_FALSE(device.m_fForceEnable);
    EXPECT_EQ(device.m_ErrCode, 257);
    EXPECT_EQ(device.GetFrcEnabled(true), 0) << "nothing answers while an error is pending";
    device.ClearError();
    EXPECT_EQ(device.GetFrcEnabled(false), 1) << "1 whatever the flag";
}

TEST_F(DriveFrames, MotorFramesAreBigEndianAndSignedOnTheWayBack) {
    short mot[3] = {1, -2, 0x1234};
    peer->reply(frame({0xBE, cmd::SetMotors}));
    ASSERT_EQ(device.SetMot(mot), 1);
    EXPECT_EQ(peer->requests()[0],
              frame({0xBE, cmd::SetMotors, 0x00, 0x01, 0xFF, 0xFE, 0x12, 0x34}));
    EXPECT_EQ(device.m_MotorDACValue[0], 0) << "direct commands bypass the rendered ones";

    // One channel: it joins the rendered commands and all three are sent; the bare
    // acknowledgement is not inspected.
    device.m_MotorDACValue[0] = 7;
    peer->reply(frame({0xBF, 0x00}));
    ASSERT_EQ(device.SetMot(2, -300), 1);
    EXPECT_EQ(device.m_MotorDACValue[2], -300);
    EXPECT_EQ(peer->requests()[1],
              frame({0xBE, cmd::SetMotors, 0x00, 0x07, 0x00, 0x00, 0xFE, 0xD4}));
    for (int channel : {3, -1}) {
        device.ClearError();
        EXPECT_EQ(device.SetMot(channel, 1), 0);
        EXPECT_EQ(device.m_ErrCode, 258) << "channel " << channel;
    }
    EXPECT_EQ(peer->requests().size(), 2u);

    device.ClearError();
    short read[3] = {0, 0, 0};
    peer->reply(frame({0xBE, cmd::GetMotors, 0x80, 0x00, 0x00, 0x7F, 0xFF, 0xFF}));
    ASSERT_EQ(device.GetMot(read), 1);
    EXPECT_EQ(peer->requests()[2], frame({0xBE, cmd::GetMotors}));
    EXPECT_EQ(std::vector<short>(read, read + 3), (std::vector<short>{-32768, 127, -1}));
    peer->reply(frame({0xBE, cmd::SetLed, 0x00, 0x01, 0x00, 0x02, 0x00, 0x03}));
    EXPECT_EQ(device.GetMot(read), 0);
    EXPECT_EQ(device.m_ErrCode, 257);
    EXPECT_EQ(read[1], 127) << "the output is left alone";

    // Only the first velocity travels, and a refusal is no error.
    device.ClearError();
    unsigned short vel[2] = {0x0102, 0x0304};
    peer->reply(frame({0xBE, cmd::SetMotorVelocity, 0x01}));
    EXPECT_EQ(device.SetMotorVel(vel), 1);
    EXPECT_EQ(peer->requests()[4], frame({0xBE, cmd::SetMotorVelocity, 0x01, 0x02}));
    peer->reply(frame({0xBE, cmd::SetMotorVelocity, 0x00}));
    EXPECT_EQ(device.SetMotorVel(vel), 0);
    EXPECT_EQ(device.m_ErrCode, 0);
}

TEST_F(DriveFrames, ForceIsHeldForTheRefreshThreadAndNothingIsSent) {
    double force[3] = {1.5, -2.0, 3.25}, out[3] = {0, 0, 0};
    ASSERT_EQ(device.SetOpFrc(force), 1);
    ASSERT_EQ(device.GetOpFrc(out), 1);
    for (int i = 0; i < 3; ++i) EXPECT_EQ(out[i], force[i]);
    EXPECT_EQ(device.GetOpFrc(nullptr), 0);
    EXPECT_EQ(device.m_ErrCode, 258);

    device.ClearError();
    device.m_fForceEnable = device.m_fDeviceEnable = true;
    EXPECT_EQ(device.SetNullFrc(), 0) << "0 even though it worked";
    for (int i = 0; i < 3; ++i) EXPECT_EQ(device.m_Force[i], 0.0);
    EXPECT_TRUE(device.m_fForceEnable && device.m_fDeviceEnable);
    EXPECT_EQ(device.StartMove(1), 0) << "no device has a motion command";
    EXPECT_EQ(device.m_ErrCode, 0);
    EXPECT_TRUE(peer->requests().empty());
}

TEST_F(DriveFrames, NothingIsSentBeforeInitialisationOrWhileAnErrorIsPending) {
    double force[3] = {1, 2, 3};
    short mot[3] = {1, 2, 3};
    unsigned short vel[1] = {5};
    std::vector<std::function<int()>> operations = {
        [&] { return device.SetFrcEnabled(true); }, [&] { return device.SetFrcEnabled(false); },
        [&] { return device.GetFrcEnabled(true); }, [&] { return device.EnableDevice(true); },
        [&] { return device.SetOpFrc(force); },     [&] { return device.GetOpFrc(force); },
        [&] { return device.SetMot(mot); },         [&] { return device.SetMot(0, 1); },
        [&] { return device.GetMot(mot); },         [&] { return device.SetMotorVel(vel); },
        [&] { return device.StartMove(0); },
    };
    for (size_t i = 0; i < operations.size(); ++i) {
        device.m_fInit = false;
        device.ClearError();
        EXPECT_EQ(operations[i](), 0) << "operation " << i;
        EXPECT_EQ(device.m_ErrCode, 2) << "operation " << i;

        // A pending error blocks silently: the code stays the earlier one.
        device.m_fInit = true;
        device.ErrorCatch(20);
        EXPECT_EQ(operations[i](), 0) << "operation " << i;
        EXPECT_EQ(device.m_ErrCode, 20) << "operation " << i;
    }
    EXPECT_EQ(force[0], 1.0);
    EXPECT_TRUE(peer->requests().empty());
    EXPECT_FALSE(device.m_fForceEnable || device.m_fDeviceEnable);
}

// Force enabling, the parked mode and the motor commands' channels are checked end to end with
// force rendering and through the exported interface.
TEST_F(Drives, DrivesLedAndMotorCommandsReachTheDeviceAndCloseSwitchesThemOff) {
    ASSERT_EQ(device.EnableDevice(true), 1);
    EXPECT_TRUE(emulated().drivesEnabled());
    EXPECT_EQ(emulated().leds(), 2);

    short mot[3] = {1000, -2000, 32767}, read[3] = {0, 0, 0};
    ASSERT_EQ(device.SetMot(mot), 1);
    ASSERT_EQ(device.GetMot(read), 1);
    for (int i = 0; i < 3; ++i) EXPECT_EQ(read[i], mot[i]);

    ASSERT_EQ(device.SetLED(1, true), 1);
    EXPECT_EQ(emulated().leds(), 3);
    ASSERT_EQ(device.Close(), 1);
    EXPECT_FALSE(emulated().drivesEnabled());
    EXPECT_EQ(emulated().leds(), 0);
}

} // namespace
