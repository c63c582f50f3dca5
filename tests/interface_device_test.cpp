// SPDX-License-Identifier: MIT
// The exported interface against the emulated device: serial numbers, device errors carried
// through the last-error record, and parameters that survive a restart.
#include <gtest/gtest.h>

#include <cstdio>
#include <string>
#include <unistd.h>
#include <vector>

#include "QEL_OPEN.h"
#include "emulator.h"
#include "fixtures.h"

namespace {

using qelemu::Fault;
using qelemu::FaultKind;

using qeltest::expectLastError;

class OnEmulator : public qeltest::InterfaceTest {
protected:
    // Devices are closed while the emulator still answers, then the emulator goes.
    void TearDown() override {
        qeltest::InterfaceTest::TearDown();
        emulator.reset();
    }
    // Devices with these serial numbers, keeping their registers in `stateFile` if one is named.
    qelemu::Emulator& start(const std::vector<uint32_t>& serials,
                            const std::string& stateFile = "") {
        qelemu::EmulatorOptions options;
        options.devices = static_cast<int>(serials.size());
        for (uint32_t serial : serials) {
            options.device.emplace_back();
            options.device.back().serialNumber = serial;
            options.device.back().stateFile = stateFile;
        }
        emulator.reset(new qelemu::Emulator(options));
        return *emulator;
    }
    std::unique_ptr<qelemu::Emulator> emulator;
};

TEST_F(OnEmulator, OpenSerialOpensEveryMatchAndReturnsTheLast) {
    start({111, 222, 111});
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
    qelemu::Emulator& emu = start({1, 2});
    ASSERT_EQ(qelOpenID(2), 2);
    QELuchar mode = 0;
    ASSERT_EQ(qelGetOperationMode(&mode, 2), 1);
    EXPECT_EQ(mode, emu.device(1).mode());

    emu.device(1).injectFault(Fault::next(FaultKind::CorruptChecksum));
    EXPECT_EQ(qelGetOperationMode(&mode, 2), 0);
    expectLastError(20, 2, "CRC Not Passed");

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
    qelemu::Emulator& emu = start({5}, path);
    qelemu::Device& device = emu.device(0);
    uint16_t uncommittedDefault = device.reg(0x83);

    ASSERT_EQ(qelOpen(), 1);
    ASSERT_EQ(qelEnableExpertMode(), 1);
    // Which parameter lands in which register is the state test's.
    ASSERT_EQ(qelSetParaShort(3, 1234, 1), 1);
    ASSERT_EQ(qelSetParaInt(2, 0x00ABCDEFu, 1), 1);
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
    std::remove(path);
}

} // namespace
