// SPDX-License-Identifier: MIT
#include "line_model.h"
#include "clock.h"

#include <cerrno>
#include <ctime>
#include <poll.h>
#include <sys/prctl.h>
#include <unistd.h>

namespace qelemu {

namespace {

// How long a blocked write waits before it looks at the stop flag again.
constexpr int kWritePollMs = 20;

int64_t framePeriodNs(Line line) {
    switch (line) {
    case Line::UsbFullSpeed:
        return 1000000;
    case Line::UsbHighSpeed:
        return 125000;
    case Line::Pty:
        break;
    }
    return 0;
}

} // namespace

const char* lineName(Line line) {
    switch (line) {
    case Line::UsbFullSpeed:
        return "usb-fs";
    case Line::UsbHighSpeed:
        return "usb-hs";
    case Line::Pty:
        break;
    }
    return "pty";
}

bool lineFromName(const std::string& name, Line& line) {
    for (Line candidate : {Line::Pty, Line::UsbFullSpeed, Line::UsbHighSpeed}) {
        if (name == lineName(candidate)) {
            line = candidate;
            return true;
        }
    }
    return false;
}

void writeAll(int fd, const uint8_t* data, size_t length, const std::atomic<bool>& stop) {
    while (length > 0 && !stop) {
        ssize_t n = write(fd, data, length);
        if (n < 0 && errno == EINTR) continue;
        if (n < 0 && errno == EAGAIN) {
            struct pollfd p = {fd, POLLOUT, 0};
            poll(&p, 1, kWritePollMs);
            continue;
        }
        if (n <= 0) return;
        data += n;
        length -= static_cast<size_t>(n);
    }
}

LineModel::LineModel(Line line) : line_(line), frameNs_(framePeriodNs(line)) {}

void LineModel::awaitNextBoundary() {
    // The thread's timer slack (50 us by default) would blur a 125 us micro-frame: ask for
    // wake-ups as exact as the system gives. It applies to the calling thread only, which is
    // the serving thread that owns this line.
    if (lastPacketNs_ == 0) prctl(PR_SET_TIMERSLACK, 1UL, 0, 0, 0);
    int64_t boundary = (monotonicNs() / frameNs_ + 1) * frameNs_;
    if (boundary <= lastPacketNs_) boundary = lastPacketNs_ + frameNs_;
    timespec at = {static_cast<time_t>(boundary / 1000000000),
                   static_cast<long>(boundary % 1000000000)};
    while (clock_nanosleep(CLOCK_MONOTONIC, TIMER_ABSTIME, &at, nullptr) == EINTR) {
    }
    lastPacketNs_ = boundary;
}

void LineModel::send(int fd, const uint8_t* data, size_t length, const std::atomic<bool>& stop) {
    if (frameNs_ == 0) {
        writeAll(fd, data, length, stop);
        return;
    }
    while (length > 0 && !stop) {
        size_t packet = length < kPacketBytes ? length : kPacketBytes;
        awaitNextBoundary();
        writeAll(fd, data, packet, stop);
        data += packet;
        length -= packet;
    }
}

} // namespace qelemu
