// SPDX-License-Identifier: MIT
// Motor output and force enabling: the two flags that let the refresh thread render forces,
// the Cartesian force it renders, and the direct motor frames that bypass it.
#include "QEL.h"
#include "QEL_frame.h"

using namespace qelframe;

namespace {

// Operation mode the device renders forces in, and the one it is parked in when they stop.
const unsigned char kForceMode = 0x22;
const unsigned char kForceOffMode = 0x25;

// The LED that shows powered drives.
const unsigned char kDrivesLed = 2;

} // namespace

int QEL::SetFrcEnabled(bool on) {
    if (!CheckReady()) return 0;
    if (on) {
        if (!SetMode(kForceMode)) {
            m_fForceEnable = false;
            return 0;
        }
        m_OperationMode = kForceMode;
        m_fForceEnable = true;
        return 1;
    }
    // Switching off only changes the device's mode; m_fForceEnable stays set on purpose, so
    // that enabled drives keep rendering m_Force.
    if (!GetMode(&m_OperationMode)) return 0;
    if (m_OperationMode != kForceMode) return 1;
    return SetMode(kForceOffMode);
}

// 1 for any ready device, whatever the flag: the flag outlives switching force off, so it
// would not tell the caller anything.
int QEL::GetFrcEnabled(bool) { return CheckReady() ? 1 : 0; }

int QEL::EnableDevice(bool on) {
    if (!CheckReady()) return 0;
    uint8_t accepted;
    if (!ExchangeByte(cmd::EnableDrives, on ? 1 : 0, &accepted, true)) return 0;
    // The LED only mirrors the drives; failing to light it does not undo the enable.
    SetLED(kDrivesLed, on);
    m_fDeviceEnable = on;
    return 1;
}

int QEL::SetOpFrc(double* force) {
    if (!CheckReady()) return 0;
    for (int i = 0; i < 3; ++i) m_Force[i] = force[i];
    return 1;
}

int QEL::GetOpFrc(double* force) {
    if (!CheckReady()) return 0;
    if (!force) {
        ErrorCatch(deverr::kInvalidParameter);
        return 0;
    }
    for (int i = 0; i < 3; ++i) force[i] = m_Force[i];
    return 1;
}

// Returns 0 even when the force was cleared; callers do not read it as a failure.
int QEL::SetNullFrc() {
    if (!CheckReady()) return 0;
    for (int i = 0; i < 3; ++i) m_Force[i] = 0.0;
    return 0;
}

// The device's bare acknowledgement of motor commands carries nothing worth checking.
int QEL::SetMot(short* mot) {
    if (!CheckReady()) return 0;
    uint8_t request[10], reply[4];
    begin(request, cmd::SetMotors);
    for (int i = 0; i < 3; ++i) putBE16(request + 2 + 2 * i, static_cast<uint16_t>(mot[i]));
    seal(request, 8);
    return USB_DataTransmit(request, sizeof request, reply, sizeof reply);
}

int QEL::SetMot(int index, short value) {
    if (!CheckReady()) return 0;
    if (index < 0 || index > 2) {
        ErrorCatch(deverr::kInvalidParameter);
        return 0;
    }
    m_MotorDACValue[index] = value;
    return SetMot(m_MotorDACValue);
}

int QEL::GetMot(short* mot) {
    if (!CheckReady()) return 0;
    uint8_t request[4], reply[10];
    begin(request, cmd::GetMotors);
    seal(request, 2);
    if (!USB_DataTransmit(request, sizeof request, reply, sizeof reply)) return 0;
    if (!echoes(reply, cmd::GetMotors)) {
        ErrorCatch(deverr::kInvalidData);
        return 0;
    }
    for (int i = 0; i < 3; ++i) mot[i] = static_cast<short>(getBE16(reply + 2 + 2 * i));
    return 1;
}

// Only the first target travels; a refusal is not an error of the host's.
int QEL::SetMotorVel(unsigned short* vel) {
    if (!CheckReady()) return 0;
    uint8_t request[6], reply[5];
    begin(request, cmd::SetMotorVelocity);
    putBE16(request + 2, vel[0]);
    seal(request, 4);
    if (!USB_DataTransmit(request, sizeof request, reply, sizeof reply)) return 0;
    return acknowledges(reply, cmd::SetMotorVelocity) ? 1 : 0;
}

// No device has a motion command; the call exists for the interface's sake.
int QEL::StartMove(unsigned char) {
    CheckOpenInit();
    return 0;
}

int QEL::PreloadMot(unsigned short*, unsigned char) {
    CheckReady();
    return 0;
}

int QEL::SetOutput(unsigned int) {
    CheckReady();
    return 0;
}

int QEL::SetGripperFrcEnabled(bool) {
    CheckReady();
    return 0;
}
