// SPDX-License-Identifier: MIT
// Force output: the commanded force, the combined force, torque and gripper commands, gravity
// compensation and the brakes.
#include "QEL_OPEN.h"
#include "QEL_OPEN_prologue.h"

namespace {

const double kEarthGravity = 9.81;

// A release the device refused may still have taken effect there, so the brakes are engaged
// again. The refusal left its error pending in the device object, where it would stop the
// engage like every other operation: the error is set aside for the engage and put back
// afterwards, so that the device still tells why the release failed.
void engageAfterRefusedRelease(QEL& device) {
    uint16_t code = device.m_ErrCode;
    const char* text = device.m_ErrString;
    device.ClearError();
    device.SetBrakes(true);
    device.m_ErrCode = code;
    device.m_ErrString = text;
}

} // namespace

// ---- Force ----

int qelSetForce(double fx, double fy, double fz, char ID) {
    Target target = prologue(ID);
    if (!target) return 0;
    // The refresh thread renders the force on its next passes while force and drives are
    // enabled; nothing is sent or checked here.
    target.device->m_Force[0] = fx;
    target.device->m_Force[1] = fy;
    target.device->m_Force[2] = fz;
    return 1;
}

int qelGetForce(double* fx, double* fy, double* fz, char ID) {
    double force[3] = {};
    if (!callDevice(ID, kOpen, [&](QEL& d) { return d.GetOpFrc(force); })) return 0;
    *fx = force[0];
    *fy = force[1];
    *fz = force[2];
    return 1;
}

// ---- Force combined with wrist torques and the gripper force ----

int qelSetForceAndTorque(double fx, double fy, double fz, double tx, double ty, double tz,
                         char ID) {
    if (!prologue(ID)) return 0;
    // The torques are taken as the wrist's three joint torques.
    return withExpertMode(
        [&] { return qelSetForceAndWristJointTorques(fx, fy, fz, tx, ty, tz, ID); });
}

int qelSetForceAndWristJointTorques(double fx, double fy, double fz, double t0, double t1,
                                    double t2, char ID) {
    if (!prologue(ID, kExpertFunction)) return 0;
    if (!qelSetForce(fx, fy, fz, ID)) return 0;
    if (!qelHasActiveWrist(ID)) return 1;
    return qelSetWristJointTorques(t0, t1, t2, ID);
}

int qelSetForceAndGripperForce(double fx, double fy, double fz, double fg, char ID) {
    if (!prologue(ID)) return 0;
    return withExpertMode([&] {
        unsigned int w0 = 0, w1 = 0, w2 = 0, gripperCount = 0;
        // The gripper force has no conversion to a motor command behind it, so the command
        // keeps this start value.
        short command = 0;
        return qelGetWristEncoders(&w0, &w1, &w2, ID) && qelGetGripperEncoder(&gripperCount, ID) &&
               qelGripperForceToMotor(fg, &command, &gripperCount, ID) &&
               qelSetForce(fx, fy, fz, ID) && qelSetMotor(6, command, ID);
    });
}

int qelSetForceAndTorqueAndGripperForce(double fx, double fy, double fz, double tx, double ty,
                                        double tz, double fg, char ID) {
    if (!prologue(ID)) return 0;
    return withExpertMode([&] {
        return qelSetForceAndWristJointTorquesAndGripperForce(fx, fy, fz, tx, ty, tz, fg, ID);
    });
}

// ---- Gravity compensation ----

int qelSetGravityCompensation(int val, char ID) {
    return callDevice(ID, kOpen, [=](QEL& d) { return d.SetGravity(val != 0, kEarthGravity); });
}

int qelSetStandardGravity(double g, char ID) {
    Target target = prologue(ID);
    if (!target) return 0;
    // A refusal is told by the result alone; the reason stays in the device.
    return target.device->SetStandardGravity(g) ? 1 : 0;
}

// ---- Brakes ----

int qelSetBrakes(int val, char ID) {
    Target target = prologue(ID);
    if (!target) return 0;
    if (val == 1) return callDevice(target, [](QEL& d) { return d.SetBrakes(true); });
    if (val != 0) {
        qelErrorCatch(apierr::kInvalidParameter, static_cast<unsigned char>(target.id));
        return 0;
    }
    if (target.device->SetBrakes(false)) return 1;
    // The caller learns of the failed release from the result; the record is left alone.
    engageAfterRefusedRelease(*target.device);
    return 0;
}

// ---- Functions no device answers: they validate the device and report success ----

int qelGetForceAndTorque(double*, double*, double*, double*, double*, double*, char ID) {
    return prologueOnly(ID);
}
int qelGetForceAndTorqueAndGripperForce(double*, double*, double*, double*, double*, double*,
                                        double*, char ID) {
    return prologueOnly(ID);
}
int qelSetEffectorMass(double, char ID) { return prologueOnly(ID); }
int qelGetEffectorMass(double*, char ID) { return prologueOnly(ID); }
int qelSetOutput(QELuint, char ID) { return prologueOnly(ID); }
int qelSetVibration(double, double, int, char ID) { return prologueOnly(ID); }

int qelSetForceAndWristJointTorquesAndGripperForce(double, double, double, double, double, double,
                                                   double, char ID) {
    return prologueOnly(ID, kExpertFunction);
}
int qelSetTimeGuard(int, char ID) { return prologueOnly(ID, kExpertFunction); }
// Its expert-mode error names node 1 whatever device ID names.
int qelSetBrk(QELuchar, char ID) { return prologueOnly(ID, kExpertFunction, 1); }
