// SPDX-License-Identifier: MIT
// Soak: the refresh loop renders a changing force with gravity compensation on an emulated
// device in physics mode for a given time, while an application thread commands the force and
// reads the position at 1 kHz through the exported interface. Reports the exchanges done, the
// errors seen, the loop rate every ten seconds, the longest gap between two cyclic frames and
// the process's resident memory at the start, after the first minute and at the end.
//
// Runs under the umockdev preload, like the tests:
//   tests/run-under-umockdev build/bench/soak [seconds, default 600]
// Exits 0 when no error was seen and the resident memory did not grow after the first minute.
#include <atomic>
#include <chrono>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <fstream>
#include <string>
#include <thread>

#include "QEL.h"
#include "QEL_OPEN.h"
#include "emulator.h"
#include "wire.h"

namespace {

namespace cmd = qelemu::cmd;

using Clock = std::chrono::steady_clock;

double secondsSince(Clock::time_point start) {
    return std::chrono::duration<double>(Clock::now() - start).count();
}

// Resident memory of this process in kilobytes, from /proc.
long residentKb() {
    std::ifstream status("/proc/self/status");
    std::string line;
    while (std::getline(status, line))
        if (line.compare(0, 6, "VmRSS:") == 0) return std::atol(line.c_str() + 6);
    return -1;
}

struct AppStats {
    std::atomic<long> cycles{0};
    std::atomic<long> failedCalls{0};
    std::atomic<long> lateCycles{0}; // a 1 ms period overrun by more than 1 ms
    std::atomic<unsigned> lastError{0};
};

// The application: a 1 kHz loop that sets a slowly turning force of up to 1.5 N and reads the
// handle's position, as a haptic application's servo loop does.
void application(std::atomic<bool>& stop, AppStats& stats) {
    const auto period = std::chrono::microseconds(1000);
    auto next = Clock::now();
    long k = 0;
    while (!stop) {
        double t = k++ * 0.001;
        double fx = 1.5 * std::sin(2 * M_PI * 0.5 * t);
        double fy = 1.5 * std::cos(2 * M_PI * 0.3 * t);
        double fz = 0.5 * std::sin(2 * M_PI * 0.7 * t);
        double px, py, pz;
        bool ok = qelSetForce(fx, fy, fz, -1) == 1;
        ok = qelGetPosition(&px, &py, &pz, -1) == 1 && ok;
        ok = std::isfinite(px) && std::isfinite(py) && std::isfinite(pz) && ok;
        if (!ok) {
            unsigned code = 0, node = 0;
            qelErrorGetLast(&code, &node);
            stats.lastError = code;
            ++stats.failedCalls;
        }
        ++stats.cycles;
        next += period;
        auto now = Clock::now();
        if (now > next + period) {
            ++stats.lateCycles;
            next = now;
        }
        std::this_thread::sleep_until(next);
    }
}

bool check(int result, const char* what) {
    if (result == 1) return true;
    unsigned code = 0, node = 0;
    qelErrorGetLast(&code, &node);
    std::fprintf(stderr, "soak: %s failed: error %u (%s)\n", what, code,
                 qelErrorGetLastStr() ? qelErrorGetLastStr() : "");
    return false;
}

} // namespace

int main(int argc, char** argv) {
    const double seconds = argc > 1 ? std::atof(argv[1]) : 600.0;
    hal::UartDevices::settleMicroseconds = 0;

    // The hand follows a slow circle, so that the arm moves through its workspace all along.
    qelemu::DeviceOptions options;
    options.physics = true;
    options.hand.kind = qelemu::HandScript::FollowCircle;
    options.hand.point[0] = 0;
    options.hand.point[1] = 0;
    options.hand.point[2] = 200;
    options.hand.normal[0] = 0;
    options.hand.normal[1] = 0;
    options.hand.normal[2] = 1;
    options.hand.radius = 30;
    options.hand.periodSeconds = 4;
    qelemu::EmulatorOptions e;
    e.device = {options};
    qelemu::Emulator emulator(e);
    qelemu::Device& device = emulator.device(0);

    if (!check(qelOpen(), "qelOpen") || !check(qelInit(-1), "qelInit") ||
        !check(qelCalibrateDevice(-1), "qelCalibrateDevice") ||
        !check(qelSetGravityCompensation(1, -1), "qelSetGravityCompensation") ||
        !check(qelEnableForce(1, -1), "qelEnableForce") ||
        !check(qelEnableDevice(true, -1), "qelEnableDevice"))
        return 1;

    const long startKb = residentKb();
    long minuteKb = -1, peakAfterMinuteKb = 0;
    std::printf("soak: %.0f s; resident memory at start %ld kB\n", seconds, startKb);
    std::printf("%8s %12s %10s %10s %12s %10s\n", "time/s", "exchanges", "rate/s", "comfreq",
                "app cycles", "rss/kB");

    std::atomic<bool> stop{false};
    AppStats stats;
    device.resetCyclicGap();
    const uint64_t firstFrame = device.frames(cmd::Cyclic);
    const auto start = Clock::now();
    std::thread app(application, std::ref(stop), std::ref(stats));

    double minRate = 1e300, maxRate = 0;
    uint64_t lastFrames = firstFrame;
    for (int tick = 1; tick * 10.0 <= seconds + 1e-9; ++tick) {
        std::this_thread::sleep_until(start + std::chrono::seconds(10 * tick));
        uint64_t frames = device.frames(cmd::Cyclic);
        double rate = (frames - lastFrames) / 10.0;
        lastFrames = frames;
        minRate = std::min(minRate, rate);
        maxRate = std::max(maxRate, rate);
        long kb = residentKb();
        if (tick * 10 == 60) minuteKb = kb;
        if (tick * 10 > 60) peakAfterMinuteKb = std::max(peakAfterMinuteKb, kb);
        std::printf("%8d %12llu %10.0f %10.0f %12ld %10ld\n", tick * 10,
                    static_cast<unsigned long long>(frames - firstFrame), rate, qelGetComFreq(-1),
                    stats.cycles.load(), kb);
        std::fflush(stdout);
    }
    stop = true;
    app.join();
    const double elapsed = secondsSince(start);
    const uint64_t exchanges = device.frames(cmd::Cyclic) - firstFrame;
    const double longestGapMs = device.longestCyclicGapNs() / 1e6;
    const long endKb = residentKb();

    unsigned code = 0, node = 0;
    qelErrorGetLast(&code, &node);
    const bool drivesWereOn = device.drivesEnabled();
    const bool closed = qelClose(-1) == 1;
    const long lineErrors =
        static_cast<long>(device.badChecksums() + device.unknownCodes() + device.garbageBytes());

    std::printf("elapsed                     %.1f s\n", elapsed);
    std::printf("exchanges (cyclic frames)   %llu, %.0f/s on average, %.0f..%.0f/s per 10 s\n",
                static_cast<unsigned long long>(exchanges), exchanges / elapsed, minRate, maxRate);
    std::printf("longest gap between frames  %.3f ms\n", longestGapMs);
    std::printf("application cycles          %ld (%ld late by over 1 ms)\n", stats.cycles.load(),
                stats.lateCycles.load());
    std::printf("failed application calls    %ld (last error %u)\n", stats.failedCalls.load(),
                stats.lastError.load());
    std::printf("last error record           %u\n", code);
    std::printf("line errors at the device   %ld\n", lineErrors);
    std::printf("drives on until close       %s; off after close: %s\n",
                drivesWereOn ? "yes" : "no", device.drivesEnabled() ? "no" : "yes");
    std::printf("resident memory             start %ld kB, after 1 min %ld kB, peak after 1 min "
                "%ld kB, end %ld kB\n",
                startKb, minuteKb, peakAfterMinuteKb, endKb);

    bool clean = stats.failedCalls == 0 && code == 0 && lineErrors == 0 && closed && drivesWereOn &&
                 !device.drivesEnabled();
    bool steady = minuteKb < 0 || peakAfterMinuteKb <= minuteKb;
    std::printf("result                      %s\n",
                clean && steady ? "clean" : (clean ? "memory grew" : "errors"));
    return clean && steady ? 0 : 1;
}
