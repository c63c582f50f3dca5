// SPDX-License-Identifier: MIT
// The far end of an emulated port for tests that script the device's replies byte by byte.
// Each request (one burst of bytes) is recorded and answered with the next scripted action;
// a request with no action left gets no reply.
#ifndef QELTEST_SCRIPTED_PEER_H
#define QELTEST_SCRIPTED_PEER_H

#include <atomic>
#include <condition_variable>
#include <deque>
#include <mutex>
#include <thread>

#include "frames.h"

namespace qeltest {

class ScriptedPeer {
public:
    explicit ScriptedPeer(int masterFd);
    ~ScriptedPeer();
    ScriptedPeer(const ScriptedPeer&) = delete;
    ScriptedPeer& operator=(const ScriptedPeer&) = delete;

    // Answers the next request with `bytes`; with splitAt > 0 the reply goes out as two writes,
    // the second `pauseMs` milliseconds after the first.
    void reply(const Bytes& bytes, size_t splitAt = 0, int pauseMs = 0);
    // Leaves the next request unanswered.
    void silence();
    // Requests received so far, oldest first.
    std::vector<Bytes> requests();
    // Waits until `count` requests have arrived or `timeoutMs` has passed.
    bool waitForRequests(size_t count, int timeoutMs);

private:
    struct Action {
        Bytes bytes;
        size_t splitAt;
        int pauseMs;
    };
    void serve();
    void writeAll(const uint8_t* data, size_t length);

    int fd_;
    std::atomic<bool> stop_{false};
    std::mutex mutex_;
    std::condition_variable changed_;
    std::deque<Action> actions_;
    std::vector<Bytes> requests_;
    std::thread thread_;
};

} // namespace qeltest

#endif
