// SPDX-License-Identifier: MIT
// Expert functions: raw encoder counts and motor commands, joint angles, and the conversions
// between them and Cartesian quantities. All but qelEnableDevice need expert mode.
#include "QEL_OPEN.h"
#include "QEL_OPEN_prologue.h"

namespace {

// Encoder channels of the device object: the arm's three, then the wrist's yaw, pitch, roll.
// The device object's conversions index their arrays by channel, so every array handed to
// them has room for all six, whichever channels the mask selects.
const int N2 = 6;

// Motor indices of the interface: the arm 0 to 2, the wrist 3 to 5, the gripper 6.
const int kMotorIndices = 7;

const unsigned char kArmAxes = 0x07;
const unsigned char kWristAxes = 0x38;

Target expert(char ID) { return prologue(ID, kExpertFunction); }

} // namespace

// ---- Encoders ----

int qelUpdateEncoders(char ID) {
    return callDevice(ID, kExpertFunction, [](QEL& d) {
        unsigned int counts[N2] = {};
        unsigned short status = 0;
        double rates[N2] = {};
        return d.GetEnc(counts, &status, rates, true);
    });
}

int qelGetEnc(unsigned int* enc, QELuchar mask, char ID) {
    return callDevice(ID, kExpertFunction, [=](QEL& d) {
        double unusedRate = 0.0;
        return d.GetEnc(enc, mask, &unusedRate, false);
    });
}

unsigned int qelGetEncoder(int index, char ID) {
    if (!expert(ID)) return 0;
    // Room for every motor index: the gripper's bit 6 selects no channel and leaves its 0.
    unsigned int counts[kMotorIndices] = {};
    if (!qelGetEnc(counts, static_cast<QELuchar>(1u << (index & 31)), ID)) return 0;
    return index >= 0 && index < kMotorIndices ? counts[index] : 0;
}

// The reads below are not checked one by one: a failed read yields 0 and leaves its error in
// the record.

int qelGetDeltaEncoders(int* enc0, int* enc1, int* enc2, char ID) {
    if (!expert(ID)) return 0;
    *enc0 = static_cast<int>(qelGetEncoder(0, ID));
    *enc1 = static_cast<int>(qelGetEncoder(1, ID));
    *enc2 = static_cast<int>(qelGetEncoder(2, ID));
    return 1;
}

int qelGetWristEncoders(unsigned int* enc0, unsigned int* enc1, unsigned int* enc2, char ID) {
    if (!expert(ID)) return 0;
    *enc0 = qelGetEncoder(3, ID);
    *enc1 = qelGetEncoder(4, ID);
    *enc2 = qelGetEncoder(5, ID);
    return 1;
}

int qelGetGripperEncoder(unsigned int* enc, char ID) {
    if (!expert(ID)) return 0;
    *enc = qelGetEncoder(6, ID);
    return 1;
}

// ---- Motors ----

int qelSetMotor(int index, short val, char ID) {
    Target target = expert(ID);
    if (!target) return 0;
    if (index < 0 || index >= kMotorIndices) {
        qelErrorCatch(apierr::kInvalidParameter, static_cast<unsigned char>(target.id));
        return 0;
    }
    // The motor frame carries the three arm motors only: the addressed one gets val and the
    // other two 0. A wrist or gripper index thus commands 0 to all three arm motors.
    short commands[kMotorIndices] = {};
    commands[index] = val;
    return callDevice(target, [&](QEL& d) { return d.SetMot(commands); });
}

int qelSetDeltaMotor(short mot0, short mot1, short mot2, char ID) {
    if (!expert(ID)) return 0;
    return qelSetMotor(0, mot0, ID) && qelSetMotor(1, mot1, ID) && qelSetMotor(2, mot2, ID);
}

int qelSetWristMotor(short mot0, short mot1, short mot2, char ID) {
    if (!expert(ID)) return 0;
    // Index 3 twice and index 4 never: applications have always seen the wrist's commands
    // land this way.
    return qelSetMotor(3, mot0, ID) && qelSetMotor(3, mot1, ID) && qelSetMotor(5, mot2, ID);
}

int qelSetGripperMotor(short mot, char ID) {
    if (!expert(ID)) return 0;
    return qelSetMotor(6, mot, ID);
}

int qelEnableDevice(bool a_on, char ID) {
    return callDevice(ID, kOpen, [=](QEL& d) { return d.EnableDevice(a_on); });
}

// ---- Conversions between counts, positions, angles and forces ----

int qelDeltaEncoderToPosition(int enc0, int enc1, int enc2, double* px, double* py, double* pz,
                              char ID) {
    // The whole chain runs, the wrist's part on zero counts into a matrix nobody reads.
    unsigned int counts[N2] = {static_cast<unsigned int>(enc0), static_cast<unsigned int>(enc1),
                               static_cast<unsigned int>(enc2)};
    double pos[3] = {}, rot[3][3] = {};
    if (!callDevice(ID, kExpertFunction, [&](QEL& d) { return d.EncToOpPos(counts, pos, rot); }))
        return 0;
    *px = pos[0];
    *py = pos[1];
    *pz = pos[2];
    return 1;
}

int qelDeltaPositionToEncoder(double px, double py, double pz, int* enc0, int* enc1, int* enc2,
                              char ID) {
    double pos[3] = {px, py, pz};
    unsigned int counts[N2] = {};
    if (!callDevice(ID, kExpertFunction, [&](QEL& d) { return d.OpPosToEnc(pos, counts, true); }))
        return 0;
    *enc0 = static_cast<int>(counts[0]);
    *enc1 = static_cast<int>(counts[1]);
    *enc2 = static_cast<int>(counts[2]);
    return 1;
}

int qelDeltaForceToMotor(double fx, double fy, double fz, int enc0, int enc1, int enc2,
                         QELushort* mot0, QELushort* mot1, QELushort* mot2, char ID) {
    double force[3] = {fx, fy, fz};
    unsigned int counts[N2] = {static_cast<unsigned int>(enc0), static_cast<unsigned int>(enc1),
                               static_cast<unsigned int>(enc2)};
    short commands[3] = {};
    if (!callDevice(ID, kExpertFunction,
                    [&](QEL& d) { return d.OpFrcToMot(force, counts, commands); }))
        return 0;
    *mot0 = static_cast<QELushort>(commands[0]);
    *mot1 = static_cast<QELushort>(commands[1]);
    *mot2 = static_cast<QELushort>(commands[2]);
    return 1;
}

int qelDeltaEncodersToJointAngles(unsigned int enc0, unsigned int enc1, unsigned int enc2,
                                  double* j0, double* j1, double* j2, char ID) {
    unsigned int counts[N2] = {enc0, enc1, enc2};
    double angles[N2] = {};
    if (!callDevice(ID, kExpertFunction,
                    [&](QEL& d) { return d.EncToJointAng(counts, angles, kArmAxes); }))
        return 0;
    *j0 = angles[0];
    *j1 = angles[1];
    *j2 = angles[2];
    return 1;
}

int qelDeltaJointAnglesToEncoders(double j0, double j1, double j2, unsigned int* enc0,
                                  unsigned int* enc1, unsigned int* enc2, char ID) {
    double angles[3] = {j0, j1, j2};
    unsigned int counts[3] = {};
    // Every angle goes through axis 0's calibration (mask 0x01): the function has always
    // converted this way, and the counts it hands out stay as they were.
    if (!callDevice(ID, kExpertFunction, [&](QEL& d) {
            for (int i = 0; i < 3; ++i)
                if (!d.JointAngToEnc(&angles[i], &counts[i], 0x01)) return 0;
            return 1;
        }))
        return 0;
    *enc0 = counts[0];
    *enc1 = counts[1];
    *enc2 = counts[2];
    return 1;
}

int qelWristEncodersToJointAngles(unsigned int enc0, unsigned int enc1, unsigned int enc2,
                                  double* j0, double* j1, double* j2, char ID) {
    unsigned int counts[N2] = {0, 0, 0, enc0, enc1, enc2};
    double angles[N2] = {};
    if (!callDevice(ID, kExpertFunction,
                    [&](QEL& d) { return d.EncToJointAng(counts, angles, kWristAxes); }))
        return 0;
    *j0 = angles[3];
    *j1 = angles[4];
    *j2 = angles[5];
    return 1;
}

int qelWristJointAnglesToEncoders(double j0, double j1, double j2, unsigned int* enc0,
                                  unsigned int* enc1, unsigned int* enc2, char ID) {
    // The angles reach the conversion in degrees although it takes radians: the function has
    // always converted this way, and the counts it hands out stay as they were.
    double degrees[3] = {toDegrees(j0), toDegrees(j1), toDegrees(j2)};
    unsigned int counts[3] = {};
    if (!callDevice(ID, kExpertFunction, [&](QEL& d) {
            for (int i = 0; i < 3; ++i) {
                unsigned char axis = static_cast<unsigned char>(0x08 << i);
                if (!d.JointAngToEnc(&degrees[i], &counts[i], axis)) return 0;
            }
            return 1;
        }))
        return 0;
    *enc0 = counts[0];
    *enc1 = counts[1];
    *enc2 = counts[2];
    return 1;
}

// The orientation angles are the wrist's joint angles.

int qelWristEncoderToOrientation(unsigned int enc0, unsigned int enc1, unsigned int enc2,
                                 double* oa, double* ob, double* og, char ID) {
    if (!expert(ID)) return 0;
    return qelWristEncodersToJointAngles(enc0, enc1, enc2, oa, ob, og, ID);
}

int qelWristOrientationToEncoder(double oa, double ob, double og, unsigned int* enc0,
                                 unsigned int* enc1, unsigned int* enc2, char ID) {
    if (!expert(ID)) return 0;
    return qelWristJointAnglesToEncoders(oa, ob, og, enc0, enc1, enc2, ID);
}

// ---- Joint angles, Jacobians, torques and velocities ----

namespace {

// The joint angles of the axes in mask, as of the last refresh, into out[0..2].
int jointAngles(unsigned char axes, int first, double* out0, double* out1, double* out2, char ID) {
    double angles[N2] = {}, rates[N2] = {};
    if (!callDevice(ID, kExpertFunction,
                    [&](QEL& d) { return d.GetJointAng(angles, axes, rates); }))
        return 0;
    *out0 = angles[first];
    *out1 = angles[first + 1];
    *out2 = angles[first + 2];
    return 1;
}

} // namespace

int qelGetDeltaJointAngles(double* j0, double* j1, double* j2, char ID) {
    return jointAngles(kArmAxes, 0, j0, j1, j2, ID);
}

int qelGetWristJointAngles(double* j0, double* j1, double* j2, char ID) {
    return jointAngles(kWristAxes, 3, j0, j1, j2, ID);
}

int qelGetJointAngles(double* j, char ID) {
    if (!expert(ID)) return 0;
    return qelGetDeltaJointAngles(&j[0], &j[1], &j[2], ID) &&
           qelGetWristJointAngles(&j[3], &j[4], &j[5], ID);
}

// The device object writes the caller's matrix itself, and only when it succeeds.

int qelDeltaJointAnglesToJacobian(double j0, double j1, double j2, double (*jcb)[3], char ID) {
    double angles[3] = {j0, j1, j2};
    return callDevice(ID, kExpertFunction,
                      [&](QEL& d) { return d.JointAngToJacobianTrans(angles, jcb); });
}

int qelWristJointAnglesToJacobian(double j0, double j1, double j2, double (*jcb)[3], char ID) {
    double angles[3] = {j0, j1, j2};
    return callDevice(ID, kExpertFunction,
                      [&](QEL& d) { return d.JointAngToJacobianRot(angles, jcb); });
}

int qelGetDeltaJacobian(double (*jcb)[3], char ID) {
    if (!expert(ID)) return 0;
    double j0 = 0, j1 = 0, j2 = 0;
    return qelGetDeltaJointAngles(&j0, &j1, &j2, ID) &&
           qelDeltaJointAnglesToJacobian(j0, j1, j2, jcb, ID);
}

int qelGetWristJacobian(double (*jcb)[3], char ID) {
    if (!expert(ID)) return 0;
    unsigned int e0 = 0, e1 = 0, e2 = 0;
    double j0 = 0, j1 = 0, j2 = 0;
    return qelGetWristEncoders(&e0, &e1, &e2, ID) &&
           qelWristEncodersToJointAngles(e0, e1, e2, &j0, &j1, &j2, ID) &&
           qelWristJointAnglesToJacobian(j0, j1, j2, jcb, ID);
}

int qelSetWristJointTorques(double t0, double t1, double t2, char ID) {
    if (!expert(ID)) return 0;
    unsigned int e0 = 0, e1 = 0, e2 = 0;
    // The torque conversion has no computation behind it and leaves these as they start: the
    // wrist motors are commanded 0.
    short m0 = 0, m1 = 0, m2 = 0;
    return qelGetWristEncoders(&e0, &e1, &e2, ID) &&
           qelWristTorqueToMotor(t0, t1, t2, static_cast<int>(e0), static_cast<int>(e1),
                                 static_cast<int>(e2), &m0, &m1, &m2, ID) &&
           qelSetWristMotor(m0, m1, m2, ID);
}

int qelGetJointTorques(double* t0, double* t1, double* t2, char ID) {
    double torques[3] = {};
    if (!callDevice(ID, kExpertFunction, [&](QEL& d) { return d.GetJointTorq(torques); })) return 0;
    *t0 = torques[0];
    *t1 = torques[1];
    *t2 = torques[2];
    return 1;
}

int qelGetJointVelocities(double* v, char ID) {
    return callDevice(ID, kExpertFunction, [=](QEL& d) { return d.GetJointVel(v); });
}

int qelGetEncVelocities(double* v, char ID) {
    return callDevice(ID, kExpertFunction, [=](QEL& d) { return d.GetEncVel(v); });
}

// ---- Expert functions without a computation behind them ----

int qelDeltaMotorToForce(QELushort, QELushort, QELushort, int, int, int, double*, double*, double*,
                         char ID) {
    return prologueOnly(ID, kExpertFunction);
}
int qelWristMotorToTorque(short, short, short, int, int, int, double*, double*, double*, char ID) {
    return prologueOnly(ID, kExpertFunction);
}
int qelWristTorqueToMotor(double, double, double, int, int, int, short*, short*, short*, char ID) {
    return prologueOnly(ID, kExpertFunction);
}
int qelGripperEncoderToAngleRad(int, double*, char ID) { return prologueOnly(ID, kExpertFunction); }
int qelGripperEncoderToGap(int, double*, char ID) { return prologueOnly(ID, kExpertFunction); }
int qelGripperAngleRadToEncoder(double, int*, char ID) { return prologueOnly(ID, kExpertFunction); }
int qelGripperGapToEncoder(double, int*, char ID) { return prologueOnly(ID, kExpertFunction); }
int qelGripperMotorToForce(short, double*, int*, char ID) {
    return prologueOnly(ID, kExpertFunction);
}
int qelGripperForceToMotor(double, short*, unsigned int*, char ID) {
    return prologueOnly(ID, kExpertFunction);
}
int qelSetMot(short*, QELuchar, char ID) { return prologueOnly(ID, kExpertFunction); }
int qelPreloadMot(short*, QELuchar, char ID) { return prologueOnly(ID, kExpertFunction); }
int qelDeltaJointTorquesExtrema(double, double, double, double*, double*, char ID) {
    return prologueOnly(ID, kExpertFunction);
}
int qelWristJointTorquesExtrema(double, double, double, double*, double*, char ID) {
    return prologueOnly(ID, kExpertFunction);
}
int qelDeltaGravityJointTorques(double, double, double, double*, double*, double*, char ID) {
    return prologueOnly(ID, kExpertFunction);
}
int qelWristGravityJointTorques(double, double, double, double*, double*, double*, char ID) {
    return prologueOnly(ID, kExpertFunction);
}
int qelSetDeltaJointTorques(double, double, double, char ID) {
    return prologueOnly(ID, kExpertFunction);
}
int qelJointAnglesToInertiaMatrix(double*, double (*)[6], char ID) {
    return prologueOnly(ID, kExpertFunction);
}
