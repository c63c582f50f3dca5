// SPDX-License-Identifier: MIT
// A Cartesian force on the handle to joint torques and signed 16-bit motor commands, the inverse
// and auxiliary torque conversions, and the same torques from the statics of the link chains.
#include "QEL.h"

#include <cmath>

namespace {

// Motor units: full scale, +-32767, is +- the nominal motor torque; truncated toward zero and
// kept to 16 bits. Without a nominal torque there is no scale, and the command is 0.
short toMotorUnits(double motorTorque, double nominal) {
    double units = 65535.0 * motorTorque / (2 * nominal);
    if (!(units > -2147483648.0 && units < 2147483648.0)) return 0;
    return static_cast<short>(static_cast<uint16_t>(static_cast<int32_t>(units)));
}

} // namespace

// Runs on the refresh thread every pass while force output and the drives are on: no
// allocation, no lock, nothing but arithmetic on the counts of the pass.
int QEL::OpFrcToMot(double* force, unsigned int* enc, short* mot) {
    if (!CheckReady()) return 0;
    double torque[3] = {}, gravity[3] = {};
    // A force component that is not a number, or infinite, is no force along its axis: it
    // would otherwise spread over every joint's torque.
    double finiteForce[3];
    for (int k = 0; k < 3; ++k) finiteForce[k] = std::isfinite(force[k]) ? force[k] : 0.0;
    if (m_fBase) {
        double theta[6] = {};
        if (!EncToJointAng(enc, theta, 7)) return 0;
        double jacobian[3][3], jacobianT[3][3];
        if (!JointAngToJacobianTrans(theta, jacobian)) return 0;
        MatTranspose(jacobian, jacobianT);
        for (int r = 0; r < 3; ++r) {
            double sum = 0;
            for (int k = 0; k < 3; ++k) sum += jacobianT[r][k] * finiteForce[k];
            torque[r] = sum;
        }
        if (m_fGravComp && !CalcuGravCompTorq(m_Position, jacobianT, gravity)) return 0;
    }
    if (!m_fForceEnable || !m_fDeviceEnable) return 0;
    for (int i = 0; i < 3; ++i) torque[i] += gravity[i];
    // A refused conversion still counts as done: the refresh thread ignores the result, and
    // callers of the conversion have always seen 1 here.
    if (!JointTrqToMot(torque, m_TransRat, mot, 7)) return 1;
    for (int i = 0; i < 3; ++i) {
        m_JointTorque[i] = torque[i];
        m_Force[i] = force[i];
    }
    return 1;
}

int QEL::JointTrqToMot(double* torque, double* ratio, short* mot, unsigned char mask) {
    if (!CheckReady()) return 0;
    if (mask & 0x80) return 0;
    // Without an active wrist only the arm's bits pass, and with them the gripper's bit
    // (64-71); without an active gripper nothing beyond the arm passes.
    if (!m_fActiveWrist && ((mask >= 8 && mask <= 63) || mask > 71)) return 0;
    if (!m_fActiveGripper && mask > 7) return 0;
    double nominal = m_NominalTorque;
    for (int i = 0; i < 3; ++i) {
        if (!(mask & (1u << i))) continue;
        double motorTorque = torque[i] / ratio[i];
        // A torque that is not finite (a singular pose, a force beyond range) drives nothing.
        if (!std::isfinite(motorTorque)) motorTorque = 0.0;
        if (motorTorque > nominal) motorTorque = nominal;
        if (motorTorque < -nominal) motorTorque = -nominal;
        mot[i] = toMotorUnits(motorTorque, nominal);
    }
    return 1;
}

// Not the inverse of JointTrqToMot, and kept so: the scale is an integer quotient (0 for any
// nominal torque below 32768), the first motor value is used for every joint, and the mask
// picks one output.
int QEL::MotToJointTrq(unsigned short* mot, double* ratio, double* torque, unsigned char mask) {
    if (!CheckReady()) return 0;
    int index;
    switch (mask) {
    case 1:
        index = 0;
        break;
    case 2:
        index = 1;
        break;
    case 4:
        index = 2;
        break;
    default:
        ErrorCatch(deverr::kInvalidParameter);
        return 0;
    }
    int nominal = m_NominalTorque;
    int scale = (2 * nominal) / 65535;
    torque[index] = ratio[index] * static_cast<double>(scale * mot[0] - nominal);
    return 1;
}

int QEL::SetJointTrq(double* torque, double*, unsigned char index) {
    if (!CheckReady()) return 0;
    if (index > 2) {
        ErrorCatch(deverr::kInvalidParameter);
        return 0;
    }
    m_JointTorque[index] = torque[index];
    return 1;
}

int QEL::GetJointTorq(double* torque) {
    if (!CheckReady() || !torque) return 0;
    for (int i = 0; i < 3; ++i) torque[i] = m_JointTorque[i];
    return 1;
}

// The joint torques for a force on the handle from the statics of each link chain: the force
// each passive link carries, taken in the plane of its arm, about the shoulder.
int QEL::CalcuTorqFromOutputForce(const qelVector3D<double>& force, double* pos, double* torque) {
    if (!CheckReady()) return 0;
    if (!torque) {
        ErrorCatch(deverr::kInvalidParameter);
        return 0;
    }
    if (!CalcuForceTransMatrix(pos, m_ForceTransMatrix) || !CalcuLinkForce(force, m_LinkForce) ||
        !CalcuActLinkVect(m_ActLinkVect) ||
        !CalcuNormVect(m_ActLinkVect, m_FixedLinkVect, m_NormVect) ||
        !CalcuPassLinkVect(m_PassLinkVect) ||
        !CalcuPassLinkForceVect(m_PassLinkVect, m_LinkForce, m_PassLinkForceVect))
        return 0;
    for (int i = 0; i < 3; ++i) {
        qelVector3Dd inPlane =
            m_PassLinkForceVect[i] - project(m_PassLinkForceVect[i], m_NormVect[i]);
        qelVector3Dd moment = crossProduct(m_ActLinkVect[i], inPlane);
        torque[i] = -dotProduct(moment, normalize(m_NormVect[i]));
    }
    return 1;
}

// Declared for the interface; their formulas are not settled.
int QEL::MotToOpFrc(short*, int*, double*) {
    CheckReady();
    return 0;
}

int QEL::JointAngToGravityJointTrq(double*, double*, unsigned char, double) {
    CheckReady();
    return 0;
}

int QEL::JointAngToJointTrqExtrema(double*, double*, double*, unsigned char) {
    CheckReady();
    return 0;
}

int QEL::GripFrcToTrq(double, double&) {
    CheckReady();
    return 0;
}

int QEL::GripTorToFrc(double, double&) {
    CheckReady();
    return 0;
}
