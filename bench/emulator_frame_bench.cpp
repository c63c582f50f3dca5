// SPDX-License-Identifier: MIT
// How long the emulated device takes to answer one full cyclic frame (0xB0), from request
// bytes to reply bytes, as a plain call: no port, no serving thread. Reported per frame as
// the median and the 99th percentile in microseconds (counters median_us and p99_us), next to
// the benchmark's own mean.
//
//   build-emu/bench/emulator_frame_bench
#include <benchmark/benchmark.h>

#include <algorithm>
#include <chrono>
#include <vector>

#include "device.h"

namespace {

// A cyclic request as the host's refresh thread sends it: three motors, six channels.
std::vector<uint8_t> cyclicRequest() {
    std::vector<uint8_t> request(67, 0);
    request[0] = qelemu::kHeader;
    request[1] = qelemu::cmd::Cyclic;
    request[2] = 0x63;
    for (int i = 0; i < 6; ++i) {
        uint8_t* b = &request[3 + 10 * i];
        b[0] = 1;
        b[8] = 0x03; // motor command 0x03E8 = 1000
        b[9] = 0xE8;
    }
    qelemu::appendCrc(request.data(), 65);
    return request;
}

void percentiles(benchmark::State& state, std::vector<double>& ns) {
    if (ns.empty()) return;
    std::sort(ns.begin(), ns.end());
    state.counters["median_us"] = ns[ns.size() / 2] / 1000.0;
    state.counters["p99_us"] = ns[std::min(ns.size() - 1, ns.size() * 99 / 100)] / 1000.0;
}

void run(benchmark::State& state, bool physics) {
    qelemu::DeviceOptions options;
    options.physics = physics;
    qelemu::Device device(0, options);
    device.setSerialNumber(10001);
    std::vector<uint8_t> request = cyclicRequest();
    uint8_t reply[qelemu::kMaxFrame];
    std::vector<double> ns;
    ns.reserve(1 << 20);
    for (auto _ : state) {
        auto start = std::chrono::steady_clock::now();
        size_t length = device.handle(request.data(), request.size(), reply);
        auto end = std::chrono::steady_clock::now();
        benchmark::DoNotOptimize(length);
        benchmark::DoNotOptimize(reply[4]);
        if (ns.size() < ns.capacity())
            ns.push_back(std::chrono::duration<double, std::nano>(end - start).count());
    }
    percentiles(state, ns);
}

void CyclicFramePose(benchmark::State& state) { run(state, false); }
void CyclicFramePhysics(benchmark::State& state) { run(state, true); }

} // namespace

BENCHMARK(CyclicFramePose);
BENCHMARK(CyclicFramePhysics);
BENCHMARK_MAIN();
