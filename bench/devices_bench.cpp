// SPDX-License-Identifier: MIT
// Many devices at once: N emulated devices, each refreshed by its own thread, against N bare
// 67-byte ping-pong threads on the same ports, for N = 1, 2, 4, 8 and 10. The two alternate in
// short rounds, so that the machine's drifts fall on both sides of every ratio; the figures are
// medians over the rounds.
//
// Runs under the umockdev preload, like the tests:
//   tests/run-under-umockdev build/bench/devices_bench [rounds per N, default 8]
#include <algorithm>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <thread>
#include <vector>

#include "QEL.h"
#include "QEL_OPEN.h"
#include "emulator.h"
#include "ping_pong.h"

namespace {

const double kWindowSeconds = 0.25;

double median(std::vector<double> v) {
    if (v.empty()) return 0;
    std::sort(v.begin(), v.end());
    size_t half = v.size() / 2;
    return v.size() % 2 ? v[half] : (v[half - 1] + v[half]) / 2;
}

// The total of N ping-pong threads, one per device port.
double bareTotal(qelemu::Emulator& emulator, int n) {
    std::vector<double> rates(static_cast<size_t>(n));
    std::vector<std::thread> threads;
    for (int i = 0; i < n; ++i)
        threads.emplace_back([&, i] {
            rates[static_cast<size_t>(i)] =
                qelbench::pingPongRate(emulator.devnode(i), kWindowSeconds);
        });
    for (std::thread& t : threads) t.join();
    double total = 0;
    for (double r : rates) {
        if (r <= 0) return 0;
        total += r;
    }
    return total;
}

uint64_t cyclicFrames(qelemu::Emulator& emulator, int n) {
    uint64_t frames = 0;
    for (int i = 0; i < n; ++i) frames += emulator.device(i).frames(qelemu::cmd::Cyclic);
    return frames;
}

// The total of N refresh loops, as the devices count their cyclic frames.
double loopTotal(qelemu::Emulator& emulator, int n) {
    bool up = true;
    for (char id = 1; id <= n; ++id) up = up && qelOpenID(id) == id && qelInit(id) == 1;
    double total = 0;
    if (!up) {
        const char* text = qelErrorGetLastStr();
        std::fprintf(stderr, "devices_bench: bringing %d devices up failed: %s\n", n,
                     text ? text : "?");
    }
    if (up) {
        std::this_thread::sleep_for(std::chrono::milliseconds(50));
        uint64_t before = cyclicFrames(emulator, n);
        auto start = std::chrono::steady_clock::now();
        std::this_thread::sleep_for(std::chrono::duration<double>(kWindowSeconds));
        std::chrono::duration<double> elapsed = std::chrono::steady_clock::now() - start;
        total = static_cast<double>(cyclicFrames(emulator, n) - before) / elapsed.count();
    }
    for (char id = 1; id <= n; ++id) qelClose(id);
    return total;
}

} // namespace

int main(int argc, char** argv) {
    int rounds = argc > 1 ? std::atoi(argv[1]) : 8;
    if (rounds < 1) rounds = 1;
    hal::UartDevices::settleMicroseconds = 0;
    qelemu::EmulatorOptions options;
    options.devices = 10;
    qelemu::Emulator emulator(options);
    if (qelGetDeviceCount() != options.devices) {
        std::fprintf(stderr, "devices_bench: no emulated ports; run under umockdev-wrapper\n");
        return 1;
    }
    std::printf("devices at once (median of %d rounds of %.2f s, %u processors online)\n", rounds,
                kWindowSeconds, std::thread::hardware_concurrency());
    std::printf("  N   loops total /s  per device   bare total /s  per device   of bare\n");
    for (int n : {1, 2, 4, 8, 10}) {
        std::vector<double> loops, bare, ratios;
        for (int round = 0; round < rounds; ++round) {
            // Which goes first alternates too, so that neither always follows the other.
            double b = 0, l = 0;
            if (round % 2) l = loopTotal(emulator, n);
            b = bareTotal(emulator, n);
            if (round % 2 == 0) l = loopTotal(emulator, n);
            if (b <= 0 || l <= 0) {
                std::fprintf(stderr, "devices_bench: at N = %d the %s measurement failed\n", n,
                             b <= 0 ? "ping-pong" : "loop");
                return 1;
            }
            bare.push_back(b);
            loops.push_back(l);
            ratios.push_back(l / b);
        }
        std::printf("  %-3d %13.0f %11.0f %15.0f %11.0f %8.1f %%\n", n, median(loops),
                    median(loops) / n, median(bare), median(bare) / n, 100 * median(ratios));
        std::fflush(stdout);
    }
    return 0;
}
