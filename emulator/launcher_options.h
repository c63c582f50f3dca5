// SPDX-License-Identifier: MIT
// The command line of qel-emulator: the emulated devices to build, what happens to them while
// the program runs, and where the program's own command line starts.
#ifndef QELEMU_LAUNCHER_OPTIONS_H
#define QELEMU_LAUNCHER_OPTIONS_H

#include "emulator.h"

namespace qelemu {

struct LauncherOptions {
    EmulatorOptions emulator;
    int program = -1;          // index in argv of the program to run
    double buttonSeconds = -1; // device 1's button 0 goes down this long after the start
    bool report = false;       // print each device's final state when the program has ended
};

// Parses argv into `options`. Returns -1 to go on, or the status to exit with at once (0
// after --help, 2 after a usage error, which has been printed).
int parseLauncherOptions(int argc, char** argv, LauncherOptions& options);

} // namespace qelemu

#endif
