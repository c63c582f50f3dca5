// SPDX-License-Identifier: MIT
// Encoder calibration: each axis's lower and upper count, kept in device registers, from which
// joint angles are computed.
#include "QEL.h"

namespace {

// Axis j's lower limit is the 32-bit parameter at 100 + 4j, its upper limit at 102 + 4j.
unsigned short lowerLimitParam(int axis) { return static_cast<unsigned short>(100 + 4 * axis); }
unsigned short upperLimitParam(int axis) { return static_cast<unsigned short>(102 + 4 * axis); }

// The arm alone, the arm and the wrist, or both with the gripper bit (which selects no axis).
bool isCalibrationMask(unsigned char mask) { return mask == 7 || mask == 63 || mask == 127; }

} // namespace

int QEL::SaveCalibration(unsigned int* minValues, unsigned int* maxValues, unsigned char mask) {
    if (!CheckReady() || !isCalibrationMask(mask)) return 0;
    // Axes outside the mask are stored as 0, in the object and in the device alike. A failure
    // midway leaves the axes before it written.
    for (int j = 0; j < 6; ++j) {
        bool selected = mask & (1u << j);
        m_EncoderMinValue[j] = selected ? minValues[j] : 0;
        m_EncoderMaxValue[j] = selected ? maxValues[j] : 0;
        if (!SetParam(lowerLimitParam(j), m_EncoderMinValue[j]) ||
            !SetParam(upperLimitParam(j), m_EncoderMaxValue[j]))
            return 0;
    }
    // The limits are in use from here on, even if the device fails to store them for good.
    m_fCalibrate = true;
    if (!SaveData()) return 0;
    AwaitCalibratedPass();
    return 1;
}

int QEL::GetCalibration() {
    if (!CheckReady()) return 0;
    for (int j = 0; j < 6; ++j) {
        if (!GetParam(lowerLimitParam(j), &m_EncoderMinValue[j]) ||
            !GetParam(upperLimitParam(j), &m_EncoderMaxValue[j]))
            return 0;
    }
    m_fCalibrate = true;
    // The position handed out from now on must be a solved one, not the reset's zeros.
    AwaitCalibratedPass();
    return 1;
}

// The device has no automatic calibration procedure.
int QEL::AutoCalibrate() {
    CheckReady();
    return 0;
}
