// SPDX-License-Identifier: MIT
// A device object set up as an initialised, calibrated type-1 device (arm, wrist and the force
// model), with no port and no refresh thread, so that a benchmark alone runs a pass's
// computation; and a path of counts for the handle to follow.
#ifndef QEL_BENCH_DEVICE_H
#define QEL_BENCH_DEVICE_H

#include <cmath>
#include <cstdlib>
#include <vector>

#include "QEL.h"

namespace qelbench {

const double kPi8 = 3.1415926;
const uint32_t kResolution = 1u << 20;

inline void setUpType1(QEL& d) {
    d.m_fOpen = d.m_fInit = d.m_fCalibrate = true;
    d.m_fBase = d.m_fWrist = true;
    d.m_NumofMotor = 3;
    d.m_InputDOF = 6;
    d.m_OutputDOF = 3;
    d.m_lenActLink = 97.0;
    d.m_lenPassLink = 148.0;
    d.m_DimFixedPlat = 80.25;
    d.m_DimFloatPlat = 35.0;
    d.m_lenActLinkGrav = 15.282;
    d.m_gFloatPlat = 0.4;
    d.m_gActLink = 0.1397;
    d.m_gPassLink = 0.08934;
    d.m_Beta = 1.5707963;
    d.m_Lambuta = 0.0;
    d.m_NominalTorque = 100;
    d.m_EncoderResolution = kResolution;
    const double defAng[6] = {86.5, 86.5, 86.5, 120.0, 45.0, 167.5};
    for (int i = 0; i < 6; ++i) {
        d.m_EncoderMinValue[i] = 948576u;
        d.m_DefAng[i] = defAng[i];
        d.m_EncoderVel[i] = static_cast<int16_t>(20 - 10 * i);
    }
    for (int i = 0; i < 3; ++i) d.m_TransRat[i] = 20.0;
    d.CalcuFixedLinkVect(d.m_FixedLinkVect);
}

// The object must not look open when it is destroyed: it has no port to close.
inline void tearDown(QEL& d) { d.m_fOpen = d.m_fInit = false; }

struct Counts {
    unsigned int enc[6];
};

// Counts along a circle of 30 mm radius about (0, 0, 200), `perPass` mm apart, from the inverse
// kinematics with a transmission ratio of 1 (the ratios are restored afterwards).
inline std::vector<Counts> circle(QEL& d, double perPass) {
    double ratio[3];
    for (int i = 0; i < 3; ++i) ratio[i] = d.m_TransRat[i], d.m_TransRat[i] = 1.0;
    const double radius = 30.0;
    int n = perPass > 0 ? static_cast<int>(2 * kPi8 * radius / perPass) : 1;
    std::vector<Counts> path(n);
    for (int k = 0; k < n; ++k) {
        double t = 2 * kPi8 * k / n;
        double p[3] = {radius * std::cos(t), radius * std::sin(t), 200.0};
        if (!d.OpPosToEnc(p, path[k].enc, false)) std::abort();
        for (int i = 3; i < 6; ++i) path[k].enc[i] = 948576u + 1000u * (k % 50);
    }
    for (int i = 0; i < 3; ++i) d.m_TransRat[i] = ratio[i];
    return path;
}

} // namespace qelbench

#endif
