// SPDX-License-Identifier: MIT
// How the emulated device's replies travel to the host. On the pseudo-terminal a reply is
// written at once and the host can read it some tens of microseconds later; a real device is
// reached over USB, where the device's bytes travel in packets of at most 64 bytes that the
// host collects at the bus's (micro)frame boundaries. The USB-like lines reproduce that timing
// on the pseudo-terminal, so that the library's loop can be measured as hardware would run it:
//
// - Line::Pty: each reply is written whole as soon as it is ready.
// - Line::UsbFullSpeed: the reply is cut into 64-byte packets; each packet is written at a
//   1 ms frame boundary of CLOCK_MONOTONIC, the first at the next boundary after the reply is
//   ready and each further one at the boundary after that (one packet per frame). A 67-byte
//   cyclic reply thus arrives as 64 bytes, then 3 bytes 1 ms later.
// - Line::UsbHighSpeed: the same with 125 us micro-frames.
//
// Only the device-to-host direction is delayed: requests reach the device as the host writes
// them. A real host also schedules its own packets on the bus, so real exchanges take at
// least as long as on the model.
#ifndef QELEMU_LINE_MODEL_H
#define QELEMU_LINE_MODEL_H

#include <atomic>
#include <cstddef>
#include <cstdint>
#include <string>

namespace qelemu {

enum class Line { Pty, UsbFullSpeed, UsbHighSpeed };

// The names the launcher's --line option takes: "pty", "usb-fs", "usb-hs".
const char* lineName(Line line);
// False, leaving `line` alone, for a name that is none of them.
bool lineFromName(const std::string& name, Line& line);

// The reply path of one serving thread.
class LineModel {
public:
    static constexpr size_t kPacketBytes = 64;

    explicit LineModel(Line line = Line::Pty);

    // Delivers `length` bytes to the host end of `fd` as the line would, sleeping until each
    // packet's boundary on the USB-like lines. Gives up when `stop` is raised while the host
    // does not read.
    void send(int fd, const uint8_t* data, size_t length, const std::atomic<bool>& stop);

    Line line() const { return line_; }
    // The (micro)frame period, 0 on the pseudo-terminal.
    int64_t frameNs() const { return frameNs_; }

private:
    // Sleeps until the first frame boundary that is after both now and the last packet's.
    void awaitNextBoundary();

    Line line_;
    int64_t frameNs_;
    int64_t lastPacketNs_ = 0;
};

// Writes all bytes unless the stop flag is raised while the host is not reading.
void writeAll(int fd, const uint8_t* data, size_t length, const std::atomic<bool>& stop);

} // namespace qelemu

#endif
