// SPDX-License-Identifier: MIT
// The device object's lifecycle, defaults, guards and error record.
#include <gtest/gtest.h>

#include <dirent.h>
#include <unistd.h>

#include <string>

#include "QEL.h"
#include "testbed.h"

namespace {

// Descriptors open on a pseudo-terminal's slave end, which is what an emulated port opens
// to. The umockdev preload keeps sockets of its own that come and go; they are not counted.
int openPortDescriptors() {
    int count = 0;
    DIR* dir = opendir("/proc/self/fd");
    while (struct dirent* entry = readdir(dir)) {
        std::string link = std::string("/proc/self/fd/") + entry->d_name;
        char target[256] = {0};
        if (readlink(link.c_str(), target, sizeof target - 1) > 0 &&
            std::string(target).rfind("/dev/pts/", 0) == 0)
            ++count;
    }
    closedir(dir);
    return count;
}

void expectResetDefaults(QEL& d) {
    EXPECT_STREQ(d.m_SystemName, "QEL_DEVICE_NONE");
    EXPECT_EQ(d.m_SerialNumber, 0u);
    EXPECT_EQ(d.m_DeviceType, 0);
    EXPECT_EQ(d.m_OperationMode, 0x22);
    EXPECT_DOUBLE_EQ(d.m_GravityConstant, 9.81);
    EXPECT_EQ(d.m_InitPos[0], 1.0);
    EXPECT_EQ(d.m_InitPos[1], 1.0);
    EXPECT_EQ(d.m_InitPos[2], 140.0);
    EXPECT_EQ(d.m_nTimeInterval, 50u);
    EXPECT_EQ(d.m_VelThresh, 20000);
    for (int i = 0; i < 6; ++i) EXPECT_EQ(d.m_CtrlWord[i], i < 3 ? 1 : 0) << "channel " << i;
    EXPECT_TRUE(d.fFirstFrame);
    EXPECT_FALSE(d.fThreadRunning);
    EXPECT_FALSE(d.m_fCalibrate || d.m_fForceEnable || d.m_fDeviceEnable || d.m_fGravComp);
    EXPECT_FALSE(d.m_fBase || d.m_fWrist || d.m_fGipper || d.m_fLeftHanded);
    EXPECT_EQ(d.m_ErrCode, 0);
    EXPECT_STREQ(d.m_ErrString, "");
}

TEST(DeviceObject, ConstructionSetsDefaultsAndCloseLeavesANeverOpenedObjectAlone) {
    QEL d;
    EXPECT_FALSE(d.m_fOpen);
    EXPECT_FALSE(d.m_fInit);
    EXPECT_EQ(d.m_DeviceID, 0);
    EXPECT_TRUE(d.fThreadFinish);
    expectResetDefaults(d);
    EXPECT_EQ(d.m_lenActLink, 0.0);
    EXPECT_EQ(d.m_SprK, 0.0);
    EXPECT_EQ(d.m_NumofMotor, 0);

    d.m_SerialNumber = 77;
    EXPECT_EQ(d.Close(), 1);
    EXPECT_EQ(d.m_SerialNumber, 77u) << "nothing to reset";
    EXPECT_TRUE(d.fThreadFinish);
}

TEST(DeviceObject, OpenFailureReportsOpenFailedAndStaysClosed) {
    hal::UartDevices::settleMicroseconds = 0;
    qelemu::Testbed bed;
    bed.addPort();
    ASSERT_EQ(QEL::GetDeviceCount(), 1);
    QEL::m_DevComPort[2].clear();

    QEL d;
    EXPECT_EQ(d.Open(3), 0);
    EXPECT_FALSE(d.m_fOpen);
    EXPECT_EQ(d.m_hDevice, -1);
    EXPECT_EQ(d.m_ErrCode, 16);
    EXPECT_STREQ(d.m_ErrString, "Device Open Failed");
}

TEST(DeviceObject, OpenAndCloseWalkTheLifecycle) {
    hal::UartDevices::settleMicroseconds = 0;
    qelemu::Testbed bed;
    bed.addPort();
    bed.addPort();
    ASSERT_EQ(QEL::GetDeviceCount(), 2);

    QEL d;
    EXPECT_EQ(d.Open(2), 2);
    EXPECT_TRUE(d.IsOpen());
    EXPECT_FALSE(d.IsInitialized());
    EXPECT_EQ(d.m_DeviceID, 2);
    EXPECT_EQ(d.m_hDevice, 1);
    EXPECT_FALSE(d.fThreadFinish);
    EXPECT_GE(d.myDevice.GetUartHandle(), 0);
    EXPECT_EQ(d.OpenSerial(1234), 2);
    EXPECT_EQ(d.WaitForReset(5), 1);

    // Open but not initialised: the capability queries refuse with error 2.
    EXPECT_EQ(d.HasBase(), 0);
    EXPECT_EQ(d.m_ErrCode, 2);
    EXPECT_STREQ(d.m_ErrString, "Device Not Initialized");

    d.m_SystemName = "changed";
    d.m_GravityConstant = 1.0;
    EXPECT_EQ(d.Close(), 1);
    EXPECT_FALSE(d.m_fOpen);
    EXPECT_FALSE(d.m_fInit);
    EXPECT_EQ(d.m_DeviceID, 0);
    EXPECT_TRUE(d.fThreadFinish);
    EXPECT_EQ(d.myDevice.GetUartHandle(), -1) << "the port's descriptor is released";
    expectResetDefaults(d);

    EXPECT_EQ(d.Open(), 1) << "an object can be opened again after Close";
    EXPECT_EQ(d.m_DeviceID, 1);
    EXPECT_EQ(d.Close(), 1);
}

TEST(DeviceObject, CapabilityQueriesFollowTheGuards) {
    QEL d;
    EXPECT_EQ(d.HasWrist(), 0);
    EXPECT_EQ(d.m_ErrCode, 1);
    EXPECT_STREQ(d.m_ErrString, "Device Not Open");

    // The queries only look at the flags: stand in for an initialised device.
    d.m_fOpen = d.m_fInit = true;
    d.ClearError();
    d.m_fBase = true;
    EXPECT_EQ(d.HasBase(), 1);
    EXPECT_EQ(d.HasGripper(), 0);
    EXPECT_EQ(d.IsKnowType(), 0) << "the parameterless form knows no model";
    EXPECT_EQ(d.IsKnowType(2), 1);
    EXPECT_EQ(d.IsKnowType(107), 1);
    EXPECT_EQ(d.IsKnowType(3), 0);

    d.ErrorCatch(20);
    EXPECT_EQ(d.HasBase(), 0) << "a pending error blocks the queries";
    EXPECT_EQ(d.m_ErrCode, 20) << "without adding an error of their own";
    d.m_fOpen = d.m_fInit = false;
}

TEST(DeviceObject, ErrorRecordKeepsCodesAndTextsExactly) {
    // Texts no other test meets: 1, 2 and 16 are met above, 18 to 20 and 257 in the exchange
    // and register tests.
    QEL d;
    d.ErrorCatch(0);
    EXPECT_STREQ(d.m_ErrString, "No Error");
    d.ErrorCatch(5);
    EXPECT_STREQ(d.m_ErrString, "Thread Create Failed");
    d.ErrorCatch(258);
    EXPECT_EQ(d.m_ErrCode, 258);
    EXPECT_STREQ(d.m_ErrString, "Invalid Input Parameter!");

    d.ErrorCatch(19);
    d.ErrorCatch(6);
    EXPECT_EQ(d.m_ErrCode, 6);
    EXPECT_STREQ(d.m_ErrString, "Data Recieve Failed") << "an unknown code keeps the old text";
    d.ErrorCatch(0x10012);
    EXPECT_EQ(d.m_ErrCode, 18) << "the code is kept to 16 bits";
    EXPECT_STREQ(d.m_ErrString, "Data Recieve Failed") << "the text is looked up unreduced";

    d.ClearError();
    EXPECT_EQ(d.m_ErrCode, 0);
    EXPECT_STREQ(d.m_ErrString, "");
}

TEST(DeviceObject, ControllerFaultTextsMatchExactCodesOnly) {
    QEL d;
    d.ErrorCatch(20);
    d.GetInternalErrStr(0x2111);
    EXPECT_STREQ(d.m_ErrString, "CRC Not Passed") << "a refined code has no class fallback";
    d.GetInternalErrStr(0x2110);
    EXPECT_STREQ(d.m_ErrString, "short circuit/earth leakage");
    d.GetInternalErrStr(0x0000);
    EXPECT_STREQ(d.m_ErrString, "No error");
    d.GetInternalErrStr(0x8110);
    EXPECT_STREQ(d.m_ErrString, "CAN overrun(object lost)");
    d.GetInternalErrStr(0xF004);
    EXPECT_STREQ(d.m_ErrString, "Control");
    d.GetInternalErrStr(0x12F004);
    EXPECT_STREQ(d.m_ErrString, "Control") << "a code past the table keeps the old text";
    EXPECT_EQ(d.m_ErrCode, 20) << "the code is never touched";
}

TEST(DeviceObject, AThousandOpenCloseCyclesLeakNoDescriptor) {
    hal::UartDevices::settleMicroseconds = 0;
    qelemu::Testbed bed;
    bed.addPort();
    ASSERT_EQ(QEL::GetDeviceCount(), 1);
    int before = openPortDescriptors();
    {
        QEL held;
        ASSERT_EQ(held.Open(), 1);
        EXPECT_EQ(openPortDescriptors(), before + 1) << "the count sees an open port";
    }
    for (int i = 0; i < 1000; ++i) {
        QEL d;
        ASSERT_EQ(d.Open(), 1) << "cycle " << i;
        ASSERT_EQ(d.Close(), 1);
    }
    EXPECT_EQ(openPortDescriptors(), before);
}

} // namespace
