// SPDX-License-Identifier: MIT
#include "info_facts.h"

#include <cstdio>

#include "QEL_OPEN.h"
#include "QEL_discovery.h"

namespace qeltool {

Facts gather(Device& device) {
    Facts f;
    std::vector<qeldiscovery::Port> ports = qeldiscovery::findPorts(QEL_MAX_DEVICES);
    if (static_cast<size_t>(device.id()) <= ports.size())
        f.node = ports[static_cast<size_t>(device.id() - 1)].node;
    device.init();
    f.serial = device.serialNumber();
    f.mode = device.operationMode();
    f.threshold = device.velocityThreshold();
    for (const Register& r : knownRegisters()) {
        if (r.number < reg::Resolution || r.number > reg::SerialNumber) continue;
        unsigned int value = r.width == 32
                                 ? device.readInt(r.number)
                                 : static_cast<unsigned short>(device.readShort(r.number));
        f.registers.push_back({&r, value});
        short asShort = static_cast<short>(value);
        switch (r.number) {
        case reg::Resolution:
            f.resolution = value;
            break;
        case reg::NominalTorque:
            f.torque = asShort;
            break;
        case reg::NominalCurrent:
            f.current = asShort;
            break;
        case reg::SpringLength:
            f.springLength = asShort;
            break;
        case reg::SpringForce:
            f.springForce = asShort;
            break;
        case reg::DeviceType:
            f.type = asShort;
            break;
        default:
            break;
        }
    }
    for (int axis = 0; axis < 6; ++axis) {
        f.lower[axis] = device.readInt(lowerLimitRegister(axis));
        f.upper[axis] = device.readInt(upperLimitRegister(axis));
    }
    return f;
}

ShownRegister show(const Facts::Raw& raw) {
    ShownRegister shown;
    shown.numbers = std::to_string(raw.reg->number);
    if (raw.reg->width == 32) shown.numbers += "-" + std::to_string(raw.reg->number + 1);
    char hex[16];
    std::snprintf(hex, sizeof hex, raw.reg->width == 32 ? "0x%08X" : "0x%04X", raw.value);
    shown.hex = hex;
    shown.value =
        raw.reg->isSigned ? static_cast<short>(raw.value) : static_cast<long long>(raw.value);
    return shown;
}

} // namespace qeltool
