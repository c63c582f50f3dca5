// SPDX-License-Identifier: MIT
#include "reply_line.h"

#include <fcntl.h>
#include <poll.h>
#include <sys/socket.h>
#include <unistd.h>

#include <atomic>
#include <cstdlib>
#include <cstring>
#include <thread>

#include "CRC.h"
#include "device.h"
#include "wire.h"

namespace qelfuzz {

void Input::take(uint8_t* out, size_t length) {
    for (size_t i = 0; i < length; ++i) out[i] = byte();
}

ReplyLine::ReplyLine() {
    int fds[2];
    if (socketpair(AF_UNIX, SOCK_STREAM, 0, fds) != 0) std::abort();
    host_ = fds[0];
    device_ = fds[1];
    // Like the device's port: a write must not block, and reads wait in poll.
    fcntl(host_, F_SETFL, fcntl(host_, F_GETFL) | O_NONBLOCK);
    fcntl(device_, F_SETFL, fcntl(device_, F_GETFL) | O_NONBLOCK);
    crcInit();
}

ReplyLine::~ReplyLine() {
    close(host_);
    close(device_);
}

void ReplyLine::attach(QEL& device) {
    device.myDevice.m_iHandle = host_;
    device.m_hDevice = 1;
    device.m_DeviceID = 1;
    device.m_fOpen = true;
    // The refresh loop is left out: it would take the queued replies. A thread started by
    // Initialize sees the stop request and leaves at once.
    device.fThreadFinish = true;
}

void ReplyLine::detach(QEL& device) {
    device.myDevice.m_iHandle = -1;
    device.m_fOpen = false;
}

void ReplyLine::queueReply(Input& input, size_t length, bool validChecksum) {
    uint8_t reply[qelemu::kMaxFrame];
    if (length > sizeof reply || length < 2) std::abort();
    input.take(reply, length);
    if (validChecksum) {
        uint16_t crc = crcCompute(reply, static_cast<unsigned int>(length - 2));
        reply[length - 2] = static_cast<uint8_t>(crc >> 8);
        reply[length - 1] = static_cast<uint8_t>(crc);
    }
    if (write(device_, reply, length) != static_cast<ssize_t>(length)) std::abort();
}

void ReplyLine::drain() {
    uint8_t sink[512];
    for (int fd : {host_, device_})
        while (read(fd, sink, sizeof sink) > 0) {
        }
}

bool ReplyLine::bringUp(QEL& device, int type) {
    attach(device);
    qelemu::DeviceOptions options;
    options.type = type < 1 || type > 2 ? 1 : type;
    qelemu::Device emulated(0, options);
    emulated.setType(type);

    // The emulated device answers from its own thread while the object initialises.
    std::atomic<bool> stop{false};
    std::thread server([&] {
        uint8_t request[qelemu::kMaxFrame], reply[qelemu::kMaxFrame];
        size_t have = 0;
        while (!stop) {
            struct pollfd p = {device_, POLLIN, 0};
            if (poll(&p, 1, 5) <= 0) continue;
            ssize_t n = read(device_, request + have, sizeof request - have);
            if (n <= 0) continue;
            have += static_cast<size_t>(n);
            size_t length = have >= 2 ? qelemu::requestLength(request[1]) : 0;
            if (length == 0 || have < length) continue;
            size_t replyLength = emulated.handle(request, length, reply);
            have = 0;
            if (replyLength && write(device_, reply, replyLength) < 0) std::abort();
        }
    });
    bool ready = device.Initialize() == 1 && device.GetCalibration() == 1;
    stop = true;
    server.join();
    drain();
    return ready;
}

} // namespace qelfuzz
