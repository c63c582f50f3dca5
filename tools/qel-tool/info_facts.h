// SPDX-License-Identifier: MIT
// What qel-tool info shows of a device, gathered through the exported interface: identity,
// model registers and stored calibration limits. The text and the page views share it.
#ifndef QELTOOL_INFO_FACTS_H
#define QELTOOL_INFO_FACTS_H

#include <string>
#include <vector>

#include "device.h"
#include "registers.h"

namespace qeltool {

struct Facts {
    std::string node = "?";
    unsigned int serial = 0;
    int type = 0;
    unsigned int resolution = 0;
    int torque = 0, current = 0, springLength = 0, springForce = 0;
    unsigned char mode = 0;
    unsigned int threshold = 0;
    unsigned int lower[6] = {}, upper[6] = {};
    struct Raw {
        const Register* reg;
        unsigned int value;
    };
    std::vector<Raw> registers;
};

// Initialises the device and reads everything above.
Facts gather(Device& device);

// How a register read is shown: its number ("128-129" for a 32-bit value), its raw value in
// hexadecimal and its value, signed where the register is.
struct ShownRegister {
    std::string numbers;
    std::string hex;
    long long value;
};
ShownRegister show(const Facts::Raw& raw);

} // namespace qeltool

#endif
