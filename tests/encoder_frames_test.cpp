// SPDX-License-Identifier: MIT
// Reading and presetting encoder counts: the frames byte for byte against scripted replies,
// then over the wire against the emulated device's own counters.
#include <gtest/gtest.h>

#include "ready_device.h"
#include "wire.h"

namespace {

namespace cmd = qelemu::cmd;

using qeltest::Bytes;
using qeltest::frame;

// The read-encoders reply: per channel the low 16 bits doubled in three bytes, then the high
// 16 bits, all little-endian; then the status word, little-endian.
Bytes encoderReply(const uint32_t count[6], uint16_t status) {
    Bytes body = {0xBE, cmd::ReadEncoders};
    for (int i = 0; i < 6; ++i) {
        uint32_t lo = (count[i] & 0xFFFF) * 2, hi = count[i] >> 16;
        Bytes block = {uint8_t(lo), uint8_t(lo >> 8), uint8_t(lo >> 16), uint8_t(hi),
                       uint8_t(hi >> 8)};
        body.insert(body.end(), block.begin(), block.end());
    }
    body.push_back(uint8_t(status));
    body.push_back(uint8_t(status >> 8));
    return frame(body);
}

using EncoderFrames = qeltest::ReadyScriptedDeviceTest;
using EncodersEndToEnd = qeltest::ReadyEmulatedDeviceTest;

TEST_F(EncoderFrames, ReadEncodersDecodesEveryChannelAndTheStatus) {
    const uint32_t counts[6] = {0x12345678u, 0x0000FFFFu, 0xFFFF0001u, 0, 0x80000000u, 7};
    peer->reply(encoderReply(counts, 0xA55A));
    unsigned int enc[6] = {};
    unsigned short status = 0;
    ASSERT_EQ(device.GetEnc(enc, &status, nullptr, false), 1);
    EXPECT_EQ(peer->requests().at(0), frame({0xBE, cmd::ReadEncoders}));
    for (int i = 0; i < 6; ++i) EXPECT_EQ(enc[i], counts[i]) << "channel " << i;
    EXPECT_EQ(status, 0xA55A);

    // A reply to another command is invalid data; the outputs keep their values.
    Bytes wrong = encoderReply(counts, 1);
    wrong[1] = cmd::SetMotors;
    wrong = frame(Bytes(wrong.begin(), wrong.end() - 2));
    peer->reply(wrong);
    status = 9;
    EXPECT_EQ(device.GetEnc(enc, &status, nullptr, false), 0);
    EXPECT_EQ(device.m_ErrCode, 257);
    EXPECT_EQ(status, 9);
}

TEST_F(EncoderFrames, RequestedRatesDifferenceTheCounts) {
    uint32_t counts[6] = {1000, 2000, 3000, 4000, 5000, 6000};
    peer->reply(encoderReply(counts, 0));
    unsigned int enc[6];
    unsigned short status;
    double vel[6] = {9, 9, 9, 9, 9, 9};
    ASSERT_TRUE(device.fFirstFrame);
    ASSERT_EQ(device.GetEnc(enc, &status, vel, true), 1);
    EXPECT_FALSE(device.fFirstFrame);
    EXPECT_EQ(vel[0], 0.0) << "the first frame seeds channel 0";

    const int delta[6] = {500, -250, 0, 100, 0, -1};
    for (int i = 0; i < 6; ++i) counts[i] += delta[i];
    peer->reply(encoderReply(counts, 0));
    ASSERT_EQ(device.GetEnc(enc, &status, vel, true), 1);
    // Counts per second: every channel over the same interval.
    ASSERT_GT(vel[0], 0.0);
    double dt = 500 / vel[0];
    EXPECT_GT(dt, 0.0);
    EXPECT_LT(dt, 10.0);
    for (int i = 0; i < 6; ++i) EXPECT_NEAR(vel[i] * dt, delta[i], 1e-9) << "channel " << i;
}

TEST_F(EncoderFrames, PresetSendsTheArmCountsAndNeedsAnAcknowledgement) {
    unsigned int enc[6] = {0x12345678u, 0x0000FFFFu, 0xFFFF0001u, 0xDEADBEEF, 1, 2};
    peer->reply(frame({0xBE, cmd::Preset, 0x01}));
    ASSERT_EQ(device.Preset(enc), 1);
    EXPECT_EQ(peer->requests().at(0), frame({0xBE, cmd::Preset,               //
                                             0xF0, 0xAC, 0x00, 0x34, 0x12,    // 0x12345678
                                             0xFE, 0xFF, 0x01, 0x00, 0x00,    // 0x0000FFFF
                                             0x02, 0x00, 0x00, 0xFF, 0xFF})); // 0xFFFF0001

    peer->reply(frame({0xBE, cmd::Preset, 0x00}));
    EXPECT_EQ(device.Preset(enc), 0);
    EXPECT_EQ(device.m_ErrCode, 257);
    device.ClearError();

    // Presetting one channel is not offered: nothing is sent.
    EXPECT_EQ(device.Preset(static_cast<unsigned char>(1), 5u), 0);
    EXPECT_EQ(device.m_ErrCode, 0);
    EXPECT_EQ(peer->requests().size(), 2u);
}

TEST_F(EncoderFrames, CyclicCountsAreHandedOutByMask) {
    for (int i = 0; i < 6; ++i) {
        device.m_EncoderSingleValue[i] = 100 + i;
        device.m_EncoderValue[i] = 1000 + i;
        device.m_EncoderVel[i] = static_cast<int16_t>(-10 * i);
    }
    unsigned int enc[6] = {};
    double vel[6] = {};
    device.m_fWrist = true;
    // Before calibration: single-turn readings, and no rates even when asked for.
    ASSERT_EQ(device.GetEnc(enc, static_cast<unsigned char>(0x05), vel, true), 1);
    EXPECT_EQ(enc[0], 100u);
    EXPECT_EQ(enc[1], 0u);
    EXPECT_EQ(enc[2], 102u);
    EXPECT_EQ(vel[2], 0.0);
    device.m_fCalibrate = true;
    ASSERT_EQ(device.GetEnc(enc, static_cast<unsigned char>(0x3F), vel, true), 1);
    EXPECT_EQ(enc[5], 1005u);
    EXPECT_EQ(vel[5], -50.0);
    EXPECT_TRUE(peer->requests().empty());

    device.m_fWrist = false;
    EXPECT_EQ(device.GetEnc(enc, static_cast<unsigned char>(0x38), vel, false), 0);
    EXPECT_EQ(device.m_ErrCode, 258);
}

// The emulated device's counts of its own arm, read over the wire; then a preset moves the
// arm's counters to the values sent, and only those.
TEST_F(EncodersEndToEnd, CountsReadAndPresetOverTheWire) {
    const double pose[6] = {0.5, 0.7, 0.6, 0.3, -0.2, 0.4};
    emulated().setJointAngles(pose);
    unsigned int enc[6];
    unsigned short status;
    ASSERT_EQ(device.GetEnc(enc, &status, nullptr, false), 1);
    for (int i = 0; i < 6; ++i) EXPECT_EQ(enc[i], emulated().encoderCount(i)) << "channel " << i;

    unsigned int preset[6] = {5u, 0x00FFFFFFu, 0xFFFFFFF0u, 0, 0, 0};
    ASSERT_EQ(device.Preset(preset), 1);
    ASSERT_EQ(device.GetEnc(enc, &status, nullptr, false), 1);
    EXPECT_EQ(enc[0], 5u);
    EXPECT_EQ(enc[1], 0x00FFFFFFu);
    EXPECT_EQ(enc[2], 0xFFFFFFF0u);
    EXPECT_EQ(enc[3], emulated().encoderCount(3));
    EXPECT_EQ(device.m_ErrCode, 0);
}

} // namespace
