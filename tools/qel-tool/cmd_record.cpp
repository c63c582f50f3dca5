// SPDX-License-Identifier: MIT
// qel-tool record: a trace of the handle at a fixed rate for a fixed time, to CSV.
#include <cerrno>
#include <cmath>
#include <cstdio>
#include <cstring>
#include <memory>
#include <optional>
#include <string>

#include "clock.h"
#include "commands.h"
#include "device.h"
#include "failure.h"
#include "terminal.h"
#include "trace.h"

namespace qeltool {

namespace {

const char kRecordHelp[] =
    "record a trace of the handle to a CSV file\n"
    "\n"
    "Samples the handle at a fixed rate for a fixed time and writes one CSV line per sample:\n"
    "  t_s                   time since the first sample, seconds\n"
    "  x_mm, y_mm, z_mm      position, millimetres\n"
    "  vx, vy, vz            velocity, in the library's units (millimetres per velocity\n"
    "                        period of the device)\n"
    "  fx_N, fy_N, fz_N      commanded force, newtons\n"
    "  motor0..motor2        motor commands the library renders for that force at the\n"
    "                        sampled counts (signed 16-bit, 32767 = nominal torque); 0 while\n"
    "                        nothing is rendered\n"
    "Nothing is rendered unless --force or --gravity is given: both power the drives.\n"
    "Ctrl-C ends the recording early; the samples taken so far stay in the file.\n";

struct Options {
    std::string path;
    double rate = 100, seconds = 5;
    std::optional<std::array<double, 3>> force;
    bool gravity = false, progress = false, quiet = false;
    Selection selection;
};

struct Output {
    std::FILE* file = nullptr;
    bool owned = false;
    ~Output() {
        if (owned && file) std::fclose(file);
    }
};

void showProgress(double elapsed, double total, long samples) {
    char tail[96];
    std::snprintf(tail, sizeof tail, "  %.1f of %.1f s  %ld samples", elapsed, total, samples);
    std::fprintf(stderr, "\r%s%s", progressBar(elapsed / total, 30).c_str(), tail);
    std::fflush(stderr);
}

int record(const Options& o) {
    const std::string& path = o.path;
    double rate = o.rate, seconds = o.seconds;
    bool progress = !o.quiet && (o.progress || isTerminal(2));

    Output out;
    if (path == "-") {
        out.file = stdout;
    } else {
        out.file = std::fopen(path.c_str(), "w");
        if (!out.file) throw Failure(kFailed, "cannot write " + path + ": " + std::strerror(errno));
        out.owned = true;
    }
    std::string name = path == "-" ? std::string("standard output") : path;

    long total = std::max(1L, std::lround(rate * seconds));
    long taken = 0, late = 0;
    bool interrupted = false;
    {
        Device device(o.selection);
        device.init();
        device.loadCalibration();
        device.awaitPosition();
        if (o.force || o.gravity)
            device.render(o.force.value_or(std::array<double, 3>{}), o.gravity);

        catchStopSignals();
        std::fprintf(out.file, "%s\n", traceHeader().c_str());
        double period = 1.0 / rate, start = now(), shown = -1;
        for (long k = 0; k < total; ++k) {
            double deadline = start + static_cast<double>(k) * period;
            sleepUntil(deadline);
            if (stopRequested()) {
                interrupted = true;
                break;
            }
            double at = now();
            if (at > deadline + period) ++late;
            Sample s;
            s.time = at - start;
            s.position = device.position();
            s.velocity = device.velocity();
            s.force = device.force();
            if (device.rendering())
                s.motor = device.motorCommands(s.force, device.armEncoders())
                              .value_or(std::array<int, 3>{});
            std::fprintf(out.file, "%s\n", traceRow(s).c_str());
            ++taken;
            if (progress && (at - shown >= 0.1 || k + 1 == total)) {
                showProgress(static_cast<double>(k + 1) / rate, seconds, taken);
                shown = at;
            }
        }
        if (progress) std::fputc('\n', stderr);
    }
    if (std::fflush(out.file) != 0 || std::ferror(out.file))
        throw Failure(kFailed, "cannot write " + name + ": " + std::strerror(errno));
    if (interrupted)
        throw Failure(kFailed, "interrupted after " + std::to_string(taken) + " samples; " + name +
                                   " holds them");
    if (!o.quiet) {
        std::fprintf(stderr, "recorded %ld samples at %g Hz to %s", taken, rate, name.c_str());
        if (late) std::fprintf(stderr, " (%ld late)", late);
        std::fputc('\n', stderr);
    }
    return kOk;
}

} // namespace

Command addRecord(CLI::App& tool) {
    CLI::App* command = addSubcommand(tool, "record", kRecordHelp);
    auto o = std::make_shared<Options>();
    command->add_option("-o,--output", o->path, "the CSV file to write ('-' for standard output)")
        ->option_text("FILE")
        ->required();
    command->add_option("-r,--rate", o->rate, "samples per second, 1 to 5000 (default 100)")
        ->option_text("HZ")
        ->check(qelcli::number(1, 5000));
    command->add_option("-t,--time", o->seconds, "seconds to record (default 5)")
        ->option_text("S")
        ->check(qelcli::number(0.001, 7 * 24 * 3600.0));
    command->add_option("--force", o->force, "render this force, in newtons, while recording")
        ->option_text("FX,FY,FZ")
        ->delimiter(',')
        ->check(qelcli::number(-1e9, 1e9));
    command->add_flag("--gravity", o->gravity, "render gravity compensation while recording");
    command->add_flag("--progress", o->progress,
                      "show the progress bar even when standard error is no\nterminal");
    command->add_flag("-q,--quiet", o->quiet, "neither progress bar nor summary");
    addSelection(*command, o->selection);
    return {command, [o] { return record(*o); }};
}

} // namespace qeltool
