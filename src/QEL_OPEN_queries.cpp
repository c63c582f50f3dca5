// SPDX-License-Identifier: MIT
// The handle's state: position, orientation, velocities, buttons, the communication rate, and
// the gripper and base-angle queries that no device answers.
#include "QEL_OPEN.h"
#include "QEL_OPEN_prologue.h"

// ---- Position and orientation ----

int qelGetPosition(double* px, double* py, double* pz, char ID) {
    // Handed out as the device object keeps it, in millimetres.
    double pos[3] = {}, rot[3][3] = {}, grip = 0.0;
    if (!callDevice(ID, kOpen, [&](QEL& d) { return d.GetOpPos(pos, rot, &grip); })) return 0;
    *px = pos[0];
    *py = pos[1];
    *pz = pos[2];
    return 1;
}

int qelGetOrientationFrame(double (*matrix)[3], char ID) {
    // The device object writes the caller's matrix itself.
    double pos[3] = {}, grip = 0.0;
    return callDevice(ID, kOpen, [&](QEL& d) { return d.GetOpPos(pos, matrix, &grip); });
}

int qelGetOrientationRad(double* oa, double* ob, double* og, char ID) {
    if (!prologue(ID)) return 0;
    return withExpertMode([&] {
        unsigned int e0 = 0, e1 = 0, e2 = 0;
        return qelGetWristEncoders(&e0, &e1, &e2, ID) &&
               qelWristEncoderToOrientation(e0, e1, e2, oa, ob, og, ID);
    });
}

int qelGetOrientationDeg(double* oa, double* ob, double* og, char ID) {
    if (!prologue(ID)) return 0;
    // ID is only validated: the angles are the current device's, as this function has always
    // answered.
    if (!qelGetOrientationRad(oa, ob, og, QEL_CURRENT_DEVICE)) return 0;
    *oa = toDegrees(*oa);
    *ob = toDegrees(*ob);
    *og = toDegrees(*og);
    return 1;
}

int qelGetPositionAndOrientationRad(double* px, double* py, double* pz, double* oa, double* ob,
                                    double* og, char ID) {
    if (!prologue(ID)) return 0;
    return qelGetPosition(px, py, pz, ID) && qelGetOrientationRad(oa, ob, og, ID);
}

int qelGetPositionAndOrientationDeg(double* px, double* py, double* pz, double* oa, double* ob,
                                    double* og, char ID) {
    if (!prologue(ID)) return 0;
    return qelGetPosition(px, py, pz, ID) && qelGetOrientationDeg(oa, ob, og, ID);
}

int qelGetPositionAndOrientationFrame(double* px, double* py, double* pz, double (*matrix)[3],
                                      char ID) {
    if (!prologue(ID)) return 0;
    return qelGetPosition(px, py, pz, ID) && qelGetOrientationFrame(matrix, ID);
}

// ---- Velocities ----

int qelGetLinearVelocity(double* vx, double* vy, double* vz, char ID) {
    double velocity[3] = {};
    if (!callDevice(ID, kOpen, [&](QEL& d) { return d.GetVel(velocity); })) return 0;
    *vx = velocity[0];
    *vy = velocity[1];
    *vz = velocity[2];
    return 1;
}

int qelGetAngularVelocityRad(double* wx, double* wy, double* wz, char ID) {
    // ID is only range-checked: the rates are the current device's wrist joints', read through
    // the expert function, so expert mode must be on.
    if (!prologue(ID, kInRange)) return 0;
    double rates[6] = {};
    if (!qelGetJointVelocities(rates, QEL_CURRENT_DEVICE)) return 0;
    *wx = rates[3];
    *wy = rates[4];
    *wz = rates[5];
    return 1;
}

int qelGetAngularVelocityDeg(double* wx, double* wy, double* wz, char ID) {
    if (!prologue(ID, kInRange)) return 0;
    if (!qelGetAngularVelocityRad(wx, wy, wz, QEL_CURRENT_DEVICE)) return 0;
    *wx = toDegrees(*wx);
    *wy = toDegrees(*wy);
    *wz = toDegrees(*wz);
    return 1;
}

// ---- Buttons and the communication rate ----

int qelGetButton(int index, char ID) {
    bool pressed = false;
    if (!callDevice(ID, kOpen, [&](QEL& d) { return d.GetButton(index, &pressed); })) return 0;
    return pressed ? 1 : 0;
}

double qelGetComFreq(char ID) {
    Target target = prologue(ID);
    if (!target) return 0.0;
    double rate = target.device->GetComFreq();
    // A rate of 0.0 is a failure only when the device holds a reason for it; a device that has
    // not yet counted a second of exchanges is not at fault.
    if (rate == 0.0 && target.device->m_ErrCode != 0) deviceFailed(target);
    return rate;
}

// ---- Gripper ----

int qelGetGripperAngleDeg(double* a, char ID) {
    if (!prologue(ID)) return 0;
    // The radian query writes nothing, so the angle handed out is the start value's.
    double radians = 0.0;
    if (!qelGetGripperAngleRad(&radians, ID)) return 0;
    *a = toDegrees(radians);
    return 1;
}

// ---- Queries no device answers: they validate the device and report success ----

int qelGetGripperAngleRad(double*, char ID) { return prologueOnly(ID); }
int qelGetGripperGap(double*, char ID) { return prologueOnly(ID); }
int qelGetGripperThumbPos(double*, double*, double*, char ID) { return prologueOnly(ID); }
int qelGetGripperFingerPos(double*, double*, double*, char ID) { return prologueOnly(ID); }
QELuint qelGetButtonMask(char ID) { return static_cast<QELuint>(prologueOnly(ID)); }
int qelEmulateButton(QELuchar, char ID) { return prologueOnly(ID); }
int qelConfigLinearVelocity(int, int, char ID) { return prologueOnly(ID); }
int qelConfigAngularVelocity(int, int, char ID) { return prologueOnly(ID); }
int qelConfigGripperVelocity(int, int, char ID) { return prologueOnly(ID); }
int qelGetGripperLinearVelocity(double*, char ID) { return prologueOnly(ID); }
int qelGetGripperAngularVelocityRad(double*, char ID) { return prologueOnly(ID); }
int qelGetGripperAngularVelocityDeg(double*, char ID) { return prologueOnly(ID); }
int qelGetBaseAngleXRad(double*, char ID) { return prologueOnly(ID); }
int qelGetBaseAngleXDeg(double*, char ID) { return prologueOnly(ID); }
int qelSetBaseAngleXRad(double, char ID) { return prologueOnly(ID); }
int qelSetBaseAngleXDeg(double, char ID) { return prologueOnly(ID); }
int qelGetBaseAngleZRad(double*, char ID) { return prologueOnly(ID); }
int qelGetBaseAngleZDeg(double*, char ID) { return prologueOnly(ID); }
int qelSetBaseAngleZRad(double, char ID) { return prologueOnly(ID); }
int qelSetBaseAngleZDeg(double, char ID) { return prologueOnly(ID); }
int qelGetDeviceAngleRad(double*, char ID) { return prologueOnly(ID); }
int qelGetDeviceAngleDeg(double*, char ID) { return prologueOnly(ID); }
int qelSetDeviceAngleRad(double, char ID) { return prologueOnly(ID); }
int qelSetDeviceAngleDeg(double, char ID) { return prologueOnly(ID); }
