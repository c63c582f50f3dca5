// SPDX-License-Identifier: MIT
// The refresh loop against the emulated device, measured in one run:
// - its rate, bare (not calibrated) and with the whole pass (calibrated, force output and drives
//   on, gravity compensation), next to a bare 67-byte request/reply ping-pong over the same
//   kind of emulated port with the same emulator;
// - the force latency, from qelSetForce returning to the device receiving the new motor
//   commands, in passes and microseconds;
// - the heap allocations made by any thread but the application's after the loop's first
//   second (this program interposes the allocator);
// - the time between passes as the device sees them, with a second process loading the other
//   core;
// - the whole pass's rate and the force latency on the emulator's USB-like lines.
//
// Runs under the umockdev preload, like the tests:
//   tests/run-under-umockdev build/bench/loop_bench [jitter seconds, default 60]
#include <pthread.h>
#include <signal.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <thread>
#include <vector>

#include "QEL.h"
#include "QEL_OPEN.h"
#include "emulator.h"
#include "ping_pong.h"
#include "wire.h"

// ---- Counting allocator ----

extern "C" {
void* __libc_malloc(size_t);
void* __libc_calloc(size_t, size_t);
void* __libc_realloc(void*, size_t);
void* __libc_memalign(size_t, size_t);
}

namespace {

namespace cmd = qelemu::cmd;

std::atomic<bool> countingAllocations{false};
std::atomic<long> foreignAllocations{0};
pthread_t applicationThread;

inline void noteAllocation() {
    if (countingAllocations.load(std::memory_order_relaxed) &&
        !pthread_equal(pthread_self(), applicationThread))
        foreignAllocations.fetch_add(1, std::memory_order_relaxed);
}

} // namespace

extern "C" void* malloc(size_t n) {
    noteAllocation();
    return __libc_malloc(n);
}
extern "C" void* calloc(size_t n, size_t size) {
    noteAllocation();
    return __libc_calloc(n, size);
}
extern "C" void* realloc(void* p, size_t n) {
    noteAllocation();
    return __libc_realloc(p, n);
}
extern "C" void* memalign(size_t alignment, size_t n) {
    noteAllocation();
    return __libc_memalign(alignment, n);
}
extern "C" int posix_memalign(void** p, size_t alignment, size_t n) {
    noteAllocation();
    *p = __libc_memalign(alignment, n);
    return *p ? 0 : 12;
}
extern "C" void* aligned_alloc(size_t alignment, size_t n) {
    noteAllocation();
    return __libc_memalign(alignment, n);
}

namespace {

using Clock = std::chrono::steady_clock;

double secondsSince(Clock::time_point start) {
    return std::chrono::duration<double>(Clock::now() - start).count();
}

double percentile(std::vector<double> v, double p) {
    if (v.empty()) return 0;
    std::sort(v.begin(), v.end());
    size_t i = static_cast<size_t>(p / 100.0 * static_cast<double>(v.size() - 1) + 0.5);
    return v[std::min(i, v.size() - 1)];
}

// Opens and initialises device 1; `full` also loads the calibration and switches on force
// output, the drives and gravity compensation, so that every pass does all its work.
bool bringUp(bool full) {
    if (qelOpen() != 1 || qelInit(1) != 1) return false;
    if (!full) return true;
    return qelCalibrateDevice(1) == 1 && qelEnableForce(1, 1) == 1 && qelEnableDevice(true, 1) &&
           qelSetGravityCompensation(1, 1) == 1 && qelSetForce(0.2, -0.3, 0.5, 1) == 1;
}

// The same ping-pong on a thread of its own, as the refresh loop runs. Where the scheduler
// puts a new thread relative to the emulator's decides much of a pty round trip's cost, so
// this is the like-for-like reference; the main thread's figure is shown beside it.
double bareRateOnOwnThread(const std::string& devnode, double seconds) {
    double rate = 0;
    std::thread([&] { rate = qelbench::pingPongRate(devnode, seconds); }).join();
    return rate;
}

// The loop's rate as the device counts its cyclic frames over a window, after a short
// settling time.
double loopRate(qelemu::Device& device, bool full, double seconds) {
    if (!bringUp(full)) return 0;
    std::this_thread::sleep_for(std::chrono::milliseconds(50));
    uint64_t before = device.frames(cmd::Cyclic);
    auto start = Clock::now();
    std::this_thread::sleep_for(std::chrono::duration<double>(seconds));
    double rate = static_cast<double>(device.frames(cmd::Cyclic) - before) / secondsSince(start);
    qelClose(1);
    return rate;
}

double median(std::vector<double> v) { return percentile(std::move(v), 50); }

struct Latency {
    std::vector<double> passes, micros;
};

// Alternates between two forces that give different motor commands at the still arm; for each
// change, finds in the device's log the first frame carrying the new commands.
Latency forceLatency(qelemu::Device& device, int changes, int spacingMs) {
    Latency result;
    if (!bringUp(true)) return result;
    const double forces[2][3] = {{0.5, 0.5, 1.0}, {-0.5, 0.2, -1.0}};
    // Learn each force's commands once the loop has settled on it.
    int16_t commands[2][3];
    for (int k = 0; k < 2; ++k) {
        qelSetForce(forces[k][0], forces[k][1], forces[k][2], 1);
        std::this_thread::sleep_for(std::chrono::milliseconds(50));
        qelemu::CyclicRequest c = device.lastCyclic();
        for (int i = 0; i < 3; ++i) commands[k][i] = c.motor[i];
    }
    device.startCyclicLog(static_cast<size_t>(changes) * 2000);
    std::vector<int64_t> setAt;
    for (int n = 0; n < changes; ++n) {
        int k = n % 2;
        qelSetForce(forces[k][0], forces[k][1], forces[k][2], 1);
        setAt.push_back(GetNanoSeconds());
        std::this_thread::sleep_for(std::chrono::milliseconds(spacingMs));
    }
    std::this_thread::sleep_for(std::chrono::milliseconds(5));
    std::vector<qelemu::Device::CyclicLogEntry> log = device.stopCyclicLog();
    qelClose(1);
    size_t from = 0;
    for (int n = 0; n < changes; ++n) {
        int k = n % 2;
        while (from < log.size() && log[from].ns <= setAt[static_cast<size_t>(n)]) ++from;
        size_t first = from;
        for (size_t j = from; j < log.size(); ++j) {
            const auto& e = log[j];
            if (e.motor[0] == commands[k][0] && e.motor[1] == commands[k][1] &&
                e.motor[2] == commands[k][2]) {
                result.passes.push_back(static_cast<double>(j - first + 1));
                result.micros.push_back((e.ns - setAt[static_cast<size_t>(n)]) / 1000.0);
                from = j;
                break;
            }
        }
    }
    return result;
}

// The time between passes as the device sees the frames arrive.
std::vector<double> passGaps(qelemu::Device& device, double seconds) {
    std::vector<double> gaps;
    if (!bringUp(true)) return gaps;
    std::this_thread::sleep_for(std::chrono::milliseconds(200));
    device.startCyclicLog(static_cast<size_t>(seconds * 60000));
    std::this_thread::sleep_for(std::chrono::duration<double>(seconds));
    std::vector<qelemu::Device::CyclicLogEntry> log = device.stopCyclicLog();
    qelClose(1);
    for (size_t i = 1; i < log.size(); ++i) gaps.push_back((log[i].ns - log[i - 1].ns) / 1000.0);
    return gaps;
}

// The whole pass's rate and the force latency on the USB-like lines, each served by an
// emulator of its own, with the force changed ten passes apart.
bool measureUsbLines() {
    std::printf("on the USB-like lines (rate over 2 s, force latency over 1 s of changes)\n");
    for (qelemu::Line line : {qelemu::Line::UsbHighSpeed, qelemu::Line::UsbFullSpeed}) {
        qelemu::EmulatorOptions options;
        options.line = line;
        qelemu::Emulator emulator(options);
        qelemu::Device& device = emulator.device(0);
        double rate = loopRate(device, true, 2.0);
        if (rate <= 0) return false;
        int spacingMs = std::max(3, static_cast<int>(10 * 1000 / rate));
        Latency latency = forceLatency(device, 1000 / spacingMs, spacingMs);
        if (latency.passes.empty()) return false;
        std::printf("  %-7s whole pass %6.0f /s; force latency passes median %.0f, 99th %.0f; "
                    "us median %.0f, 99th %.0f\n",
                    qelemu::lineName(line), rate, percentile(latency.passes, 50),
                    percentile(latency.passes, 99), percentile(latency.micros, 50),
                    percentile(latency.micros, 99));
    }
    return true;
}

// A second process that keeps one core busy until it is killed.
pid_t loadOneCore() {
    pid_t child = fork();
    if (child == 0) {
        volatile unsigned long spin = 0;
        for (;;) ++spin;
    }
    return child;
}

} // namespace

// Everything on the pseudo-terminal, the emulator's fastest line.
static bool measurePty(double jitterSeconds) {
    qelemu::Emulator emulator;
    qelemu::Device& device = emulator.device(0);
    if (qelGetDeviceCount() != 1) {
        std::fprintf(stderr, "loop_bench: no emulated port; run under umockdev-wrapper\n");
        return false;
    }
    qelEnableExpertMode();

    // Loop rate: many short alternating rounds, so that the machine's slow drifts fall on
    // both sides of every ratio; medians of the rounds' ratios.
    const int rounds = 20;
    const double window = 0.25;
    std::vector<double> bare, bareMain, plain, full, mainRatio, plainRatio, fullRatio;
    for (int round = 0; round < rounds; ++round) {
        double b = bareRateOnOwnThread(emulator.devnode(0), window);
        double m = qelbench::pingPongRate(emulator.devnode(0), window);
        double p = loopRate(device, false, window);
        double f = loopRate(device, true, window);
        if (b <= 0 || m <= 0 || p <= 0 || f <= 0) {
            std::fprintf(stderr, "loop_bench: a rate measurement failed\n");
            return false;
        }
        bare.push_back(b);
        bareMain.push_back(m);
        plain.push_back(p);
        full.push_back(f);
        mainRatio.push_back(m / b);
        plainRatio.push_back(p / b);
        fullRatio.push_back(f / b);
    }
    std::printf("loop rate (median of %d rounds of %.2f s)\n", rounds, window);
    std::printf("  bare 67-byte ping-pong         %8.0f /s\n", median(bare));
    std::printf("  same on the main thread        %8.0f /s  %5.1f %% of bare\n", median(bareMain),
                100 * median(mainRatio));
    std::printf("  refresh loop, bare pass        %8.0f /s  %5.1f %% of bare\n", median(plain),
                100 * median(plainRatio));
    std::printf("  refresh loop, whole pass       %8.0f /s  %5.1f %% of bare\n", median(full),
                100 * median(fullRatio));

    Latency latency = forceLatency(device, 400, 3);
    if (latency.passes.empty()) {
        std::fprintf(stderr, "loop_bench: the latency measurement failed\n");
        return false;
    }
    std::printf("force latency over %zu changes\n", latency.passes.size());
    std::printf("  passes   median %.0f, 99th percentile %.0f, largest %.0f\n",
                percentile(latency.passes, 50), percentile(latency.passes, 99),
                percentile(latency.passes, 100));
    std::printf("  us       median %.1f, 99th percentile %.1f, largest %.1f\n",
                percentile(latency.micros, 50), percentile(latency.micros, 99),
                percentile(latency.micros, 100));

    // Allocations: every thread but this one, from the loop's second second on.
    // The library's own figure over the same time, against the frames the device counted.
    if (!bringUp(true)) return false;
    std::this_thread::sleep_for(std::chrono::seconds(1));
    countingAllocations = true;
    uint64_t framesBefore = device.frames(cmd::Cyclic);
    auto countStart = Clock::now();
    std::this_thread::sleep_for(std::chrono::seconds(2));
    double deviceRate =
        static_cast<double>(device.frames(cmd::Cyclic) - framesBefore) / secondsSince(countStart);
    countingAllocations = false;
    double published = qelGetComFreq(1);
    qelClose(1);
    std::printf("qelGetComFreq %.0f /s, frames the device counted over the same 2 s %.0f /s\n",
                published, deviceRate);
    std::printf("heap allocations by the refresh and device threads over 2 s after the first: "
                "%ld\n",
                foreignAllocations.load());

    pid_t load = loadOneCore();
    std::vector<double> gaps = passGaps(device, jitterSeconds);
    kill(load, SIGKILL);
    waitpid(load, nullptr, 0);
    std::printf("time between passes over %.0f s, other core loaded (%zu passes)\n", jitterSeconds,
                gaps.size());
    std::printf("  us       median %.1f, 99th %.1f, 99.9th %.1f, largest %.1f\n",
                percentile(gaps, 50), percentile(gaps, 99), percentile(gaps, 99.9),
                percentile(gaps, 100));
    return true;
}

int main(int argc, char** argv) {
    double jitterSeconds = argc > 1 ? std::atof(argv[1]) : 60.0;
    if (jitterSeconds < 1) jitterSeconds = 1;
    applicationThread = pthread_self();
    hal::UartDevices::settleMicroseconds = 0;
    if (!measurePty(jitterSeconds)) return 1;
    if (!measureUsbLines()) {
        std::fprintf(stderr, "loop_bench: a measurement on a USB-like line failed\n");
        return 1;
    }
    return 0;
}
