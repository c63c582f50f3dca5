// The refresh thread's exchange rate (m_ComFreq) against the emulated device, next to a bare
// request/reply ping-pong of the same 67-byte cyclic frame over the same kind of emulated port
// with the same emulator, measured in one run. The bare loop is what the line allows; the
// ratio is what the library's loop keeps of it.
//
// Runs under the umockdev preload, like the tests:
//   tests/run-under-umockdev build/bench/refresh_rate [seconds per measurement, default 3]
#include <fcntl.h>
#include <termios.h>
#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <thread>
#include <vector>

#include "QEL.h"
#include "emulator.h"

namespace {

using Clock = std::chrono::steady_clock;

double secondsSince(Clock::time_point start) {
    return std::chrono::duration<double>(Clock::now() - start).count();
}

// Request/reply pairs per second on the raw port, with plain blocking reads and writes.
double bareRate(const std::string& devnode, double seconds) {
    int fd = open(devnode.c_str(), O_RDWR | O_NOCTTY);
    if (fd < 0) return 0;
    termios t;
    tcgetattr(fd, &t);
    cfmakeraw(&t);
    tcsetattr(fd, TCSANOW, &t);
    tcflush(fd, TCIOFLUSH);

    uint8_t request[67] = {0xBE, 0xB0, 0x63};
    qelemu::appendCrc(request, 65);
    uint8_t reply[67];
    long exchanges = 0;
    auto start = Clock::now();
    while (secondsSince(start) < seconds) {
        if (write(fd, request, sizeof request) != static_cast<ssize_t>(sizeof request)) break;
        size_t got = 0;
        while (got < sizeof reply) {
            ssize_t n = read(fd, reply + got, sizeof reply - got);
            if (n <= 0) break;
            got += static_cast<size_t>(n);
        }
        if (got != sizeof reply) break;
        ++exchanges;
    }
    double rate = exchanges / secondsSince(start);
    close(fd);
    return rate;
}

// The mean of the values m_ComFreq publishes (once a second) over the measurement, after the
// first, which counts from the thread's start.
double refreshRate(double seconds) {
    QEL device;
    if (device.Open(1) != 1 || device.Initialize() != 1) return 0;
    std::vector<double> published;
    double last = 0;
    bool first = true;
    auto start = Clock::now();
    while (secondsSince(start) < seconds + 1.2) {
        std::this_thread::sleep_for(std::chrono::milliseconds(1));
        double now = device.m_ComFreq;
        if (now == last) continue;
        last = now;
        if (first)
            first = false;
        else
            published.push_back(now);
    }
    device.Close();
    if (published.empty()) return 0;
    double sum = 0;
    for (double v : published) sum += v;
    return sum / static_cast<double>(published.size());
}

} // namespace

int main(int argc, char** argv) {
    double seconds = argc > 1 ? std::atof(argv[1]) : 3.0;
    if (seconds < 1.0) seconds = 1.0;
    hal::UartDevices::settleMicroseconds = 0;
    qelemu::Emulator emulator;
    if (QEL::GetDeviceCount() != 1) {
        std::fprintf(stderr, "refresh_rate: no emulated port; run under umockdev-wrapper\n");
        return 1;
    }

    // Alternate the two so that a change in the machine's load touches both alike.
    double bare1 = bareRate(emulator.devnode(0), seconds);
    double refresh1 = refreshRate(seconds);
    double bare2 = bareRate(emulator.devnode(0), seconds);
    double refresh2 = refreshRate(seconds);
    double bare = (bare1 + bare2) / 2, refresh = (refresh1 + refresh2) / 2;
    if (bare <= 0 || refresh <= 0) {
        std::fprintf(stderr, "refresh_rate: a measurement failed\n");
        return 1;
    }
    std::printf("bare 67-byte ping-pong:  %9.0f exchanges/s  (%.0f, %.0f)\n", bare, bare1, bare2);
    std::printf("refresh loop m_ComFreq:  %9.0f passes/s     (%.0f, %.0f)\n", refresh, refresh1,
                refresh2);
    std::printf("ratio:                   %9.1f %%\n", 100.0 * refresh / bare);
    return 0;
}
