// SPDX-License-Identifier: MIT
// Inverse kinematics: the arm's encoder counts for a handle position, in closed form.
#include <cmath>

#include "QEL.h"
#include "QEL_kinematics_common.h"

using qelkin::kPi;

// Each arm's constraint |p - c_i|^2 = b^2, divided by a and written in t = tan(theta_i / 2),
// is the quadratic E_i t^2 + F_i t + G_i = 0. Of its two roots the larger joint angle is the
// arm's on the branch the forward solver reaches from its reset start. Unlike the
// count-to-angle conversions, the counts here include the transmission ratio; the flag has no
// meaning. An unreachable position fails without recording an error, since it says nothing
// about the device.
int QEL::OpPosToEnc(double* pos, unsigned int* enc, bool) {
    if (!CheckReady()) return 0;
    const double x = pos[0], y = pos[1], z = pos[2];
    const double a = m_lenActLink, b = m_lenPassLink;
    const double d = m_DimFixedPlat - m_DimFloatPlat;
    const double S = a * a - b * b + (x * x + y * y + z * z) + d * d;
    const double s3 = std::sqrt(3.0);

    const double K[3] = {(S - 2 * d * y) / a, (S + d * (s3 * x + y)) / a,
                         (S + d * (y - s3 * x)) / a};
    const double F[3] = {4.0 * (d - y), 2 * (s3 * x + 2 * d + y), 2 * (y - s3 * x + 2 * d)};
    double E[3], disc[3];
    for (int i = 0; i < 3; ++i) {
        E[i] = 2 * z + K[i];
        const double G = K[i] - 2 * z;
        disc[i] = F[i] * F[i] - 4.0 * E[i] * G;
    }
    if (disc[0] < 0 || disc[1] < 0 || disc[2] < 0) return 0;

    for (int i = 0; i < 3; ++i) {
        const double root = std::sqrt(disc[i]);
        const double tPlus = (root - F[i]) / (2 * E[i]);
        const double tMinus = (-F[i] - root) / (2 * E[i]);
        const double anglePlus = 2 * std::atan(tPlus) * 180.0 / kPi;
        const double angleMinus = 2 * std::atan(tMinus) * 180.0 / kPi;
        const double theta = anglePlus > angleMinus ? anglePlus : angleMinus;
        const double scaled = m_TransRat[i] * (m_DefAng[i] - theta);
        enc[i] = qelkin::countAt(m_EncoderMinValue[i],
                                 static_cast<double>(m_EncoderResolution) * scaled / 360.0);
    }
    return 1;
}
