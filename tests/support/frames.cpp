// SPDX-License-Identifier: MIT
#include "frames.h"

#include "CRC.h"

namespace qeltest {

Bytes frame(Bytes body) {
    crcInit();
    uint16_t crc = crcCompute(body.data(), static_cast<unsigned int>(body.size()));
    body.push_back(static_cast<uint8_t>(crc >> 8));
    body.push_back(static_cast<uint8_t>(crc & 0xFF));
    return body;
}

} // namespace qeltest
