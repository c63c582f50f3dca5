#include <gtest/gtest.h>

#include <random>

#include "CRC.h"
#include "frames.h"

namespace {

// Bit-by-bit CRC-16/CCITT-FALSE, independent of the table.
uint16_t referenceCrc(const uint8_t* data, size_t length) {
    uint16_t r = 0xFFFF;
    for (size_t i = 0; i < length; ++i) {
        r ^= static_cast<uint16_t>(data[i] << 8);
        for (int bit = 0; bit < 8; ++bit)
            r = (r & 0x8000) ? static_cast<uint16_t>((r << 1) ^ 0x1021)
                             : static_cast<uint16_t>(r << 1);
    }
    return r;
}

TEST(Crc, CheckValueAndEmptyInput) {
    crcInit();
    unsigned char digits[] = {'1', '2', '3', '4', '5', '6', '7', '8', '9'};
    EXPECT_EQ(crcCompute(digits, 9), 0x29B1);
    EXPECT_EQ(crcCompute(digits, 0), 0xFFFF);
}

TEST(Crc, MatchesBitwiseReferenceOnFrameSizedInputs) {
    crcInit();
    std::mt19937 rng(7);
    for (size_t length : {1u, 2u, 4u, 36u, 42u, 65u, 67u}) {
        std::vector<uint8_t> data(length);
        for (auto& b : data) b = static_cast<uint8_t>(rng());
        EXPECT_EQ(crcCompute(data.data(), static_cast<unsigned>(length)),
                  referenceCrc(data.data(), length))
            << "length " << length;
    }
}

TEST(Crc, IntactFrameChecksToZeroAndSwappedChecksumDoesNot) {
    qeltest::Bytes f = qeltest::frame({0xBE, 0xA3});
    ASSERT_EQ(f.size(), 4u);
    EXPECT_EQ(crcCompute(f.data(), 4), 0);
    std::swap(f[2], f[3]);
    EXPECT_NE(crcCompute(f.data(), 4), 0);
}

} // namespace
