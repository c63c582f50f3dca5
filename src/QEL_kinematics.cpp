// Encoders and joint angles, forward and inverse kinematics, Jacobians and velocities.
#include "QEL.h"

int QEL::ResetWrist() { return 0; }
int QEL::ConfigTranVel(double, int) { return 0; }
int QEL::ConfigRotaVel(double, int) { return 0; }
int QEL::ConfigGripVel(double, int) { return 0; }
int QEL::ConfigEncVel(double, int) { return 0; }
int QEL::GetEnc(unsigned int*, unsigned char, double*, bool) { return 0; }
int QEL::GetEnc(unsigned int*, unsigned short*, double*, bool) { return 0; }
int QEL::GetEncVel(double*) { return 0; }
int QEL::Preset(unsigned char, unsigned int) { return 0; }
int QEL::Preset(unsigned int*) { return 0; }
int QEL::EncToJointAng(unsigned int*, double*, unsigned char) { return 0; }
int QEL::JointAngToEnc(double*, unsigned int*, unsigned char) { return 0; }
int QEL::CalcuTempVar(double*, double*, double*, double (*)[3]) { return 0; }
int QEL::CalcuInvMatrix(double (*)[3], double (*)[3]) { return 0; }
int QEL::NewtonIteration(double*, double*, double (*)[3], double*) { return 0; }
int QEL::CalcuPosition(double*, double*) { return 0; }
int QEL::GetJointAng(double*, unsigned char, double*) { return 0; }
int QEL::GetJointVel(double*) { return 0; }
int QEL::EncToOpPos(unsigned int*, double*, double (*)[3]) { return 0; }
int QEL::OpPosToEnc(double*, unsigned int*, bool) { return 0; }
int QEL::GetOpPos(double*, double (*)[3], double*) { return 0; }
int QEL::GetVel(double*) { return 0; }
int QEL::SetVelThresh(unsigned int) { return 0; }
int QEL::GetVelThresh(unsigned int*) { return 0; }
int QEL::JointAngToInertia(double*, double (*)[6]) { return 0; }
int QEL::JointAngToInertiaRot(double*, double (*)[3]) { return 0; }
int QEL::JointAngToInertiaTrans(double*, double (*)[3]) { return 0; }
int QEL::JointAngToJacobianRot(double*, double (*)[3]) { return 0; }
int QEL::JointAngToJacobianTrans(double*, double (*)[3]) { return 0; }
int QEL::JointAngToJointInertia(double*, double (*)[6]) { return 0; }
int QEL::JointAngToJointInertiaRot(double*, double (*)[3]) { return 0; }
int QEL::JointAngToJointInertiaTrans(double*, double (*)[3]) { return 0; }
int QEL::JointAngToMatrix(double*, double (*)[3]) { return 0; }
int QEL::GetOutputInertia(double*, double (*)[6]) { return 0; }
