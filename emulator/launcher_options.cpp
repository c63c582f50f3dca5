// SPDX-License-Identifier: MIT
#include "launcher_options.h"

#include <algorithm>
#include <array>
#include <cstring>
#include <string>
#include <vector>

#include "command_line.h"

namespace qelemu {

namespace {

const char kAbout[] =
    "Runs PROGRAM with emulated devices on emulated serial ports (/dev/ttyACM0, ...), visible\n"
    "to it through the umockdev preload, and exits with PROGRAM's exit status.\n";

const char kDefaults[] =
    "Device defaults: encoder resolution 1048576 counts per turn, nominal torque 100 N*mm,\n"
    "nominal current 2000 mA, encoder velocity in 1/128 turn per second.\n";

// What the command line gives before it is spread over the devices.
struct Given {
    DeviceOptions device;
    std::vector<uint32_t> serials;
    std::vector<double> pose; // degrees
    std::vector<HandScript::Kind> hands;
    std::string stateFile;
    bool decoy = false;
};

// Three numbers separated by commas, into a point or direction.
CLI::Option* point(CLI::App& app, const std::string& name, double (&target)[3],
                   const std::string& description) {
    return app
        .add_option_function<std::array<double, 3>>(
            name,
            [&target](const std::array<double, 3>& v) { std::copy(v.begin(), v.end(), target); },
            description)
        ->option_text("X,Y,Z")
        ->delimiter(',')
        ->check(qelcli::number(-1e4, 1e4));
}

void declare(CLI::App& app, LauncherOptions& options, Given& given) {
    DeviceOptions& device = given.device;
    app.add_option("-n,--devices", options.emulator.devices,
                   "number of devices, 0 to 10 (default 1)")
        ->option_text("N")
        ->check(qelcli::integer(0, 10));
    app.add_option("-t,--type", device.type,
                   "device type register of every device (default 1; 2 is\n"
                   "the other known type, any other value is reported as\n"
                   "it is)")
        ->option_text("T")
        ->check(qelcli::integer(0, 65535));
    app.add_option("-s,--serial", given.serials,
                   "serial numbers, one per device (default 10001, 10002,\n...)")
        ->option_text("S[,S..]")
        ->delimiter(',')
        ->check(qelcli::integer(0, 0xFFFFFFFF));
    app.add_option("--pose", given.pose,
                   "joint angles in degrees: three arm joints, then wrist\n"
                   "yaw, pitch, roll (default 40,40,40,0,0,0)")
        ->option_text("A0,A1,..")
        ->delimiter(',')
        ->expected(1, 6)
        ->check(qelcli::number(-360, 360));
    point(app, "--position", device.position,
          "handle position in millimetres instead of joint angles");
    app.add_flag("--physics", device.physics,
                 "the arm moves under the motor torques, gravity and\nfriction");
    qelcli::choice(app, "--hand", given.hands,
                   {{"hold", HandScript::HoldStill},
                    {"push", HandScript::PushPlane},
                    {"circle", HandScript::FollowCircle},
                    {"none", HandScript::None}},
                   "a scripted hand on the handle (implies --physics), one\n"
                   "kind for every device or one per device (devices past\n"
                   "the list have none): hold (hold still at the hand's\n"
                   "point), push (push along the normal, up to the plane\n"
                   "through the point), circle (follow a circle of 20 mm\n"
                   "about the point, one turn in 2 s), none")
        ->option_text("KIND[,KIND..]")
        ->delimiter(',');
    point(app, "--hand-point", device.hand.point,
          "the hand's point in millimetres (default 0,0,200)");
    point(app, "--hand-normal", device.hand.normal,
          "the push direction and circle axis (default 0,0,1)");
    app.add_option("--hand-force", device.hand.force, "the push in newtons (default 2)")
        ->option_text("N")
        ->check(qelcli::number(-1e3, 1e3));
    app.add_option("--press-button", options.buttonSeconds,
                   "device 1's button 0 goes down this long after the start")
        ->option_text("SECONDS")
        ->check(qelcli::number(0, 1e6));
    app.add_flag("--report", options.report,
                 "when PROGRAM has ended, print each device's state\n"
                 "(drives, LEDs, mode, cyclic frames served) to standard\n"
                 "error");
    app.add_option("--state", given.stateFile,
                   "registers are read from FILE at start and written to it\n"
                   "when the host commits them; device k > 1 uses FILE.k")
        ->option_text("FILE");
    qelcli::choice(
        app, "--line", options.emulator.line,
        {{"pty", Line::Pty}, {"usb-fs", Line::UsbFullSpeed}, {"usb-hs", Line::UsbHighSpeed}},
        "how replies reach the host: pty (at once, the default),\n"
        "usb-fs (64-byte packets at 1 ms USB frame boundaries)\n"
        "or usb-hs (the same at 125 us micro-frames)")
        ->option_text("LINE");
    app.add_flag("--decoy", given.decoy,
                 "add a port that looks like a device but is none\n(discovery must skip it)");
}

// Spreads what was given over the devices.
void build(const CLI::App& app, LauncherOptions& options, Given& given) {
    DeviceOptions& device = given.device;
    for (size_t k = 0; k < given.pose.size(); ++k)
        device.jointAngles[k] = given.pose[k] * 3.1415926 / 180.0;
    device.usePosition = app.count("--position") > 0;
    if (!given.hands.empty()) device.physics = true;
    for (int k = 0; k < options.emulator.devices; ++k) {
        DeviceOptions d = device;
        size_t index = static_cast<size_t>(k);
        if (index < given.serials.size()) d.serialNumber = given.serials[index];
        if (!given.stateFile.empty())
            d.stateFile = k == 0 ? given.stateFile : given.stateFile + "." + std::to_string(k + 1);
        if (given.hands.size() == 1)
            d.hand.kind = given.hands[0];
        else
            d.hand.kind = index < given.hands.size() ? given.hands[index] : HandScript::None;
        options.emulator.device.push_back(d);
    }
    if (given.decoy) {
        PortIdentity identity;
        identity.model = "WPXComPort-decoy";
        options.emulator.decoys.push_back(identity);
    }
}

} // namespace

int parseLauncherOptions(int argc, char** argv, LauncherOptions& options) {
    CLI::App app(kAbout, "qel-emulator");
    qelcli::style(app, "-- PROGRAM [ARGS...]");
    app.footer(kDefaults);
    Given given;
    declare(app, options, given);
    // The options end at "--"; the program's own command line follows.
    char** dash =
        std::find_if(argv + 1, argv + argc, [](const char* w) { return !std::strcmp(w, "--"); });
    try {
        std::vector<std::string> words(argv + 1, dash);
        app.parse(std::vector<std::string>(words.rbegin(), words.rend()));
        if (dash + 1 >= argv + argc) throw CLI::RequiredError("PROGRAM after --");
    } catch (const CLI::ParseError& e) {
        return qelcli::finish(app, e);
    }
    options.program = static_cast<int>(dash + 1 - argv);
    build(app, options, given);
    return -1;
}

} // namespace qelemu
