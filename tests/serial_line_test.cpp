// SPDX-License-Identifier: MIT
// The serial line as the device object leaves it, read back from the emulated port.
#include <gtest/gtest.h>

#include <fcntl.h>
#include <termios.h>
#include <unistd.h>

#include "QEL.h"
#include "testbed.h"

namespace {

// Puts the port's line into the cooked state a fresh tty starts in, so that every raw-mode
// setting seen afterwards was made by the library.
void makeCooked(const std::string& devnode) {
    int fd = open(devnode.c_str(), O_RDWR | O_NOCTTY);
    ASSERT_GE(fd, 0);
    struct termios t;
    ASSERT_EQ(tcgetattr(fd, &t), 0);
    t.c_iflag |= ICRNL | IXON | INPCK;
    t.c_oflag |= OPOST;
    t.c_lflag |= ICANON | ECHO | ECHOE | ISIG;
    t.c_cflag |= PARENB | CSTOPB;
    t.c_cflag = (t.c_cflag & ~CSIZE) | CS7;
    t.c_cc[VTIME] = 0;
    t.c_cc[VMIN] = 4;
    ASSERT_EQ(tcsetattr(fd, TCSANOW, &t), 0);
    close(fd);
}

TEST(SerialLine, OpenLeavesTheLineRawEightNoneOneWithTenthSecondReadsAndRefusesClosedPorts) {
    hal::UartDevices::settleMicroseconds = 0;
    qelemu::Testbed bed;
    bed.addPort();
    makeCooked(bed.devnode(0));
    ASSERT_EQ(QEL::GetDeviceCount(), 1);

    QEL device;
    ASSERT_EQ(device.Open(), 1);
    struct termios t;
    ASSERT_EQ(tcgetattr(device.myDevice.GetUartHandle(), &t), 0);
    EXPECT_EQ(t.c_cflag & CSIZE, static_cast<tcflag_t>(CS8));
    EXPECT_EQ(t.c_cflag & (PARENB | CSTOPB | CRTSCTS), 0u);
    EXPECT_EQ(t.c_cflag & (CLOCAL | CREAD), static_cast<tcflag_t>(CLOCAL | CREAD));
    EXPECT_EQ(t.c_iflag & (ICRNL | IXON | INPCK), 0u);
    EXPECT_EQ(t.c_oflag & OPOST, 0u);
    EXPECT_EQ(t.c_lflag & (ICANON | ECHO | ECHOE | ISIG), 0u);
    EXPECT_EQ(t.c_cc[VTIME], 1);
    EXPECT_EQ(t.c_cc[VMIN], 1);
    device.Close();

    // Settings the line refuses do not fail the initialisation; closed ports refuse traffic.
    hal::UartDevices port;
    ASSERT_EQ(port.UART_Open(bed.devnode(0).c_str()), 1);
    EXPECT_EQ(port.UART_Set(5000000, 0, 9, 1, 'N'), 0);
    EXPECT_EQ(port.UART_Init(5000000, 0, 9, 1, 'N'), 1);
    EXPECT_EQ(port.UART_Init(5000000, 0, 8, 1, 'Q'), 1);
    port.UART_Close();
    EXPECT_EQ(port.GetUartHandle(), -1);

    EXPECT_EQ(port.UART_Open("/dev/no-such-port"), 0);
    EXPECT_EQ(port.GetUartHandle(), -1);

    // Descriptor 0 counts as not open: nothing may be written to standard input.
    unsigned char byte = 0xBE;
    port.m_iHandle = 0;
    EXPECT_EQ(port.UART_Send(&byte, 1), 0);
    EXPECT_EQ(port.UART_Recv(&byte, 1), 0);
    port.m_iHandle = -1;
}

} // namespace
