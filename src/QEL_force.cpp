// Force transmission geometry, gravity compensation and force to motor commands.
#include "QEL.h"

#include <cmath>

double Enta[3] = {1.5707963 * 1, 1.5707963 * 7 / 3, 1.5707963 * 11 / 3};

int QEL::CalcuForceTransMatrix(double*, double (*)[3]) { return 0; }
int QEL::CalcuLinkForce(const qelVector3D<double>&, double*) { return 0; }
int QEL::CalcuActLinkVect(qelVector3D<double>*) { return 0; }

// Runs before the device is initialised (initialisation itself calls it), so it asks only for
// an open port.
int QEL::CalcuFixedLinkVect(qelVector3D<double>* out) {
    if (!m_fOpen) {
        ErrorCatch(1);
        return 0;
    }
    if (!out) {
        ErrorCatch(258);
        return 0;
    }
    for (int i = 0; i < 3; ++i)
        out[i].set(-m_DimFixedPlat * std::cos(Enta[i]), -m_DimFixedPlat * std::sin(Enta[i]), 0.0);
    return 1;
}
int QEL::CalcuPassLinkVect(qelVector3D<double>*) { return 0; }
int QEL::CalcuNormVect(const qelVector3D<double>*, const qelVector3D<double>*,
                       qelVector3D<double>*) {
    return 0;
}
int QEL::CalcuPassLinkForceVect(const qelVector3D<double>*, const double*, qelVector3D<double>*) {
    return 0;
}
int QEL::CalcuTorqFromOutputForce(const qelVector3D<double>&, double*, double*) { return 0; }
int QEL::CalcuActLinkGravPointVect(qelVector3D<double>*) { return 0; }
int QEL::CalcuGravCompTorq(double*, double (*)[3], double*) { return 0; }
int QEL::SetJointTrq(double*, double*, unsigned char) { return 0; }
int QEL::MotToJointTrq(unsigned short*, double*, double*, unsigned char) { return 0; }
int QEL::JointTrqToMot(double*, double*, short*, unsigned char) { return 0; }
int QEL::MotToOpFrc(short*, int*, double*) { return 0; }
int QEL::OpFrcToMot(double*, unsigned int*, short*) { return 0; }
int QEL::GetJointTorq(double*) { return 0; }
int QEL::JointAngToGravityJointTrq(double*, double*, unsigned char, double) { return 0; }
int QEL::JointAngToJointTrqExtrema(double*, double*, double*, unsigned char) { return 0; }
int QEL::GripFrcToTrq(double, double&) { return 0; }
int QEL::GripTorToFrc(double, double&) { return 0; }
int QEL::SetGravity(bool, double) { return 0; }
int QEL::GetGravityCompensation() { return 0; }
int QEL::SetStandardGravity(double) { return 0; }
double QEL::GetG(double) { return 0.0; }
int QEL::SetEffectorMass(double) { return 0; }
double QEL::GetEffectorMass() { return 0.0; }
