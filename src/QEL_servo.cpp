// SPDX-License-Identifier: MIT
// The servo callback: an application's force law run by the refresh thread on every pass.
// An extension of the exported interface.
#include "QEL_servo.h"

#include <time.h>

#include "QEL.h"
#include "QEL_OPEN_prologue.h"

namespace qelservo {

void Hook::callOut(const Entry& entry, const qelServoState& state, double force[3]) {
    // Noted so that a setter called from inside the callback does not wait for the call it is
    // part of. A thread-local flag would do, but may be allocated on the thread's first use.
    caller_.store(pthread_self(), std::memory_order_relaxed);
    entry.callback(&state, force, entry.user);
}

void Hook::set(qelServoCallback callback, void* user) {
    const unsigned next = active_.load(std::memory_order_relaxed) ^ 1u;
    // Every call that could read this entry has returned: the previous set waited for them.
    entries_[next].callback = callback;
    entries_[next].user = user;
    active_.store(next, std::memory_order_seq_cst);
    // A call that began before the switch may still hold the old entry; it is marked odd. One
    // that begins after it reads the new one.
    const uint64_t seen = calls_.load(std::memory_order_seq_cst);
    if ((seen & 1u) == 0 || pthread_equal(caller_.load(std::memory_order_relaxed), pthread_self()))
        return;
    while (calls_.load(std::memory_order_acquire) == seen) {
        struct timespec pause = {0, 20000};
        nanosleep(&pause, nullptr);
    }
}

} // namespace qelservo

int qelSetServoCallback(qelServoCallback callback, void* user, char ID) {
    Target target = prologue(ID);
    if (!target) return 0;
    target.device->m_Servo.set(callback, user);
    return 1;
}

void QEL::RunServoCallback(unsigned long long pass, int64_t replyNs) {
    // The library's velocity is in millimetres per velocity period; the device counts its
    // velocity in 1/128 joint turn per second, with the sign opposite to the library's.
    const double toPerSecond = -static_cast<double>(m_EncoderResolution) / 128.0;
    m_Servo.run(
        [&](qelServoState& state) {
            for (int i = 0; i < 3; ++i) {
                state.position[i] = m_Position[i];
                state.velocity[i] = m_Velocity[i] * toPerSecond;
                for (int j = 0; j < 3; ++j)
                    state.orientation[i][j] = m_fWrist ? m_Orientation[i][j] : 0.0;
            }
            state.buttons = m_DeviceState & 0xFFu;
            state.pass = pass;
            state.timeNs = replyNs;
        },
        m_Force);
}
