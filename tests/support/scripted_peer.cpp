// SPDX-License-Identifier: MIT
#include "scripted_peer.h"

#include <cerrno>
#include <chrono>
#include <poll.h>
#include <unistd.h>

namespace qeltest {

ScriptedPeer::ScriptedPeer(int masterFd) : fd_(masterFd), thread_([this] { serve(); }) {}

ScriptedPeer::~ScriptedPeer() {
    stop_ = true;
    thread_.join();
}

void ScriptedPeer::reply(const Bytes& bytes, size_t splitAt, int pauseMs) {
    std::lock_guard<std::mutex> lock(mutex_);
    actions_.push_back({bytes, splitAt, pauseMs});
}

void ScriptedPeer::silence() { reply(Bytes()); }

std::vector<Bytes> ScriptedPeer::requests() {
    std::lock_guard<std::mutex> lock(mutex_);
    return requests_;
}

bool ScriptedPeer::waitForRequests(size_t count, int timeoutMs) {
    std::unique_lock<std::mutex> lock(mutex_);
    return changed_.wait_for(lock, std::chrono::milliseconds(timeoutMs),
                             [&] { return requests_.size() >= count; });
}

void ScriptedPeer::writeAll(const uint8_t* data, size_t length) {
    while (length > 0) {
        ssize_t n = write(fd_, data, length);
        if (n < 0 && errno == EINTR) continue;
        if (n <= 0) return;
        data += n;
        length -= static_cast<size_t>(n);
    }
}

void ScriptedPeer::serve() {
    uint8_t buffer[512];
    while (!stop_) {
        struct pollfd p = {fd_, POLLIN, 0};
        if (poll(&p, 1, 10) <= 0) continue;
        if (!(p.revents & POLLIN)) {
            // No program holds the port open: the master end reports a hang-up until one does.
            usleep(2000);
            continue;
        }
        ssize_t n = read(fd_, buffer, sizeof buffer);
        if (n <= 0) {
            usleep(2000);
            continue;
        }
        Action action{{}, 0, 0};
        {
            std::lock_guard<std::mutex> lock(mutex_);
            requests_.emplace_back(buffer, buffer + n);
            if (!actions_.empty()) {
                action = actions_.front();
                actions_.pop_front();
            }
        }
        changed_.notify_all();
        if (action.splitAt > 0 && action.splitAt < action.bytes.size()) {
            writeAll(action.bytes.data(), action.splitAt);
            usleep(static_cast<useconds_t>(action.pauseMs) * 1000);
            writeAll(action.bytes.data() + action.splitAt, action.bytes.size() - action.splitAt);
        } else if (!action.bytes.empty()) {
            writeAll(action.bytes.data(), action.bytes.size());
        }
    }
}

} // namespace qeltest
