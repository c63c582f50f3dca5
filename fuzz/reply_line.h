// SPDX-License-Identifier: MIT
// The harness the fuzz targets share: a device object whose port is one end of a socket pair.
// The fuzzer's bytes stand in for the device's replies: they are written to the other end
// before an operation runs, and every exchange goes through the library's own send, receive,
// checksum and header checks. Device objects are brought up against the emulated device's
// register bank over the same kind of line.
#ifndef QELFUZZ_REPLY_LINE_H
#define QELFUZZ_REPLY_LINE_H

#include <cstddef>
#include <cstdint>

#include "QEL.h"

namespace qelfuzz {

// The fuzzer's input, taken from the front.
class Input {
public:
    Input(const uint8_t* data, size_t size) : data_(data), size_(size) {}
    bool empty() const { return size_ == 0; }
    uint8_t byte() { return size_ ? (--size_, *data_++) : 0; }
    uint16_t u16() { return static_cast<uint16_t>(byte() << 8 | byte()); }
    uint32_t u32() { return static_cast<uint32_t>(u16()) << 16 | u16(); }
    // Up to `length` bytes into `out`, zeros after the input runs out.
    void take(uint8_t* out, size_t length);

private:
    const uint8_t* data_;
    size_t size_;
};

class ReplyLine {
public:
    ReplyLine();
    ~ReplyLine();
    ReplyLine(const ReplyLine&) = delete;
    ReplyLine& operator=(const ReplyLine&) = delete;

    // Puts the device object on this line as an open port; no refresh thread will run on it.
    void attach(QEL& device);
    // Takes the port away again before the object is destroyed (the line owns it).
    void detach(QEL& device);

    // Queues one reply of `length` bytes from the input. With a valid checksum its last two
    // bytes are replaced by the checksum of the others, so that the parsing behind the check
    // is reached.
    void queueReply(Input& input, size_t length, bool validChecksum);
    // Discards what the device object sent and any queued reply bytes it did not read.
    void drain();

    // Opens and initialises the device object against the emulated device of `type`, and
    // loads its calibration, answering from the emulated device's register bank.
    bool bringUp(QEL& device, int type);

private:
    int host_ = -1;   // the device object's end
    int device_ = -1; // the end the replies are written to
};

} // namespace qelfuzz

#endif
