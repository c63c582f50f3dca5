// SPDX-License-Identifier: MIT
// The serial line to the device: a USB virtual serial port driven through termios.
#ifndef QEL_UARTCONNECTOR_H
#define QEL_UARTCONNECTOR_H

#include <stdint.h>

#include <atomic>

#include "qelDefines.h"

namespace hal {

// Writes the whole buffer, retrying up to ten times 2 ms apart with the output queue flushed
// before each retry; returns the count of the last attempt. On the device's port, which is
// non-blocking, a device that stopped reading thus fails the write instead of blocking it.
int writeWithRetries(int fd, unsigned char* buf, int len);

class QEL_API UartDevices {
public:
    // How long a read waits for the first byte of a reply before giving up with a short
    // count. A device that has died must not hang the caller; a live one answers within
    // a few hundred microseconds, a busy USB bus within a few milliseconds.
    static const int kFirstByteTimeoutMs = 500;
    // How long the line may stay quiet after a byte before a reply counts as complete: the
    // 0.1 s inter-byte time of the line settings. A whole reply, however it trickles in, is
    // given up after the two together, so that one exchange has a hard bound.
    static const int kInterByteTimeoutMs = 100;

    // How long a read keeps looking for a reply without going to sleep, as long as the reply
    // before it arrived within this time. A device that answers in tens of microseconds is
    // thus read without the cost of a wake-up; one that takes longer is waited for asleep.
    static const int64_t kSpinBudgetNs = 100000;

    // Counts the thread that holds one as a refresh thread of the process while it lives. A
    // reply fast enough to spin for is produced on this machine, by a thread that needs a
    // processor of its own while the reader spins; so the reads spin only while the refresh
    // threads number at most half the processors online (or there is only one), and otherwise
    // wait asleep, leaving the processors to the threads that produce and consume the replies.
    class RefreshThreadCount {
    public:
        RefreshThreadCount() { s_RefreshThreads.fetch_add(1, std::memory_order_relaxed); }
        ~RefreshThreadCount() { s_RefreshThreads.fetch_sub(1, std::memory_order_relaxed); }
        RefreshThreadCount(const RefreshThreadCount&) = delete;
        RefreshThreadCount& operator=(const RefreshThreadCount&) = delete;
    };

    // The device needs this long after its port is opened before it answers reliably.
    // Test programs that talk to an emulated device may set it to 0.
    static unsigned int settleMicroseconds;

    int m_iHandle = -1;

    UartDevices() = default;
    UartDevices(const UartDevices&) = delete;
    UartDevices& operator=(const UartDevices&) = delete;
    virtual ~UartDevices();

    int UART_Open(const char* path);
    void UART_Close();
    int UART_Init(int speed, int flowCtrl, int dataBits, int stopBits, char parity);
    int UART_Set(int speed, int flowCtrl, int dataBits, int stopBits, int parity);
    int UART_Send(unsigned char* buf, int len);
    int UART_Recv(unsigned char* buf, int len);
    void ResetCache();
    int GetUartHandle();

private:
    int ReadSpinning(unsigned char* buf, int len, int64_t untilNs);
    static bool SpinningPays();

    static std::atomic<int> s_RefreshThreads;

    // Whether the last reply came within the spin budget, and the next read should spin.
    bool m_SpinForReply = true;
};

} // namespace hal

#endif
