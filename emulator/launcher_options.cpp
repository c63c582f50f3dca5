#include "launcher_options.h"

#include <cstdio>
#include <cstdlib>
#include <string>
#include <vector>

namespace qelemu {

const char kLauncherUsage[] =
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
    "  --hand KIND[,KIND..]  a scripted hand on the handle (implies --physics), one kind for\n"
    "                        every device or one per device (devices past the list have none):\n"
    "                        hold (hold still at the hand's point), push (push along the\n"
    "                        normal, up to the plane through the point), circle (follow a\n"
    "                        circle of 20 mm about the point, one turn in 2 s), none\n"
    "  --hand-point X,Y,Z    the hand's point in millimetres (default 0,0,200)\n"
    "  --hand-normal X,Y,Z   the push direction and circle axis (default 0,0,1)\n"
    "  --hand-force N        the push in newtons (default 2)\n"
    "  --press-button SECONDS\n"
    "                        device 1's button 0 goes down this long after the start\n"
    "  --report              when PROGRAM has ended, print each device's state (drives, LEDs,\n"
    "                        mode, cyclic frames served) to standard error\n"
    "  --state FILE          registers are read from FILE at start and written to it when\n"
    "                        the host commits them; device k > 1 uses FILE.k\n"
    "  --line LINE           how replies reach the host: pty (at once, the default), usb-fs\n"
    "                        (64-byte packets at 1 ms USB frame boundaries) or usb-hs (the\n"
    "                        same at 125 us micro-frames)\n"
    "  --decoy               add a port that looks like a device but is none (discovery\n"
    "                        must skip it)\n"
    "  -h, --help            this text\n"
    "\n"
    "Device defaults: encoder resolution 1048576 counts per turn, nominal torque 100 N*mm,\n"
    "nominal current 2000 mA, encoder velocity in 1/128 turn per second.\n";

namespace {

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

std::vector<std::string> splitWords(const std::string& text) {
    std::vector<std::string> words;
    size_t from = 0;
    for (;;) {
        size_t comma = text.find(',', from);
        words.push_back(text.substr(from, comma - from));
        if (comma == std::string::npos) return words;
        from = comma + 1;
    }
}

bool handKind(const std::string& word, HandScript::Kind& kind) {
    if (word == "hold")
        kind = HandScript::HoldStill;
    else if (word == "push")
        kind = HandScript::PushPlane;
    else if (word == "circle")
        kind = HandScript::FollowCircle;
    else if (word == "none")
        kind = HandScript::None;
    else
        return false;
    return true;
}

int usageError(const std::string& message) {
    std::fprintf(stderr, "qel-emulator: %s\n(see qel-emulator --help)\n", message.c_str());
    return 2;
}

} // namespace

int parseLauncherOptions(int argc, char** argv, LauncherOptions& options) {
    DeviceOptions device;
    std::vector<double> serials;
    std::vector<HandScript::Kind> hands;
    std::string stateFile;
    bool decoy = false;

    for (int i = 1; i < argc; ++i) {
        std::string arg = argv[i];
        const char* missing = nullptr;
        auto value = [&](const char* name) -> const char* {
            if (i + 1 >= argc) {
                missing = name;
                return "";
            }
            return argv[++i];
        };
        auto vector3 = [&](const char* name, double out[3]) {
            std::vector<double> v = parseList(value(name));
            if (v.size() != 3) return false;
            for (int k = 0; k < 3; ++k) out[k] = v[static_cast<size_t>(k)];
            return true;
        };
        if (arg == "--") {
            options.program = i + 1;
            break;
        } else if (arg == "-h" || arg == "--help") {
            std::fputs(kLauncherUsage, stdout);
            return 0;
        } else if (arg == "-n" || arg == "--devices") {
            options.emulator.devices = std::atoi(value("--devices"));
            if (options.emulator.devices < 0 || options.emulator.devices > 10)
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
            if (!vector3("--position", device.position))
                return usageError("--position takes X,Y,Z");
            device.usePosition = true;
        } else if (arg == "--physics") {
            device.physics = true;
        } else if (arg == "--hand") {
            hands.clear();
            for (const std::string& word : splitWords(value("--hand"))) {
                HandScript::Kind kind;
                if (!handKind(word, kind))
                    return usageError("--hand takes hold, push, circle or none");
                hands.push_back(kind);
            }
            device.physics = true;
        } else if (arg == "--hand-point") {
            if (!vector3("--hand-point", device.hand.point))
                return usageError("--hand-point takes X,Y,Z");
        } else if (arg == "--hand-normal") {
            if (!vector3("--hand-normal", device.hand.normal))
                return usageError("--hand-normal takes X,Y,Z");
        } else if (arg == "--hand-force") {
            device.hand.force = std::atof(value("--hand-force"));
        } else if (arg == "--press-button") {
            options.buttonSeconds = std::atof(value("--press-button"));
        } else if (arg == "--report") {
            options.report = true;
        } else if (arg == "--state") {
            stateFile = value("--state");
        } else if (arg == "--line") {
            if (!lineFromName(value("--line"), options.emulator.line))
                return usageError("--line takes pty, usb-fs or usb-hs");
        } else if (arg == "--decoy") {
            decoy = true;
        } else {
            return usageError("unknown option " + arg);
        }
        if (missing) return usageError(std::string(missing) + " needs a value");
    }
    if (options.program < 0 || options.program >= argc)
        return usageError("no program given after --");

    for (int k = 0; k < options.emulator.devices; ++k) {
        DeviceOptions d = device;
        size_t index = static_cast<size_t>(k);
        if (index < serials.size()) d.serialNumber = static_cast<uint32_t>(serials[index]);
        if (!stateFile.empty())
            d.stateFile = k == 0 ? stateFile : stateFile + "." + std::to_string(k + 1);
        if (hands.size() == 1)
            d.hand.kind = hands[0];
        else
            d.hand.kind = index < hands.size() ? hands[index] : HandScript::None;
        options.emulator.device.push_back(d);
    }
    if (decoy) {
        PortIdentity identity;
        identity.model = "WPXComPort-decoy";
        options.emulator.decoys.push_back(identity);
    }
    return -1;
}

} // namespace qelemu
