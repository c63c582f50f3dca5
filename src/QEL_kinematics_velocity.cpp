// SPDX-License-Identifier: MIT
// Velocities and Jacobians: the encoder rates the device reports, the joint rates derived from
// them, the Cartesian velocity of the last refresh pass and its safety threshold; the arm's
// translational Jacobian, and the wrist Jacobian and inertia operations, which the device's
// model does not provide.
#include <cmath>

#include "QEL.h"
#include "QEL_kinematics_common.h"
#include "QEL_matrix.h"

using qelkin::kPi;

// The velocity estimators are fixed in the device; there is nothing to configure.
int QEL::ConfigTranVel(double, int) {
    CheckOpenInit();
    return 0;
}

int QEL::ConfigRotaVel(double, int) {
    CheckOpenInit();
    return 0;
}

int QEL::ConfigGripVel(double, int) {
    CheckOpenInit();
    return 0;
}

int QEL::ConfigEncVel(double, int) {
    CheckOpenInit();
    return 0;
}

int QEL::GetEncVel(double* vel) {
    if (!CheckReady()) return 0;
    if (!vel) {
        ErrorCatch(deverr::kInvalidParameter);
        return 0;
    }
    for (int i = 0; i < N2; ++i) vel[i] = static_cast<double>(m_EncoderVel[i]);
    return 1;
}

// Radians per the device's velocity period, all six channels whether or not the wrist is
// fitted. The sign is flipped because the joint angle falls as the count rises.
int QEL::GetJointVel(double* vel) {
    if (!CheckReady()) return 0;
    if (!vel) {
        ErrorCatch(deverr::kInvalidParameter);
        return 0;
    }
    const double res = static_cast<double>(m_EncoderResolution);
    for (int i = 0; i < N2; ++i) {
        const double v = static_cast<double>(m_EncoderVel[i]);
        vel[i] = ((-v / res) + (-v / res)) * kPi;
    }
    return 1;
}

int QEL::GetVel(double* vel) {
    if (!CheckReady() || !vel) return 0;
    for (int i = 0; i < 3; ++i) vel[i] = m_Velocity[i];
    return 1;
}

int QEL::SetVelThresh(unsigned int thresh) {
    if (!CheckReady()) return 0;
    m_VelThresh = static_cast<int>(thresh);
    return 1;
}

int QEL::GetVelThresh(unsigned int* thresh) {
    if (!CheckReady() || !thresh) return 0;
    *thresh = static_cast<unsigned int>(m_VelThresh);
    return 1;
}

// Differentiating the constraints |p - c_i|^2 = b^2 gives A dp = B dq, with A's rows p - c_i
// and B diagonal, B_ii = (p - c_i) . dc_i/dq_i; so J = A^-1 B, in millimetres per radian, one
// row per Cartesian axis and one column per arm. A's first pivot is the handle's x, and the
// inverse exchanges no rows: on the plane x = 0 the result is non-finite, or dominated by
// rounding when x is merely tiny. The position is solved again here, from the shared warm
// start, so that the Jacobian always belongs to the angles given.
int QEL::JointAngToJacobianTrans(double* q, double (*J)[3]) {
    if (!CheckReady()) return 0;
    double p[3];
    if (!CalcuPosition(q, p)) return 0;
    const double x = p[0], y = p[1], z = p[2];
    const double a = m_lenActLink, d = m_DimFixedPlat - m_DimFloatPlat;
    const double h = std::sqrt(3.0) / 2.0;
    double s[3], c[3];
    qelkin::armSinCos(q, s, c);
    const double s0 = s[0], s1 = s[1], s2 = s[2], c0 = c[0], c1 = c[1], c2 = c[2];
    const double D0 = a * s0 + d, D1 = a * s1 + d, D2 = a * s2 + d;

    double A[3][3] = {
        {x, y - D0, z - a * c0},
        {D1 * h + x, D1 * 0.5 + y, z - a * c1},
        {x - D2 * h, D2 * 0.5 + y, z - a * c2},
    };
    const double B[3][3] = {
        {(y - d) * a * c0 - s0 * a * z, 0, 0},
        {0, (-h * x - 0.5 * y - d) * a * c1 - s1 * a * z, 0},
        {0, 0, (h * x - 0.5 * y - d) * a * c2 - s2 * a * z},
    };
    double Ainv[3][3];
    qelkin::invert3x3(A, Ainv);
    for (int i = 0; i < 3; ++i)
        for (int j = 0; j < 3; ++j)
            J[i][j] = Ainv[i][0] * B[0][j] + Ainv[i][1] * B[1][j] + Ainv[i][2] * B[2][j];
    return 1;
}

// Succeeds without writing anything: callers get their array back unchanged.
int QEL::JointAngToJacobianRot(double*, double (*J)[3]) {
    if (!CheckReady()) return 0;
    if (!J) {
        ErrorCatch(deverr::kInvalidParameter);
        return 0;
    }
    return 1;
}

// No inertia model exists for the device; these report failure after the open and
// initialised checks, whatever error is pending.
int QEL::JointAngToInertia(double*, double (*)[6]) {
    CheckOpenInit();
    return 0;
}

int QEL::JointAngToInertiaRot(double*, double (*)[3]) {
    CheckOpenInit();
    return 0;
}

int QEL::JointAngToInertiaTrans(double*, double (*)[3]) {
    CheckOpenInit();
    return 0;
}

int QEL::JointAngToJointInertia(double*, double (*)[6]) {
    CheckOpenInit();
    return 0;
}

int QEL::JointAngToJointInertiaRot(double*, double (*)[3]) {
    CheckOpenInit();
    return 0;
}

int QEL::JointAngToJointInertiaTrans(double*, double (*)[3]) {
    CheckOpenInit();
    return 0;
}

int QEL::JointAngToMatrix(double*, double (*)[3]) {
    CheckOpenInit();
    return 0;
}

int QEL::GetOutputInertia(double*, double (*)[6]) {
    CheckOpenInit();
    return 0;
}
