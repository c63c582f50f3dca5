// SPDX-License-Identifier: MIT
// Building and reading the device's frames: header 0xBE, command code, payload, and the
// checksum of everything before it, high byte first. Multi-byte payload fields are big-endian
// unless a frame says otherwise.
#ifndef QEL_FRAME_H
#define QEL_FRAME_H

#include <stdint.h>

#include "CRC.h"

namespace qelframe {

const uint8_t kHeader = 0xBE;

// The command codes, each frame's second byte; 0xA4 and 0xAE are not used. Every request the
// library sends names its code here.
namespace cmd {
const uint8_t ReadEncoders = 0xA0;
const uint8_t SetMotors = 0xA1;
const uint8_t SetMode = 0xA2;
const uint8_t GetMode = 0xA3;
const uint8_t SetLed = 0xA5;
const uint8_t GetMotors = 0xA6;
const uint8_t EnableDrives = 0xA7;
const uint8_t SetBrakes = 0xA8;
const uint8_t GetBrakes = 0xA9;
const uint8_t SetMotorVelocity = 0xAA;
const uint8_t Preset = 0xAB;
const uint8_t ReadRegister = 0xAC;
const uint8_t WriteRegister = 0xAD;
const uint8_t ShortCyclic = 0xAF;
const uint8_t Cyclic = 0xB0;
} // namespace cmd

inline void putBE16(uint8_t* at, uint16_t value) {
    at[0] = static_cast<uint8_t>(value >> 8);
    at[1] = static_cast<uint8_t>(value & 0xFF);
}

inline uint16_t getBE16(const uint8_t* at) { return static_cast<uint16_t>(at[0] << 8 | at[1]); }

inline void putLE16(uint8_t* at, uint16_t value) {
    at[0] = static_cast<uint8_t>(value & 0xFF);
    at[1] = static_cast<uint8_t>(value >> 8);
}

inline uint16_t getLE16(const uint8_t* at) { return static_cast<uint16_t>(at[0] | at[1] << 8); }

inline void putLE24(uint8_t* at, uint32_t value) {
    at[0] = static_cast<uint8_t>(value & 0xFF);
    at[1] = static_cast<uint8_t>((value >> 8) & 0xFF);
    at[2] = static_cast<uint8_t>((value >> 16) & 0xFF);
}

inline uint32_t getLE24(const uint8_t* at) {
    return static_cast<uint32_t>(at[0]) | static_cast<uint32_t>(at[1]) << 8 |
           static_cast<uint32_t>(at[2]) << 16;
}

// Starts a request for `code`; the payload follows at offset 2.
inline void begin(uint8_t* frame, uint8_t code) {
    frame[0] = kHeader;
    frame[1] = code;
}

// Appends the checksum after `bodyLength` bytes; the frame is then bodyLength + 2 bytes long.
inline void seal(uint8_t* frame, unsigned int bodyLength) {
    putBE16(frame + bodyLength, crcCompute(frame, bodyLength));
}

// A reply that repeats the header and the request's code.
inline bool echoes(const uint8_t* reply, uint8_t code) {
    return reply[0] == kHeader && reply[1] == code;
}

// An acknowledgement: the echo, and a non-zero status byte.
inline bool acknowledges(const uint8_t* reply, uint8_t code) {
    return echoes(reply, code) && reply[2] != 0;
}

} // namespace qelframe

#endif
