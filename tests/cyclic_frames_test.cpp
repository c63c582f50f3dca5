// SPDX-License-Identifier: MIT
// The cyclic frames and the calibration registers of the device object, byte for byte against
// scripted replies. The object is marked initialised by hand so that no refresh thread runs and
// every frame on the line is the test's own.
#include <gtest/gtest.h>

#include <chrono>
#include <thread>
#include <vector>

#include "ready_device.h"
#include "wire.h"

namespace {

namespace cmd = qelemu::cmd;

using qeltest::Bytes;
using qeltest::frame;

struct Channel {
    uint8_t status;
    uint32_t raw; // the 24-bit single-turn field as sent
    uint16_t turns;
    int16_t velocity;
    int16_t current;
};

// A full-frame reply: `channelByte` is byte 2 as the device sends it.
Bytes fullReply(uint8_t channelByte, const std::vector<Channel>& channels, uint16_t status) {
    Bytes body = {0xBE, cmd::Cyclic, channelByte};
    for (size_t i = 0; i < 6; ++i) {
        Channel c = i < channels.size() ? channels[i] : Channel{};
        uint16_t v = static_cast<uint16_t>(c.velocity), a = static_cast<uint16_t>(c.current);
        body.insert(body.end(), {c.status, uint8_t(c.raw), uint8_t(c.raw >> 8),
                                 uint8_t(c.raw >> 16), uint8_t(c.turns), uint8_t(c.turns >> 8),
                                 uint8_t(v >> 8), uint8_t(v), uint8_t(a >> 8), uint8_t(a)});
    }
    body.insert(body.end(), {uint8_t(status), uint8_t(status >> 8)}); // little-endian here
    return frame(body);
}

class CyclicFrames : public qeltest::ReadyScriptedDeviceTest {
protected:
    // One full-frame exchange with the object's own buffers as the refresh thread passes them.
    int exchange(unsigned char channels = 6) {
        return device.MultiaxialControl(3, channels, ctrl, target, velocity, motor, &command,
                                        &respMotors, &respChannels, status, enc, vel, current,
                                        &deviceState);
    }

    unsigned char ctrl[6] = {1, 2, 3, 4, 5, 6};
    unsigned int target[6] = {74565, 0, 0x00FFFFFF, 0, 0, 0x12345678};
    short velocity[6] = {-2, 0x0102, 0, 0, 0, 0};
    short motor[6] = {-29536, 3200, 0, 0, 0, 0};
    unsigned short command = 0xA1B2;
    unsigned char respMotors = 0, respChannels = 0;
    // One element of slack on each output: a reply that claims more than six channels must
    // not write past the sixth.
    unsigned char status[7] = {};
    unsigned int enc[7] = {};
    short vel[7] = {};
    short current[7] = {};
    unsigned short deviceState = 0;
};

TEST_F(CyclicFrames, FullRequestCarriesEveryFieldAsTabled) {
    peer->reply(fullReply(0x63, {}, 0));
    ASSERT_EQ(exchange(), 1);
    const Bytes expected = {0xBE, cmd::Cyclic, 0x63, // header, 3 motors, 6 channels
                            0x01, 0x8A,        0x46, 0x00, 0x01,
                            0x00, 0xFF,        0xFE, 0x8C, 0xA0, // 74,565: 9,029 doubled, 1
                            0x02, 0x00,        0x00, 0x00, 0x00,
                            0x00, 0x01,        0x02, 0x0C, 0x80, //
                            0x03, 0xFE,        0xFF, 0x01, 0xFF,
                            0x00, 0x00,        0x00, 0x00, 0x00, // low half 0xFFFF doubled
                            0x04, 0x00,        0x00, 0x00, 0x00,
                            0x00, 0x00,        0x00, 0x00, 0x00, //
                            0x05, 0x00,        0x00, 0x00, 0x00,
                            0x00, 0x00,        0x00, 0x00, 0x00, //
                            0x06, 0xF0,        0xAC, 0x00, 0x34,
                            0x12, 0x00,        0x00, 0x00, 0x00, //
                            0xA1, 0xB2};                         // command word, big-endian
    EXPECT_EQ(peer->requests().at(0), frame(expected));

    // With fewer channels the command word and checksum follow the last one, and the rest of the
    // 67 bytes are 0.
    peer->reply(fullReply(0x23, {}, 0));
    ASSERT_EQ(exchange(2), 1);
    Bytes head(expected.begin(), expected.begin() + 23);
    head[2] = 0x23;
    head.insert(head.end(), {0xA1, 0xB2});
    head = frame(head);
    head.resize(67, 0);
    EXPECT_EQ(peer->requests().at(1), head);
}

TEST_F(CyclicFrames, FullReplyIsDecodedAndItsChannelCountBounded) {
    peer->reply(fullReply(0xF3,
                          {{0x11, 0x000001, 7, -1, 300},
                           {0x22, 0xFFFFFE, 0, 0x1234, -300},
                           {0, 2 * 12345, 0, 0, 0},
                           {0, 0, 0, 0, 0},
                           {0, 0, 0, 0, 0},
                           {0x66, 2 * 777, 0, 6, 66}},
                          0x0201));
    status[6] = 0xEE;
    enc[6] = 0xEEEE;
    ASSERT_EQ(exchange(), 1);
    EXPECT_EQ(respMotors, 3);
    EXPECT_EQ(respChannels, 15);
    // The seventh elements are the slack, which must keep their marks. Raw 1 is a single-turn
    // count of 0; the turn count is not used.
    using V = std::vector<long>;
    EXPECT_EQ(V(status, status + 7), (V{0x11, 0x22, 0, 0, 0, 0x66, 0xEE}));
    EXPECT_EQ(V(enc, enc + 7), (V{0, 0x7FFFFF, 12345, 0, 0, 777, 0xEEEE}));
    EXPECT_EQ(V(vel, vel + 6), (V{-1, 0x1234, 0, 0, 0, 6}));
    EXPECT_EQ(V(current, current + 6), (V{300, -300, 0, 0, 0, 66}));
    EXPECT_EQ(deviceState, 0x0201);

    // A reply with another header is invalid data and leaves every measurement in place.
    Bytes wrong = fullReply(0x63, {{9, 2 * 99, 0, 9, 9}}, 9);
    wrong[0] = 0xBF;
    wrong.resize(65);
    peer->reply(frame(wrong));
    EXPECT_EQ(exchange(), 0);
    EXPECT_EQ(device.m_ErrCode, 257);
    EXPECT_EQ(enc[0], 0u);
    EXPECT_EQ(vel[0], -1);
    EXPECT_EQ(deviceState, 0x0201);

    // With that error pending nothing more is sent.
    EXPECT_EQ(exchange(), 0);
    EXPECT_EQ(peer->requests().size(), 2u);
}

TEST_F(CyclicFrames, CalibratedCountsUnwrapAcrossZeroAndHoldSmallDips) {
    device.m_fCalibrate = true;
    device.m_EncoderResolution = 8192;
    for (int i = 0; i < 6; ++i) {
        device.m_EncoderMinValue[i] = 1000;
        device.m_EncoderMaxValue[i] = 5000;
    }
    device.m_EncoderMaxValue[4] = 100;
    device.m_EncoderMinValue[5] = 20; // min - 50 wraps: every count counts as wrapped
    peer->reply(fullReply(0x63,
                          {{0, 2 * 900, 0, 0, 0},
                           {0, 2 * 960, 0, 0, 0},
                           {0, 2 * 950, 0, 0, 0},
                           {0, 2 * 4000, 0, 0, 0},
                           {0, 2 * 500, 0, 0, 0},
                           {0, 2 * 4000, 0, 0, 0}},
                          0));
    ASSERT_EQ(exchange(), 1);
    EXPECT_EQ(enc[0], 9092u);        // wrapped past zero
    EXPECT_EQ(enc[1], 1000u);        // a dip of less than 50 is held at the minimum
    EXPECT_EQ(enc[2], 950u);         // exactly 50 below is neither
    EXPECT_EQ(enc[3], 4000u);        // in range
    EXPECT_EQ(enc[4], 8192u + 100u); // limited to resolution + maximum
    EXPECT_EQ(enc[5], 8192u + 4000u);
    EXPECT_EQ(device.m_EncoderSingleValue[0], 900u);
}

TEST_F(CyclicFrames, ShortFrameCarriesMotorsAndEstimatesVelocityOnceCalibrated) {
    short cmd[3] = {-2, 0x0102, 7};
    unsigned short word = 0x0304;
    unsigned int counts[6] = {};
    short motorValue[3] = {};
    unsigned short deviceStatus = 0;
    // One exchange, a few milliseconds after the last so that a count or two per frame stays
    // well inside the 16-bit rate (frames microseconds apart would wrap it, as the device's
    // rates do).
    auto pass = [&](const uint32_t count[6], uint16_t status) {
        Bytes body = {0xBE, cmd::ShortCyclic};
        for (int i = 0; i < 6; ++i) {
            uint32_t raw = count[i] * 2;
            body.insert(body.end(), {uint8_t(raw), uint8_t(raw >> 8), uint8_t(raw >> 16), 0, 0});
        }
        // The motor values, then the status word big-endian in this frame.
        body.insert(body.end(),
                    {0x01, 0x02, 0xFF, 0xFE, 0x00, 0x03, uint8_t(status >> 8), uint8_t(status)});
        std::this_thread::sleep_for(std::chrono::milliseconds(2));
        peer->reply(frame(body));
        return device.SetMotAndGetMotAndGetEnc(cmd, &word, counts, motorValue, &deviceStatus);
    };

    const uint32_t first[6] = {100, 200, 300, 400, 500, 600};
    ASSERT_EQ(pass(first, 0x0A0B), 1);
    EXPECT_EQ(peer->requests().at(0),
              frame({0xBE, cmd::ShortCyclic, 0xFF, 0xFE, 0x01, 0x02, 0x00, 0x07, 0x03, 0x04}));
    EXPECT_EQ(counts[5], 600u);
    EXPECT_EQ(std::vector<short>(motorValue, motorValue + 3), (std::vector<short>{0x0102, -2, 3}));
    EXPECT_EQ(deviceStatus, 0x0A0B);
    EXPECT_EQ(device.m_EncoderVel[0], 0) << "not calibrated: no estimate";

    // Calibrated, frames difference the counts frame to frame. (A zero minimum makes every
    // count unwrap, to resolution + count limited by the maximum.)
    device.m_fCalibrate = true;
    device.m_EncoderResolution = 1 << 20;
    device.m_EncoderMaxValue[0] = device.m_EncoderMaxValue[1] = 1 << 20;
    ASSERT_EQ(pass(first, 0), 1);
    EXPECT_FALSE(device.fFirstFrame);
    EXPECT_EQ(device.m_EncoderVel[0], 0);
    EXPECT_EQ(counts[1], (1u << 20) + 200);

    const uint32_t moved[6] = {101, 199, 300, 400, 500, 600};
    ASSERT_EQ(pass(moved, 0), 1);
    EXPECT_GT(device.m_EncoderVel[0], 0);
    EXPECT_LT(device.m_EncoderVel[1], 0);
    EXPECT_EQ(device.m_EncoderVel[2], 0);

    // A first frame restarts channel 0 only: the flag is cleared while handling it, and the
    // other channels go on differencing.
    device.fFirstFrame = true;
    ASSERT_EQ(pass(first, 0), 1);
    EXPECT_EQ(device.m_EncoderVel[0], 0);
    EXPECT_GT(device.m_EncoderVel[1], 0);
}

TEST_F(CyclicFrames, CalibrationIsWrittenAxisByAxisAndSetEvenWhenTheCommitFails) {
    unsigned int mins[6] = {0x00010002, 3, 4, 5, 6, 7};
    unsigned int maxs[6] = {0x00080009, 13, 14, 15, 16, 17};
    // Arm only: the wrist axes are stored as 0. Registers 100 to 123 hold minimum and maximum
    // per axis, each as two halves, low first; the commit is the last write, and its failure is
    // the result.
    std::vector<Bytes> writes;
    for (int w = 0; w < 24; ++w) {
        uint32_t limit = w < 12 ? (w % 4 < 2 ? mins[w / 4] : maxs[w / 4]) : 0;
        uint16_t v = static_cast<uint16_t>(w % 2 ? limit >> 16 : limit);
        writes.push_back(frame({0xBE, cmd::WriteRegister, 0x00, static_cast<uint8_t>(100 + w),
                                static_cast<uint8_t>(v >> 8), static_cast<uint8_t>(v)}));
    }
    for (const Bytes& w : writes) peer->reply(w);
    peer->reply(frame(
        {0xBE, cmd::WriteRegister, 0x00, 0xC7, 0x00, 0x00})); // the commit echoes another value
    EXPECT_EQ(device.SaveCalibration(mins, maxs, 7), 0);
    writes.push_back(frame({0xBE, cmd::WriteRegister, 0x00, 0xC7, 0x00, 0xAA}));
    std::vector<Bytes> sent = peer->requests();
    EXPECT_EQ(sent, writes);
    EXPECT_EQ(sent.at(1), frame({0xBE, cmd::WriteRegister, 0x00, 0x65, 0x00, 0x01}))
        << "the high half";
    EXPECT_TRUE(device.m_fCalibrate);
    EXPECT_EQ(device.m_EncoderMinValue[0], 0x00010002u);
    EXPECT_EQ(device.m_EncoderMaxValue[2], 14u);
    EXPECT_EQ(device.m_EncoderMinValue[3], 0u);
    EXPECT_EQ(device.m_EncoderMaxValue[5], 0u);
}

} // namespace
