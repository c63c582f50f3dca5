// SPDX-License-Identifier: MIT
// The refresh thread: the loop that carries commands to the device and measurements back on
// every pass, and the bookkeeping that keeps a device object alive until its threads are gone.
#include "QEL.h"

#include <time.h>

namespace {

// The thread's flags are plain members that API threads write; read them afresh on every pass.
inline bool readFlag(const bool& flag) { return *static_cast<const volatile bool*>(&flag); }

// Below this encoder velocity (in either direction) the motor command goes out unchanged.
const int kDampingDeadBand = 15;
// The damping gain: 65336 in 16-bit arithmetic is -200 motor units per velocity unit.
const int64_t kDampingFactor = 65336;

// A pass ends within one exchange, whose send gives up after ten 2 ms retries and whose
// receive after the first-byte and inter-byte time-outs. Teardown waits for two of them.
const int64_t kExchangeBoundNs = (static_cast<int64_t>(hal::UartDevices::kFirstByteTimeoutMs) +
                                  hal::UartDevices::kInterByteTimeoutMs + 10 * 2 + 50) *
                                 1000000;
const int64_t kRefreshThreadsExitNs = 2 * kExchangeBoundNs;

} // namespace

void QEL::RefreshPass(RefreshWork& work) {
    for (int i = 0; i < 3; ++i) {
        work.velocityTarget[i] = m_MotVelTarget[i];
        int velocity = m_EncoderVel[i];
        int64_t command = m_MotorDACValue[i];
        // Velocity damping outside the dead band, wrapped to 16 bits without saturation.
        if (velocity < -kDampingDeadBand || velocity > kDampingDeadBand)
            command += velocity * kDampingFactor;
        work.motorCommand[i] = static_cast<short>(static_cast<uint16_t>(command & 0xFFFF));
    }
    // A failed exchange leaves the previous measurements in place; the rest of the pass runs
    // on them.
    MultiaxialControl(m_NumofMotor, m_InputDOF, m_CtrlWord, m_EncoderTarget, work.velocityTarget,
                      work.motorCommand, &m_SetCommd, &work.replyMotorCount,
                      &work.replyChannelCount, m_StatWord, m_EncoderValue, m_EncoderVel,
                      work.motorCurrent, &m_DeviceState);
    const int64_t replyNs = GetNanoSeconds();
    ++work.passes;
    for (int i = 0; i < m_OutputDOF && i < 3; ++i) m_MotorCurrent[i] = work.motorCurrent[i];
    for (int i = 0; i < 6; ++i) work.encoders[i] = m_EncoderValue[i];
    if (readFlag(m_fCalibrate)) {
        if (EncToOpPos(work.encoders, m_Position, m_Orientation))
            m_CalibratedPasses.fetch_add(1, std::memory_order_release);
        RunServoCallback(work.passes, replyNs);
        if (readFlag(m_fForceEnable) && readFlag(m_fDeviceEnable))
            OpFrcToMot(m_Force, work.encoders, m_MotorDACValue);
    }
}

void* QEL::RefreshFrame(void* deviceObject) {
    QEL* d = static_cast<QEL*>(deviceObject);
    RefreshWork work;
    int passes = 0;
    int64_t start = GetNanoSeconds();

    while (!readFlag(d->fThreadFinish)) {
        int64_t now = GetNanoSeconds();
        if (static_cast<double>(now - start) / 1e9 > 1.0) {
            d->m_ComFreq = passes;
            passes = 1;
            start = now;
        } else {
            ++passes;
        }
        d->fThreadRunning = true;
        if (readFlag(d->m_fOpen) && readFlag(d->m_fInit)) d->RefreshPass(work);
    }
    d->fThreadRunning = false;
    return nullptr;
}

void* QEL::RunRefreshThread(void* deviceObject) {
    QEL* d = static_cast<QEL*>(deviceObject);
    // Named, so that a debugger, top or a test can tell the device's heartbeat apart.
    pthread_setname_np(pthread_self(), "qel-refresh");
    {
        hal::UartDevices::RefreshThreadCount counted;
        RefreshFrame(d);
    }
    // The last touch of the object: after this the owner may release it.
    d->m_LiveRefreshThreads.fetch_sub(1, std::memory_order_release);
    return nullptr;
}

bool QEL::StartRefreshThread() {
    std::lock_guard<std::mutex> lock(m_RefreshThreadsLock);
    // Reserve first, so that recording the handle cannot fail once the thread runs.
    m_RefreshThreads.reserve(m_RefreshThreads.size() + 1);
    m_LiveRefreshThreads.fetch_add(1, std::memory_order_relaxed);
    if (pthread_create(&m_pFrameThread, nullptr, RunRefreshThread, this) != 0) {
        m_LiveRefreshThreads.fetch_sub(1, std::memory_order_relaxed);
        m_pFrameThread = 0;
        return false;
    }
    m_RefreshThreads.push_back(m_pFrameThread);
    return true;
}

// Once the threads have been asked to stop, waits for them to leave their loops, bounded so
// that a device that stopped answering cannot hang the caller, and joins them so that no
// thread's resources outlive it.
void QEL::ReapRefreshThreads() {
    std::lock_guard<std::mutex> lock(m_RefreshThreadsLock);
    if (m_RefreshThreads.empty() || !readFlag(fThreadFinish)) return;
    if (!AwaitRefreshThreadsLeft(kRefreshThreadsExitNs)) return;
    for (pthread_t thread : m_RefreshThreads) pthread_join(thread, nullptr);
    m_RefreshThreads.clear();
}

bool QEL::AwaitRefreshThreadsLeft(int64_t timeoutNs) {
    int64_t deadline = GetNanoSeconds() + timeoutNs;
    while (m_LiveRefreshThreads.load(std::memory_order_acquire) > 0) {
        if (GetNanoSeconds() > deadline) return false;
        struct timespec pause = {0, 200000};
        nanosleep(&pause, nullptr);
    }
    return true;
}

bool QEL::AwaitRefreshThreadsLeft() { return AwaitRefreshThreadsLeft(kExchangeBoundNs); }

// The first pass to count after the call has solved a position from calibrated counts: on a
// first calibration it read the flag the call set, and the limits set before it; later ones
// find a solved position already. Without a running refresh thread there is nothing to wait
// for.
void QEL::AwaitCalibratedPass() {
    if (m_LiveRefreshThreads.load(std::memory_order_acquire) == 0 || readFlag(fThreadFinish))
        return;
    const unsigned start = m_CalibratedPasses.load(std::memory_order_acquire);
    const int64_t deadline = GetNanoSeconds() + kExchangeBoundNs;
    // A pending error stops the passes: there is nothing to wait for then either.
    while (m_CalibratedPasses.load(std::memory_order_acquire) == start && m_ErrCode == 0 &&
           GetNanoSeconds() < deadline) {
        struct timespec pause = {0, 200000};
        nanosleep(&pause, nullptr);
    }
}
