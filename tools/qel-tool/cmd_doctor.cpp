// SPDX-License-Identifier: MIT
// qel-tool doctor [-d N | --serial S] [--no-device]
#include <cstdio>
#include <memory>

#include "commands.h"
#include "doctor.h"

namespace qeltool {

namespace {

const char kDoctorHelp[] =
    "check what a working device needs: library, port, rule, access, limits\n"
    "\n"
    "Checks what stands between this user and a working device and prints, for each check,\n"
    "\"ok\" or what to do: the library and its version; the ports udev finds; the udev rule\n"
    "installed and in effect (this user may read and write the port); ModemManager not\n"
    "probing the port; the real-time limits qelStartThread needs; a device that answers\n"
    "(open, serial number, one second of loop rate). Exits 0 only when everything needed is\n"
    "in place (the limits are advice).\n";

} // namespace

Command addDoctor(CLI::App& tool) {
    CLI::App* command = addSubcommand(tool, "doctor", kDoctorHelp);
    auto options = std::make_shared<DoctorOptions>();
    addSelection(*command, options->device);
    auto skipDevice = std::make_shared<bool>(false);
    command->add_flag("--no-device", *skipDevice, "skip opening a device");
    return {command, [options, skipDevice] {
                options->checkDevice = !*skipDevice;
                return doctor(*options, stdout);
            }};
}

} // namespace qeltool
