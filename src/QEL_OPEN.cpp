// SPDX-License-Identifier: MIT
// The exported interface: the table of open devices, the current device, expert mode, the
// last-error record, and the functions that find, open, describe and close devices.
#include "QEL_OPEN.h"

#include "QEL.h"
#include "QEL_OPEN_prologue.h"

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

// ---- The common prologue ----

Target prologue(char ID, unsigned checks, int expertNode) {
    int id = identifier(ID) == QEL_CURRENT_DEVICE ? defaultID : identifier(ID);
    if (id < 1 || id > m_DeviceCount) {
        qelErrorCatch(apierr::kInvalidParameter, 1);
        return Target();
    }
    QEL* device = MyQEL[id - 1];
    if ((checks & kOpen) && !device) {
        qelErrorCatch(apierr::kNotOpen, static_cast<unsigned char>(id));
        return Target();
    }
    if ((checks & kExpert) && !flagExpertMode) {
        qelErrorCatch(apierr::kExpertModeNotSet,
                      static_cast<unsigned char>(expertNode ? expertNode : id));
        return Target();
    }
    return Target{device, id};
}

int deviceFailed(const Target& target) {
    qelErrorCatch(apierr::kDeviceError, static_cast<unsigned char>(target.id));
    return 0;
}

// ---- Errors ----

namespace {

// The interface's texts, indexed by code. qelErrorCatch records the device's own text for
// apierr::kDeviceError where it can; the generic text stands for it otherwise.
const char* const kInterfaceErrors[] = {
    /* apierr::kNone */ "No Error",
    /* apierr::kNoDevice */ "No Device Connected to the System",
    /* apierr::kNotOpen */ "Device Not Open",
    /* apierr::kInvalidParameter */ "Invalid Input Parameter",
    /* apierr::kExpertModeNotSet */ "Expert Mode Not Set",
    /* apierr::kDeviceError */ "Device Error",
};
static_assert(sizeof kInterfaceErrors / sizeof *kInterfaceErrors == apierr::kDeviceError + 1,
              "one text per interface code");

} // namespace

void qelErrorCatch(unsigned short errCode, unsigned char errNode) {
    errInfoData.errCode = errCode;
    errInfoData.errNode = errNode;
    if (errCode < apierr::kDeviceError) {
        errInfoData.errString = kInterfaceErrors[errCode];
    } else if (errCode == apierr::kDeviceError) {
        // The device's own record replaces the interface's. A node with no device object
        // behind it has no record to copy: keep code 5 with the interface's text.
        QEL* device = (errNode >= 1 && errNode <= QEL_MAX_DEVICES) ? MyQEL[errNode - 1] : nullptr;
        if (device) {
            errInfoData.errCode = device->m_ErrCode;
            errInfoData.errString = device->m_ErrString;
        } else {
            errInfoData.errString = kInterfaceErrors[apierr::kDeviceError];
        }
    }
}

int qelErrorGetLast(unsigned int* errCode, unsigned int* errNode) {
    *errCode = errInfoData.errCode;
    *errNode = errInfoData.errNode;
    return 1;
}

const char* qelErrorGetLastStr() { return errInfoData.errString; }

const char* qelErrorGetStr(int error) {
    // An unknown code answers with the text of the previous call.
    static const char* last = kInterfaceErrors[apierr::kNone];
    if (static_cast<unsigned int>(error) <= apierr::kDeviceError) last = kInterfaceErrors[error];
    return last;
}

void qelClearError() {
    errInfoData.errCode = 0;
    errInfoData.errNode = 0;
    errInfoData.errString = "";
}

// ---- Counting and selecting ----

int qelGetDeviceCount() { return QEL::GetDeviceCount(); }

// Probes every attached device by opening and closing it. The device objects stay in the
// table afterwards, where the interface takes them for open devices.
int qelGetAvailableCount() {
    int n = qelGetDeviceCount();
    int available = 0;
    for (int i = 0; i < n; ++i) {
        if (!MyQEL[i]) MyQEL[i] = new QEL();
        if (MyQEL[i]->Open()) ++available;
        MyQEL[i]->Close();
    }
    return available;
}

int qelSetDevice(char ID) {
    m_DeviceCount = qelGetDeviceCount();
    int id = identifier(ID);
    if (id >= 1 && id <= m_DeviceCount) {
        defaultID = id;
        return 1;
    }
    qelErrorCatch(apierr::kInvalidParameter, 1);
    return 0;
}

int qelGetDeviceID() { return defaultID; }

// ---- Opening and closing ----

// Creates the device object of slot `id` and opens it; on failure the device's error is
// recorded and the slot emptied again.
static bool openSlot(int id, bool firstPort) {
    QEL* device = new QEL();
    MyQEL[id - 1] = device;
    if (firstPort ? device->Open() : device->Open(id)) return true;
    qelErrorCatch(apierr::kDeviceError, static_cast<unsigned char>(id));
    delete device;
    MyQEL[id - 1] = nullptr;
    return false;
}

int qelOpen() {
    m_DeviceCount = qelGetDeviceCount();
    if (m_DeviceCount == 0) {
        qelErrorCatch(apierr::kNoDevice, 1);
        return 0;
    }
    if (!MyQEL[0] && !openSlot(1, true)) return 0;
    return 1;
}

int qelOpenID(char ID) {
    m_DeviceCount = qelGetDeviceCount();
    if (m_DeviceCount == 0) {
        qelErrorCatch(apierr::kNoDevice, 1);
        return 0;
    }
    int id = identifier(ID);
    if (id < 1 || id > m_DeviceCount) {
        qelErrorCatch(apierr::kInvalidParameter, 1);
        return 0;
    }
    if (MyQEL[id - 1]) return id;
    return openSlot(id, false) ? id : 0;
}

int qelOpenSerial(unsigned int serial) {
    m_DeviceCount = qelGetDeviceCount();
    if (m_DeviceCount == 0) {
        qelErrorCatch(apierr::kNoDevice, 1);
        return 0;
    }
    // Learn every device's serial number, closing each device after the look, then open all
    // the devices that carry the one asked for.
    unsigned int serials[QEL_MAX_DEVICES] = {};
    for (int i = 0; i < m_DeviceCount; ++i) {
        int r = qelOpenID(static_cast<char>(i + 1));
        if (r == i + 1) {
            qelGetSerialNumber(&serials[i], static_cast<char>(r));
            qelClose(static_cast<char>(r));
        }
    }
    bool found = false;
    int r = 0;
    for (int i = 0; i < m_DeviceCount; ++i) {
        if (serials[i] == serial) {
            found = true;
            r = qelOpenID(static_cast<char>(i + 1));
        }
    }
    if (found) return r;
    qelErrorCatch(apierr::kInvalidParameter, 1);
    return 0;
}

int qelOpenType(int) { return 0; }

int qelClose(char ID) {
    Target target = prologue(ID, kInRange);
    if (!target) return 0;
    if (!target.device) return 1;
    if (!target.device->Close()) return deviceFailed(target);
    delete target.device;
    MyQEL[target.id - 1] = nullptr;
    return 1;
}

int qelInit(char ID) {
    return callDevice(ID, kOpen, [](QEL& d) { return d.Initialize(); });
}

void qelEnableSimulator(bool) {}

// ---- Identity and capabilities ----

int qelGetSerialNumber(unsigned int* sn, char ID) {
    Target target = prologue(ID);
    if (!target) return 0;
    // A serial number of 0 means it could not be read; that is not recorded as an error.
    unsigned int serial = target.device->GetSerialNumber();
    if (!serial) return 0;
    *sn = serial;
    return 1;
}

int qelGetOperationMode(QELuchar* a_mode, char ID) {
    return callDevice(ID, kOpen, [a_mode](QEL& d) { return d.GetMode(a_mode); });
}

int qelEnableForce(QELuchar val, char ID) {
    return callDevice(ID, kOpen, [val](QEL& d) { return d.SetFrcEnabled(val == 1); });
}

int qelGetSystemType(char ID) { return prologue(ID) ? 62 : 0; }

const char* qelGetSystemName(char ID) {
    prologue(ID);
    return nullptr;
}

bool qelIsLeftHanded(char ID) {
    prologue(ID);
    return false;
}

bool qelHasBase(char ID) { return static_cast<bool>(prologue(ID)); }
bool qelHasWrist(char ID) { return static_cast<bool>(prologue(ID)); }
bool qelHasActiveWrist(char ID) { return static_cast<bool>(prologue(ID)); }
bool qelHasGripper(char ID) { return static_cast<bool>(prologue(ID)); }
bool qelHasActiveGripper(char ID) { return static_cast<bool>(prologue(ID)); }

int qelStop(char ID) { return prologue(ID) ? 1 : 0; }
int qelGetComMode(char ID) { return prologue(ID) ? 1 : 0; }
int qelEnableGripperForce(QELuchar, char ID) { return prologue(ID) ? 1 : 0; }
int qelGetVersion(double*, char ID) { return prologue(ID) ? 1 : 0; }
int qelGetStatus(int*, char ID) { return prologue(ID) ? 1 : 0; }
int qelReset(char ID) { return prologue(ID) ? 1 : 0; }
int qelResetWrist(char ID) { return prologue(ID) ? 1 : 0; }
int qelWaitForReset(int, char ID) { return prologue(ID) ? 1 : 0; }

void qelGetSDKVersion(int*, int*, int*, int*) {
    if (!MyQEL[0]) qelErrorCatch(apierr::kNotOpen, 0);
}

// ---- Expert mode ----

int qelEnableExpertMode() {
    flagExpertMode = true;
    return 1;
}

int qelDisableExpertMode() {
    flagExpertMode = false;
    return 1;
}
