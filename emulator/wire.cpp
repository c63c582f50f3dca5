// SPDX-License-Identifier: MIT
#include "wire.h"

#include <array>

namespace qelemu {

namespace {

// Table-driven: the serving thread checks two checksums per frame.
constexpr std::array<uint16_t, 256> makeTable() {
    std::array<uint16_t, 256> table{};
    for (unsigned i = 0; i < 256; ++i) {
        uint16_t r = static_cast<uint16_t>(i << 8);
        for (int bit = 0; bit < 8; ++bit)
            r = static_cast<uint16_t>((r & 0x8000) ? (r << 1) ^ 0x1021 : (r << 1));
        table[i] = r;
    }
    return table;
}
constexpr std::array<uint16_t, 256> kTable = makeTable();

struct Lengths {
    uint8_t request, reply;
};
// Indexed by code - 0xA0; zeros are codes the device does not know.
constexpr Lengths kLengths[17] = {
    {4, 36},  // A0 read encoders
    {10, 4},  // A1 motor commands
    {5, 5},   // A2 set mode
    {4, 5},   // A3 get mode
    {0, 0},   // A4
    {5, 5},   // A5 LEDs
    {4, 10},  // A6 read motor commands
    {5, 5},   // A7 drives
    {5, 5},   // A8 brakes
    {4, 5},   // A9 read brakes
    {6, 5},   // AA motor velocity
    {19, 5},  // AB preset
    {6, 8},   // AC read register
    {8, 8},   // AD write register
    {0, 0},   // AE
    {12, 42}, // AF short cyclic frame
    {67, 67}, // B0 full cyclic frame
};

} // namespace

uint16_t crc16(const uint8_t* data, size_t length) {
    uint16_t r = 0xFFFF;
    for (size_t i = 0; i < length; ++i)
        r = static_cast<uint16_t>((r << 8) ^ kTable[((r >> 8) ^ data[i]) & 0xFF]);
    return r;
}

void appendCrc(uint8_t* frame, size_t length) {
    uint16_t crc = crc16(frame, length);
    frame[length] = static_cast<uint8_t>(crc >> 8);
    frame[length + 1] = static_cast<uint8_t>(crc & 0xFF);
}

size_t requestLength(uint8_t code) {
    return code >= 0xA0 && code <= 0xB0 ? kLengths[code - 0xA0].request : 0;
}

size_t replyLength(uint8_t code) {
    return code >= 0xA0 && code <= 0xB0 ? kLengths[code - 0xA0].reply : 0;
}

bool isAcknowledgement(uint8_t code) {
    switch (code) {
    case cmd::SetMode:
    case cmd::GetMode:
    case cmd::SetLed:
    case cmd::EnableDrives:
    case cmd::SetBrakes:
    case cmd::SetMotorVelocity:
    case cmd::Preset:
        return true;
    default:
        return false;
    }
}

} // namespace qelemu
