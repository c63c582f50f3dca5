// SPDX-License-Identifier: MIT
// Buttons, LEDs and brakes.
#include "QEL.h"
#include "QEL_frame.h"

int QEL::SetLED(unsigned char mask, bool on) {
    if (!CheckReady()) return 0;
    if (on)
        m_LEDState |= mask;
    else
        m_LEDState &= static_cast<uint8_t>(~mask);
    // While the refresh thread runs, every cyclic frame carries the LED bits in the command
    // word's low byte; a frame of its own would only compete with it for the line. The byte
    // is replaced in a single store, since the thread may be reading the word. A thread told
    // to stop may send no further frame, so the LEDs then get a frame of their own: closing
    // must leave them off on the device.
    if (fThreadRunning && !fThreadFinish) {
        m_SetCommd = static_cast<uint16_t>((m_SetCommd & 0xFF00) | m_LEDState);
        return 1;
    }
    // Only a status of exactly 1 accepts the LEDs.
    uint8_t status;
    if (!ExchangeByte(qelframe::cmd::SetLed, m_LEDState, &status, false)) return 0;
    if (status != 1) {
        ErrorCatch(deverr::kInvalidData);
        return 0;
    }
    return 1;
}

int QEL::GetButtonCount() { return 1; }

// The buttons are the low byte of the status word of the last cyclic frame. The index is not
// range-checked: it wraps at 32 like a shift count, and bits past the byte read as released.
int QEL::GetButton(int index, bool* pressed) {
    if (!CheckReady()) return 0;
    uint32_t buttons = m_DeviceState & 0xFF;
    *pressed = ((buttons >> (static_cast<unsigned int>(index) & 31u)) & 1u) != 0;
    return 1;
}

// The brakes' state is the device's; nothing of it is kept here.
int QEL::SetBrakes(bool on) {
    if (!CheckReady()) return 0;
    uint8_t accepted;
    return ExchangeByte(qelframe::cmd::SetBrakes, on ? 1 : 0, &accepted, true);
}

int QEL::GetBrakes(bool* engaged) {
    if (!CheckReady()) return 0;
    uint8_t state;
    if (!ExchangeByte(qelframe::cmd::GetBrakes, -1, &state, false)) return 0;
    *engaged = state != 0;
    return 1;
}

// Per-brake control does not exist; the byte form only runs the guard.
int QEL::SetBrakes(unsigned char) {
    CheckReady();
    return 0;
}
