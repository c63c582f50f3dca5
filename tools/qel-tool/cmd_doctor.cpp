// SPDX-License-Identifier: MIT
// qel-tool doctor [-d N | --serial S] [--no-device]
#include <cstdio>

#include "commands.h"
#include "doctor.h"

namespace qeltool {

const char kDoctorHelp[] =
    "usage: qel-tool doctor [-d N | --serial S] [--no-device]\n"
    "\n"
    "Checks what stands between this user and a working device and prints, for each check,\n"
    "\"ok\" or what to do: the library and its version; the ports udev finds; the udev rule\n"
    "installed and in effect (this user may read and write the port); ModemManager not\n"
    "probing the port; the real-time limits qelStartThread needs; a device that answers\n"
    "(open, serial number, one second of loop rate). Exits 0 only when everything needed is\n"
    "in place (the limits are advice).\n"
    "\n"
    "options:\n"
    "      --no-device      skip opening a device\n" QELTOOL_SELECTION_HELP;

int runDoctor(Args& args) {
    DoctorOptions options;
    options.device = takeSelection(args);
    options.checkDevice = !args.flag({"--no-device"});
    args.finish();
    return doctor(options, stdout);
}

} // namespace qeltool
