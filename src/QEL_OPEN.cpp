// The exported interface's globals: the table of open devices, the current device and
// expert mode. One application thread is expected to call the interface.
#include "QEL_OPEN.h"

#include "QEL.h"

// The last-error record shared by all devices.
struct ErrInfo {
    uint16_t errCode;
    uint8_t errNode;
    const char* errString;
};

QEL* MyQEL[QEL_MAX_DEVICES] = {};
int defaultID = 1;
int m_DeviceCount = 0;
bool flagExpertMode = false;
ErrInfo errInfoData = {0, 0, nullptr};
