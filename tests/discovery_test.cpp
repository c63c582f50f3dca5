// SPDX-License-Identifier: MIT
// Discovery of the device's ports through the udev database of an emulated testbed.
#include <gtest/gtest.h>

#include "QEL.h"
#include "testbed.h"

namespace {

using qelemu::PortIdentity;

PortIdentity decoy(const char* vendor, const char* product, const char* model) {
    PortIdentity id;
    id.vendorId = vendor;
    id.modelId = product;
    id.model = model;
    return id;
}

TEST(Discovery, StoresOnlyExactMatchesInEnumerationOrder) {
    qelemu::Testbed bed;
    int first = bed.addPort();
    bed.addPort(decoy("0483", "5741", "WPXComPort"));  // other product
    bed.addPort(decoy("0484", "5740", "WPXComPort"));  // other vendor
    bed.addPort(decoy("0483", "5740", "WPXComPortX")); // model with a suffix
    bed.addPort(decoy("0483", "5740", "WPXCom"));      // model cut short
    bed.addPort(decoy("0483", "5740", ""));            // no model at all
    PortIdentity notTty;
    notTty.subsystem = "usb";
    bed.addPort(notTty);
    int second = bed.addPort();

    EXPECT_EQ(QEL::GetDeviceCount(), 2);
    EXPECT_EQ(QEL::m_DeviceCount, 2);
    EXPECT_EQ(QEL::m_DevComPort[0], bed.devnode(first));
    EXPECT_EQ(QEL::m_DevComPort[1], bed.devnode(second));
}

TEST(Discovery, EachCountSearchesAfreshAndLeavesStaleEntriesBeyondIt) {
    qelemu::Testbed bed;
    bed.addPort();
    int second = bed.addPort();
    ASSERT_EQ(QEL::GetDeviceCount(), 2);
    bed.removePort(0);
    EXPECT_EQ(QEL::GetDeviceCount(), 1);
    EXPECT_EQ(QEL::m_DevComPort[0], bed.devnode(second));
    EXPECT_EQ(QEL::m_DevComPort[1], bed.devnode(second)) << "entries beyond the count are kept";
    bed.removePort(second);
    EXPECT_EQ(QEL::GetDeviceCount(), 0);
}

} // namespace
