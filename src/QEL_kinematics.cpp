// SPDX-License-Identifier: MIT
// Encoder counts: reading and presetting them on the device, and converting between counts
// and joint angles.
#include "QEL.h"
#include "QEL_frame.h"
#include "QEL_kinematics_common.h"

using namespace qelframe;
using qelkin::kPi;

bool qelkin::maskFitsDevice(QEL& device, unsigned char mask) {
    if ((!device.m_fWrist && mask > 0x07) || (!device.m_fGipper && mask > 0x3F)) {
        device.ErrorCatch(deverr::kInvalidParameter);
        return false;
    }
    return true;
}

int QEL::ResetWrist() { return 0; }

// Hands out what the last cyclic frame brought, without any traffic. Before calibration only
// the single-turn readings mean anything, and there is no velocity to go with them.
int QEL::GetEnc(unsigned int* enc, unsigned char mask, double* vel, bool withVel) {
    if (!CheckReady() || !qelkin::maskFitsDevice(*this, mask)) return 0;
    for (int i = 0; i < N2; ++i) {
        if (!(mask & (1u << i))) continue;
        if (m_fCalibrate) {
            enc[i] = m_EncoderValue[i];
            if (withVel) vel[i] = static_cast<double>(m_EncoderVel[i]);
        } else {
            enc[i] = m_EncoderSingleValue[i];
        }
    }
    return 1;
}

// Asks the device for all six counts. Each travels as a 24-bit field holding the low 16 bits
// doubled, then the high 16 bits.
int QEL::GetEnc(unsigned int* enc, unsigned short* status, double* vel, bool withVel) {
    if (!CheckReady()) return 0;
    uint8_t request[4], reply[36];
    begin(request, cmd::ReadEncoders);
    seal(request, 2);
    if (!USB_DataTransmit(request, sizeof request, reply, sizeof reply)) return 0;
    if (!echoes(reply, cmd::ReadEncoders)) {
        ErrorCatch(deverr::kInvalidData);
        return 0;
    }
    for (int i = 0; i < N2; ++i) {
        const uint8_t* field = reply + 2 + 5 * i;
        enc[i] = (getLE24(field) >> 1) + (static_cast<uint32_t>(getLE16(field + 3)) << 16);
    }
    *status = getLE16(reply + 32);
    if (!withVel) return 1;

    // Count rates by differencing against the previous request. The history is kept per
    // process, not per device, and only channel 0 is seeded on the first frame: callers have
    // always seen these first-frame rates, so they are left as they are.
    static uint32_t previousCount[N2], currentCount[N2];
    static int64_t previousTime, currentTime;
    previousTime = currentTime;
    currentTime = GetNanoSeconds();
    double dt = static_cast<double>(currentTime - previousTime) / 1000000000.0;
    for (int i = 0; i < N2; ++i) {
        if (fFirstFrame) {
            fFirstFrame = false;
            previousCount[i] = currentCount[i] = enc[i];
        }
        previousCount[i] = currentCount[i];
        currentCount[i] = enc[i];
        vel[i] =
            (static_cast<double>(currentCount[i]) - static_cast<double>(previousCount[i])) / dt;
    }
    return 1;
}

// Presetting a single channel is not offered by the device.
int QEL::Preset(unsigned char, unsigned int) {
    CheckReady();
    return 0;
}

// Only the arm's three counters can be preset; the encoding mirrors the read-encoders reply.
int QEL::Preset(unsigned int* enc) {
    if (!CheckReady()) return 0;
    uint8_t request[19], reply[5];
    begin(request, cmd::Preset);
    for (int i = 0; i < 3; ++i) {
        putLE24(request + 2 + 5 * i, (enc[i] & 0xFFFF) * 2);
        putLE16(request + 5 + 5 * i, static_cast<uint16_t>(enc[i] >> 16));
    }
    seal(request, 17);
    if (!USB_DataTransmit(request, sizeof request, reply, sizeof reply)) return 0;
    if (!acknowledges(reply, cmd::Preset)) {
        ErrorCatch(deverr::kInvalidData);
        return 0;
    }
    return 1;
}

// The joint angle falls as the count rises. The offset from the calibrated zero is taken
// modulo 2^32, so a count just below the zero reads as almost a whole range of turns.
int QEL::EncToJointAng(unsigned int* enc, double* ang, unsigned char mask) {
    if (!CheckReady() || !qelkin::maskFitsDevice(*this, mask)) return 0;
    for (int i = 0; i < N2; ++i) {
        if (!(mask & (1u << i))) continue;
        uint32_t offset = enc[i] - m_EncoderMinValue[i];
        m_RotatAng[i] =
            static_cast<double>(offset) / static_cast<double>(m_EncoderResolution) * 360.0;
        ang[i] = (m_DefAng[i] - m_RotatAng[i]) * kPi / 180.0;
    }
    return 1;
}

// Converts one angle: the mask names the channel whose calibration applies, but the angle
// and the count are always the first elements of the arrays.
int QEL::JointAngToEnc(double* ang, unsigned int* enc, unsigned char mask) {
    if (!CheckReady()) return 0;
    int k;
    switch (mask) {
    case 0x01:
        k = 0;
        break;
    case 0x02:
        k = 1;
        break;
    case 0x04:
        k = 2;
        break;
    case 0x08:
        k = 3;
        break;
    case 0x10:
        k = 4;
        break;
    case 0x20:
        k = 5;
        break;
    default:
        ErrorCatch(deverr::kInvalidParameter);
        return 0;
    }
    double rotation = m_DefAng[k] - 180.0 * ang[0] / kPi;
    enc[0] = qelkin::countAt(m_EncoderMinValue[k],
                             static_cast<double>(m_EncoderResolution) * (rotation / 360.0));
    return 1;
}
