// SPDX-License-Identifier: MIT
#include "registers.h"

namespace qeltool {

const char* const kAxisNames[6] = {"arm 1",     "arm 2",       "arm 3",
                                   "wrist yaw", "wrist pitch", "wrist roll"};

namespace {

std::vector<Register> buildTable() {
    const char* const keys[6] = {"arm1", "arm2", "arm3", "yaw", "pitch", "roll"};
    std::vector<Register> table;
    for (int axis = 0; axis < 6; ++axis) {
        table.push_back({std::string(keys[axis]) + "-lower", lowerLimitRegister(axis), 32, false,
                         "counts", std::string("lower limit of ") + kAxisNames[axis]});
        table.push_back({std::string(keys[axis]) + "-upper", upperLimitRegister(axis), 32, false,
                         "counts", std::string("upper limit of ") + kAxisNames[axis]});
    }
    table.push_back(
        {"resolution", reg::Resolution, 32, false, "counts per turn", "encoder resolution"});
    table.push_back(
        {"nominal-torque", reg::NominalTorque, 16, true, "N*mm", "nominal motor torque"});
    table.push_back(
        {"nominal-current", reg::NominalCurrent, 16, true, "mA", "nominal motor current"});
    table.push_back(
        {"spring-length", reg::SpringLength, 16, true, "1/100 mm", "spring initial length"});
    table.push_back(
        {"spring-force", reg::SpringForce, 16, true, "1/100 N", "spring initial force"});
    table.push_back({"reserved", reg::Reserved, 16, true, "", "reserved"});
    table.push_back({"type", reg::DeviceType, 16, true, "", "device type"});
    table.push_back({"serial", reg::SerialNumber, 32, false, "", "serial number"});
    table.push_back({"commit", 199, 16, true, "", "commit (writing 170 stores the registers)"});
    return table;
}

} // namespace

const std::vector<Register>& knownRegisters() {
    static const std::vector<Register> table = buildTable();
    return table;
}

const Register* findRegister(const std::string& name) {
    for (const Register& r : knownRegisters())
        if (r.name == name) return &r;
    return nullptr;
}

const Register* registerAt(unsigned short number) {
    for (const Register& r : knownRegisters())
        if (r.number == number) return &r;
    return nullptr;
}

} // namespace qeltool
