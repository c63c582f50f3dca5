// Buttons, LEDs and brakes.
#include "QEL.h"
#include "QEL_frame.h"

using namespace qelframe;

int QEL::SetLED(unsigned char mask, bool on) {
    if (!CheckReady()) return 0;
    if (on)
        m_LEDState |= mask;
    else
        m_LEDState &= static_cast<uint8_t>(~mask);
    // While the refresh thread runs, every cyclic frame carries the LED bits in the command
    // word's low byte; a frame of its own would only compete with it for the line. The byte
    // is replaced in a single store, since the thread may be reading the word.
    if (fThreadRunning) {
        m_SetCommd = static_cast<uint16_t>((m_SetCommd & 0xFF00) | m_LEDState);
        return 1;
    }
    uint8_t request[5], reply[5];
    begin(request, 0xA5);
    request[2] = m_LEDState;
    seal(request, 3);
    if (!USB_DataTransmit(request, sizeof request, reply, sizeof reply)) return 0;
    if (!echoes(reply, 0xA5) || reply[2] != 1) {
        ErrorCatch(257);
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
    uint8_t request[5], reply[5];
    begin(request, 0xA8);
    request[2] = on ? 1 : 0;
    seal(request, 3);
    if (!USB_DataTransmit(request, sizeof request, reply, sizeof reply)) return 0;
    if (!acknowledges(reply, 0xA8)) {
        ErrorCatch(257);
        return 0;
    }
    return 1;
}

int QEL::GetBrakes(bool* engaged) {
    if (!CheckReady()) return 0;
    uint8_t request[4], reply[5];
    begin(request, 0xA9);
    seal(request, 2);
    if (!USB_DataTransmit(request, sizeof request, reply, sizeof reply)) return 0;
    if (!echoes(reply, 0xA9)) {
        ErrorCatch(257);
        return 0;
    }
    *engaged = reply[2] != 0;
    return 1;
}

// Per-brake control does not exist; the byte form only runs the guard.
int QEL::SetBrakes(unsigned char) {
    CheckReady();
    return 0;
}
