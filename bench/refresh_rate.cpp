// The refresh thread's exchange rate (m_ComFreq) against the emulated device, next to a bare
// request/reply ping-pong of the same 67-byte cyclic frame over the same kind of emulated port
// with the same emulator, measured in one run. The bare loop is what the line allows; the
// ratio is what the library's loop keeps of it.
//
// Runs under the umockdev preload, like the tests:
//   tests/run-under-umockdev build/bench/refresh_rate [rounds, default 5]
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

// The first full second that m_ComFreq publishes: its first value counts from the thread's
// start, the second one pass period of just over a second.
double refreshRate() {
    QEL device;
    if (device.Open(1) != 1 || device.Initialize() != 1) return 0;
    double rate = 0;
    int changes = 0;
    double last = 0;
    auto start = Clock::now();
    while (changes < 2 && secondsSince(start) < 5) {
        std::this_thread::sleep_for(std::chrono::milliseconds(1));
        double now = device.m_ComFreq;
        if (now == last) continue;
        last = now;
        rate = now;
        ++changes;
    }
    device.Close();
    return changes == 2 ? rate : 0;
}

double median(std::vector<double> values) {
    std::sort(values.begin(), values.end());
    return values[values.size() / 2];
}

} // namespace

int main(int argc, char** argv) {
    int rounds = argc > 1 ? std::atoi(argv[1]) : 5;
    if (rounds < 1) rounds = 1;
    hal::UartDevices::settleMicroseconds = 0;
    qelemu::Emulator emulator;
    if (QEL::GetDeviceCount() != 1) {
        std::fprintf(stderr, "refresh_rate: no emulated port; run under umockdev-wrapper\n");
        return 1;
    }

    // Short alternating rounds, so that a change in the machine's load touches both alike; the
    // medians and the median of the rounds' ratios are reported.
    std::vector<double> bare, refresh, ratio;
    for (int round = 0; round < rounds; ++round) {
        double b = bareRate(emulator.devnode(0), 1.0);
        double r = refreshRate();
        if (b <= 0 || r <= 0) {
            std::fprintf(stderr, "refresh_rate: a measurement failed\n");
            return 1;
        }
        bare.push_back(b);
        refresh.push_back(r);
        ratio.push_back(r / b);
        std::printf("round %d: bare %.0f/s, m_ComFreq %.0f/s, %.1f %%\n", round + 1, b, r,
                    100 * r / b);
    }
    std::printf("bare 67-byte ping-pong (median):  %9.0f exchanges/s\n", median(bare));
    std::printf("refresh loop m_ComFreq (median):  %9.0f passes/s\n", median(refresh));
    std::printf("ratio (median of rounds):         %9.1f %%\n", 100 * median(ratio));
    return 0;
}
