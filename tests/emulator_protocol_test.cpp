// SPDX-License-Identifier: MIT
// The emulated device seen from the host's end of the line: this program opens the port's
// node (redirected by the umockdev preload), writes raw request frames and decodes the
// replies against the byte layouts, written out by hand. Replies are compared whole with
// frames completed by the host's checksum, which checks the emulator's against it.
#include <gtest/gtest.h>

#include <cerrno>
#include <chrono>
#include <cstdio>
#include <fcntl.h>
#include <poll.h>
#include <string>
#include <termios.h>
#include <unistd.h>

#include "emulator.h"
#include "frames.h"

namespace {

using qeltest::Bytes;
using qeltest::frame;
namespace cmd = qelemu::cmd;

constexpr double kPi = 3.1415926; // the host's pi; angles given in degrees convert exactly

double rad(double deg) { return deg * kPi / 180.0; }

// The host's end of one port.
class Host {
public:
    explicit Host(const std::string& node) {
        fd_ = open(node.c_str(), O_RDWR | O_NOCTTY);
        if (fd_ < 0) return;
        termios t;
        tcgetattr(fd_, &t);
        cfmakeraw(&t);
        tcsetattr(fd_, TCSANOW, &t);
    }
    ~Host() {
        if (fd_ >= 0) close(fd_);
    }
    bool ok() const { return fd_ >= 0; }

    void send(const Bytes& bytes) {
        ASSERT_EQ(write(fd_, bytes.data(), bytes.size()), static_cast<ssize_t>(bytes.size()));
    }
    // Reads until `count` bytes have arrived or `timeoutMs` passed without completing them.
    Bytes receive(size_t count, int timeoutMs = 2000) {
        Bytes got;
        auto deadline = std::chrono::steady_clock::now() + std::chrono::milliseconds(timeoutMs);
        while (got.size() < count) {
            int left = static_cast<int>(std::chrono::duration_cast<std::chrono::milliseconds>(
                                            deadline - std::chrono::steady_clock::now())
                                            .count());
            if (left <= 0) break;
            struct pollfd p = {fd_, POLLIN, 0};
            if (poll(&p, 1, left) <= 0) break;
            uint8_t buffer[256];
            ssize_t n = read(fd_, buffer, std::min(sizeof buffer, count - got.size()));
            if (n <= 0) break;
            got.insert(got.end(), buffer, buffer + n);
        }
        return got;
    }
    Bytes exchange(const Bytes& request, size_t replyLength) {
        send(request);
        return receive(replyLength);
    }

private:
    int fd_ = -1;
};

bool intact(const Bytes& reply) {
    return !reply.empty() && qelemu::crc16(reply.data(), reply.size()) == 0;
}

Bytes sub(const Bytes& bytes, size_t at, size_t count) {
    if (at + count > bytes.size()) return {};
    return Bytes(bytes.begin() + static_cast<long>(at),
                 bytes.begin() + static_cast<long>(at + count));
}

// A full cyclic request with n channels; per channel a control byte, target, velocity
// target and motor command, then the command word; zeros after the checksum.
Bytes cyclicRequest(int n, const uint32_t* target, const int16_t* vel, const int16_t* motor,
                    uint16_t commandWord) {
    Bytes body = {0xBE, cmd::Cyclic, uint8_t(n << 4 | 3)};
    for (int i = 0; i < n; ++i) {
        uint32_t lo = (target[i] & 0xFFFF) * 2, hi = target[i] >> 16;
        Bytes block = {uint8_t(0x10 + i),    uint8_t(lo),     uint8_t(lo >> 8),
                       uint8_t(lo >> 16),    uint8_t(hi),     uint8_t(hi >> 8),
                       uint8_t(vel[i] >> 8), uint8_t(vel[i]), uint8_t(motor[i] >> 8),
                       uint8_t(motor[i])};
        body.insert(body.end(), block.begin(), block.end());
    }
    body.push_back(uint8_t(commandWord >> 8));
    body.push_back(uint8_t(commandWord));
    Bytes request = frame(body);
    request.resize(67, 0);
    return request;
}

// Counts by hand: count = min + (DefAng - angle) / 360 * 2^20, DefAng 86.5 for the arm and
// 120, 45, 167.5 for the wrist; arm min 948576, wrist min 100000.
TEST(EmulatorProtocol, EncoderCountsOfAPose) {
    qelemu::Emulator emu;
    qelemu::Device& dev = emu.device(0);
    const double q[6] = {rad(40), rad(80), rad(86.5), rad(0), rad(10), rad(-20)};
    dev.setJointAngles(q);
    dev.setStatusWord(0xA55A);
    Host host(emu.devnode(0));
    ASSERT_TRUE(host.ok());

    // 40 degrees: 948576 + 135441 = 1084017 = 0x108A71, past the wrap.
    EXPECT_EQ(dev.encoderCount(0), 1084017u);
    EXPECT_EQ(dev.encoderCount(1), 967509u); // 80 degrees: 948576 + 18933
    EXPECT_EQ(dev.encoderCount(2), 948576u); // the default angle reads the lower limit
    EXPECT_EQ(dev.encoderCount(3), 449525u);
    EXPECT_EQ(dev.encoderCount(4), 201945u);
    EXPECT_EQ(dev.encoderCount(5), 646133u);

    // Read encoders: the whole count, low half doubled in 24 bits LE, then high half LE;
    // status word little-endian at 32.
    Bytes r = host.exchange(frame({0xBE, cmd::ReadEncoders}), 36);
    ASSERT_EQ(r.size(), 36u);
    EXPECT_TRUE(intact(r));
    EXPECT_EQ(sub(r, 2, 5), (Bytes{0xE2, 0x14, 0x01, 0x10, 0x00}));  // 0x8A71*2, 0x10
    EXPECT_EQ(sub(r, 7, 5), (Bytes{0xAA, 0x86, 0x01, 0x0E, 0x00}));  // 0xC355*2, 0x0E
    EXPECT_EQ(sub(r, 12, 5), (Bytes{0xC0, 0xF2, 0x00, 0x0E, 0x00})); // 0x7960*2, 0x0E
    EXPECT_EQ(sub(r, 27, 5), (Bytes{0xEA, 0xB7, 0x01, 0x09, 0x00})); // 0xDBF5*2, 0x09
    EXPECT_EQ(sub(r, 32, 2), (Bytes{0x5A, 0xA5}));

    // Full cyclic frame: single-turn count doubled (24-bit LE), then the turn count.
    uint32_t targets[6] = {};
    int16_t zeros[6] = {};
    r = host.exchange(cyclicRequest(6, targets, zeros, zeros, 0), 67);
    ASSERT_EQ(r.size(), 67u);
    EXPECT_TRUE(intact(r));
    EXPECT_EQ(sub(r, 0, 3), (Bytes{0xBE, cmd::Cyclic, 0x63}));
    EXPECT_EQ(sub(r, 4, 5), (Bytes{0xE2, 0x14, 0x01, 0x01, 0x00}));  // 35441*2, 1 turn
    EXPECT_EQ(sub(r, 14, 5), (Bytes{0xAA, 0x86, 0x1D, 0x00, 0x00})); // 967509*2
    EXPECT_EQ(sub(r, 54, 5), (Bytes{0xEA, 0xB7, 0x13, 0x00, 0x00})); // 646133*2
    EXPECT_EQ(sub(r, 63, 2), (Bytes{0x5A, 0xA5}));

    // Short cyclic frame: same blocks at 2 + 5i, its status word big-endian at 38.
    r = host.exchange(
        frame({0xBE, cmd::ShortCyclic, 0x00, 0x10, 0xFF, 0xF0, 0x01, 0x00, 0x00, 0x03}), 42);
    ASSERT_EQ(r.size(), 42u);
    EXPECT_TRUE(intact(r));
    EXPECT_EQ(sub(r, 2, 5), (Bytes{0xE2, 0x14, 0x01, 0x01, 0x00}));
    EXPECT_EQ(sub(r, 32, 6), (Bytes{0x00, 0x10, 0xFF, 0xF0, 0x01, 0x00}));
    EXPECT_EQ(sub(r, 38, 2), (Bytes{0xA5, 0x5A}));
    EXPECT_EQ(dev.motorCommand(1), -16);
    EXPECT_EQ(dev.leds(), 0x03);
}

} // namespace
