// SPDX-License-Identifier: MIT
#include "fixtures.h"

#include <chrono>
#include <string>
#include <thread>

#include "QEL_OPEN.h"

namespace qeltest {

void ScriptedDeviceTest::SetUp() {
    hal::UartDevices::settleMicroseconds = 0;
    bed.addPort();
    peer.reset(new ScriptedPeer(bed.masterFd(0)));
    ASSERT_EQ(QEL::GetDeviceCount(), 1);
    ASSERT_EQ(device.Open(), 1);
}

void ScriptedDeviceTest::TearDown() {
    device.Close();
    peer.reset();
}

void InterfaceTest::SetUp() {
    hal::UartDevices::settleMicroseconds = 0;
    qelClearError();
    qelDisableExpertMode();
}

void InterfaceTest::TearDown() {
    for (int id = 1; id <= 10; ++id) qelClose(static_cast<char>(id));
    qelDisableExpertMode();
}

bool waitUntil(const std::function<bool()>& done, int timeoutMs) {
    auto deadline = std::chrono::steady_clock::now() + std::chrono::milliseconds(timeoutMs);
    while (!done()) {
        if (std::chrono::steady_clock::now() > deadline) return false;
        std::this_thread::sleep_for(std::chrono::microseconds(200));
    }
    return true;
}

void expectLastError(unsigned int code, unsigned int node, const char* text) {
    unsigned int c = 0, n = 0;
    qelErrorGetLast(&c, &n);
    const char* last = qelErrorGetLastStr();
    EXPECT_EQ(c, code);
    EXPECT_EQ(n, node);
    EXPECT_EQ(std::string(last ? last : "(null)"), text);
}

} // namespace qeltest
