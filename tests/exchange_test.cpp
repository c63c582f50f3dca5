// SPDX-License-Identifier: MIT
// The checked request/response exchange against scripted replies on an emulated port.
#include <gtest/gtest.h>

#include <chrono>
#include <vector>

#include "fixtures.h"
#include "wire.h"

namespace {

namespace cmd = qelemu::cmd;

using qeltest::Bytes;
using qeltest::frame;
using Clock = std::chrono::steady_clock;

double secondsSince(Clock::time_point start) {
    return std::chrono::duration<double>(Clock::now() - start).count();
}

class Exchange : public qeltest::ScriptedDeviceTest {
protected:
    // One exchange of a 4-byte request for a reply of `replyLength` bytes.
    int transmit(unsigned int replyLength) {
        request = frame({0xBE, cmd::GetMode});
        response.assign(replyLength, 0);
        return device.USB_DataTransmit(request.data(), 4, response.data(), replyLength);
    }

    Bytes request, response;
};

TEST_F(Exchange, RequestArrivesAsSentAndAReplySplitLikeAFullSpeedUsbPacketIsGathered) {
    Bytes body = {0xBE, cmd::Cyclic};
    for (int i = 2; i < 65; ++i) body.push_back(static_cast<uint8_t>(i * 7));
    Bytes reply = frame(body);
    peer->reply(reply, 64, 5);
    ASSERT_EQ(transmit(67), 1);
    EXPECT_EQ(response, reply);
    EXPECT_EQ(device.m_ErrCode, 0);
    EXPECT_EQ(peer->requests(), std::vector<Bytes>{request});
}

// A short reply is a receive failure, a corrupt checksum one of its own, and a closed port a
// send failure.
TEST_F(Exchange, FailuresAreToldApartByTheirCodes) {
    Bytes reply = frame({0xBE, cmd::GetMode, 0x22});
    peer->reply(Bytes(reply.begin(), reply.end() - 1));
    auto start = Clock::now();
    EXPECT_EQ(transmit(5), 0);
    EXPECT_LT(secondsSince(start), 1.0) << "a short reply ends after the inter-byte time";
    EXPECT_EQ(device.m_ErrCode, 19);
    EXPECT_STREQ(device.m_ErrString, "Data Recieve Failed");

    device.ClearError();
    reply.back() ^= 0x01;
    peer->reply(reply);
    EXPECT_EQ(transmit(5), 0);
    EXPECT_EQ(device.m_ErrCode, 20);
    EXPECT_STREQ(device.m_ErrString, "CRC Not Passed");

    device.ClearError();
    device.myDevice.UART_Close();
    EXPECT_EQ(transmit(5), 0);
    EXPECT_EQ(device.m_ErrCode, 18);
    EXPECT_STREQ(device.m_ErrString, "Data Send Failed");
}

TEST_F(Exchange, SilentDeviceFailsWithinTheBoundAndTheNextExchangeStartsClean) {
    peer->silence();
    auto start = Clock::now();
    EXPECT_EQ(transmit(5), 0);
    double elapsed = secondsSince(start);
    EXPECT_GE(elapsed, hal::UartDevices::kFirstByteTimeoutMs / 1000.0 - 0.05);
    EXPECT_LT(elapsed, hal::UartDevices::kFirstByteTimeoutMs / 1000.0 + 1.0);
    EXPECT_EQ(device.m_ErrCode, 19);

    device.ClearError();
    Bytes reply = frame({0xBE, cmd::GetMode, 0x25});
    peer->reply(reply);
    ASSERT_EQ(transmit(5), 1);
    EXPECT_EQ(response, reply);
}

} // namespace
