// SPDX-License-Identifier: MIT
#include <gtest/gtest.h>

#include "CRC.h"
#include "frames.h"
#include "wire.h"

namespace {

namespace cmd = qelemu::cmd;

TEST(Crc, CheckValueAndEmptyInput) {
    crcInit();
    unsigned char digits[] = {'1', '2', '3', '4', '5', '6', '7', '8', '9'};
    EXPECT_EQ(crcCompute(digits, 9), 0x29B1);
    EXPECT_EQ(crcCompute(digits, 0), 0xFFFF);
}

TEST(Crc, IntactFrameChecksToZeroAndSwappedChecksumDoesNot) {
    qeltest::Bytes f = qeltest::frame({0xBE, cmd::GetMode});
    ASSERT_EQ(f.size(), 4u);
    EXPECT_EQ(crcCompute(f.data(), 4), 0);
    std::swap(f[2], f[3]);
    EXPECT_NE(crcCompute(f.data(), 4), 0);
}

} // namespace
