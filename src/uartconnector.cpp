// SPDX-License-Identifier: MIT
#include "uartconnector.h"

#include <cerrno>
#include <fcntl.h>
#include <poll.h>
#include <sched.h>
#include <stdint.h>
#include <sys/file.h>
#include <sys/ioctl.h>
#include <termios.h>
#include <time.h>
#include <unistd.h>

namespace hal {

unsigned int UartDevices::settleMicroseconds = 400000;

std::atomic<int> UartDevices::s_RefreshThreads{0};

namespace {

// Read once at load: the reads consult it on every exchange.
const long kOnlineProcessors = sysconf(_SC_NPROCESSORS_ONLN);

} // namespace

bool UartDevices::SpinningPays() {
    // A single refresh thread spins as it always has: even on one processor its yields hand
    // the processor straight to the thread that answers.
    long threads = s_RefreshThreads.load(std::memory_order_relaxed);
    return threads <= 1 || 2 * threads <= kOnlineProcessors;
}

UartDevices::~UartDevices() { UART_Close(); }

int UartDevices::UART_Open(const char* path) {
    // Reopening without a close must not leak the descriptor held so far.
    UART_Close();
    // Non-blocking: reads wait in poll with a time-out, and a write to a device that stopped
    // reading must fail rather than block the caller (and the exchange lock) for ever.
    m_iHandle = open(path, O_RDWR | O_NOCTTY | O_CLOEXEC | O_NONBLOCK);
    if (m_iHandle == -1) return 0;
    // One owner per port: two programs on one line read each other's replies. The lock is taken
    // before anything touches the line, so that a port someone else holds fails the open at
    // once and its owner loses nothing. flock binds root as well; TIOCEXCL in addition turns
    // away other programs' opens (root's excepted) before they can flush or set the line.
    if (flock(m_iHandle, LOCK_EX | LOCK_NB) != 0) {
        close(m_iHandle);
        m_iHandle = -1;
        return 0;
    }
    ioctl(m_iHandle, TIOCEXCL);
    if (settleMicroseconds) usleep(settleMicroseconds);
    ResetCache();
    m_SpinForReply = true;
    return 1;
}

void UartDevices::UART_Close() {
    if (m_iHandle < 0) return;
    // A pseudo-terminal keeps its exclusive mode past this close while its other end stays
    // open: hand the port back as it was found. The lock goes with the descriptor.
    ioctl(m_iHandle, TIOCNXCL);
    close(m_iHandle);
    m_iHandle = -1;
}

int UartDevices::UART_Init(int speed, int flowCtrl, int dataBits, int stopBits, char parity) {
    // A line setting the port refuses does not fail the open: on a USB virtual port the
    // settings hardly matter, and UART_Set reports 0 rather than -1 for a refusal.
    return UART_Set(speed, flowCtrl, dataBits, stopBits, parity) == -1 ? 0 : 1;
}

int UartDevices::UART_Set(int speed, int flowCtrl, int dataBits, int stopBits, int parity) {
    int result = 1;
    struct termios options;
    if (tcgetattr(m_iHandle, &options) != 0) result = 0;

    // The speed goes to termios as a plain number; a virtual port ignores it anyway.
    cfsetispeed(&options, static_cast<speed_t>(speed));
    cfsetospeed(&options, static_cast<speed_t>(speed));

    options.c_cflag |= CLOCAL | CREAD;

    switch (flowCtrl) {
    case 0:
        options.c_cflag &= ~CRTSCTS;
        break;
    case 1:
        options.c_cflag |= CRTSCTS;
        break;
    case 2:
        options.c_cflag |= 0x1C00;
        break;
    default:
        break;
    }

    options.c_cflag &= ~CSIZE;
    switch (dataBits) {
    case 5:
        options.c_cflag |= CS5;
        break;
    case 6:
        options.c_cflag |= CS6;
        break;
    case 7:
        options.c_cflag |= CS7;
        break;
    case 8:
        options.c_cflag |= CS8;
        break;
    default:
        result = 0;
        break;
    }

    switch (parity) {
    case 'E':
    case 'e':
        options.c_cflag |= PARENB;
        options.c_cflag &= ~PARODD;
        options.c_iflag |= INPCK;
        break;
    case 'N':
    case 'n':
        options.c_cflag &= ~PARENB;
        options.c_iflag &= ~INPCK;
        options.c_iflag &= ~(ICRNL | IXON);
        break;
    case 'O':
    case 'o':
        options.c_cflag |= PARENB | PARODD;
        options.c_iflag |= INPCK;
        break;
    case 'S':
    case 's':
        options.c_cflag &= ~PARENB;
        options.c_cflag &= ~CSTOPB;
        break;
    default:
        result = 0;
        break;
    }

    switch (stopBits) {
    case 1:
        options.c_cflag &= ~CSTOPB;
        break;
    case 2:
        options.c_cflag |= CSTOPB;
        break;
    default:
        result = 0;
        break;
    }

    options.c_oflag &= ~OPOST;
    options.c_lflag &= ~(ICANON | ECHO | ECHOE | ISIG);
    options.c_cc[VTIME] = 1;
    options.c_cc[VMIN] = 1;

    tcflush(m_iHandle, TCIOFLUSH);
    if (tcsetattr(m_iHandle, TCSANOW, &options) != 0) result = 0;
    return result;
}

int writeWithRetries(int fd, unsigned char* buf, int len) {
    int written = 0;
    for (int attempt = 0; attempt < 10; ++attempt) {
        written = static_cast<int>(write(fd, buf, static_cast<size_t>(len)));
        if (written == len) return written;
        tcflush(fd, TCOFLUSH);
        usleep(2000);
    }
    return written;
}

int UartDevices::UART_Send(unsigned char* buf, int len) {
    if (m_iHandle < 1) return 0;
    return writeWithRetries(m_iHandle, buf, len);
}

static int64_t nowNs() {
    struct timespec ts;
    clock_gettime(CLOCK_MONOTONIC, &ts);
    return static_cast<int64_t>(ts.tv_sec) * 1000000000 + ts.tv_nsec;
}

// Waits until the descriptor has bytes to read. Returns false on a time-out, and true on an
// error or hang-up as well, so that the read that follows reports it.
static bool waitReadable(int fd, int timeoutMs) {
    struct pollfd p = {fd, POLLIN, 0};
    for (;;) {
        int n = poll(&p, 1, timeoutMs);
        if (n > 0) return true;
        if (n == 0) return false;
        if (errno != EINTR) return true;
    }
}

// Reads what has arrived, without waiting, until `len` bytes are in or `untilNs` has passed.
// Stops early on an error or end of file and leaves them for the waiting read to report.
// Between attempts it yields the processor, so that a thread that shares it (the one that
// produces the reply, perhaps) runs at once rather than at the end of this one's time slice.
int UartDevices::ReadSpinning(unsigned char* buf, int len, int64_t untilNs) {
    int got = 0;
    while (got < len) {
        ssize_t n = read(m_iHandle, buf + got, static_cast<size_t>(len - got));
        if (n > 0) {
            got += static_cast<int>(n);
            continue;
        }
        if (n == 0 || (errno != EAGAIN && errno != EINTR)) break;
        if (nowNs() >= untilNs) break;
        sched_yield();
    }
    return got;
}

int UartDevices::UART_Recv(unsigned char* buf, int len) {
    if (m_iHandle < 1) return 0;
    const int64_t start = nowNs();
    const int64_t deadline =
        start + static_cast<int64_t>(kFirstByteTimeoutMs + kInterByteTimeoutMs) * 1000000;
    // A device that answers within the spin budget is read without going to sleep: being put
    // to sleep in poll() and woken again costs more than such a reply takes to arrive. The
    // budget is spent only while the replies keep coming that fast, so a slower line never
    // costs a spinning processor, and only while few enough refresh threads compete for the
    // processors (see RefreshThreadCount).
    int got = m_SpinForReply && SpinningPays() ? ReadSpinning(buf, len, start + kSpinBudgetNs) : 0;

    // A full-speed USB device delivers a reply longer than 64 bytes as two packets, so a
    // single read may return part of it: gather until the whole reply is in or the line has
    // been quiet for the inter-byte time. Never wait for ever for the first byte.
    int timeoutMs = got > 0 ? kInterByteTimeoutMs : kFirstByteTimeoutMs;
    while (got < len) {
        int64_t leftMs = (deadline - nowNs() + 999999) / 1000000;
        if (leftMs <= 0) break;
        if (!waitReadable(m_iHandle, leftMs < timeoutMs ? static_cast<int>(leftMs) : timeoutMs))
            break;
        ssize_t n = read(m_iHandle, buf + got, static_cast<size_t>(len - got));
        if (n < 0 && (errno == EINTR || errno == EAGAIN)) continue;
        if (n <= 0) {
            if (got > 0) break;
            m_SpinForReply = false;
            return static_cast<int>(n);
        }
        got += static_cast<int>(n);
        timeoutMs = kInterByteTimeoutMs;
    }
    // Spin for the next reply only if this one came whole within the budget: a reply that
    // arrives in USB packets, one per (micro)frame, never does, even when its first packet
    // happens to come early.
    m_SpinForReply = got == len && nowNs() - start <= kSpinBudgetNs;
    return got;
}

void UartDevices::ResetCache() { tcflush(m_iHandle, TCIOFLUSH); }

int UartDevices::GetUartHandle() { return m_iHandle; }

} // namespace hal
