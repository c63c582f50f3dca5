// SPDX-License-Identifier: MIT
// qel-tool monitor: a live one-screen view of the handle, redrawn in place.
#include <cstdio>
#include <memory>
#include <optional>
#include <string>
#include <unistd.h>
#include <vector>

#include "clock.h"
#include "commands.h"
#include "device.h"
#include "failure.h"
#include "terminal.h"

namespace qeltool {

namespace {

const char kMonitorHelp[] =
    "a live view of position, orientation, velocity, buttons, force, drives\n"
    "\n"
    "Shows the handle's position, orientation, velocity, buttons, commanded force, the drives'\n"
    "state and the library's loop rate (cyclic exchanges per second, counted over each\n"
    "second), redrawn in place. q or Ctrl-C ends it.\n";

struct Options {
    double rate = 10;
    std::optional<double> seconds;
    std::optional<long long> count;
    bool gravity = false, ansi = false, plain = false;
    Selection selection;
};

std::string triple(const char* label, const Vector& v, const char* const names[3], const char* unit,
                   int precision) {
    char line[160];
    std::snprintf(line, sizeof line, "%-12s %s %9.*f  %s %9.*f  %s %9.*f  %s", label, names[0],
                  precision, v[0], names[1], precision, v[1], names[2], precision, v[2], unit);
    return line;
}

struct View {
    Device& device;
    unsigned int serial;
    double start;

    std::vector<std::string> screen(long refresh) {
        static const char* const xyz[3] = {"x", "y", "z"};
        static const char* const ypr[3] = {"yaw  ", "pitch", "roll "};
        std::vector<std::string> lines;
        char text[160];
        std::snprintf(text, sizeof text, "%s  serial %u  refresh %ld  %.1f s",
                      device.name().c_str(), serial, refresh, now() - start);
        lines.push_back(text);
        Vector p = device.position();
        lines.push_back(triple("position", p, xyz, "mm", 3));
        lines.push_back(triple("orientation", device.orientationDegrees(), ypr, "deg", 2));
        lines.push_back(triple("velocity", device.velocity(), xyz, "(library units)", 3));
        std::string pressed;
        for (int b = 0; b < 8; ++b)
            if (device.button(b)) pressed += (pressed.empty() ? "" : ", ") + std::to_string(b);
        std::snprintf(text, sizeof text, "%-12s %s", "buttons",
                      pressed.empty() ? "none pressed" : ("pressed: " + pressed).c_str());
        lines.push_back(text);
        Vector f = device.force();
        lines.push_back(triple("force", f, xyz, "N (commanded)", 3));
        std::string drives;
        std::optional<std::array<int, 3>> motors;
        if (device.rendering()) {
            motors = device.motorCommands(f, device.armEncoders());
            drives = motors ? "on, rendering the force" : "off: switched off by the library";
            if (device.gravity()) drives += " with gravity compensation";
        } else {
            drives = "off (--gravity powers them)";
        }
        std::snprintf(text, sizeof text, "%-12s %s; mode 0x%02X", "drives", drives.c_str(),
                      device.operationMode());
        lines.push_back(text);
        if (motors)
            std::snprintf(text, sizeof text, "%-12s %6d  %6d  %6d  (of +-32767)", "motors",
                          (*motors)[0], (*motors)[1], (*motors)[2]);
        else
            std::snprintf(text, sizeof text, "%-12s none", "motors");
        lines.push_back(text);
        double rate = device.loopRate();
        if (rate > 0)
            std::snprintf(text, sizeof text, "%-12s %.0f Hz", "loop rate", rate);
        else
            std::snprintf(text, sizeof text, "%-12s counting (the first second)", "loop rate");
        lines.push_back(text);
        return lines;
    }
};

// Hides the cursor while the view is redrawn in place, and shows it again however the view
// ends.
struct HiddenCursor {
    bool on;
    explicit HiddenCursor(bool on) : on(on) {
        if (on) std::fputs(ansi::kHideCursor, stdout);
    }
    ~HiddenCursor() {
        if (on) std::fputs(ansi::kShowCursor, stdout);
        std::fflush(stdout);
    }
};

int monitor(const Options& o) {
    bool ansi = o.ansi || (!o.plain && isTerminal(STDOUT_FILENO));

    Device device(o.selection);
    device.init();
    device.loadCalibration();
    device.awaitPosition();
    if (o.gravity) device.render({0, 0, 0}, true);
    unsigned int serial = device.serialNumber();

    catchStopSignals();
    Keys keys;
    View view{device, serial, now()};
    int drawn = 0;
    HiddenCursor cursor(ansi);
    double period = 1.0 / o.rate;
    for (long refresh = 1;; ++refresh) {
        std::vector<std::string> lines = view.screen(refresh);
        if (keys.active()) lines.push_back("(q or Ctrl-C ends)");
        std::string frame = ansi ? ansi::cursorUp(drawn) : std::string();
        for (const std::string& line : lines)
            frame += (ansi ? std::string("\r") + ansi::kClearLine : std::string()) + line + "\n";
        if (!ansi) frame += "\n";
        std::fputs(frame.c_str(), stdout);
        std::fflush(stdout);
        drawn = static_cast<int>(lines.size());

        if (o.count && refresh >= *o.count) break;
        double next = view.start + static_cast<double>(refresh) * period;
        if (o.seconds && next - view.start > *o.seconds) break;
        bool quit = false;
        while (!quit && !stopRequested() && now() < next) {
            int key = keys.poll(static_cast<int>((next - now()) * 1000) + 1);
            if (key == 'q' || key == 'Q' || key == 27) quit = true;
            if (!keys.active()) sleepUntil(next);
        }
        if (quit || stopRequested()) break;
    }
    return kOk;
}

} // namespace

Command addMonitor(CLI::App& tool) {
    CLI::App* command = addSubcommand(tool, "monitor", kMonitorHelp);
    auto o = std::make_shared<Options>();
    command->add_option("-r,--rate", o->rate, "refreshes per second, 0.1 to 100 (default 10)")
        ->option_text("HZ")
        ->check(qelcli::number(0.1, 100));
    CLI::Option* time = command->add_option("-t,--time", o->seconds, "end after S seconds")
                            ->option_text("S")
                            ->check(qelcli::number(0, 7 * 24 * 3600.0));
    command->add_option("-n,--count", o->count, "end after N refreshes")
        ->option_text("N")
        ->check(qelcli::integer(1, 1LL << 40))
        ->excludes(time);
    command->add_flag("--gravity", o->gravity,
                      "power the drives and render gravity compensation, so\n"
                      "that the handle floats; they are switched off again at\n"
                      "the end");
    CLI::Option* ansi = command->add_flag(
        "--ansi", o->ansi, "redraw in place even when standard output is no terminal");
    command
        ->add_flag("--plain", o->plain,
                   "print each refresh below the last, without escape\n"
                   "sequences (the default when standard output is no\n"
                   "terminal)")
        ->excludes(ansi);
    addSelection(*command, o->selection);
    return {command, [o] { return monitor(*o); }};
}

} // namespace qeltool
