// SPDX-License-Identifier: MIT
// Gravity compensation: the joint torques that hold the arm's own weight, so that a released
// handle floats, and the gravity settings of the device object.
//
// The model's gravity is the constant 9.8 along -y of the device frame. The value the settings
// store is reported back but does not enter the model: applications tuned against that.
#include "QEL.h"

#include <cmath>

#include "QEL_force_common.h"

namespace {

const double kGravity = 9.8;
const double kQuarterTurn = 1.5707963;
// Joint 0's angle at which a type-2 device's balancing spring has its initial length: 149
// degrees with pi taken as 3.1415926.
const double kSpringRestAngle = 2.600540541111111;

} // namespace

int QEL::CalcuActLinkGravPointVect(qelVector3D<double>* out) {
    double theta[6] = {};
    if (!ReadArmAngles(theta, out)) return 0;
    // From the shoulder to the actuated link's centre of gravity, off the link's axis by beta.
    for (int i = 0; i < 3; ++i) {
        double s = std::sin(theta[i] + m_Beta);
        out[i].set(m_lenActLinkGrav * s * qelforce::cosEnta[i],
                   m_lenActLinkGrav * s * qelforce::sinEnta[i],
                   m_lenActLinkGrav * std::cos(theta[i] + m_Beta));
    }
    return 1;
}

// Runs on the refresh thread every pass while compensation is on: no allocation, no lock.
int QEL::CalcuGravCompTorq(double*, double (*jacT)[3], double* torque) {
    if (!CheckReady()) return 0;
    if (!torque) {
        ErrorCatch(deverr::kInvalidParameter);
        return 0;
    }
    // The geometry of this pass; a failure leaves the previous vectors, and the angle read
    // below decides.
    CalcuActLinkVect(m_ActLinkVect);
    CalcuFixedLinkVect(m_FixedLinkVect);
    CalcuNormVect(m_ActLinkVect, m_FixedLinkVect, m_NormVect);
    CalcuActLinkGravPointVect(m_ActLinkGravPointVect);

    // The platform carries itself and half of each passive link; the other half of a passive
    // link hangs at its elbow; the actuated link's weight acts at its centre of gravity.
    const qelVector3Dd platform(0, -(1.5 * m_gPassLink + m_gFloatPlat) * kGravity, 0);
    const qelVector3Dd elbow(0, -0.5 * m_gPassLink * kGravity, 0);
    const qelVector3Dd link(0, -m_gActLink * kGravity, 0);

    double platformTorque[3];
    for (int r = 0; r < 3; ++r) {
        double sum = 0;
        for (int k = 0; k < 3; ++k) sum += jacT[r][k] * platform[k];
        platformTorque[r] = -sum;
    }

    // Each arm reads the angles afresh; the read also writes all six joint velocities.
    double theta[6] = {}, velocities[6] = {};
    double armTorque[3];
    for (int i = 0; i < 3; ++i) {
        // The weights' components in the arm's plane.
        qelVector3Dd elbowInPlane = elbow - project(elbow, m_NormVect[i]);
        qelVector3Dd linkInPlane = link - project(link, m_NormVect[i]);
        if (!GetJointAng(theta, 7, velocities)) return 0;
        qelVector3Dd d, e;
        if (kQuarterTurn > theta[i]) {
            d = crossProduct(elbowInPlane, m_ActLinkVect[i]);
            e = crossProduct(linkInPlane, m_ActLinkGravPointVect[i]);
        } else {
            d = crossProduct(m_ActLinkVect[i], elbowInPlane);
            e = crossProduct(m_ActLinkGravPointVect[i], linkInPlane);
        }
        armTorque[i] = -dotProduct(d + e, normalize(m_NormVect[i]));
    }
    for (int i = 0; i < 3; ++i) torque[i] = platformTorque[i] + armTorque[i];

    // A type-2 device balances joint 0 with a spring on a lever.
    if (m_DeviceType == 2) {
        double length = (kSpringRestAngle - theta[0]) * m_SprRadius + m_SprInitLen;
        double force = m_SprK * length + m_SprInitForce;
        torque[0] -= m_SprRadius * force;
    }
    return 1;
}

int QEL::SetGravity(bool on, double g) {
    if (!CheckReady() || !(g > 0)) return 0;
    m_fGravComp = on;
    if (on) m_GravityConstant = g;
    return 1;
}

// Reports 0 whatever the flag; applications read compensation through their own setting.
int QEL::GetGravityCompensation() { return 0; }

int QEL::SetStandardGravity(double g) {
    if (!CheckReady()) return 0;
    if (!(g >= 0)) {
        ErrorCatch(deverr::kInvalidParameter);
        return 0;
    }
    m_GravityConstant = g;
    return 1;
}

double QEL::GetG(double) { return 1.0; }

// The effector's mass enters no model; it is not kept.
int QEL::SetEffectorMass(double) {
    CheckOpenInit();
    return 0;
}

double QEL::GetEffectorMass() { return m_fOpen && m_fInit ? 1.0 : 0.0; }
