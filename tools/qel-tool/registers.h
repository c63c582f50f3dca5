// SPDX-License-Identifier: MIT
// The device registers the tool knows by name: calibration limits, model parameters,
// identity and the commit register. 32-bit values occupy two registers, low half first.
#ifndef QELTOOL_REGISTERS_H
#define QELTOOL_REGISTERS_H

#include <string>
#include <vector>

namespace qeltool {

struct Register {
    std::string name;        // "resolution", "arm1-lower"
    unsigned short number;   // the first register
    int width;               // 16 or 32 bits
    bool isSigned;           // 16-bit registers read as signed numbers
    std::string unit;        // may be empty
    std::string description; // "encoder resolution"
};

const std::vector<Register>& knownRegisters();
// By name; null when no register has that name.
const Register* findRegister(const std::string& name);
// By first register number; null when the number is not a known register.
const Register* registerAt(unsigned short number);

// The six encoder axes: the arm's three joints, then the wrist's yaw, pitch and roll.
extern const char* const kAxisNames[6];
// The registers of axis j's calibration limits.
inline unsigned short lowerLimitRegister(int axis) {
    return static_cast<unsigned short>(100 + 4 * axis);
}
inline unsigned short upperLimitRegister(int axis) {
    return static_cast<unsigned short>(102 + 4 * axis);
}

namespace reg {
constexpr unsigned short Resolution = 128;
constexpr unsigned short NominalTorque = 130;
constexpr unsigned short NominalCurrent = 131;
constexpr unsigned short SpringLength = 132;
constexpr unsigned short SpringForce = 133;
constexpr unsigned short Reserved = 134;
constexpr unsigned short DeviceType = 135;
constexpr unsigned short SerialNumber = 136;
} // namespace reg

} // namespace qeltool

#endif
