// SPDX-License-Identifier: MIT
// Conventions shared by the kinematics files: the value of pi, how a count offset computed in
// double becomes an encoder count, and which channel masks a device accepts.
#ifndef QEL_KINEMATICS_COMMON_H
#define QEL_KINEMATICS_COMMON_H

#include <stdint.h>

class QEL;

// Number of encoder channels: the three arm joints, then the wrist's yaw, pitch and roll.
const int N2 = 6;

namespace qelkin {

// Pi to eight digits. Applications compare our positions and angles with the device's
// documented figures, which were computed with this value; the full-precision constant would
// shift every result in the seventh digit.
constexpr double kPi = 3.1415926;

// Truncation toward zero to a signed 32-bit integer. A value outside that range, or NaN, gives
// INT32_MIN, which is what the processor's truncating conversion produces; a plain cast would
// be undefined there.
inline int32_t truncToInt32(double v) {
    if (v > -2147483649.0 && v < 2147483648.0) return static_cast<int32_t>(v);
    return INT32_MIN;
}

// A calibrated zero count plus a signed offset, wrapping modulo 2^32 like the device's counter.
inline uint32_t countAt(uint32_t zero, double offset) {
    return zero + static_cast<uint32_t>(truncToInt32(offset));
}

// The sines and cosines of the three arm joint angles q[0..2], and of one angle x; both give
// exactly what std::sin and std::cos give, but remember the last angles asked for, since a
// refresh pass asks for the same ones several times.
void armSinCos(const double* q, double* s, double* c);
void sinCos(double x, double& s, double& c);

// Whether `mask` selects only channels the device has: a wrist bit (above 0x07) needs a wrist,
// the gripper bit (above 0x3F) a gripper. Records error 258 on the device when it does not.
bool maskFitsDevice(QEL& device, unsigned char mask);

} // namespace qelkin

#endif
