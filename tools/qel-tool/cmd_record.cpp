// qel-tool record: a trace of the handle at a fixed rate for a fixed time, to CSV.
#include <cerrno>
#include <cmath>
#include <cstdio>
#include <cstring>
#include <string>

#include "clock.h"
#include "commands.h"
#include "device.h"
#include "failure.h"
#include "terminal.h"
#include "trace.h"

namespace qeltool {

const char kRecordHelp[] =
    "usage: qel-tool record -o FILE [--rate HZ] [--time S] [--force FX,FY,FZ] [--gravity]\n"
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
    "\n"
    "options:\n"
    "  -o, --output FILE    the CSV file to write ('-' for standard output)\n"
    "  -r, --rate HZ        samples per second, 1 to 5000 (default 100)\n"
    "  -t, --time S         seconds to record (default 5)\n"
    "      --force FX,FY,FZ render this force, in newtons, while recording\n"
    "      --gravity        render gravity compensation while recording\n"
    "      --progress       show the progress bar even when standard error is no terminal\n"
    "  -q, --quiet          neither progress bar nor summary\n" QELTOOL_SELECTION_HELP "\n"
    "Ctrl-C ends the recording early; the samples taken so far stay in the file.\n";

namespace {

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

} // namespace

int runRecord(Args& args) {
    std::optional<std::string> path = args.value({"-o", "--output"});
    double rate = 100, seconds = 5;
    if (std::optional<std::string> v = args.value({"-r", "--rate"}))
        rate = parseNumber(*v, "the rate", 1, 5000);
    if (std::optional<std::string> v = args.value({"-t", "--time"}))
        seconds = parseNumber(*v, "the time", 0.001, 7 * 24 * 3600.0);
    std::optional<std::array<double, 3>> force;
    if (std::optional<std::string> v = args.value({"--force"}))
        force = parseTriple(*v, "the force");
    bool gravity = args.flag({"--gravity"});
    bool forceProgress = args.flag({"--progress"});
    bool quiet = args.flag({"-q", "--quiet"});
    Selection selection = takeSelection(args);
    args.finish();
    if (!path) throw UsageError("record needs an output file: -o FILE");
    bool progress = !quiet && (forceProgress || isTerminal(2));

    Output out;
    if (*path == "-") {
        out.file = stdout;
    } else {
        out.file = std::fopen(path->c_str(), "w");
        if (!out.file)
            throw Failure(kFailed, "cannot write " + *path + ": " + std::strerror(errno));
        out.owned = true;
    }
    std::string name = *path == "-" ? std::string("standard output") : *path;

    long total = std::max(1L, std::lround(rate * seconds));
    long taken = 0, late = 0;
    bool interrupted = false;
    {
        Device device(selection);
        device.init();
        device.loadCalibration();
        device.awaitPosition();
        if (force || gravity) device.render(force.value_or(std::array<double, 3>{}), gravity);

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
    if (!quiet) {
        std::fprintf(stderr, "recorded %ld samples at %g Hz to %s", taken, rate, name.c_str());
        if (late) std::fprintf(stderr, " (%ld late)", late);
        std::fputc('\n', stderr);
    }
    return kOk;
}

} // namespace qeltool
