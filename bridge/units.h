// SPDX-License-Identifier: MIT
// The library's units to ROS's (REP 103).
#ifndef QEL_BRIDGE_UNITS_H
#define QEL_BRIDGE_UNITS_H

#include <cmath>

namespace bridge::units {

inline double metres(double millimetres) { return millimetres / 1000.0; }
inline double newtonMetres(double newtonMillimetres) { return newtonMillimetres / 1000.0; }

// The device measures velocity in 1/128 of a joint turn per second; the library hands it on
// as distance (or angle) per velocity period, scaled by -1/resolution of a turn, so one
// second is -resolution/128 of the library's velocity unit.
inline double velocityPerSecond(unsigned resolution) {
    return -static_cast<double>(resolution) / 128.0;
}

// A rotation matrix (rows are the Cartesian axes) as a unit quaternion x, y, z, w.
inline void quaternion(const double r[3][3], double q[4]) {
    double trace = r[0][0] + r[1][1] + r[2][2];
    if (trace > 0) {
        double s = 2 * std::sqrt(trace + 1);
        q[3] = s / 4;
        q[0] = (r[2][1] - r[1][2]) / s;
        q[1] = (r[0][2] - r[2][0]) / s;
        q[2] = (r[1][0] - r[0][1]) / s;
    } else if (r[0][0] > r[1][1] && r[0][0] > r[2][2]) {
        double s = 2 * std::sqrt(1 + r[0][0] - r[1][1] - r[2][2]);
        q[3] = (r[2][1] - r[1][2]) / s;
        q[0] = s / 4;
        q[1] = (r[0][1] + r[1][0]) / s;
        q[2] = (r[0][2] + r[2][0]) / s;
    } else if (r[1][1] > r[2][2]) {
        double s = 2 * std::sqrt(1 + r[1][1] - r[0][0] - r[2][2]);
        q[3] = (r[0][2] - r[2][0]) / s;
        q[0] = (r[0][1] + r[1][0]) / s;
        q[1] = s / 4;
        q[2] = (r[1][2] + r[2][1]) / s;
    } else {
        double s = 2 * std::sqrt(1 + r[2][2] - r[0][0] - r[1][1]);
        q[3] = (r[1][0] - r[0][1]) / s;
        q[0] = (r[0][2] + r[2][0]) / s;
        q[1] = (r[1][2] + r[2][1]) / s;
        q[2] = s / 4;
    }
    double n = std::sqrt(q[0] * q[0] + q[1] * q[1] + q[2] * q[2] + q[3] * q[3]);
    if (!(n > 0)) {
        q[0] = q[1] = q[2] = 0, q[3] = 1;
        return;
    }
    for (int i = 0; i < 4; ++i) q[i] /= n;
}

} // namespace bridge::units

#endif
