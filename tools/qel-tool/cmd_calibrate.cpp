// SPDX-License-Identifier: MIT
// qel-tool calibrate: load the encoder limits stored in the device, or record new limits
// while the user moves the arm through its range, and save them.
#include <array>
#include <cstdio>
#include <iostream>
#include <memory>
#include <string>
#include <unistd.h>

#include "clock.h"
#include "commands.h"
#include "device.h"
#include "failure.h"
#include "limits.h"
#include "registers.h"
#include "terminal.h"

namespace qeltool {

namespace {

const char kCalibrateHelp[] = "load the stored limits, or record new ones and save them\n"
                              "\n"
                              "Without a command, as 'calibrate load'.\n";

const char kLoadHelp[] =
    "load the stored limits and show them\n"
    "\n"
    "Loads the limits stored in the device, as an application does before it reads\n"
    "positions, and shows them with the position they give.\n";

const char kRecordHelp[] =
    "record new limits while the arm moves, and save them\n"
    "\n"
    "Follows the encoders while you move the arm, and the wrist, slowly through their\n"
    "whole range, to each end stop. It ends after --time seconds, or earlier on Enter or q.\n"
    "It then shows the limits found next to the stored ones and, once confirmed, saves them\n"
    "in the device permanently. An axis that moved less than one degree keeps its stored\n"
    "limits. Ctrl-C abandons the recording; nothing is saved.\n";

using Limits = std::array<unsigned int, 6>;

struct Stored {
    unsigned int resolution = 0;
    Limits lower{}, upper{};
};

Stored readStored(Device& device) {
    Stored s;
    s.resolution = device.readInt(reg::Resolution);
    for (int axis = 0; axis < 6; ++axis) {
        s.lower[static_cast<size_t>(axis)] = device.readInt(lowerLimitRegister(axis));
        s.upper[static_cast<size_t>(axis)] = device.readInt(upperLimitRegister(axis));
    }
    return s;
}

double spanDegrees(const Stored& s, size_t axis) {
    uint64_t span = storedSpan(s.lower[axis], s.upper[axis], s.resolution);
    return s.resolution ? static_cast<double>(span) * 360.0 / s.resolution : 0.0;
}

void printStored(const Stored& s) {
    std::printf("%-12s %11s %11s %9s\n", "axis", "lower", "upper", "degrees");
    for (size_t axis = 0; axis < 6; ++axis)
        std::printf("%-12s %11u %11u %9.2f\n", kAxisNames[axis], s.lower[axis], s.upper[axis],
                    spanDegrees(s, axis));
}

int load(const Selection& selection) {
    Device device(selection);
    device.init();
    device.loadCalibration();
    device.awaitPosition();
    Stored stored = readStored(device);
    Vector p = device.position();
    std::printf("%s: calibration loaded\n", device.name().c_str());
    printStored(stored);
    std::printf("position %.3f, %.3f, %.3f mm\n", p[0], p[1], p[2]);
    return kOk;
}

// The encoder counts once the library's refresh has brought its first frame.
Limits firstCounts(Device& device) {
    double deadline = now() + 1.0;
    Limits counts = device.encoders();
    while (now() < deadline) {
        for (unsigned int c : counts)
            if (c != 0) return counts;
        sleepUntil(now() + 0.002);
        counts = device.encoders();
    }
    return counts;
}

std::vector<std::string> progressLines(const std::vector<LimitTracker>& trackers,
                                       const Stored& stored, double left) {
    std::vector<std::string> lines;
    char text[160];
    std::snprintf(text, sizeof text,
                  "move each axis to both of its end stops  (%.0f s left; Enter ends)", left);
    lines.push_back(text);
    for (size_t axis = 0; axis < 6; ++axis) {
        double span = trackers[axis].spanDegrees();
        double expected = spanDegrees(stored, axis);
        std::string bar = expected > 0 ? progressBar(span / expected, 24) : std::string(31, ' ');
        std::snprintf(text, sizeof text, "  %-12s %s  %7.2f of %7.2f deg", kAxisNames[axis],
                      bar.c_str(), span, expected);
        lines.push_back(text);
    }
    return lines;
}

bool confirm(const std::string& question) {
    std::fprintf(stderr, "%s [y/N] ", question.c_str());
    std::fflush(stderr);
    std::string answer;
    if (!std::getline(std::cin, answer)) {
        std::fputc('\n', stderr);
        return false;
    }
    return answer == "y" || answer == "Y" || answer == "yes" || answer == "YES";
}

struct Options {
    Selection selection;
    double seconds = 60;
    bool yes = false;
    bool progress = false;
};

int record(const Options& o) {
    double seconds = o.seconds;
    bool progress = o.progress || isTerminal(STDERR_FILENO);

    Device device(o.selection);
    device.init();
    unsigned int serial = device.serialNumber();
    Stored stored = readStored(device);
    if (stored.resolution == 0)
        throw Failure(kFailed, device.name() + " reports an encoder resolution of 0");
    std::vector<LimitTracker> trackers(6, LimitTracker(stored.resolution));

    catchStopSignals();
    bool interrupted = false;
    {
        Keys keys;
        Limits counts = firstCounts(device);
        double start = now(), shown = -1;
        int drawn = 0;
        for (long k = 1;; ++k) {
            for (size_t axis = 0; axis < 6; ++axis) trackers[axis].add(counts[axis]);
            double at = now();
            bool last = at - start >= seconds;
            if (progress && (at - shown >= 0.1 || last)) {
                std::string frame = ansi::cursorUp(drawn);
                std::vector<std::string> lines =
                    progressLines(trackers, stored, std::max(0.0, seconds - (at - start)));
                for (const std::string& line : lines)
                    frame += std::string("\r") + ansi::kClearLine + line + "\n";
                std::fputs(frame.c_str(), stderr);
                std::fflush(stderr);
                drawn = static_cast<int>(lines.size());
                shown = at;
            }
            if (last) break;
            int key = keys.poll(0);
            if (key == '\n' || key == '\r' || key == 'q' || key == 'Q') break;
            if (stopRequested()) {
                interrupted = true;
                break;
            }
            sleepUntil(start + static_cast<double>(k) * 0.02);
            counts = device.encoders();
        }
    }
    if (interrupted) throw Failure(kFailed, "calibration abandoned: nothing saved");

    const uint64_t oneDegree = stored.resolution / 360;
    Limits lower = stored.lower, upper = stored.upper;
    int moved = 0;
    std::printf("%-12s %11s %11s %11s %11s %9s\n", "axis", "old lower", "old upper", "new lower",
                "new upper", "degrees");
    for (size_t axis = 0; axis < 6; ++axis) {
        const LimitTracker& t = trackers[axis];
        bool keep = t.span() < oneDegree || t.span() == 0;
        if (!keep) {
            lower[axis] = t.lower();
            upper[axis] = t.upper();
            ++moved;
        }
        std::printf("%-12s %11u %11u ", kAxisNames[axis], stored.lower[axis], stored.upper[axis]);
        if (keep)
            std::printf("%23s %9.2f  (kept: hardly moved)\n", "", t.spanDegrees());
        else
            std::printf("%11u %11u %9.2f\n", lower[axis], upper[axis], t.spanDegrees());
    }
    std::fflush(stdout);
    if (moved == 0) throw Failure(kFailed, "no axis moved by a degree or more: nothing saved");
    if (!o.yes && !confirm("save the new limits of " + std::to_string(moved) + " axes to " +
                           device.name() + " (serial " + std::to_string(serial) + ")?"))
        throw Failure(kNotConfirmed, "not confirmed: nothing saved");
    device.saveCalibration(lower, upper, 0x3F);
    std::printf("%s: limits saved\n", device.name().c_str());
    return kOk;
}

} // namespace

Command addCalibrate(CLI::App& tool) {
    CLI::App* command = addSubcommand(tool, "calibrate", kCalibrateHelp);
    auto o = std::make_shared<Options>();
    addSelection(*command, o->selection);
    addSubcommand(*command, "load", kLoadHelp);
    CLI::App* recordCommand = addSubcommand(*command, "record", kRecordHelp);
    recordCommand
        ->add_option("-t,--time", o->seconds, "the longest recording, seconds (default 60)")
        ->option_text("S")
        ->check(qelcli::number(0.1, 3600));
    recordCommand->add_flag("-y,--yes", o->yes, "save without asking");
    recordCommand->add_flag("--progress", o->progress,
                            "show the progress even when standard error is no\nterminal");
    command->require_subcommand(0, 1);
    return {command, [o, recordCommand] {
                return recordCommand->parsed() ? record(*o) : load(o->selection);
            }};
}

} // namespace qeltool
