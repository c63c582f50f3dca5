// SPDX-License-Identifier: MIT
// The reference the refresh loop is measured against: a plain blocking write/read ping-pong of
// the 67-byte cyclic frame on an emulated device's port, with nothing computed between
// exchanges.
#ifndef QEL_BENCH_PING_PONG_H
#define QEL_BENCH_PING_PONG_H

#include <fcntl.h>
#include <termios.h>
#include <unistd.h>

#include <chrono>
#include <string>

#include "emulator.h"

namespace qelbench {

// Exchanges per second over `seconds`, or 0 if the port cannot be opened or stops answering.
inline double pingPongRate(const std::string& devnode, double seconds) {
    using Clock = std::chrono::steady_clock;
    int fd = open(devnode.c_str(), O_RDWR | O_NOCTTY);
    if (fd < 0) return 0;
    termios t;
    tcgetattr(fd, &t);
    cfmakeraw(&t);
    tcsetattr(fd, TCSANOW, &t);
    tcflush(fd, TCIOFLUSH);
    uint8_t request[67] = {0xBE, qelemu::cmd::Cyclic, 0x63};
    qelemu::appendCrc(request, 65);
    uint8_t reply[67];
    long exchanges = 0;
    auto start = Clock::now();
    auto elapsed = [&] { return std::chrono::duration<double>(Clock::now() - start).count(); };
    while (elapsed() < seconds) {
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
    double rate = static_cast<double>(exchanges) / elapsed();
    close(fd);
    return rate;
}

} // namespace qelbench

#endif
