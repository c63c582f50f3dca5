// SPDX-License-Identifier: MIT
// Device registers and parameters, and operation modes.
#include "QEL.h"
#include "QEL_frame.h"

using namespace qelframe;

int QEL::WriteRegister(unsigned short reg, short value) {
    uint8_t request[8], reply[8];
    begin(request, cmd::WriteRegister);
    putBE16(request + 2, reg);
    putBE16(request + 4, static_cast<uint16_t>(value));
    seal(request, 6);
    if (!USB_DataTransmit(request, sizeof request, reply, sizeof reply)) return 0;
    // The device echoes the value it stored; anything else means the write did not land.
    if (!echoes(reply, cmd::WriteRegister) || getBE16(reply + 4) != static_cast<uint16_t>(value)) {
        ErrorCatch(deverr::kInvalidData);
        return 0;
    }
    return 1;
}

int QEL::ReadRegister(unsigned short reg, short* value) {
    uint8_t request[6], reply[8];
    begin(request, cmd::ReadRegister);
    putBE16(request + 2, reg);
    seal(request, 4);
    if (!USB_DataTransmit(request, sizeof request, reply, sizeof reply)) return 0;
    if (!echoes(reply, cmd::ReadRegister)) {
        ErrorCatch(deverr::kInvalidData);
        return 0;
    }
    *value = static_cast<short>(getBE16(reply + 4));
    return 1;
}

// The parameter operations run before initialisation (Initialize reads the model with them),
// so they only need an open port, and refuse a closed one without an error of their own.
int QEL::SaveData() { return m_fOpen ? WriteRegister(199, 170) : 0; }

int QEL::SetParam(unsigned short n, short value) { return m_fOpen ? WriteRegister(n, value) : 0; }

int QEL::SetParam(unsigned short n, unsigned int value) {
    if (!m_fOpen) return 0;
    return WriteRegister(n, static_cast<short>(value & 0xFFFF)) &&
           WriteRegister(static_cast<unsigned short>(n + 1), static_cast<short>(value >> 16));
}

int QEL::GetParam(unsigned short n, short* value) { return m_fOpen ? ReadRegister(n, value) : 0; }

int QEL::GetParam(unsigned short n, unsigned int* value) {
    if (!m_fOpen) return 0;
    short low, high;
    if (!ReadRegister(n, &low) || !ReadRegister(static_cast<unsigned short>(n + 1), &high))
        return 0;
    *value = static_cast<unsigned int>(static_cast<uint16_t>(high)) * 65536u +
             static_cast<uint16_t>(low);
    return 1;
}

int QEL::SetMode(unsigned char mode) {
    if (!CheckReady()) return 0;
    // A refused mode is reported as invalid data, not as a mode error.
    uint8_t accepted;
    if (!ExchangeByte(cmd::SetMode, mode, &accepted, true)) return 0;
    m_OperationMode = mode;
    return 1;
}

// Works before initialisation and while an error is pending.
int QEL::GetMode(unsigned char* mode) {
    if (!m_fOpen) {
        ErrorCatch(deverr::kNotOpen);
        return 0;
    }
    return ExchangeByte(cmd::GetMode, -1, mode, true);
}
