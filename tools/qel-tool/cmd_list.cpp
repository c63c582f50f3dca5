// SPDX-License-Identifier: MIT
// qel-tool list: the devices found, with their port, serial number and type.
#include <cstdio>
#include <string>

#include "QEL_OPEN.h"
#include "QEL_discovery.h"
#include "commands.h"
#include "device.h"
#include "failure.h"
#include "port_in_use.h"
#include "registers.h"

namespace qeltool {

namespace {

const char kListHelp[] =
    "the devices found: node, serial number, type\n"
    "\n"
    "Lists the devices found, one a line: the number by which the other commands address it\n"
    "(-d N), its serial port, its serial number and its device type. A device that cannot be\n"
    "opened is listed with the reason; the exit status is then that of its failure. A device\n"
    "that another program holds open is listed as in use, without opening it.\n"
    "No device found is not an error: the list is empty and the status 0.\n";

int list() {
    std::vector<qeldiscovery::Port> ports = qeldiscovery::findPorts(QEL_MAX_DEVICES);
    int count = qelGetDeviceCount();
    if (count == 0) {
        std::fprintf(stderr, "no devices found\n");
        return kOk;
    }
    int status = kOk;
    std::printf("%-3s %-16s %-10s %s\n", "ID", "NODE", "SERIAL", "TYPE");
    for (int id = 1; id <= count; ++id) {
        std::string node = static_cast<size_t>(id) <= ports.size()
                               ? ports[static_cast<size_t>(id - 1)].node
                               : std::string("?");
        if (node != "?" && portInUse(node)) {
            std::printf("%-3d %-16s %-10s %s\n", id, node.c_str(), "-", "in use");
            continue;
        }
        try {
            Selection selection;
            selection.id = id;
            Device device(selection);
            unsigned int serial = device.serialNumber();
            int type = device.readShort(reg::DeviceType);
            std::printf("%-3d %-16s %-10u %d\n", id, node.c_str(), serial, type);
        } catch (const Failure& e) {
            std::printf("%-3d %-16s %-10s %s\n", id, node.c_str(), "-", "-");
            std::fflush(stdout);
            std::fprintf(stderr, "qel-tool list: %s\n", e.what());
            if (status == kOk) status = e.status;
        }
    }
    return status;
}

} // namespace

Command addList(CLI::App& tool) { return {addSubcommand(tool, "list", kListHelp), list}; }

} // namespace qeltool
