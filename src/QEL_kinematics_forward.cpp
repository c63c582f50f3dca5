// SPDX-License-Identifier: MIT
// Forward kinematics: the handle's position from the arm's joint angles by Newton's method,
// the wrist's orientation from its three angles, and the refresh pass that runs both.
#include <cmath>
#include <cstring>

#include "QEL.h"
#include "QEL_kinematics_common.h"
#include "QEL_matrix.h"

using qelkin::kPi;

namespace {

// Arm i stands at the azimuth (4i + 3) pi / 6: 90, 210 and 330 degrees. The azimuths never
// change, so their cosines and sines are taken once.
double armAzimuth(int i) { return (4 * i + 3) * kPi / 6; }
const double kCosAzimuth[3] = {std::cos(armAzimuth(0)), std::cos(armAzimuth(1)),
                               std::cos(armAzimuth(2))};
const double kSinAzimuth[3] = {std::sin(armAzimuth(0)), std::sin(armAzimuth(1)),
                               std::sin(armAzimuth(2))};

// Newton's method stops once a step moves the estimate by less than this (sum of the
// absolute coordinate changes, millimetres), or after the step limit.
const double kSettled = 0.0001;
const int kMaxSteps = 100;

} // namespace

// The constraints of arm i, F_i(p) = |p - c_i|^2 - b^2, expanded in p so that the gradient is
// linear: F_i = |p|^2 + A_i . p + C_i and dF_i/dp = 2p + A_i.
int QEL::CalcuTempVar(double* p, double* q, double* F, double (*J)[3]) {
    if (!CheckReady()) return 0;
    if (!p) {
        ErrorCatch(deverr::kInvalidParameter);
        return 0;
    }
    const double p0 = p[0], p1 = p[1], p2 = p[2]; // F may be p itself
    const double a = m_lenActLink, b = m_lenPassLink;
    const double R = m_DimFixedPlat, r = m_DimFloatPlat;
    double sq[3], cq[3];
    qelkin::armSinCos(q, sq, cq);
    for (int i = 0; i < 3; ++i) {
        const double s = sq[i], c = cq[i];
        double D = a * s + R - r;
        double A0 = -2.0 * D * kCosAzimuth[i];
        double A1 = -2.0 * D * kSinAzimuth[i];
        double A2 = -2.0 * a * c;
        double C = D * D + (a * a * c) * c - b * b;
        F[i] = (p0 * p0 + p1 * p1 + p2 * p2) + A0 * p0 + A1 * p1 + A2 * p2 + C;
        J[i][0] = 2 * p0 + A0;
        J[i][1] = 2 * p1 + A1;
        J[i][2] = 2 * p2 + A2;
    }
    return 1;
}

int QEL::NewtonIteration(double* x, double* F, double (*Jinv)[3], double* xnew) {
    if (!CheckReady()) return 0;
    qelkin::newtonStep(x, F, Jinv, xnew, m_OutputDOF);
    return 1;
}

// Starts from the previous solution in m_InitPos, which every caller shares. The constraints
// have two solutions, mirror images through the elbows' plane; the start point decides which
// one is found, and the reset start (1, 1, 140) leads to the one with the larger z, where the
// handle is. A pose the arms cannot reach is not detected: the estimate after the last step
// is returned, as is a solution that has not settled within the step limit.
int QEL::CalcuPosition(double* q, double* p) {
    if (!CheckReady()) return 0;
    if (!m_fCalibrate) {
        ErrorCatch(deverr::kNotInitialized);
        return 0;
    }
    double F[3], J[3][3], Jinv[3][3];
    double xnew[3] = {m_InitPos[0], m_InitPos[1], m_InitPos[2]};
    for (int step = 1;; ++step) {
        if (!CalcuTempVar(m_InitPos, q, F, J)) return 0;
        // CalcuTempVar has just checked the device: the inverse and the step need no guard.
        qelkin::invert3x3(J, Jinv);
        qelkin::newtonStep(m_InitPos, F, Jinv, xnew, m_OutputDOF);
        double moved = std::fabs(xnew[0] - m_InitPos[0]) + std::fabs(xnew[1] - m_InitPos[1]) +
                       std::fabs(xnew[2] - m_InitPos[2]);
        if (moved < kSettled) break;
        std::memcpy(m_InitPos, xnew, sizeof xnew);
        if (step >= kMaxSteps) break;
    }
    std::memcpy(p, xnew, sizeof xnew);
    std::memcpy(m_InitPos, xnew, sizeof xnew);
    return 1;
}

namespace {

// rot = T * W: W = Rz(yaw) Ry(pitch) Rx(roll) of the wrist's joints, T the rotation by
// -lambda about y with which the wrist is mounted.
void wristOrientation(const double* angles, double lambda, double (*rot)[3]) {
    const double y = angles[3], t = angles[4], o = angles[5];
    const double cy = std::cos(y), sy = std::sin(y), ct = std::cos(t), st = std::sin(t);
    const double co = std::cos(o), so = std::sin(o);
    const double W[3][3] = {
        {cy * ct, cy * st * so - sy * co, cy * st * co + sy * so},
        {sy * ct, sy * st * so + cy * co, sy * st * co - cy * so},
        {-st, ct * so, ct * co},
    };
    double sl, cl;
    qelkin::sinCos(lambda, sl, cl);
    const double T[3][3] = {{cl, 0, -sl}, {0, 1.0, 0}, {sl, 0, cl}};
    for (int i = 0; i < 3; ++i)
        for (int j = 0; j < 3; ++j)
            rot[i][j] = T[i][0] * W[0][j] + T[i][1] * W[1][j] + T[i][2] * W[2][j];
}

} // namespace

// One refresh pass's kinematics. The Cartesian velocity always comes from the rates the
// device reported in the last cyclic frame, whatever counts are passed in. A speed above the
// threshold on any axis switches the drives off; the pass itself carries on and succeeds.
int QEL::EncToOpPos(unsigned int* enc, double* pos, double (*rot)[3]) {
    if (!CheckReady()) return 0;
    double angles[6] = {0, 0, 0, 0, 0, 0};
    double qdot[6] = {0, 0, 0, 0, 0, 0};
    double Jt[3][3] = {{0, 0, 0}, {0, 0, 0}, {0, 0, 0}};
    if (m_fBase) {
        if (!EncToJointAng(enc, angles, 0x07)) return 0;
        if (!CalcuPosition(angles, pos)) return 0;
        if (!JointAngToJacobianTrans(angles, Jt)) return 0;
        if (!GetJointVel(qdot)) return 0;
        for (int k = 0; k < 3; ++k)
            m_Velocity[k] = Jt[k][0] * qdot[0] + Jt[k][1] * qdot[1] + Jt[k][2] * qdot[2];
        const double limit = static_cast<double>(m_VelThresh);
        if (std::fabs(m_Velocity[0]) > limit || std::fabs(m_Velocity[1]) > limit ||
            std::fabs(m_Velocity[2]) > limit)
            EnableDevice(false);
    }
    if (m_fWrist) {
        if (!EncToJointAng(enc, angles, 0x38)) return 0;
        wristOrientation(angles, m_Lambuta, rot);
    }
    // The gripper has no encoder channel; its angle is computed with the gripper queries.
    if (m_fGipper) return EncToJointAng(enc, angles, 0x40);
    return 1;
}

int QEL::GetJointAng(double* ang, unsigned char mask, double* vel) {
    if (!CheckReady() || !qelkin::maskFitsDevice(*this, mask)) return 0;
    unsigned int counts[N2];
    double unused[N2];
    if (!GetEnc(counts, mask, unused, false)) return 0;
    if (!EncToJointAng(counts, ang, mask)) return 0;
    return GetJointVel(vel);
}

// Each output is optional; a missing one ends the copy there, without an error. A device
// without a wrist reports a zero matrix, not the identity.
int QEL::GetOpPos(double* pos, double (*rot)[3], double* grip) {
    if (!CheckReady()) return 0;
    if (!pos) return 0;
    for (int i = 0; i < 3; ++i) pos[i] = m_Position[i];
    if (!rot) return 0;
    for (int i = 0; i < 3; ++i)
        for (int j = 0; j < 3; ++j) rot[i][j] = m_fWrist ? m_Orientation[i][j] : 0.0;
    if (!grip) return 0;
    *grip = m_fGipper ? m_GripAngle : 0.0;
    return 1;
}
