// The library's exported interface: a flat set of qel functions that find, open, initialise
// and close devices, read the handle's state and command forces. The header compiles as C and
// as C++; the few functions exported under C++ names are declared for C++ only.
//
// Devices are named by a 1-based identifier `ID`, passed last to every device function; -1
// stands for the current device (qelSetDevice, initially 1). Functions return 1 on success and
// 0 on failure unless documented otherwise; outputs are written only on success. Every failure
// is recorded in one last-error record shared by all devices: read it with qelErrorGetLast and
// qelErrorGetLastStr. Its codes:
//   0 no error, 1 no device connected, 2 device not open, 3 invalid input parameter (an
//   identifier out of range always reports node 1), 4 expert mode not set, and, when the
//   device itself failed, the device's own code and text (for example 19 "Data Recieve Failed"
//   or 20 "CRC Not Passed") with the device's identifier as node.
// A device error stays pending in its device: further device operations fail silently until
// the device is closed.
//
// Functions marked "placeholder" only validate the device (and expert mode where marked) and
// answer with a fixed result; they write none of their outputs.
//
// Units: lengths and positions in millimetres (also for velocities: millimetres per the
// device's velocity period), forces in newtons, angles in radians (functions ending in Deg use
// degrees, converted with pi taken as 3.1415926), encoder counts unsigned 32-bit, motor
// commands signed 16-bit with +-32767 standing for +- the motors' nominal torque.
//
// The interface keeps global state without locks: call it from one application thread.
#ifndef QEL_OPEN_H
#define QEL_OPEN_H

#include "qelDefines.h"

#ifndef __cplusplus
#include <stdbool.h>
#endif

#ifdef __cplusplus
// Records an error in the last-error record. Code 5 copies the code and text of the device
// `errNode` (the device's own error) into the record.
QEL_API void qelErrorCatch(unsigned short errCode, unsigned char errNode);

// Expert functions exported under their C++ names (see the expert section below).
QEL_API int qelGetDeltaEncoders(int* enc0, int* enc1, int* enc2, char ID);
QEL_API int qelDeltaEncoderToPosition(int enc0, int enc1, int enc2, double* px, double* py,
                                      double* pz, char ID);
QEL_API int qelDeltaPositionToEncoder(double px, double py, double pz, int* enc0, int* enc1,
                                      int* enc2, char ID);
QEL_API int qelGripperEncoderToAngleRad(int enc, double* a, char ID);        // placeholder
QEL_API int qelGripperEncoderToGap(int enc, double* g, char ID);             // placeholder
QEL_API int qelGripperAngleRadToEncoder(double a, int* enc, char ID);        // placeholder
QEL_API int qelGripperGapToEncoder(double g, int* enc, char ID);             // placeholder
QEL_API int qelGripperMotorToForce(short mot, double* frc, int* e, char ID); // placeholder

extern "C" {
#endif

// ---- Errors ----
QEL_API int qelErrorGetLast(unsigned int* errCode, unsigned int* errNode);
// The text of the last error; null before the first error, empty after qelClearError.
QEL_API const char* qelErrorGetLastStr(void);
// The text of interface code 0 to 5; any other value returns the text of the previous call.
QEL_API const char* qelErrorGetStr(int error);
QEL_API void qelClearError(void);

// ---- Counting and selecting ----
// Searches the system afresh and returns the number of attached devices (at most 10).
QEL_API int qelGetDeviceCount(void);
QEL_API int qelGetAvailableCount(void);
QEL_API int qelSetDevice(char ID);
QEL_API int qelGetDeviceID(void);

// ---- Opening and closing ----
QEL_API int qelOpen(void);
// Returns the identifier opened, or 0.
QEL_API int qelOpenID(char ID);
// Opens every device with this serial number and returns the identifier of the last one.
QEL_API int qelOpenSerial(unsigned int serial);
QEL_API int qelOpenType(int type); // always 0
QEL_API int qelClose(char ID);
QEL_API int qelInit(char ID);
QEL_API void qelEnableSimulator(bool on);

// ---- Identity and capabilities ----
QEL_API int qelGetSerialNumber(unsigned int* sn, char ID);
QEL_API int qelGetOperationMode(QELuchar* a_mode, char ID);
QEL_API int qelEnableForce(QELuchar val, char ID);
QEL_API int qelGetSystemType(char ID);
QEL_API const char* qelGetSystemName(char ID);
QEL_API bool qelIsLeftHanded(char ID);
QEL_API bool qelHasBase(char ID);
QEL_API bool qelHasWrist(char ID);
QEL_API bool qelHasActiveWrist(char ID);
QEL_API bool qelHasGripper(char ID);
QEL_API bool qelHasActiveGripper(char ID);
QEL_API int qelStop(char ID);                             // placeholder
QEL_API int qelGetComMode(char ID);                       // placeholder
QEL_API int qelEnableGripperForce(QELuchar val, char ID); // placeholder
QEL_API int qelGetVersion(double* ver, char ID);          // placeholder
QEL_API int qelGetStatus(int* status, char ID);           // placeholder
QEL_API int qelReset(char ID);                            // placeholder
QEL_API int qelResetWrist(char ID);                       // placeholder
QEL_API int qelWaitForReset(int timeout, char ID);        // placeholder
// Writes none of its outputs.
QEL_API void qelGetSDKVersion(int* major, int* minor, int* release, int* revision);

// ---- Expert mode (global to all devices) ----
QEL_API int qelEnableExpertMode(void);
QEL_API int qelDisableExpertMode(void);

// ---- Position, orientation and velocity ----
// The handle's position in millimetres, as of the last refresh of a calibrated device.
QEL_API int qelGetPosition(double* px, double* py, double* pz, char ID);
// The wrist's rotation matrix (all zero on a device without a wrist).
QEL_API int qelGetOrientationFrame(double (*matrix)[3], char ID);
// The wrist's yaw, pitch and roll joint angles. These borrow expert mode and leave it off.
QEL_API int qelGetOrientationRad(double* oa, double* ob, double* og, char ID);
// Answers for the current device whatever ID names (ID is only validated).
QEL_API int qelGetOrientationDeg(double* oa, double* ob, double* og, char ID);
QEL_API int qelGetPositionAndOrientationRad(double* px, double* py, double* pz, double* oa,
                                            double* ob, double* og, char ID);
QEL_API int qelGetPositionAndOrientationDeg(double* px, double* py, double* pz, double* oa,
                                            double* ob, double* og, char ID);
QEL_API int qelGetPositionAndOrientationFrame(double* px, double* py, double* pz,
                                              double (*matrix)[3], char ID);
QEL_API int qelGetLinearVelocity(double* vx, double* vy, double* vz, char ID);
// The wrist joints' rates of the current device (ID is only range-checked); needs expert mode.
QEL_API int qelGetAngularVelocityRad(double* wx, double* wy, double* wz, char ID);
QEL_API int qelGetAngularVelocityDeg(double* wx, double* wy, double* wz, char ID);
// The button's state, 0 or 1; 0 on failure too.
QEL_API int qelGetButton(int index, char ID);
// Cyclic exchanges per second; 0.0 on failure.
QEL_API double qelGetComFreq(char ID);
QEL_API int qelGetGripperAngleDeg(double* a, char ID); // 0.0: there is no gripper angle
QEL_API int qelGetGripperAngleRad(double* a, char ID); // placeholder
QEL_API int qelGetGripperGap(double* g, char ID);      // placeholder
QEL_API int qelGetGripperThumbPos(double* px, double* py, double* pz, char ID);  // placeholder
QEL_API int qelGetGripperFingerPos(double* px, double* py, double* pz, char ID); // placeholder
QEL_API QELuint qelGetButtonMask(char ID);                                       // 1
QEL_API int qelEmulateButton(QELuchar val, char ID);                             // placeholder
QEL_API int qelConfigLinearVelocity(int ms, int mode, char ID);                  // placeholder
QEL_API int qelConfigAngularVelocity(int ms, int mode, char ID);                 // placeholder
QEL_API int qelConfigGripperVelocity(int ms, int mode, char ID);                 // placeholder
QEL_API int qelGetGripperLinearVelocity(double* vg, char ID);                    // placeholder
QEL_API int qelGetGripperAngularVelocityRad(double* wg, char ID);                // placeholder
QEL_API int qelGetGripperAngularVelocityDeg(double* wg, char ID);                // placeholder
QEL_API int qelGetBaseAngleXRad(double* angle, char ID);                         // placeholder
QEL_API int qelGetBaseAngleXDeg(double* angle, char ID);                         // placeholder
QEL_API int qelSetBaseAngleXRad(double angle, char ID);                          // placeholder
QEL_API int qelSetBaseAngleXDeg(double angle, char ID);                          // placeholder
QEL_API int qelGetBaseAngleZRad(double* angle, char ID);                         // placeholder
QEL_API int qelGetBaseAngleZDeg(double* angle, char ID);                         // placeholder
QEL_API int qelSetBaseAngleZRad(double angle, char ID);                          // placeholder
QEL_API int qelSetBaseAngleZDeg(double angle, char ID);                          // placeholder
QEL_API int qelGetDeviceAngleRad(double* angle, char ID);                        // placeholder
QEL_API int qelGetDeviceAngleDeg(double* angle, char ID);                        // placeholder
QEL_API int qelSetDeviceAngleRad(double angle, char ID);                         // placeholder
QEL_API int qelSetDeviceAngleDeg(double angle, char ID);                         // placeholder

// ---- Forces ----
// The force the refresh thread renders while force and drives are enabled; nothing is sent.
QEL_API int qelSetForce(double fx, double fy, double fz, char ID);
QEL_API int qelGetForce(double* fx, double* fy, double* fz, char ID);
// The combined functions borrow expert mode and leave it off. The wrist torques and the
// gripper force have no conversion to motor commands: their motors are commanded 0, and every
// such command also commands 0 to the three arm motors. qelSetForceAndGripperForce reads the
// gripper's encoder, which a device without a gripper refuses: the force is stored, but the
// call fails with the device's error 258, which stays pending.
QEL_API int qelSetForceAndTorque(double fx, double fy, double fz, double tx, double ty, double tz,
                                 char ID);
QEL_API int qelSetForceAndGripperForce(double fx, double fy, double fz, double fg, char ID);
QEL_API int qelSetForceAndTorqueAndGripperForce(double fx, double fy, double fz, double tx,
                                                double ty, double tz, double fg, char ID);
// Any non-zero val switches gravity compensation on, with g = 9.81.
QEL_API int qelSetGravityCompensation(int val, char ID);
// Fails without recording an error when the device refuses.
QEL_API int qelSetStandardGravity(double g, char ID);
// 1 engages, 0 releases; a release that fails engages the brakes again and returns 0 without
// recording an error (the device keeps its own). Other values: error 3 with ID as node.
QEL_API int qelSetBrakes(int val, char ID);
QEL_API int qelGetForceAndTorque(double* fx, double* fy, double* fz, double* tx, double* ty,
                                 double* tz, char ID); // placeholder
QEL_API int qelGetForceAndTorqueAndGripperForce(double* fx, double* fy, double* fz, double* tx,
                                                double* ty, double* tz, double* f,
                                                char ID);                      // placeholder
QEL_API int qelSetEffectorMass(double mass, char ID);                          // placeholder
QEL_API int qelGetEffectorMass(double* mass, char ID);                         // placeholder
QEL_API int qelSetOutput(QELuint output, char ID);                             // placeholder
QEL_API int qelSetVibration(double freq, double amplitude, int type, char ID); // placeholder

// ---- Expert functions: raw encoders, motors, joint angles and conversions ----
// All need expert mode (error 4 with ID as node) except qelEnableDevice. Motor indices: 0 to
// 2 the arm, 3 to 5 the wrist, 6 the gripper; axis masks: bit i for axis i (0x07 the arm,
// 0x38 the wrist). Joint angles in radians.
QEL_API int qelSetForceAndWristJointTorques(double fx, double fy, double fz, double t0, double t1,
                                            double t2, char ID);
QEL_API int qelSetForceAndWristJointTorquesAndGripperForce(double fx, double fy, double fz,
                                                           double t0, double t1, double t2,
                                                           double fg, char ID); // placeholder
QEL_API int qelSetTimeGuard(int us, char ID);                                   // placeholder
// Placeholder; its expert-mode error reports node 1 whatever ID is.
QEL_API int qelSetBrk(QELuchar mask, char ID);

// Reads all six counts from the device into the device object.
QEL_API int qelUpdateEncoders(char ID);
// The counts of the channels in mask, as of the last refresh, into enc[channel]; enc holds 6.
QEL_API int qelGetEnc(unsigned int* enc, QELuchar mask, char ID);
// The count of channel index (0 to 5); 0 on failure, which the error record tells apart.
QEL_API unsigned int qelGetEncoder(int index, char ID);
QEL_API int qelGetWristEncoders(unsigned int* enc0, unsigned int* enc1, unsigned int* enc2,
                                char ID);
// The gripper has no encoder: on a device without a gripper the read leaves error 258
// pending in the device (and *enc = 0, result 1).
QEL_API int qelGetGripperEncoder(unsigned int* enc, char ID);
// Sends one motor frame carrying val for motor index and 0 for the other arm motors; only
// the arm motors 0 to 2 exist on the line, and an index outside 0 to 6 is error 3.
QEL_API int qelSetMotor(int index, short val, char ID);
QEL_API int qelSetDeltaMotor(short mot0, short mot1, short mot2, char ID);
// Commands indices 3, 3 and 5 in turn: wrist motor 4 is never addressed.
QEL_API int qelSetWristMotor(short mot0, short mot1, short mot2, char ID);
QEL_API int qelSetGripperMotor(short mot, char ID);
// Powers the drives on or off; needs no expert mode.
QEL_API int qelEnableDevice(bool a_on, char ID);
QEL_API int qelDeltaForceToMotor(double fx, double fy, double fz, int enc0, int enc1, int enc2,
                                 QELushort* mot0, QELushort* mot1, QELushort* mot2, char ID);
QEL_API int qelDeltaEncodersToJointAngles(unsigned int enc0, unsigned int enc1, unsigned int enc2,
                                          double* j0, double* j1, double* j2, char ID);
// All three angles are converted with axis 0's calibration.
QEL_API int qelDeltaJointAnglesToEncoders(double j0, double j1, double j2, unsigned int* enc0,
                                          unsigned int* enc1, unsigned int* enc2, char ID);
QEL_API int qelWristEncodersToJointAngles(unsigned int enc0, unsigned int enc1, unsigned int enc2,
                                          double* j0, double* j1, double* j2, char ID);
// Takes the angles in radians but hands them on in degrees, so the counts are not the inverse
// of qelWristEncodersToJointAngles.
QEL_API int qelWristJointAnglesToEncoders(double j0, double j1, double j2, unsigned int* enc0,
                                          unsigned int* enc1, unsigned int* enc2, char ID);
QEL_API int qelWristEncoderToOrientation(unsigned int enc0, unsigned int enc1, unsigned int enc2,
                                         double* oa, double* ob, double* og, char ID);
QEL_API int qelWristOrientationToEncoder(double oa, double ob, double og, unsigned int* enc0,
                                         unsigned int* enc1, unsigned int* enc2, char ID);
QEL_API int qelGetDeltaJointAngles(double* j0, double* j1, double* j2, char ID);
QEL_API int qelGetWristJointAngles(double* j0, double* j1, double* j2, char ID);
// j holds 6: the arm's three angles, then the wrist's.
QEL_API int qelGetJointAngles(double* j, char ID);
// Millimetres per radian; row = Cartesian axis, column = arm.
QEL_API int qelDeltaJointAnglesToJacobian(double j0, double j1, double j2, double (*jcb)[3],
                                          char ID);
// Succeeds without writing jcb: the wrist has no Jacobian.
QEL_API int qelWristJointAnglesToJacobian(double j0, double j1, double j2, double (*jcb)[3],
                                          char ID);
QEL_API int qelGetDeltaJacobian(double (*jcb)[3], char ID);
QEL_API int qelGetWristJacobian(double (*jcb)[3], char ID);
QEL_API int qelSetWristJointTorques(double t0, double t1, double t2, char ID);
QEL_API int qelGetJointTorques(double* t0, double* t1, double* t2, char ID);
// v holds 6: the joints' rates in radians, or the encoders' in counts, per velocity period.
QEL_API int qelGetJointVelocities(double* v, char ID);
QEL_API int qelGetEncVelocities(double* v, char ID);
QEL_API int qelDeltaMotorToForce(QELushort mot0, QELushort mot1, QELushort mot2, int enc0, int enc1,
                                 int enc2, double* fx, double* fy, double* fz,
                                 char ID); // placeholder
QEL_API int qelWristMotorToTorque(short mot0, short mot1, short mot2, int enc0, int enc1, int enc2,
                                  double* tx, double* ty, double* tz,
                                  char ID); // placeholder
QEL_API int qelWristTorqueToMotor(double tx, double ty, double tz, int enc0, int enc1, int enc2,
                                  short* mot0, short* mot1, short* mot2,
                                  char ID); // placeholder
QEL_API int qelGripperForceToMotor(double f, short* mot, unsigned int* e,
                                   char ID);                   // placeholder
QEL_API int qelSetMot(short* mot, QELuchar mask, char ID);     // placeholder
QEL_API int qelPreloadMot(short* mot, QELuchar mask, char ID); // placeholder
QEL_API int qelDeltaJointTorquesExtrema(double j0, double j1, double j2, double* minq, double* maxq,
                                        char ID); // placeholder
QEL_API int qelWristJointTorquesExtrema(double j0, double j1, double j2, double* minq, double* maxq,
                                        char ID); // placeholder
QEL_API int qelDeltaGravityJointTorques(double j0, double j1, double j2, double* q0, double* q1,
                                        double* q2, char ID); // placeholder
QEL_API int qelWristGravityJointTorques(double j0, double j1, double j2, double* q0, double* q1,
                                        double* q2, char ID);                  // placeholder
QEL_API int qelSetDeltaJointTorques(double t0, double t1, double t2, char ID); // placeholder
QEL_API int qelJointAnglesToInertiaMatrix(double* j, double (*inertia)[6],
                                          char ID); // placeholder

// ---- Device parameters, calibration and velocity estimation ----
// Parameters 1 to 8 are translated to the device's register numbers; other numbers address
// registers directly. 32-bit values occupy two registers, low half first. All expert.
QEL_API int qelSetParaInt(unsigned short param, unsigned int value, char ID);
QEL_API int qelGetParaInt(unsigned short param, unsigned int* value, char ID);
QEL_API int qelSetParaShort(unsigned short param, short value, char ID);
QEL_API int qelGetParaShort(unsigned short param, short* value, char ID);
// Commits the device's registers to its non-volatile memory (expert).
QEL_API int qelSaveConfiguration(char ID);
// Cartesian speed limit per axis above which the drives are switched off (expert).
QEL_API int qelSetVelocityThreshold(QELuint val, char ID);
QEL_API int qelGetVelocityThreshold(QELuint* val, char ID);
// Loads the encoder limits stored in the device; position and orientation need it.
QEL_API int qelCalibrateDevice(char ID);
// Stores the encoder limits of the axes in mask (0x07, 0x3F or 0x7F) in the device (expert).
QEL_API int qelSaveCalibration(unsigned int* minValue, unsigned int* maxValue, unsigned char mask,
                               char ID);
QEL_API int qelSetComMode(int mode, char ID);               // placeholder, expert
QEL_API int qelSetComModePriority(int priority, char ID);   // placeholder, expert
QEL_API int qelSetWatchdog(unsigned char val, char ID);     // placeholder, expert
QEL_API int qelGetWatchdog(unsigned char* val, char ID);    // placeholder, expert
QEL_API int qelControllerSetDevice(int device, char ID);    // placeholder, expert
QEL_API int qelReadConfigFromFile(char* filename, char ID); // placeholder, expert
QEL_API int qelCalibrateWrist(char ID);                     // placeholder, expert
QEL_API int qelPreset(int* val, QELushort mask, char ID);   // placeholder, expert

// ---- Utilities (no device) ----
QEL_API int qelAutoCalibrate(char ID); // always 0
QEL_API bool qelKbHit(void);           // always false
QEL_API char qelKbGet(void);           // always 0
QEL_API double qelGetTime(void);       // always 0.0
QEL_API void qelSleep(double sec);     // returns at once

// A thread routine for qelStartThread.
typedef void* fn(void*);
// Starts func(arg) on a detached thread; 1 when it started. The thread's attributes ask for
// first-in-first-out real-time scheduling at priority but leave the inheritance of scheduling
// at the system's default, under which Linux runs the thread with the caller's scheduling.
QEL_API int qelStartThread(fn* func, void* arg, int priority);

// ==== Extension of the interface: the servo callback ====
//
// Runs an application's force law inside the device's refresh thread, at the device's own
// rate, instead of in an application loop that reads the position and sets the force at its
// own pace. Nothing else in the interface changes: without a callback the library behaves as
// it always has.

/// The state of the device as of one refresh pass, handed to the servo callback.
typedef struct qelServoState {
    /// Handle position in millimetres, as qelGetPosition gives it.
    double position[3];
    /// Handle velocity in millimetres per second: the velocity qelGetLinearVelocity reports
    /// (millimetres per the device's velocity period) converted to seconds, which at the
    /// device's velocity unit of 1/128 joint turn per second is a factor of
    /// -resolution / 128 (-8192 at 2^20 counts a turn). See docs/frame.md.
    double velocity[3];
    /// The wrist's rotation matrix as qelGetOrientationFrame gives it (all zero without a
    /// wrist).
    double orientation[3][3];
    /// Bit i set while button i is pressed.
    unsigned int buttons;
    /// Refresh passes since qelInit, this one included.
    unsigned long long pass;
    /// CLOCK_MONOTONIC, in nanoseconds, when this pass's reply arrived.
    long long timeNs;
} qelServoState;

/// A servo callback. `state` describes the pass; `force` holds, on entry, the force currently
/// commanded (newtons), and what the callback leaves in it is the new commanded force: it goes
/// out in the very next frame and is what qelGetForce reports. `user` is the pointer given to
/// qelSetServoCallback with this callback.
///
/// The callback runs on the device's refresh thread on every pass of a calibrated device,
/// after the position is solved and before the force is converted to motor commands. It must
/// not block and must not call this interface (everything a pass knows is in `state`); its
/// duration adds to every pass and so lowers the refresh rate.
typedef void (*qelServoCallback)(const qelServoState* state, double force[3], void* user);

/// Sets, replaces or removes (callback NULL) the servo callback of device ID.
///
/// Safe while the refresh thread runs: a pass sees either the old callback with its user
/// pointer or the new one with its own, never one with the other's pointer. Once a call that
/// removes or replaces a callback has returned, and once qelClose has returned, the old
/// callback is never called again; to get there the call may wait for a pass that is inside
/// the old callback to leave it.
///
/// @param callback  the callback, or NULL to remove it
/// @param user      handed to every call of the callback
/// @param ID        the device (-1 for the current one)
/// @return 1, or 0 on failure: error 3 for an identifier out of range, 2 for a device that
///         is not open (recorded in the last-error record).
QEL_API int qelSetServoCallback(qelServoCallback callback, void* user, char ID);

#ifdef __cplusplus
} // extern "C"
#endif

#endif
