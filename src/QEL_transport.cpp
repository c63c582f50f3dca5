// SPDX-License-Identifier: MIT
// The port table, opening the port, and the checked request/response exchange.
#include "QEL.h"

#include <unistd.h>

#include <vector>

#include "CRC.h"
#include "QEL_discovery.h"
#include "QEL_frame.h"

// The table has ten slots: the search stops counting there, since the interface addresses
// devices by table index. Slots beyond the count keep what they held.
int QEL::SearchDevicePort() {
    std::vector<qeldiscovery::Port> ports = qeldiscovery::findPorts(QEL_MAX_DEVICES);
    for (size_t i = 0; i < ports.size(); ++i) m_DevComPort[i] = ports[i].node;
    return static_cast<int>(ports.size());
}

int QEL::GetDeviceCount() {
    m_DeviceCount = SearchDevicePort();
    return m_DeviceCount;
}

// Under the exchange lock for the same reason as CloseCom: opening again replaces the port that
// a refresh thread may still be using.
int QEL::OpenComm(const char* path) {
    pthread_mutex_lock(&hMutex);
    int opened = myDevice.UART_Open(path) && myDevice.UART_Init(5000000, 0, 8, 1, 'N');
    if (!opened) myDevice.UART_Close();
    pthread_mutex_unlock(&hMutex);
    return opened;
}

// m_hDevice holds the success value of the open (1, which as a descriptor is standard output),
// not the port's descriptor: close the port that this object owns and nothing else.
// The port is closed under the exchange lock: a refresh thread may be inside an exchange on it,
// and its descriptor must not be closed (and its number reused) under that exchange.
int QEL::CloseCom() {
    pthread_mutex_lock(&hMutex);
    myDevice.UART_Close();
    pthread_mutex_unlock(&hMutex);
    return 1;
}

int QEL::USB_DataTransmit(unsigned char* request, unsigned int requestLength,
                          unsigned char* response, unsigned int responseLength) {
    pthread_mutex_lock(&hMutex);
    if (myDevice.UART_Send(request, static_cast<int>(requestLength)) !=
        static_cast<int>(requestLength)) {
        pthread_mutex_unlock(&hMutex);
        ErrorCatch(deverr::kSendFailed);
        return 0;
    }
    if (myDevice.UART_Recv(response, static_cast<int>(responseLength)) !=
        static_cast<int>(responseLength)) {
        pthread_mutex_unlock(&hMutex);
        ErrorCatch(deverr::kReceiveFailed);
        return 0;
    }
    pthread_mutex_unlock(&hMutex);
    if (crcCompute(response, responseLength) != 0) {
        ErrorCatch(deverr::kChecksum);
        return 0;
    }
    return 1;
}

int QEL::ExchangeByte(uint8_t code, int value, uint8_t* answer, bool requireNonZero) {
    uint8_t request[5], reply[5];
    qelframe::begin(request, code);
    unsigned int body = 2;
    if (value >= 0) request[body++] = static_cast<uint8_t>(value);
    qelframe::seal(request, body);
    if (!USB_DataTransmit(request, body + 2, reply, sizeof reply)) return 0;
    if (requireNonZero ? !qelframe::acknowledges(reply, code) : !qelframe::echoes(reply, code)) {
        ErrorCatch(deverr::kInvalidData);
        return 0;
    }
    *answer = reply[2];
    return 1;
}

// Older direct forms of send and receive on the number held in m_hDevice; the library's own
// traffic all goes through USB_DataTransmit.
int QEL::SendData(unsigned char* buffer, unsigned int length) {
    if (m_hDevice < 1) return 0;
    return hal::writeWithRetries(m_hDevice, buffer, static_cast<int>(length));
}

int QEL::ReceiveData(unsigned char* buffer, unsigned int length) {
    if (m_hDevice < 1) return 0;
    return static_cast<int>(read(m_hDevice, buffer, length));
}
