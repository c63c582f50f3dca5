// The port table, opening the port, and the checked request/response exchange.
#include "QEL.h"

#include <cstring>
#include <libudev.h>
#include <unistd.h>

#include "CRC.h"
#include "QEL_frame.h"

int QEL::SearchDevicePort() {
    struct udev* udev = udev_new();
    if (!udev) return 0;
    struct udev_enumerate* enumerate = udev_enumerate_new(udev);
    udev_enumerate_add_match_subsystem(enumerate, "tty");
    udev_enumerate_add_match_property(enumerate, "ID_VENDOR_ID", "0483");
    udev_enumerate_add_match_property(enumerate, "ID_MODEL_ID", "5740");
    udev_enumerate_scan_devices(enumerate);

    // libudev ORs several property matches of one enumeration, so each entry is checked for
    // both identifiers and the model again. The table has ten slots: the search stops counting
    // there, since the interface addresses devices by table index.
    int count = 0;
    struct udev_list_entry* entry;
    udev_list_entry_foreach(entry, udev_enumerate_get_list_entry(enumerate)) {
        if (count >= 10) break;
        struct udev_device* dev =
            udev_device_new_from_syspath(udev, udev_list_entry_get_name(entry));
        if (!dev) continue;
        const char* vendor = udev_device_get_property_value(dev, "ID_VENDOR_ID");
        const char* product = udev_device_get_property_value(dev, "ID_MODEL_ID");
        const char* model = udev_device_get_property_value(dev, "ID_MODEL");
        const char* node = udev_device_get_devnode(dev);
        if (vendor && product && model && node && std::strcmp(vendor, "0483") == 0 &&
            std::strcmp(product, "5740") == 0 && std::strcmp(model, "WPXComPort") == 0) {
            m_DevComPort[count] = node;
            ++count;
        }
        udev_device_unref(dev);
    }
    udev_enumerate_unref(enumerate);
    udev_unref(udev);
    return count;
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
