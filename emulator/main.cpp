// SPDX-License-Identifier: MIT
// qel-emulator: runs a program against emulated devices. It builds a umockdev testbed with one
// emulated serial port per device, serves the devices, and runs the program with the umockdev
// preload so that its udev look-ups and port opens see the emulated ports. Its exit status is
// the program's.
#include <cerrno>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>
#include <sys/wait.h>
#include <unistd.h>

#include "emulator.h"
#include "launcher_options.h"
#include "launcher_timeline.h"

namespace {

pid_t child = -1;

void forward(int signal) {
    if (child > 0) kill(child, signal);
}

void report(qelemu::Emulator& emulator) {
    for (int k = 0; k < emulator.deviceCount(); ++k) {
        qelemu::Device& d = emulator.device(k);
        std::fprintf(stderr,
                     "qel-emulator: device %d (serial %u): drives %s, LEDs 0x%02x, mode 0x%02x, "
                     "%llu cyclic frames, motors %d,%d,%d\n",
                     k + 1, d.serialNumber(), d.drivesEnabled() ? "on" : "off", d.leds(), d.mode(),
                     static_cast<unsigned long long>(d.frames(qelemu::cmd::Cyclic)), d.motorCommand(0),
                     d.motorCommand(1), d.motorCommand(2));
    }
}

} // namespace

int main(int argc, char** argv) {
    qelemu::LauncherOptions options;
    int exitNow = qelemu::parseLauncherOptions(argc, argv, options);
    if (exitNow >= 0) return exitNow;
    // This process is not preloaded, only the program is.
    options.emulator.warnIfNotPreloaded = false;
    options.emulator.autoStart = false;

    // The environment is prepared before any thread exists; the testbed adds UMOCKDEV_DIR.
    std::string preload = "libumockdev-preload.so";
    if (const char* existing = std::getenv("LD_PRELOAD"))
        if (*existing) preload += std::string(":") + existing;

    try {
        qelemu::Emulator emulator(options.emulator);
        setenv("LD_PRELOAD", preload.c_str(), 1);
        emulator.start();

        child = fork();
        if (child < 0) {
            std::perror("qel-emulator: fork");
            return 1;
        }
        if (child == 0) {
            char** program = argv + options.program;
            execvp(program[0], program);
            std::fprintf(stderr, "qel-emulator: cannot run %s: %s\n", program[0],
                         std::strerror(errno));
            _exit(127);
        }
        std::signal(SIGINT, forward);
        std::signal(SIGTERM, forward);
        std::signal(SIGHUP, forward);
        int status = 0;
        {
            qelemu::LauncherTimeline timeline(emulator, options);
            while (waitpid(child, &status, 0) < 0 && errno == EINTR) {
            }
        }
        emulator.stop();
        if (options.report) report(emulator);
        if (WIFEXITED(status)) return WEXITSTATUS(status);
        if (WIFSIGNALED(status)) return 128 + WTERMSIG(status);
        return 1;
    } catch (const std::exception& e) {
        std::fprintf(stderr, "%s\n", e.what());
        return 1;
    }
}
