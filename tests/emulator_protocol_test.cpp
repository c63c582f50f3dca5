// The emulated device seen from the host's end of the line: this program opens the port's
// node (redirected by the umockdev preload), writes raw request frames and decodes the
// replies against the byte layouts, written out by hand. Replies are compared whole with
// frames completed by the host's checksum, which checks the emulator's against it.
#include <gtest/gtest.h>

#include <cerrno>
#include <chrono>
#include <cstdio>
#include <cstdlib>
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

Bytes readRegister(uint16_t number) {
    return frame({0xBE, cmd::ReadRegister, uint8_t(number >> 8), uint8_t(number)});
}
Bytes writeRegister(uint16_t number, uint16_t value) {
    return frame({0xBE, cmd::WriteRegister, uint8_t(number >> 8), uint8_t(number),
                  uint8_t(value >> 8), uint8_t(value)});
}
// A register's value as read, big-endian in bytes 4-5 of the reply; -1 for a short reply.
int valueOf(Host& host, uint16_t number) {
    Bytes r = host.exchange(readRegister(number), 8);
    return r.size() == 8 ? r[4] << 8 | r[5] : -1;
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

TEST(EmulatorProtocol, RegistersIdentityAndParameters) {
    qelemu::EmulatorOptions options;
    options.devices = 2;
    options.device.resize(2);
    options.device[1].type = 2;
    qelemu::Emulator emu(options);
    Host host(emu.devnode(0));
    ASSERT_TRUE(host.ok());

    // Serial number 10001 = 0x2711 in register 136; values big-endian at bytes 4-5, the
    // register number echoed at 2-3.
    EXPECT_EQ(host.exchange(readRegister(136), 8),
              frame({0xBE, cmd::ReadRegister, 0x00, 0x88, 0x27, 0x11}));
    // The serial number's high half 0; resolution 2^20, low half 0, high half 16; type 1 in
    // 135; the arm's calibration: lower limit 948576 = 0x000E7960, upper 156319 = 0x0002629F,
    // a single-turn reading past the wrap.
    const int registers[][2] = {{137, 0},      {128, 0},    {129, 0x10},   {130, 100}, {135, 1},
                                {100, 0x7960}, {101, 0x0E}, {102, 0x629F}, {103, 0x02}};
    for (const auto& r : registers) EXPECT_EQ(valueOf(host, uint16_t(r[0])), r[1]) << r[0];

    // A write echoes the value in bytes 4-5 and is read back.
    EXPECT_EQ(host.exchange(writeRegister(300, 0xBEEF), 8),
              frame({0xBE, cmd::WriteRegister, 0x01, 0x2C, 0xBE, 0xEF}));
    EXPECT_EQ(emu.device(0).reg(300), 0xBEEF);
    EXPECT_EQ(valueOf(host, 300), 0xBEEF);
    // A 32-bit parameter is two registers, low half first.
    host.exchange(writeRegister(136, 0x5678), 8);
    host.exchange(writeRegister(137, 0x1234), 8);
    EXPECT_EQ(emu.device(0).serialNumber(), 0x12345678u);

    // The second device: its own serial number, type 2 and its wider arm range.
    Host second(emu.devnode(1));
    ASSERT_TRUE(second.ok());
    EXPECT_EQ(valueOf(second, 136), 0x2712);
    EXPECT_EQ(valueOf(second, 135), 2);
    EXPECT_EQ(valueOf(second, 132), 1250);
    EXPECT_EQ(emu.device(1).reg32(102),
              (948576u + 433994u) % 1048576u); // 149 degrees = 433993.96 counts
    EXPECT_EQ(emu.device(0).frames(cmd::ReadRegister), 11u);
    EXPECT_EQ(emu.device(0).frames(cmd::WriteRegister), 3u);
}

TEST(EmulatorProtocol, ModesDrivesLedsBrakesAndMotors) {
    qelemu::Emulator emu;
    qelemu::Device& dev = emu.device(0);
    Host host(emu.devnode(0));
    ASSERT_TRUE(host.ok());

    EXPECT_EQ(host.exchange(frame({0xBE, cmd::GetMode}), 5), frame({0xBE, cmd::GetMode, 0x22}));
    EXPECT_EQ(host.exchange(frame({0xBE, cmd::SetMode, 0x25}), 5),
              frame({0xBE, cmd::SetMode, 0x01}));
    EXPECT_EQ(host.exchange(frame({0xBE, cmd::GetMode}), 5), frame({0xBE, cmd::GetMode, 0x25}));
    EXPECT_EQ(dev.mode(), 0x25);

    EXPECT_EQ(host.exchange(frame({0xBE, cmd::SetLed, 0x05}), 5), frame({0xBE, cmd::SetLed, 0x01}));
    EXPECT_EQ(dev.leds(), 0x05);
    EXPECT_EQ(host.exchange(frame({0xBE, cmd::EnableDrives, 0x01}), 5),
              frame({0xBE, cmd::EnableDrives, 0x01}));
    EXPECT_TRUE(dev.drivesEnabled());
    EXPECT_EQ(host.exchange(frame({0xBE, cmd::GetBrakes}), 5), frame({0xBE, cmd::GetBrakes, 0x00}));
    EXPECT_EQ(host.exchange(frame({0xBE, cmd::SetBrakes, 0x01}), 5),
              frame({0xBE, cmd::SetBrakes, 0x01}));
    EXPECT_TRUE(dev.brakes());
    EXPECT_EQ(host.exchange(frame({0xBE, cmd::GetBrakes}), 5), frame({0xBE, cmd::GetBrakes, 0x01}));
    EXPECT_EQ(host.exchange(frame({0xBE, cmd::SetMotorVelocity, 0x12, 0x34}), 5),
              frame({0xBE, cmd::SetMotorVelocity, 0x01}));
    EXPECT_EQ(dev.motorVelocity(), 0x1234);

    // Motor commands travel big-endian and signed; the reply to 0xA1 is bare.
    EXPECT_EQ(host.exchange(frame({0xBE, cmd::SetMotors, 0x01, 0x02, 0xFF, 0xFE, 0x7F, 0xFF}), 4),
              frame({0xBE, cmd::SetMotors}));
    EXPECT_EQ(dev.motorCommand(0), 0x0102);
    EXPECT_EQ(dev.motorCommand(1), -2);
    EXPECT_EQ(dev.motorCommand(2), 32767);
    EXPECT_EQ(host.exchange(frame({0xBE, cmd::GetMotors}), 10),
              frame({0xBE, cmd::GetMotors, 0x01, 0x02, 0xFF, 0xFE, 0x7F, 0xFF}));

    // A power cycle brings the power-on state back.
    dev.restart();
    EXPECT_EQ(dev.mode(), 0x22);
    EXPECT_FALSE(dev.drivesEnabled());
    EXPECT_EQ(dev.leds(), 0);
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

TEST(EmulatorProtocol, CyclicFrameCommandsAndReportedValues) {
    qelemu::Emulator emu;
    qelemu::Device& dev = emu.device(0);
    Host host(emu.devnode(0));
    ASSERT_TRUE(host.ok());
    dev.setChannelStatus(0, 0x81);
    dev.setChannelStatus(5, 0x06);
    dev.setMotorCurrent(1, int16_t(-300));
    dev.setEncoderVelocity(2, int16_t(0x1234));
    dev.setButtons(0x05);

    uint32_t targets[6] = {74565, 0, 0xFFFFFFFF, 1, 2, 3};
    int16_t vel[6] = {100, -1, 0, 0, 0, 0x0203};
    int16_t motor[6] = {1000, -1000, 0x0102, 0, 0, 0};
    Bytes request = cyclicRequest(6, targets, vel, motor, 0x0107);
    EXPECT_EQ(sub(request, 4, 5), (Bytes{0x8A, 0x46, 0x00, 0x01, 0x00}));
    Bytes r = host.exchange(request, 67);
    ASSERT_EQ(r.size(), 67u);
    EXPECT_TRUE(intact(r));

    // The library's own requests reach the device field by field in the runtime tests; here
    // the fields' extremes: a full 32-bit target, the last channel, a negative motor command.
    qelemu::CyclicRequest c = dev.lastCyclic();
    EXPECT_EQ(c.target[2], 0xFFFFFFFFu);
    EXPECT_EQ(c.velocityTarget[5], 0x0203);
    EXPECT_EQ(c.motor[1], -1000);
    EXPECT_EQ(c.commandWord, 0x0107);
    EXPECT_EQ(dev.leds(), 0x07);
    EXPECT_EQ(dev.motorCommand(1), -1000);

    EXPECT_EQ(r[3], 0x81);
    EXPECT_EQ(r[53], 0x06);
    EXPECT_EQ(sub(r, 21, 2), (Bytes{0xFE, 0xD4})); // channel 1 current, big-endian
    EXPECT_EQ(sub(r, 29, 2), (Bytes{0x12, 0x34})); // channel 2 velocity, big-endian
    EXPECT_EQ(sub(r, 11, 2), (Bytes{0x00, 0x00})); // drives off: no current
    EXPECT_EQ(sub(r, 63, 2), (Bytes{0x05, 0x00})); // status word, little-endian

    // With the drives on, current follows the command: 1000/32767 * 2000 mA = 61.
    host.exchange(frame({0xBE, cmd::EnableDrives, 0x01}), 5);
    r = host.exchange(request, 67);
    EXPECT_EQ(sub(r, 11, 2), (Bytes{0x00, 61}));

    // Three channels: the command word and checksum follow the third block, and the reply's
    // status word sits at 3 + 30.
    int16_t motor3[3] = {-5, 6, 7};
    request = cyclicRequest(3, targets, vel, motor3, 0x0002);
    r = host.exchange(request, 67);
    ASSERT_EQ(r.size(), 67u);
    EXPECT_TRUE(intact(r));
    EXPECT_EQ(r[2], 0x33);
    EXPECT_EQ(sub(r, 33, 2), (Bytes{0x05, 0x00}));
    EXPECT_EQ(dev.motorCommand(0), -5);
    EXPECT_EQ(dev.leds(), 0x02);
    EXPECT_EQ(dev.frames(cmd::Cyclic), 3u);
}

TEST(EmulatorProtocol, MalformedRequestsAreDroppedAndCounted) {
    qelemu::Emulator emu;
    qelemu::Device& dev = emu.device(0);
    Host host(emu.devnode(0));
    ASSERT_TRUE(host.ok());

    Bytes bad = frame({0xBE, cmd::GetMode});
    bad[3] ^= 0x01;
    host.send(bad);
    EXPECT_TRUE(host.receive(5, 300).empty());
    EXPECT_EQ(dev.badChecksums(), 1u);

    // 0xA4 is not a command; garbage before a header is skipped.
    host.send(frame({0xBE, 0xA4}));
    EXPECT_TRUE(host.receive(5, 300).empty());
    EXPECT_EQ(dev.unknownCodes(), 1u);

    Bytes noisy = {0x00, 0x13, 0x37};
    Bytes good = frame({0xBE, cmd::GetMode});
    noisy.insert(noisy.end(), good.begin(), good.end());
    EXPECT_EQ(host.exchange(noisy, 5), frame({0xBE, cmd::GetMode, 0x22}));
    EXPECT_GE(dev.garbageBytes(), 3u);

    // A truncated request is forgotten after a pause; the next request is answered.
    host.send({0xBE, cmd::ReadRegister, 0x00});
    usleep(300000);
    EXPECT_EQ(valueOf(host, 135), 1);
    EXPECT_EQ(dev.frames(cmd::GetMode), 1u);
    EXPECT_EQ(dev.badChecksums(), 1u);
}

TEST(EmulatorProtocol, RegistersPersistOnlyWhenCommitted) {
    char path[] = "/tmp/qelemu-stateXXXXXX";
    int fd = mkstemp(path);
    ASSERT_GE(fd, 0);
    close(fd);
    unlink(path); // no file yet: the first start has the defaults

    qelemu::EmulatorOptions options;
    options.device.resize(1);
    options.device[0].stateFile = path;
    {
        qelemu::Emulator emu(options);
        qelemu::Device& dev = emu.device(0);
        Host host(emu.devnode(0));
        ASSERT_TRUE(host.ok());
        EXPECT_EQ(dev.serialNumber(), 10001u);
        host.exchange(writeRegister(136, 4242), 8);
        host.exchange(writeRegister(300, 7), 8);
        host.exchange(writeRegister(199, 170), 8); // commit
        host.exchange(writeRegister(300, 8), 8);   // uncommitted
        host.exchange(writeRegister(301, 9), 8);
        dev.restart();
        EXPECT_EQ(dev.serialNumber(), 4242u);
        EXPECT_EQ(valueOf(host, 300), 7);
        EXPECT_EQ(dev.reg(301), 0);
        EXPECT_EQ(dev.reg32(128), 1048576u); // the rest of the bank came back too
    }
    // A new emulator on the same file starts from the committed bank.
    qelemu::Emulator again(options);
    EXPECT_EQ(again.device(0).serialNumber(), 4242u);
    EXPECT_EQ(again.device(0).reg(300), 7);
    unlink(path);
}

// Each fault also meets the library in every phase of a device's life in the fault matrix,
// which tells them apart by the error they cause; here, what each puts on the wire and when.
TEST(EmulatorProtocol, FaultsAppearOnTheWire) {
    qelemu::Emulator emu;
    qelemu::Device& dev = emu.device(0);
    Host host(emu.devnode(0));
    ASSERT_TRUE(host.ok());
    using qelemu::Fault;
    using qelemu::FaultKind;
    const Bytes getMode = frame({0xBE, cmd::GetMode});
    const Bytes modeReply = frame({0xBE, cmd::GetMode, 0x22});

    dev.injectFault(Fault::next(FaultKind::CorruptChecksum));
    Bytes r = host.exchange(getMode, 5);
    EXPECT_EQ(sub(r, 0, 3), sub(modeReply, 0, 3));
    EXPECT_FALSE(intact(r));
    EXPECT_EQ(host.exchange(getMode, 5), modeReply); // only the next reply

    dev.injectFault(Fault::next(FaultKind::WrongHeader));
    EXPECT_EQ(host.exchange(getMode, 5), frame({0xBF, cmd::GetMode, 0x22}));
    dev.injectFault(Fault::next(FaultKind::WrongCode));
    EXPECT_EQ(host.exchange(getMode, 5), frame({0xBE, 0xA4, 0x22}));

    dev.injectFault(Fault::next(FaultKind::ShortReply));
    host.send(getMode);
    EXPECT_EQ(host.receive(5, 300), sub(modeReply, 0, 4));

    dev.injectFault(Fault::next(FaultKind::NoReply));
    host.send(getMode);
    EXPECT_TRUE(host.receive(5, 300).empty());
    EXPECT_EQ(dev.frames(cmd::GetMode), 6u); // answered by the device, then swallowed

    // Zero acknowledgement skips replies that carry none (0xA6) and hits the next one that
    // does; for 0xA3 the mode byte is 0.
    dev.injectFault(Fault::next(FaultKind::ZeroAck));
    EXPECT_TRUE(intact(host.exchange(frame({0xBE, cmd::GetMotors}), 10)));
    EXPECT_EQ(host.exchange(frame({0xBE, cmd::EnableDrives, 0x01}), 5),
              frame({0xBE, cmd::EnableDrives, 0x00}));
    dev.injectFault(Fault::onCode(FaultKind::ZeroAck, cmd::GetMode));
    EXPECT_EQ(host.exchange(getMode, 5), frame({0xBE, cmd::GetMode, 0x00}));
    EXPECT_EQ(host.exchange(frame({0xBE, cmd::SetMode, 0x22}), 5),
              frame({0xBE, cmd::SetMode, 0x01}));
    EXPECT_EQ(host.exchange(getMode, 5), frame({0xBE, cmd::GetMode, 0x00}));
    EXPECT_EQ(dev.faultsApplied(FaultKind::ZeroAck), 3u);
    dev.clearFaults();

    // Every third reply.
    dev.injectFault(Fault::everyNth(FaultKind::CorruptChecksum, 3));
    std::string corrupted;
    for (int i = 0; i < 6; ++i) corrupted += intact(host.exchange(getMode, 5)) ? '.' : 'x';
    EXPECT_EQ(corrupted, "..x..x");
    dev.clearFaults();

    // Split: the first part arrives, then nothing for the pause, then the rest.
    dev.injectFault(Fault::next(FaultKind::SplitReply).split(2).pause(400));
    host.send(getMode);
    EXPECT_EQ(host.receive(2, 1000), sub(modeReply, 0, 2));
    EXPECT_TRUE(host.receive(3, 100).empty());
    EXPECT_EQ(host.receive(3, 1000), sub(modeReply, 2, 3));
}

// Decoys before the devices shift their ports; unplugged by the test, a device's node is gone
// and the other device is still served.
TEST(EmulatorProtocol, UnplugByTestAndDecoys) {
    qelemu::EmulatorOptions options;
    options.devices = 2;
    qelemu::PortIdentity decoy;
    decoy.model = "WPXComPort2";
    options.decoys = {decoy};
    options.decoysFirst = true;
    qelemu::Emulator emu(options);
    EXPECT_EQ(emu.portIndex(0), 1);
    EXPECT_EQ(emu.devnode(1), "/dev/ttyACM2");
    emu.unplug(0);
    EXPECT_TRUE(emu.unplugged(0));
    EXPECT_NE(access(emu.devnode(0).c_str(), F_OK), 0);
    EXPECT_FALSE(Host(emu.devnode(0)).ok());
    Host host(emu.devnode(1));
    ASSERT_TRUE(host.ok());
    EXPECT_EQ(valueOf(host, 136), 0x2712);
}

} // namespace

namespace {

// Run by qel-emulator (see tests/CMakeLists.txt): the ports are the launcher's, with two type-2
// devices of serial numbers 777 and 778.
TEST(EmulatorLauncher, ServesTheChildProgram) {
    if (!std::getenv("QELEMU_LAUNCHED")) GTEST_SKIP() << "runs under qel-emulator only";
    Host first("/dev/ttyACM0"), second("/dev/ttyACM1");
    ASSERT_TRUE(first.ok());
    ASSERT_TRUE(second.ok());
    EXPECT_EQ(valueOf(first, 136), 777);
    EXPECT_EQ(valueOf(second, 136), 778);
    EXPECT_EQ(valueOf(second, 135), 2);
    EXPECT_EQ(first.exchange(frame({0xBE, cmd::GetMode}), 5), frame({0xBE, cmd::GetMode, 0x22}));
    EXPECT_FALSE(Host("/dev/ttyACM2").ok());
}

} // namespace
