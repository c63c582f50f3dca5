// SPDX-License-Identifier: MIT
// The force transmission geometry of the delta arm: per arm a fixed link from the base's centre
// to the shoulder, an actuated link driven by the motor, and a passive parallelogram link to the
// moving platform; their vectors, the normals of the arms' planes, and the forces the passive
// links carry for a force on the handle.
#include "QEL.h"

#include <cmath>

#include "QEL_force_common.h"
#include "QEL_kinematics_common.h"
#include "QEL_matrix.h"

using qelforce::cosEnta;
using qelforce::sinEnta;

double Enta[3] = {1.5707963 * 1, 1.5707963 * 7 / 3, 1.5707963 * 11 / 3};

const double qelforce::cosEnta[3] = {std::cos(Enta[0]), std::cos(Enta[1]), std::cos(Enta[2])};
const double qelforce::sinEnta[3] = {std::sin(Enta[0]), std::sin(Enta[1]), std::sin(Enta[2])};

namespace {

// At this angle the actuated link lies in the base plane, and the normal's orientation flips.
const double kQuarterTurn = 1.5707963;

} // namespace

int QEL::ReadArmAngles(double* angles, const void* out) {
    if (!CheckReady()) return 0;
    // The read also writes the velocities of all six channels.
    double velocities[6] = {};
    if (!GetJointAng(angles, 7, velocities)) return 0;
    if (!out) {
        ErrorCatch(deverr::kInvalidParameter);
        return 0;
    }
    return 1;
}

// Runs before the device is initialised (initialisation itself calls it), so it asks only for
// an open port.
int QEL::CalcuFixedLinkVect(qelVector3D<double>* out) {
    if (!m_fOpen) {
        ErrorCatch(deverr::kNotOpen);
        return 0;
    }
    if (!out) {
        ErrorCatch(deverr::kInvalidParameter);
        return 0;
    }
    for (int i = 0; i < 3; ++i)
        out[i].set(-m_DimFixedPlat * cosEnta[i], -m_DimFixedPlat * sinEnta[i], 0.0);
    return 1;
}

int QEL::CalcuActLinkVect(qelVector3D<double>* out) {
    double theta[6] = {};
    if (!ReadArmAngles(theta, out)) return 0;
    // The joint angle is measured from the z axis.
    double s[3], c[3];
    qelkin::armSinCos(theta, s, c);
    for (int i = 0; i < 3; ++i)
        out[i].set(m_lenActLink * s[i] * cosEnta[i], m_lenActLink * s[i] * sinEnta[i],
                   m_lenActLink * c[i]);
    return 1;
}

int QEL::CalcuPassLinkVect(qelVector3D<double>* out) {
    double theta[6] = {};
    if (!ReadArmAngles(theta, out)) return 0;
    // From the elbow to the platform point: the elbow's distance from the axis is shifted by
    // the platform's radius, which stands the platform's attachment in for its centre.
    double s[3], c[3];
    qelkin::armSinCos(theta, s, c);
    for (int i = 0; i < 3; ++i) {
        double r = m_lenActLink * s[i] + m_DimFixedPlat - m_DimFloatPlat;
        out[i].set(m_Position[0] - r * cosEnta[i], m_Position[1] - r * sinEnta[i],
                   m_Position[2] - m_lenActLink * c[i]);
    }
    return 1;
}

int QEL::CalcuNormVect(const qelVector3D<double>* act, const qelVector3D<double>* fixed,
                       qelVector3D<double>* out) {
    double theta[6] = {};
    if (!ReadArmAngles(theta, out)) return 0;
    // Not normalised; oriented so that it keeps its side as the link passes the base plane.
    for (int i = 0; i < 3; ++i)
        out[i] = theta[i] > kQuarterTurn ? crossProduct(act[i], fixed[i])
                                         : crossProduct(fixed[i], act[i]);
    return 1;
}

int QEL::CalcuForceTransMatrix(double* pos, double (*out)[3]) {
    if (!CheckReady()) return 0;
    // Three reads, the k-th with mask k + 1 at offset k: each writes joint j at offset j from
    // where it is pointed, so element 0 ends as theta0, element 2 as theta0 (written twice) and
    // element 1 is never written. Applications have always seen arm 1 computed at angle 0;
    // the array is zeroed for it, and one spare element (and six velocities past the last
    // offset) take the writes beyond the three.
    double theta[4] = {};
    double velocities[2 + 6] = {};
    for (int k = 0; k < 3; ++k)
        if (!GetJointAng(theta + k, static_cast<unsigned char>(k + 1), velocities + k)) return 0;
    if (!out) {
        ErrorCatch(deverr::kInvalidParameter);
        return 0;
    }
    // Column i: the unit vector from the platform point towards elbow i.
    for (int i = 0; i < 3; ++i) {
        double r = m_lenActLink * std::sin(theta[i]) + m_DimFixedPlat - m_DimFloatPlat;
        out[0][i] = (cosEnta[i] * r - pos[0]) / m_lenPassLink;
        out[1][i] = (sinEnta[i] * r - pos[1]) / m_lenPassLink;
        out[2][i] = (m_lenActLink * std::cos(theta[i]) - pos[2]) / m_lenPassLink;
    }
    return 1;
}

// The passive links' tensions f that balance the force: M f = F, with the matrix last computed
// into m_ForceTransMatrix.
int QEL::CalcuLinkForce(const qelVector3D<double>& force, double* out) {
    if (!CheckReady()) return 0;
    if (!out) {
        ErrorCatch(deverr::kInvalidParameter);
        return 0;
    }
    double inverse[3][3];
    qelkin::invert3x3(m_ForceTransMatrix, inverse);
    int dof = m_OutputDOF < 3 ? m_OutputDOF : 3;
    for (int r = 0; r < dof; ++r) {
        double sum = 0;
        for (int k = 0; k < dof; ++k) sum += inverse[r][k] * force[k];
        out[r] = sum;
    }
    return 1;
}

int QEL::CalcuPassLinkForceVect(const qelVector3D<double>* passLink, const double* linkForce,
                                qelVector3D<double>* out) {
    if (!CheckReady()) return 0;
    if (!out) {
        ErrorCatch(deverr::kInvalidParameter);
        return 0;
    }
    for (int i = 0; i < 3; ++i) out[i] = normalize(passLink[i]) * linkForce[i];
    return 1;
}
