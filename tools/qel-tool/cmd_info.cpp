// SPDX-License-Identifier: MIT
// qel-tool info: what a device is: identity, model parameters, registers, calibration.
#include <cstdio>
#include <string>
#include <vector>

#include "QEL_OPEN.h"
#include "QEL_device_models.h"
#include "QEL_discovery.h"
#include "commands.h"
#include "device.h"
#include "failure.h"
#include "info_facts.h"
#include "limits.h"
#include "port_in_use.h"
#include "registers.h"

namespace qeltool {

namespace {

const char kInfoHelp[] =
    "identity, model parameters, registers and calibration of a device\n"
    "\n"
    "Shows what a device is: its port, serial number and type; the model parameters held in\n"
    "its registers and the geometry the library uses for its type; its model and identity\n"
    "registers as stored; and the calibration limits stored for each encoder axis.\n";

void row(const char* label, const std::string& value) {
    std::printf("  %-22s %s\n", label, value.c_str());
}

std::string number(double value, const char* unit, int precision = 2) {
    char text[64];
    std::snprintf(text, sizeof text, "%.*f%s%s", precision, value, *unit ? " " : "", unit);
    return text;
}

void printIdentity(const Device& device, const Facts& f) {
    std::printf("%s\n", device.name().c_str());
    row("node", f.node);
    row("serial number", std::to_string(f.serial));
    row("device type", std::to_string(f.type));
    char mode[32];
    std::snprintf(mode, sizeof mode, "0x%02X", f.mode);
    row("operation mode", mode);
    row("velocity threshold", std::to_string(f.threshold));
}

void printModel(const Facts& f) {
    std::printf("\nmodel parameters\n");
    row("encoder resolution", std::to_string(f.resolution) + " counts per turn");
    row("nominal torque", std::to_string(f.torque) + " N*mm");
    row("nominal current", std::to_string(f.current) + " mA");
    row("spring length", number(f.springLength / 100.0, "mm"));
    row("spring force", number(f.springForce / 100.0, "N"));
    // The geometry the library loads for this type, from the library's own table.
    const qelmodels::DeviceModel* model = qelmodels::forType(f.type);
    if (!model) {
        row("geometry", "none: the library has no geometry for type " + std::to_string(f.type));
        return;
    }
    row("actuated link", number(model->lenActLink, "mm", 3));
    row("passive link", number(model->lenPassLink, "mm", 3));
    row("fixed platform", number(model->dimFixedPlat, "mm", 3));
    row("moving platform", number(model->dimFloatPlat, "mm", 3));
    row("link centre of mass", number(model->lenActLinkGrav, "mm", 3));
    row("masses", number(model->gFloatPlat, "kg (platform), ", 4) +
                      number(model->gActLink, "kg (actuated link), ", 4) +
                      number(model->gPassLink, "kg (passive link)", 5));
    row("arm joint range", number(model->deltaAngRange, "deg", 1) + " from " +
                               number(model->armDefaultAngle, "deg", 1));
    row("wrist ranges", number(model->yawAngRange, "deg (yaw), ", 1) +
                            number(model->pitchAngRange, "deg (pitch), ", 1) +
                            number(model->rollAngRange, "deg (roll)", 1));
    row("transmission ratio", number(model->transmissionRatio, "", 2));
    row("torque constant", number(model->torqueConstant, "", 2));
    if (model->hasSpring)
        row("spring",
            number(model->sprK, "stiffness, ", 2) + number(model->sprRadius, "mm radius", 1));
}

void printRegisters(const Facts& f) {
    std::printf("\nregisters\n");
    for (const Facts::Raw& raw : f.registers) {
        ShownRegister shown = show(raw);
        std::printf("  %-8s %-16s %-11s %lld\n", shown.numbers.c_str(), raw.reg->name.c_str(),
                    shown.hex.c_str(), shown.value);
    }
}

void printCalibration(const Facts& f) {
    std::printf("\ncalibration (stored limits)\n");
    std::printf("  %-12s %11s %11s %11s %9s\n", "axis", "lower", "upper", "span", "degrees");
    for (int axis = 0; axis < 6; ++axis) {
        unsigned long long span = storedSpan(f.lower[axis], f.upper[axis], f.resolution);
        double degrees = f.resolution ? static_cast<double>(span) * 360.0 / f.resolution : 0.0;
        std::printf("  %-12s %11u %11u %11llu %9.2f\n", kAxisNames[axis], f.lower[axis],
                    f.upper[axis], span, degrees);
    }
}

int info(const Selection& selection) {
    if (!selection.serial) {
        std::vector<qeldiscovery::Port> ports = qeldiscovery::findPorts(QEL_MAX_DEVICES);
        size_t index = static_cast<size_t>(selection.id - 1);
        // The status is that of the open it spares: device error 16.
        if (index < ports.size() && portInUse(ports[index].node))
            throw Failure(36, "device " + std::to_string(selection.id) + " (" + ports[index].node +
                                  ") is in use by another program");
    }
    Facts facts;
    {
        Device device(selection);
        facts = gather(device);
        printIdentity(device, facts);
    }
    printModel(facts);
    printRegisters(facts);
    printCalibration(facts);
    return kOk;
}

} // namespace

Command addInfo(CLI::App& tool) {
    CLI::App* command = addSubcommand(tool, "info", kInfoHelp);
    auto selection = std::make_shared<Selection>();
    addSelection(*command, *selection);
    return {command, [selection] { return info(*selection); }};
}

} // namespace qeltool
