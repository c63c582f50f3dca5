// SPDX-License-Identifier: MIT
// Test fixtures shared by the suites: a device object opened on a port whose replies a test
// scripts, and a clean slate for tests through the exported interface.
#ifndef QELTEST_FIXTURES_H
#define QELTEST_FIXTURES_H

#include <gtest/gtest.h>

#include <functional>
#include <memory>

#include "QEL.h"
#include "scripted_peer.h"
#include "testbed.h"

namespace qeltest {

// A device object opened on the only port of a testbed; the test scripts the replies.
class ScriptedDeviceTest : public ::testing::Test {
protected:
    void SetUp() override;
    void TearDown() override;
    qelemu::Testbed bed;
    std::unique_ptr<ScriptedPeer> peer;
    QEL device;
};

// Tests through the exported interface: no error recorded, expert mode off, ports opened
// without the device's settle time; every device is closed afterwards.
class InterfaceTest : public ::testing::Test {
protected:
    void SetUp() override;
    void TearDown() override;
};

// Polls `done` every 0.2 ms until it holds or `timeoutMs` has passed; true if it held. For
// what the refresh thread or the emulated device does in its own time.
bool waitUntil(const std::function<bool()>& done, int timeoutMs = 3000);

// Checks the interface's last-error record.
void expectLastError(unsigned int code, unsigned int node, const char* text);

} // namespace qeltest

#endif
