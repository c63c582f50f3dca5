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
#include <vector>

#include "emulator.h"

namespace {

const char kUsage[] =
    "usage: qel-emulator [options] -- PROGRAM [ARGS...]\n"
    "\n"
    "Runs PROGRAM with emulated devices on emulated serial ports (/dev/ttyACM0, ...), visible\n"
    "to it through the umockdev preload, and exits with PROGRAM's exit status.\n"
    "\n"
    "options:\n"
    "  -n, --devices N       number of devices, 0 to 10 (default 1)\n"
    "  -t, --type T          device type register of every device (default 1; 2 is the\n"
    "                        other known type, any other value is reported as it is)\n"
    "  -s, --serial S[,S..]  serial numbers, one per device (default 10001, 10002, ...)\n"
    "  --pose A0,A1,..       joint angles in degrees: three arm joints, then wrist yaw,\n"
    "                        pitch, roll (default 40,40,40,0,0,0)\n"
    "  --position X,Y,Z      handle position in millimetres instead of joint angles\n"
    "  --physics             the arm moves under the motor torques, gravity and friction\n"
    "  --hand KIND           a scripted hand on the handle (implies --physics):\n"
    "                        hold (hold still), push (push on a plane), circle (follow a\n"
    "                        circle)\n"
    "  --state FILE          registers are read from FILE at start and written to it when\n"
    "                        the host commits them; device k > 1 uses FILE.k\n"
    "  --decoy               add a port that looks like a device but is none (discovery\n"
    "                        must skip it)\n"
    "  -h, --help            this text\n"
    "\n"
    "Device defaults: encoder resolution 1048576 counts per turn, nominal torque 100 N*mm,\n"
    "nominal current 2000 mA, encoder velocity in 1/128 turn per second.\n";

std::vector<double> parseList(const char* text) {
    std::vector<double> values;
    const char* p = text;
    while (*p) {
        char* end = nullptr;
        double v = std::strtod(p, &end);
        if (end == p) return {};
        values.push_back(v);
        p = *end == ',' ? end + 1 : end;
        if (*end != ',' && *end != '\0') return {};
    }
    return values;
}

int usageError(const char* message) {
    std::fprintf(stderr, "qel-emulator: %s\n(see qel-emulator --help)\n", message);
    return 2;
}

pid_t child = -1;

void forward(int signal) {
    if (child > 0) kill(child, signal);
}

} // namespace

int main(int argc, char** argv) {
    qelemu::EmulatorOptions options;
    qelemu::DeviceOptions device;
    std::vector<double> serials;
    std::string stateFile;
    int program = -1;
    bool decoy = false;

    for (int i = 1; i < argc; ++i) {
        std::string arg = argv[i];
        auto value = [&](const char* name) -> const char* {
            if (i + 1 >= argc) {
                usageError((std::string(name) + " needs a value").c_str());
                std::exit(2);
            }
            return argv[++i];
        };
        if (arg == "--") {
            program = i + 1;
            break;
        } else if (arg == "-h" || arg == "--help") {
            std::fputs(kUsage, stdout);
            return 0;
        } else if (arg == "-n" || arg == "--devices") {
            options.devices = std::atoi(value("--devices"));
            if (options.devices < 0 || options.devices > 10)
                return usageError("--devices takes 0 to 10");
        } else if (arg == "-t" || arg == "--type") {
            device.type = std::atoi(value("--type"));
        } else if (arg == "-s" || arg == "--serial") {
            serials = parseList(value("--serial"));
            if (serials.empty()) return usageError("--serial takes numbers separated by commas");
        } else if (arg == "--pose") {
            std::vector<double> deg = parseList(value("--pose"));
            if (deg.empty() || deg.size() > 6) return usageError("--pose takes 1 to 6 angles");
            for (size_t k = 0; k < deg.size(); ++k)
                device.jointAngles[k] = deg[k] * 3.1415926 / 180.0;
        } else if (arg == "--position") {
            std::vector<double> p = parseList(value("--position"));
            if (p.size() != 3) return usageError("--position takes X,Y,Z");
            device.usePosition = true;
            for (int k = 0; k < 3; ++k) device.position[k] = p[static_cast<size_t>(k)];
        } else if (arg == "--physics") {
            device.physics = true;
        } else if (arg == "--hand") {
            std::string kind = value("--hand");
            if (kind == "hold")
                device.hand.kind = qelemu::HandScript::HoldStill;
            else if (kind == "push")
                device.hand.kind = qelemu::HandScript::PushPlane;
            else if (kind == "circle")
                device.hand.kind = qelemu::HandScript::FollowCircle;
            else
                return usageError("--hand takes hold, push or circle");
            device.physics = true;
        } else if (arg == "--state") {
            stateFile = value("--state");
        } else if (arg == "--decoy") {
            decoy = true;
        } else {
            return usageError(("unknown option " + arg).c_str());
        }
    }
    if (program < 0 || program >= argc) return usageError("no program given after --");

    for (int k = 0; k < options.devices; ++k) {
        qelemu::DeviceOptions d = device;
        if (static_cast<size_t>(k) < serials.size())
            d.serialNumber = static_cast<uint32_t>(serials[static_cast<size_t>(k)]);
        if (!stateFile.empty())
            d.stateFile = k == 0 ? stateFile : stateFile + "." + std::to_string(k + 1);
        options.device.push_back(d);
    }
    if (decoy) {
        qelemu::PortIdentity identity;
        identity.model = "WPXComPort-decoy";
        options.decoys.push_back(identity);
    }
    // This process is not preloaded, only the program is.
    options.warnIfNotPreloaded = false;
    options.autoStart = false;

    // The environment is prepared before any thread exists; the testbed adds UMOCKDEV_DIR.
    std::string preload = "libumockdev-preload.so";
    if (const char* existing = std::getenv("LD_PRELOAD"))
        if (*existing) preload += std::string(":") + existing;

    try {
        qelemu::Emulator emulator(options);
        setenv("LD_PRELOAD", preload.c_str(), 1);
        emulator.start();

        child = fork();
        if (child < 0) {
            std::perror("qel-emulator: fork");
            return 1;
        }
        if (child == 0) {
            execvp(argv[program], argv + program);
            std::fprintf(stderr, "qel-emulator: cannot run %s: %s\n", argv[program],
                         std::strerror(errno));
            _exit(127);
        }
        std::signal(SIGINT, forward);
        std::signal(SIGTERM, forward);
        std::signal(SIGHUP, forward);
        int status = 0;
        while (waitpid(child, &status, 0) < 0 && errno == EINTR) {
        }
        emulator.stop();
        if (WIFEXITED(status)) return WEXITSTATUS(status);
        if (WIFSIGNALED(status)) return 128 + WTERMSIG(status);
        return 1;
    } catch (const std::exception& e) {
        std::fprintf(stderr, "%s\n", e.what());
        return 1;
    }
}
