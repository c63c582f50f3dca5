// SPDX-License-Identifier: MIT
// The servo callback's slot in a device object: the application sets it, the refresh thread
// calls it once a pass. Internal to the library.
#ifndef QEL_SERVO_H
#define QEL_SERVO_H

#include <pthread.h>

#include <atomic>
#include <cstdint>

#include "QEL_OPEN.h"

namespace qelservo {

// Two entries, of which `active_` names the current one: a setter writes the idle entry and
// then switches, so the refresh thread never reads an entry being written, and a function is
// never paired with another's user pointer. The thread marks each call in `calls_` (odd while
// inside); a setter that switched waits until no call that may have read the old entry is
// still running. Neither side locks or allocates. Setters are the application's one thread.
class Hook {
public:
    // Application side: publishes the new callback (null removes it), then waits for a call of
    // the old one to return, unless called from inside a callback, whose own call cannot end
    // first.
    void set(qelServoCallback callback, void* user);

    // Refresh thread: calls the current callback, if any, with the state `fill` writes and a
    // copy of the commanded force, which takes the callback's force afterwards in one go. With
    // no callback nothing is filled, and the commanded force is left to the application.
    template <typename Fill>
    void run(Fill fill, double commanded[3]) {
        calls_.fetch_add(1, std::memory_order_seq_cst);
        const Entry& entry = entries_[active_.load(std::memory_order_seq_cst)];
        if (entry.callback) {
            qelServoState state;
            fill(state);
            double force[3] = {commanded[0], commanded[1], commanded[2]};
            callOut(entry, state, force);
            for (int i = 0; i < 3; ++i) commanded[i] = force[i];
        }
        calls_.fetch_add(1, std::memory_order_release);
    }

private:
    struct Entry {
        qelServoCallback callback = nullptr;
        void* user = nullptr;
    };
    void callOut(const Entry& entry, const qelServoState& state, double force[3]);

    Entry entries_[2];
    std::atomic<unsigned> active_{0};
    std::atomic<uint64_t> calls_{0};
    std::atomic<pthread_t> caller_{};
};

} // namespace qelservo

#endif
