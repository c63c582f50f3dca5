// SPDX-License-Identifier: MIT
#include "emulator.h"
#include "clock.h"

#include <cstring>
#include <ctime>
#include <poll.h>
#include <stdexcept>
#include <termios.h>
#include <unistd.h>

namespace qelemu {

namespace {

// Bytes of an unfinished request are dropped after this much silence, so that a truncated
// request does not swallow the start of the next one.
constexpr int64_t kStaleInputNs = 100 * 1000000LL;
// How often a serving thread looks at its stop flag while the line is idle.
constexpr int kPollMs = 20;

void sleepMs(int ms) {
    if (ms > 0) usleep(static_cast<useconds_t>(ms) * 1000);
}

// Raw bytes both ways: no echo of the replies back into the device's input, no newline or
// carriage-return translation. The host sets its own line settings again when it opens.
void makeRaw(int fd) {
    termios t;
    if (tcgetattr(fd, &t) != 0) return;
    cfmakeraw(&t);
    tcsetattr(fd, TCSANOW, &t);
}

} // namespace

Emulator::Emulator(const EmulatorOptions& options)
    : testbed_(options.warnIfNotPreloaded), line_(options.line) {
    if (options.devices < 0 || options.devices > 10)
        throw std::invalid_argument("qelemu: between 0 and 10 devices");
    auto addDecoys = [&] {
        for (const PortIdentity& decoy : options.decoys) testbed_.addPort(decoy);
    };
    if (options.decoysFirst) addDecoys();
    for (int i = 0; i < options.devices; ++i) {
        auto slot = std::make_unique<Slot>();
        DeviceOptions deviceOptions = static_cast<size_t>(i) < options.device.size()
                                          ? options.device[static_cast<size_t>(i)]
                                          : DeviceOptions();
        slot->device = std::make_unique<Device>(i, deviceOptions);
        slot->port = testbed_.addPort();
        devices_.push_back(std::move(slot));
    }
    if (!options.decoysFirst) addDecoys();
    if (options.autoStart) start();
}

Emulator::~Emulator() { stop(); }

void Emulator::start() {
    if (running_) return;
    running_ = true;
    for (auto& slot : devices_) {
        if (slot->unplugged) continue;
        slot->stop = false;
        Slot* s = slot.get();
        slot->thread = std::thread([this, s] { serve(*s); });
    }
}

void Emulator::stop() {
    for (auto& slot : devices_) slot->stop = true;
    for (auto& slot : devices_)
        if (slot->thread.joinable()) slot->thread.join();
    running_ = false;
}

Device& Emulator::device(int index) { return *devices_.at(static_cast<size_t>(index))->device; }

std::string Emulator::devnode(int index) const {
    return testbed_.devnode(devices_.at(static_cast<size_t>(index))->port);
}

int Emulator::portIndex(int index) const { return devices_.at(static_cast<size_t>(index))->port; }

void Emulator::unplug(int index) {
    Slot& slot = *devices_.at(static_cast<size_t>(index));
    slot.stop = true;
    if (slot.thread.joinable()) slot.thread.join();
    removePort(slot);
}

void Emulator::replug(int index) {
    Slot& slot = *devices_.at(static_cast<size_t>(index));
    if (!slot.unplugged) return;
    // The serving thread ended when the port went away (by unplug(), or by itself on an
    // Unplug fault); join it before the port comes back.
    slot.stop = true;
    if (slot.thread.joinable()) slot.thread.join();
    {
        // The testbed keeps a removed node's name taken, so the device comes back on a port
        // of its own, enumerated after the others, as a device plugged in again may.
        std::lock_guard<std::mutex> lock(testbedMutex_);
        slot.port = testbed_.addPort();
        slot.unplugged = false;
    }
    slot.device->restart();
    if (!running_) return;
    slot.stop = false;
    Slot* s = &slot;
    slot.thread = std::thread([this, s] { serve(*s); });
}

bool Emulator::unplugged(int index) const {
    return devices_.at(static_cast<size_t>(index))->unplugged;
}

void Emulator::removePort(Slot& slot) {
    std::lock_guard<std::mutex> lock(testbedMutex_);
    if (slot.unplugged) return;
    testbed_.removePort(slot.port);
    slot.unplugged = true;
}

void Emulator::serve(Slot& slot) {
    Device& device = *slot.device;
    int fd;
    {
        std::lock_guard<std::mutex> lock(testbedMutex_);
        fd = testbed_.masterFd(slot.port);
    }
    if (fd < 0) return;
    makeRaw(fd);
    LineModel line(line_);

    uint8_t input[512];
    uint8_t reply[kMaxFrame];
    size_t have = 0;
    int64_t lastInputNs = 0;
    while (!slot.stop) {
        struct pollfd p = {fd, POLLIN, 0};
        int ready = poll(&p, 1, kPollMs);
        if (ready <= 0) {
            if (have > 0 && monotonicNs() - lastInputNs > kStaleInputNs) {
                device.countGarbage(have);
                have = 0;
            }
            continue;
        }
        if (!(p.revents & POLLIN)) {
            // No program holds the port open: the master end reports a hang-up until one
            // does. Back off instead of spinning on it.
            sleepMs(2);
            continue;
        }
        ssize_t n = read(fd, input + have, sizeof input - have);
        if (n <= 0) {
            sleepMs(2);
            continue;
        }
        have += static_cast<size_t>(n);
        lastInputNs = monotonicNs();

        // Split the input into requests: each starts with the header byte and has the fixed
        // length of its code. Anything before a header is skipped; a header followed by a code
        // the device does not know is skipped by one byte so that a real header right after
        // it is still found.
        size_t pos = 0;
        while (pos < have && !slot.stop) {
            if (input[pos] != kHeader) {
                size_t start = pos;
                while (pos < have && input[pos] != kHeader) ++pos;
                device.countGarbage(pos - start);
                continue;
            }
            if (have - pos < 2) break;
            size_t length = requestLength(input[pos + 1]);
            if (length == 0) {
                device.countUnknownCode();
                ++pos;
                continue;
            }
            if (have - pos < length) break;
            size_t replyLength = device.handle(input + pos, length, reply);
            pos += length;
            if (replyLength == 0) continue;
            Device::ReplyPlan plan = device.applyFaults(reply, replyLength);
            if (plan.unplug) {
                removePort(slot);
                return;
            }
            sleepMs(plan.delayMs);
            if (plan.splitAt > 0) {
                line.send(fd, reply, plan.splitAt, slot.stop);
                sleepMs(plan.pauseMs);
                line.send(fd, reply + plan.splitAt, plan.length - plan.splitAt, slot.stop);
            } else if (plan.length > 0) {
                line.send(fd, reply, plan.length, slot.stop);
            }
        }
        if (pos > 0) {
            std::memmove(input, input + pos, have - pos);
            have -= pos;
        }
    }
}

} // namespace qelemu
