// SPDX-License-Identifier: MIT
// Device objects taken as initialised without running the initialisation's exchanges: the
// operations behind the initialised guard can then be driven one frame at a time.
#ifndef QELTEST_READY_DEVICE_H
#define QELTEST_READY_DEVICE_H

#include <gtest/gtest.h>

#include <memory>

#include "QEL.h"
#include "emulator.h"
#include "fixtures.h"

namespace qeltest {

// A scripted device marked initialised. It is unmarked before closing, so that the close's
// LED and drive frames are refused by the guard instead of waiting for replies nobody queued.
class ReadyScriptedDeviceTest : public ScriptedDeviceTest {
protected:
    void SetUp() override {
        ScriptedDeviceTest::SetUp();
        device.m_fInit = true;
    }
    void TearDown() override {
        device.m_fInit = false;
        device.fThreadRunning = false;
        ScriptedDeviceTest::TearDown();
    }
};

// One emulated device, opened and marked initialised. It is closed while the emulator still
// answers, so the close's frames reach the device.
class ReadyEmulatedDeviceTest : public ::testing::Test {
protected:
    void SetUp() override {
        hal::UartDevices::settleMicroseconds = 0;
        emulator.reset(new qelemu::Emulator());
        ASSERT_EQ(QEL::GetDeviceCount(), 1);
        ASSERT_EQ(device.Open(), 1);
        device.m_fInit = true;
    }
    void TearDown() override {
        device.Close();
        emulator.reset();
    }
    qelemu::Device& emulated() { return emulator->device(0); }

    std::unique_ptr<qelemu::Emulator> emulator;
    QEL device;
};

} // namespace qeltest

#endif
