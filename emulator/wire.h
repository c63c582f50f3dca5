// SPDX-License-Identifier: MIT
// The device's side of the line protocol: frame constants, the checksum, and the fixed
// request and reply length of every command code. Frames are 0xBE, a command code, a
// fixed-length payload and a CRC-16/CCITT-FALSE over everything before it, high byte first.
#ifndef QELEMU_WIRE_H
#define QELEMU_WIRE_H

#include <cstddef>
#include <cstdint>

namespace qelemu {

constexpr uint8_t kHeader = 0xBE;
// The longest frame either way (the full cyclic frame).
constexpr size_t kMaxFrame = 67;

namespace cmd {
constexpr uint8_t ReadEncoders = 0xA0;
constexpr uint8_t SetMotors = 0xA1;
constexpr uint8_t SetMode = 0xA2;
constexpr uint8_t GetMode = 0xA3;
constexpr uint8_t SetLed = 0xA5;
constexpr uint8_t GetMotors = 0xA6;
constexpr uint8_t EnableDrives = 0xA7;
constexpr uint8_t SetBrakes = 0xA8;
constexpr uint8_t GetBrakes = 0xA9;
constexpr uint8_t SetMotorVelocity = 0xAA;
constexpr uint8_t Preset = 0xAB;
constexpr uint8_t ReadRegister = 0xAC;
constexpr uint8_t WriteRegister = 0xAD;
constexpr uint8_t ShortCyclic = 0xAF;
constexpr uint8_t Cyclic = 0xB0;
} // namespace cmd

// CRC-16/CCITT-FALSE: polynomial 0x1021, initial value 0xFFFF, no reflection, no final XOR.
// Run over a whole frame including its checksum, the result is 0 exactly when it is intact.
// A second copy of the library's checksum on purpose: a fault in either shows as a mismatch.
uint16_t crc16(const uint8_t* data, size_t length);

// Writes the checksum of bytes 0 .. length-1 into bytes length and length+1, high byte first.
void appendCrc(uint8_t* frame, size_t length);

// Request and reply length of a command code, checksum included; 0 for a code the device
// does not know (0xA4, 0xAE and anything outside 0xA0..0xB0).
size_t requestLength(uint8_t code);
size_t replyLength(uint8_t code);

// True for the replies whose byte 2 is an acknowledgement (non-zero = accepted), and for the
// mode reply, whose byte 2 must be non-zero as well.
bool isAcknowledgement(uint8_t code);

} // namespace qelemu

#endif
