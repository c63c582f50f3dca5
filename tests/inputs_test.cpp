// Buttons, LEDs, brakes, time and the operations with fixed answers: frames byte for byte
// against scripted replies, and the LED and brakes end to end against the emulated device.
#include <gtest/gtest.h>

#include <functional>
#include <string>
#include <vector>

#include "ready_device.h"

namespace {

using qeltest::frame;

using InputFrames = qeltest::ReadyScriptedDeviceTest;
using Inputs = qeltest::ReadyEmulatedDeviceTest;

TEST_F(InputFrames, LedBitsAccumulateAndGoOutInTheirOwnFrame) {
    peer->reply(frame({0xBE, 0xA5, 0x01}));
    peer->reply(frame({0xBE, 0xA5, 0x01}));
    peer->reply(frame({0xBE, 0xA5, 0x01}));
    ASSERT_EQ(device.SetLED(1, true), 1);
    ASSERT_EQ(device.SetLED(4, true), 1);
    ASSERT_EQ(device.SetLED(1, false), 1);
    auto sent = peer->requests();
    ASSERT_EQ(sent.size(), 3u);
    EXPECT_EQ(sent[0], frame({0xBE, 0xA5, 0x01}));
    EXPECT_EQ(sent[1], frame({0xBE, 0xA5, 0x05}));
    EXPECT_EQ(sent[2], frame({0xBE, 0xA5, 0x04}));

    // Only a status of exactly 1 is an acceptance.
    peer->reply(frame({0xBE, 0xA5, 0x02}));
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
    peer->reply(frame({0xBE, 0xA8, 0x01}));
    ASSERT_EQ(device.SetBrakes(true), 1);
    peer->reply(frame({0xBE, 0xA8, 0x00}));
    EXPECT_EQ(device.SetBrakes(false), 0);
    EXPECT_EQ(device.m_ErrCode, 257);
    auto sent = peer->requests();
    ASSERT_EQ(sent.size(), 2u);
    EXPECT_EQ(sent[0], frame({0xBE, 0xA8, 0x01}));
    EXPECT_EQ(sent[1], frame({0xBE, 0xA8, 0x00}));

    // The brake state is an answer, not an acknowledgement: 0 is a valid reply.
    device.ClearError();
    bool engaged = true;
    peer->reply(frame({0xBE, 0xA9, 0x00}));
    ASSERT_EQ(device.GetBrakes(&engaged), 1);
    EXPECT_FALSE(engaged);
    EXPECT_EQ(peer->requests()[2], frame({0xBE, 0xA9}));
    peer->reply(frame({0xBE, 0xA9, 0x40}));
    ASSERT_EQ(device.GetBrakes(&engaged), 1);
    EXPECT_TRUE(engaged);
    peer->reply(frame({0xBE, 0xA8, 0x00}));
    EXPECT_EQ(device.GetBrakes(&engaged), 0);
    EXPECT_EQ(device.m_ErrCode, 257);
    EXPECT_TRUE(engaged) << "the output is left alone";

    device.ClearError();
    EXPECT_EQ(device.SetBrakes(static_cast<unsigned char>(1)), 0);
    EXPECT_EQ(device.m_ErrCode, 0);
    EXPECT_EQ(peer->requests().size(), 5u);
}

TEST_F(InputFrames, ButtonsAreTheStatusWordsLowByte) {
    device.m_DeviceState = 0x0105;
    bool pressed = false;
    const struct {
        int index;
        bool pressed;
    } cases[] = {{0, true},
                 {1, false},
                 {2, true},
                 {7, false},
                 // Bit 8 of the word is set but is no button.
                 {8, false},
                 // The index wraps at 32.
                 {32, true},
                 {34, true},
                 {33, false},
                 {-32, true}};
    for (const auto& c : cases) {
        ASSERT_EQ(device.GetButton(c.index, &pressed), 1);
        EXPECT_EQ(pressed, c.pressed) << "button " << c.index;
    }
    EXPECT_EQ(device.GetButtonCount(), 1);

    device.m_fInit = false;
    pressed = false;
    EXPECT_EQ(device.GetButton(0, &pressed), 0);
    EXPECT_EQ(device.m_ErrCode, 2);
    EXPECT_FALSE(pressed);
    EXPECT_EQ(device.GetButtonCount(), 1) << "the count needs no initialised device";
}

// Operations with a guard and a fixed or stored answer: the answer on a ready device, 0 and
// error 2 before initialisation, 0 and no new error while one is pending.
TEST_F(InputFrames, GuardedAnswers) {
    device.m_ComFreq = 1234.5;
    int version[4] = {7, 7, 7, 7};
    unsigned char watchdog = 7;
    const struct {
        const char* name;
        std::function<double()> call;
        double ready;
    } cases[] = {
        {"GetBaseAngleX", [&] { return device.GetBaseAngleX(); }, 1.0},
        {"GetBaseAngleY", [&] { return device.GetBaseAngleY(); }, 1.0},
        {"GetBaseAngleZ", [&] { return device.GetBaseAngleZ(); }, 1.0},
        {"SetBaseAngleX", [&] { return device.SetBaseAngleX(0.5); }, 1},
        {"SetBaseAngleY", [&] { return device.SetBaseAngleY(0.5); }, 1},
        {"SetBaseAngleZ", [&] { return device.SetBaseAngleZ(0.5); }, 1},
        {"GetDeviceTime", [&] { return device.GetDeviceTime(); }, 1.0},
        {"GetComFreq", [&] { return device.GetComFreq(); }, 1234.5},
        {"GetVersion",
         [&] { return device.GetVersion(&version[0], &version[1], &version[2], &version[3]); }, 0},
        {"GetSystemType", [&] { return device.GetSystemType(true); }, 0},
        {"GetSystemRev", [&] { return device.GetSystemRev(); }, 0},
        {"GetStatus", [&] { return device.GetStatus(&version[0], true); }, 0},
        {"ControllerSetDevice", [&] { return device.ControllerSetDevice(1); }, 0},
        {"SetTimeGuard", [&] { return device.SetTimeGuard(1.0); }, 0},
        {"SetWatchdog", [&] { return device.SetWatchdog(1); }, 0},
        {"GetWatchdog", [&] { return device.GetWatchdog(&watchdog); }, 0},
        {"SetComMode", [&] { return device.SetComMode(1); }, 0},
        {"SetVibration", [&] { return device.SetVibration(1.0, 1.0, 1); }, 0},
        {"SetBrakes(unsigned char)",
         [&] { return device.SetBrakes(static_cast<unsigned char>(1)); }, 0},
    };
    for (const auto& c : cases) {
        device.m_fInit = true;
        device.ClearError();
        EXPECT_EQ(c.call(), c.ready) << c.name;
        EXPECT_EQ(device.m_ErrCode, 0) << c.name;

        device.ErrorCatch(20);
        EXPECT_EQ(c.call(), 0.0) << c.name;
        EXPECT_EQ(device.m_ErrCode, 20) << c.name;

        device.m_fInit = false;
        device.ClearError();
        EXPECT_EQ(c.call(), 0.0) << c.name;
        EXPECT_EQ(device.m_ErrCode, 2) << c.name;
    }
    for (int v : version) EXPECT_EQ(v, 7);
    EXPECT_EQ(watchdog, 7);
    EXPECT_TRUE(peer->requests().empty());
}

// Declared for the interface, answered without any check: a closed object gives the same
// answers and records no error.
TEST(FixedAnswers, ExactlyAsListedWithoutAnyGuard) {
    QEL d;
    double p[3] = {0, 0, 0};
    int n[3] = {0, 0, 0};
    unsigned int u = 0;
    unsigned short s = 0;
    char text[4] = "abc";
    unsigned char bytes[4] = {0, 0, 0, 0};
    const struct {
        const char* name;
        std::function<double()> call;
        double result;
    } cases[] = {
        {"GetID", [&] { return d.GetID(); }, 0},
        {"GetThumb", [&] { return d.GetThumb(p, p); }, 0},
        {"GetFinger", [&] { return d.GetFinger(p); }, 0},
        {"GetBuildFlag", [&] { return d.GetBuildFlag(1); }, 0},
        {"GetRawButtons", [&] { return d.GetRawButtons(&u, true); }, 0},
        {"GetRawEnc(mask)", [&] { return d.GetRawEnc(n, 7, p, true); }, 0},
        {"GetRawEnc", [&] { return d.GetRawEnc(n, p, true); }, 0},
        {"GetRawStatus", [&] { return d.GetRawStatus(&u); }, 0},
        {"GripEncToCG", [&] { return d.GripEncToCG(1, p); }, 0},
        {"StartMonitor", [&] { return d.StartMonitor(); }, 0},
        {"IsMonitoring", [&] { return d.IsMonitoring(); }, 0},
        {"Monitor", [&] { return d.Monitor(); }, 0},
        {"SetComAsync", [&] { return d.SetComAsync(true); }, 0},
        {"ComCallback", [&] { return d.ComCallback(n, 1.0); }, 0},
        {"GetComMode", [&] { return d.GetComMode(); }, 0},
        {"ComRead", [&] { return d.ComRead(); }, 0},
        {"ComWrite", [&] { return d.ComWrite(); }, 0},
        {"HasParam", [&] { return d.HasParam(1); }, 0},
        {"IsParamDeprecated", [&] { return d.IsParamDeprecated(1); }, 0},
        {"HasButtonEmulation", [&] { return d.HasButtonEmulation(); }, 0},
        {"IsSimulated", [&] { return d.IsSimulated(); }, 0},
        {"Simulate", [&] { return d.Simulate(1, 1.0); }, 0},
        {"SimulateGetFrc", [&] { return d.SimulateGetFrc(p); }, 0},
        {"SimulateSetEnc", [&] { return d.SimulateSetEnc(n, 7, 1.0); }, 0},
        {"SimulateSetPos", [&] { return d.SimulateSetPos(p, 1.0); }, 0},
        {"SimulateSetRawButtons", [&] { return d.SimulateSetRawButtons(1); }, 0},
        {"EmulateButton", [&] { return d.EmulateButton(1); }, 0},
        {"SetLocks", [&] { return d.SetLocks(1, 1.0); }, 0},
        {"HasLocks", [&] { return d.HasLocks(); }, 0},
        {"HasActiveLocks", [&] { return d.HasActiveLocks(); }, 0},
        {"HasPersistent", [&] { return d.HasPersistent(); }, 0},
        {"SetPersistent", [&] { return d.SetPersistent(1, 1); }, 0},
        {"GetPersistent", [&] { return d.GetPersistent(&s); }, 0},
        {"GetRedundantErr", [&] { return d.GetRedundantErr(n); }, 0},
        {"GetRedundantRatio", [&] { return d.GetRedundantRatio(p); }, 0},
        {"GetRedundantTol", [&] { return d.GetRedundantTol(); }, 0},
        {"IsRedundant", [&] { return d.IsRedundant(); }, 0},
        {"Echo", [&] { return d.Echo(text, 3); }, 0},
        {"SetConfig", [&] { return d.SetConfig(p); }, 0},
        {"SetDefaultConfig", [&] { return d.SetDefaultConfig(1); }, 0},
        {"WriteConfig", [&] { return d.WriteConfig(); }, 0},
        {"WriteConfigToFile", [&] { return d.WriteConfigToFile(text); }, 0},
        {"GetConfigSize", [&] { return d.GetConfigSize(); }, 0},
        {"ReadConfig", [&] { return d.ReadConfig(); }, 0},
        {"ReadConfigFromFile", [&] { return d.ReadConfigFromFile(text); }, 0},
        {"ReloadConfig", [&] { return d.ReloadConfig(true); }, 0},
        {"IsConfigdefault", [&] { return d.IsConfigdefault(); }, 0},
        {"GetFirmwareType", [&] { return d.GetFirmwareType(); }, 0},
        {"GetFwVersion", [&] { return d.GetFwVersion(p, n); }, 0},
        {"ReadFirmware", [&] { return d.ReadFirmware(); }, 0},
        {"WriteFirmware", [&] { return d.WriteFirmware(text); }, 0},
        {"WriteMemoryFromFile", [&] { return d.WriteMemoryFromFile(text); }, 0},
        {"WriteMemoryToFile", [&] { return d.WriteMemoryToFile(text); }, 0},
        {"EraseFirmware", [&] { return d.EraseFirmware(); }, 0},
        {"SetMemoryMode", [&] { return d.SetMemoryMode(1); }, 0},
        {"GetMemoryModel", [&] { return d.GetMemoryModel(); }, 0},
        {"SetMenAddr", [&] { return d.SetMenAddr(1, bytes, 4); }, 0},
        {"GetMemAddr", [&] { return d.GetMemAddr(1, bytes, 4); }, 0},
        {"ClearDeviceMemory", [&] { return d.ClearDeviceMemory(true, 1, n); }, 0},
        {"GetGripperRadius", [&] { return d.GetGripperRadius(); }, 0.0},
        {"GetDefaultParam", [&] { return d.GetDefaultParam(1); }, 1.0},
        {"GetUpperParam", [&] { return d.GetUpperParam(1); }, 1.0},
        {"GetLowerParam", [&] { return d.GetLowerParam(1); }, 1.0},
        {"GetActiveMask", [&] { return d.GetActiveMask(); }, 1},
        {"GetPassiveMask", [&] { return d.GetPassiveMask(); }, 1},
        {"GetLockMask", [&] { return d.GetLockMask(); }, 1},
        {"GetButtonCount", [&] { return d.GetButtonCount(); }, 1},
    };
    for (const auto& c : cases) EXPECT_EQ(c.call(), c.result) << c.name;
    EXPECT_EQ(d.GetSystemName(), nullptr);
    EXPECT_EQ(d.GetHandle(1), nullptr);
    d.StopMonitor();
    d.EnableSimulator(true);
    EXPECT_EQ(d.m_ErrCode, 0);
    EXPECT_FALSE(d.m_fSimulator);
    for (double v : p) EXPECT_EQ(v, 0.0);
    EXPECT_EQ(std::string(text), "abc");
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

TEST_F(Inputs, LedsAndBrakesReachTheDevice) {
    ASSERT_EQ(device.SetLED(1, true), 1);
    ASSERT_EQ(device.SetLED(4, true), 1);
    EXPECT_EQ(emulated().leds(), 5);
    ASSERT_EQ(device.SetLED(1, false), 1);
    EXPECT_EQ(emulated().leds(), 4);

    bool engaged = false;
    ASSERT_EQ(device.SetBrakes(true), 1);
    EXPECT_TRUE(emulated().brakes());
    ASSERT_EQ(device.GetBrakes(&engaged), 1);
    EXPECT_TRUE(engaged);
    ASSERT_EQ(device.SetBrakes(false), 1);
    EXPECT_FALSE(emulated().brakes());
    ASSERT_EQ(device.GetBrakes(&engaged), 1);
    EXPECT_FALSE(engaged);
}

TEST_F(Inputs, SerialNumberIsAThirtyTwoBitParameter) {
    EXPECT_EQ(device.GetSerialNumber(), emulated().serialNumber());
    ASSERT_EQ(device.SetSerialNumber(0x12345678u), 1);
    EXPECT_EQ(emulated().serialNumber(), 0x12345678u);
    EXPECT_EQ(device.GetSerialNumber(), 0x12345678u);

    // Parameters need no initialised device, and neither does the serial number.
    device.m_fInit = false;
    EXPECT_EQ(device.GetSerialNumber(), 0x12345678u);
    device.m_fInit = true;
}

} // namespace
