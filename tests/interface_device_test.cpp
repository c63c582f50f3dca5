// The exported interface against the emulated device: serial numbers, device errors carried
// through the last-error record, parameters that survive a restart, and operation modes.
#include <gtest/gtest.h>

#include <cstdio>
#include <string>
#include <unistd.h>

#include "QEL.h"
#include "QEL_OPEN.h"
#include "emulator.h"
#include "fixtures.h"

namespace {

using qelemu::Fault;
using qelemu::FaultKind;

using qeltest::expectLastError;

qelemu::EmulatorOptions devices(std::vector<uint32_t> serials, const std::string& stateFile = "") {
    qelemu::EmulatorOptions options;
    options.devices = static_cast<int>(serials.size());
    for (uint32_t serial : serials) {
        qelemu::DeviceOptions d;
        d.serialNumber = serial;
        d.stateFile = stateFile;
        options.device.push_back(d);
    }
    return options;
}

class OnEmulator : public qeltest::InterfaceTest {
protected:
    // Devices are closed while the emulator still answers, then the emulator goes.
    void TearDown() override {
        qeltest::InterfaceTest::TearDown();
        emulator.reset();
    }
    qelemu::Emulator& start(const qelemu::EmulatorOptions& options) {
        emulator.reset(new qelemu::Emulator(options));
        return *emulator;
    }
    std::unique_ptr<qelemu::Emulator> emulator;
};

TEST_F(OnEmulator, OpenSerialOpensEveryMatchAndReturnsTheLast) {
    start(devices({111, 222, 111}));
    ASSERT_EQ(qelOpenID(2), 2);
    EXPECT_EQ(qelOpenSerial(111), 3);
    // The look at the serial numbers closed device 2, which the caller had opened.
    EXPECT_TRUE(qelHasBase(1));
    EXPECT_TRUE(qelHasBase(3));
    EXPECT_FALSE(qelHasBase(2));
    unsigned int serial = 0;
    ASSERT_EQ(qelGetSerialNumber(&serial, 3), 1);
    EXPECT_EQ(serial, 111u);

    EXPECT_EQ(qelOpenSerial(999), 0);
    expectLastError(3, 1, "Invalid Input Parameter");
    EXPECT_FALSE(qelHasBase(1)) << "phase one closed every device it could open";
}

TEST_F(OnEmulator, DeviceErrorsReachTheRecordWithTheDeviceAsNode) {
    qelemu::Emulator& emu = start(devices({1, 2}));
    ASSERT_EQ(qelOpenID(2), 2);
    QELuchar mode = 0;
    ASSERT_EQ(qelGetOperationMode(&mode, 2), 1);
    EXPECT_EQ(mode, emu.device(1).mode());

    emu.device(1).injectFault(Fault::next(FaultKind::CorruptChecksum));
    EXPECT_EQ(qelGetOperationMode(&mode, 2), 0);
    expectLastError(20, 2, "CRC Not Passed");

    // The device's mode answer of 0 is invalid data. The error stays pending in the device
    // object, so the device is reopened first.
    ASSERT_EQ(qelClose(2), 1);
    ASSERT_EQ(qelOpenID(2), 2);
    emu.device(1).injectFault(Fault::next(FaultKind::ZeroAck));
    EXPECT_EQ(qelGetOperationMode(&mode, 2), 0);
    expectLastError(257, 2, "Invalid Received Data!");

    // A serial number that cannot be read is a plain 0, with no error recorded.
    ASSERT_EQ(qelClose(2), 1);
    ASSERT_EQ(qelOpenID(2), 2);
    qelClearError();
    emu.device(1).injectFault(Fault::next(FaultKind::NoReply));
    unsigned int serial = 77;
    EXPECT_EQ(qelGetSerialNumber(&serial, 2), 0);
    EXPECT_EQ(serial, 77u);
    expectLastError(0, 0, "");
}

TEST_F(OnEmulator, CommittedParametersSurviveARestartAndOthersDoNot) {
    char path[] = "/tmp/qel-state-XXXXXX";
    int fd = mkstemp(path);
    ASSERT_GE(fd, 0);
    close(fd);
    unlink(path);
    qelemu::Emulator& emu = start(devices({5}, path));
    qelemu::Device& device = emu.device(0);
    uint16_t uncommittedDefault = device.reg(0x83);

    ASSERT_EQ(qelOpen(), 1);
    ASSERT_EQ(qelEnableExpertMode(), 1);
    ASSERT_EQ(qelSetParaShort(3, 1234, 1), 1);      // register 0x82
    ASSERT_EQ(qelSetParaInt(2, 0x00ABCDEFu, 1), 1); // registers 0x80 and 0x81
    ASSERT_EQ(qelSetParaShort(1, 4321, 1), 1);      // the setter's own table: register 0x87
    EXPECT_EQ(device.reg(0x80), 0xCDEF);
    EXPECT_EQ(device.reg(0x81), 0x00AB);
    EXPECT_EQ(device.reg(0x87), 4321);
    ASSERT_EQ(qelSaveConfiguration(1), 1);
    ASSERT_EQ(qelSetParaShort(4, 77, 1), 1); // register 0x83, never committed
    ASSERT_EQ(qelClose(1), 1);

    device.restart();
    ASSERT_EQ(qelOpen(), 1);
    short value = 0;
    unsigned int wide = 0;
    ASSERT_EQ(qelGetParaShort(3, &value, 1), 1);
    EXPECT_EQ(value, 1234);
    ASSERT_EQ(qelGetParaInt(2, &wide, 1), 1);
    EXPECT_EQ(wide, 0x00ABCDEFu);
    ASSERT_EQ(qelGetParaShort(4, &value, 1), 1);
    EXPECT_EQ(value, static_cast<short>(uncommittedDefault));
    // The getter reads parameter 1 from register 1, not from the setter's register 0x87.
    device.setReg(1, 99);
    ASSERT_EQ(qelGetParaShort(1, &value, 1), 1);
    EXPECT_EQ(value, 99);
    std::remove(path);
}

TEST_F(OnEmulator, ModesOnTheWire) {
    qelemu::Emulator& emu = start(devices({5}));
    qelemu::Device& emulated = emu.device(0);
    ASSERT_EQ(QEL::GetDeviceCount(), 1);
    QEL device;
    ASSERT_EQ(device.Open(), 1);

    unsigned char mode = 0;
    ASSERT_EQ(device.GetMode(&mode), 1) << "the mode can be read before initialisation";
    EXPECT_EQ(mode, emulated.mode());

    device.m_fInit = true; // stands in for an initialised device
    ASSERT_EQ(device.SetMode(0x25), 1);
    EXPECT_EQ(emulated.mode(), 0x25);
    EXPECT_EQ(device.m_OperationMode, 0x25);

    emulated.injectFault(Fault::next(FaultKind::ZeroAck));
    EXPECT_EQ(device.SetMode(0x22), 0);
    EXPECT_EQ(device.m_ErrCode, 257);
    EXPECT_EQ(device.m_OperationMode, 0x25);

    uint64_t sent = emulated.frames(0xA2);
    EXPECT_EQ(device.SetMode(0x22), 0);
    EXPECT_EQ(emulated.frames(0xA2), sent) << "nothing is sent while an error is pending";
    device.m_fInit = false;
    device.Close();
}

} // namespace
