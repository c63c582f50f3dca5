// SPDX-License-Identifier: MIT
// The exported connection functions and the last-error record, through the interface an
// application uses, against emulated ports.
#include <gtest/gtest.h>

#include "QEL_OPEN.h"
#include "fixtures.h"

namespace {

using qeltest::expectLastError;

class Interface : public qeltest::InterfaceTest {
protected:
    void addPorts(int n) {
        for (int i = 0; i < n; ++i) bed.addPort();
    }
    qelemu::Testbed bed;
};

// The range, empty-slot and expert-mode checks of single functions are the prologue test's;
// here is how the table of devices and the current device behave.
TEST_F(Interface, OpensSelectsAndClosesDevicesByIdentifier) {
    EXPECT_EQ(qelOpenID(1), 0);
    EXPECT_EQ(qelOpenSerial(5), 0);
    expectLastError(1, 1, "No Device Connected to the System");

    addPorts(3);
    EXPECT_EQ(qelOpen(), 1);
    EXPECT_EQ(qelGetDeviceID(), 1);
    EXPECT_EQ(qelOpenID(3), 3);
    EXPECT_EQ(qelOpenID(3), 3) << "an open device is returned as it is";
    qelClearError();
    EXPECT_EQ(qelOpenID(4), 0);
    expectLastError(3, 1, "Invalid Input Parameter");
    EXPECT_TRUE(qelHasBase(-1)) << "-1 names the current device";

    qelClearError();
    EXPECT_EQ(qelClose(2), 1) << "closing a closed device succeeds";
    expectLastError(0, 0, "");
    EXPECT_EQ(qelClose(3), 1);
    EXPECT_EQ(qelSetDevice(3), 1);
    EXPECT_EQ(qelGetDeviceID(), 3);
    EXPECT_EQ(qelReset(-1), 0) << "-1 now names the closed device 3";
    expectLastError(2, 3, "Device Not Open");
    EXPECT_EQ(qelSetDevice(4), 0);
    EXPECT_EQ(qelGetDeviceID(), 3);
    EXPECT_EQ(qelClose(-1), 1);
    EXPECT_EQ(qelClose(1), 1);
}

TEST_F(Interface, AvailableCountLeavesClosedDeviceObjectsInTheTable) {
    addPorts(3);
    EXPECT_EQ(qelGetAvailableCount(), 3);
    // The slots now hold closed device objects, which the interface takes for open devices.
    EXPECT_EQ(qelOpenID(2), 2);
    EXPECT_EQ(qelOpen(), 1);
    EXPECT_TRUE(qelHasBase(1));
    EXPECT_TRUE(qelHasWrist(2));
    // The device object itself knows better: its own error comes through as code 5.
    QELuchar mode = 0;
    EXPECT_EQ(qelGetOperationMode(&mode, 2), 0);
    expectLastError(1, 2, "Device Not Open");
}

TEST_F(Interface, ErrorFunctionsKeepTheirTextsExactly) {
    const char* texts[] = {"No Error",
                           "No Device Connected to the System",
                           "Device Not Open",
                           "Invalid Input Parameter",
                           "Expert Mode Not Set",
                           "Device Error"};
    for (int code = 0; code <= 5; ++code) EXPECT_STREQ(qelErrorGetStr(code), texts[code]);
    qelErrorGetStr(3);
    EXPECT_STREQ(qelErrorGetStr(9), "Invalid Input Parameter") << "unknown codes repeat the last";
    EXPECT_STREQ(qelErrorGetStr(-1), "Invalid Input Parameter");

    for (int code = 0; code <= 4; ++code) {
        qelErrorCatch(static_cast<unsigned short>(code), 7);
        expectLastError(static_cast<unsigned>(code), 7, texts[code]);
    }
    qelErrorCatch(9, 4); // an unknown code keeps the previous text
    expectLastError(9, 4, "Expert Mode Not Set");
    // Code 5 for a node with no device object behind it has nothing to copy.
    qelErrorCatch(5, 0);
    expectLastError(5, 0, "Device Error");
    qelErrorCatch(5, 3);
    expectLastError(5, 3, "Device Error");

    qelClearError();
    EXPECT_STREQ(qelErrorGetLastStr(), "") << "cleared to the empty text, not \"No Error\"";
    expectLastError(0, 0, "");

    int major = -7, minor = -7, release = -7, revision = -7;
    qelGetSDKVersion(&major, &minor, &release, &revision);
    EXPECT_EQ(major + minor + release + revision, -28) << "the version is never written";
    expectLastError(2, 0, "Device Not Open");
}

} // namespace
