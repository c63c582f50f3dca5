// SPDX-License-Identifier: MIT
/// @file QEL_OPEN.h
/// @brief The library's exported interface: a flat set of qel functions that find, open,
/// initialise and close devices, read the handle's state and command forces.
///
/// The header compiles as C and as C++; the few functions exported under C++ names are
/// declared for C++ only.
///
/// @section devices Devices
/// Devices are named by a 1-based identifier `ID`, passed last to every device function; -1
/// stands for the current device (qelSetDevice(), initially 1). Functions return 1 on success
/// and 0 on failure unless documented otherwise; outputs are written only on success.
///
/// @section errors Errors
/// Every failure is recorded in one last-error record shared by all devices: read it with
/// qelErrorGetLast() and qelErrorGetLastStr(). Its codes:
/// - 0 no error;
/// - 1 no device connected;
/// - 2 device not open;
/// - 3 invalid input parameter (an identifier out of range always reports node 1);
/// - 4 expert mode not set;
/// - and, when the device itself failed, the device's own code and text (for example 19
///   "Data Recieve Failed" or 20 "CRC Not Passed") with the device's identifier as node.
///
/// A device error stays pending in its device: further device operations fail silently until
/// the device is closed.
///
/// Functions marked "placeholder" only validate the device (and expert mode where marked) and
/// answer with a fixed result; they write none of their outputs.
///
/// @section units Units
/// Lengths and positions in millimetres (also for velocities: millimetres per the device's
/// velocity period), forces in newtons, angles in radians (functions ending in Deg use
/// degrees, converted with pi taken as 3.1415926), encoder counts unsigned 32-bit, motor
/// commands signed 16-bit with +-32767 standing for +- the motors' nominal torque. The frame
/// (origin, axes, workspace of each device type) and the velocity's relation to mm/s are in
/// docs/frame.md.
///
/// @section threads Threads
/// The interface keeps global state without locks: call it from one application thread.
#ifndef QEL_OPEN_H
#define QEL_OPEN_H

#include "qelDefines.h"

#ifndef __cplusplus
#include <stdbool.h>
#endif

#ifdef __cplusplus
/// Records an error in the last-error record.
///
/// Code 5 copies the code and text of the device `errNode` (the device's own error) into the
/// record; codes 0 to 4 record the interface's own error and text.
/// @param[in] errCode the interface code, 0 to 5
/// @param[in] errNode the node (device identifier) to record
QEL_API void qelErrorCatch(unsigned short errCode, unsigned char errNode);

// Expert functions exported under their C++ names (see the expert section below).

/// The counts of the arm's three encoders as of the last refresh, as signed integers.
///
/// Exported under its C++ name.
/// @param[out] enc0,enc1,enc2 the counts of the three arm encoders
/// @deviceid
/// @ok
/// @expert
QEL_API int qelGetDeltaEncoders(int* enc0, int* enc1, int* enc2, char ID);
/// Converts the arm's encoder counts to the handle's position.
///
/// Exported under its C++ name.
/// @param[in] enc0,enc1,enc2 the encoder counts of the three axes
/// @param[out] px,py,pz the position (x, y, z), in millimetres
/// @deviceid
/// @ok
/// @expert
QEL_API int qelDeltaEncoderToPosition(int enc0, int enc1, int enc2, double* px, double* py,
                                      double* pz, char ID);
/// Converts a position of the handle to the arm's encoder counts.
///
/// Exported under its C++ name.
/// @param[in] px,py,pz the position (x, y, z), in millimetres
/// @param[out] enc0,enc1,enc2 the encoder counts of the three axes
/// @deviceid
/// @ok
/// @expert
QEL_API int qelDeltaPositionToEncoder(double px, double py, double pz, int* enc0, int* enc1,
                                      int* enc2, char ID);
/// Gripper encoder count to angle. Exported under its C++ name.
/// @param[in] enc encoder count
/// @param[out] a gripper angle, in radians
/// @deviceid
/// @ok
/// @placeholder
/// @expert
QEL_API int qelGripperEncoderToAngleRad(int enc, double* a, char ID);
/// Gripper encoder count to gap. Exported under its C++ name.
/// @param[in] enc encoder count
/// @param[out] g gripper gap, in millimetres
/// @deviceid
/// @ok
/// @placeholder
/// @expert
QEL_API int qelGripperEncoderToGap(int enc, double* g, char ID);
/// Gripper angle to encoder count. Exported under its C++ name.
/// @param[in] a gripper angle, in radians
/// @param[out] enc encoder count
/// @deviceid
/// @ok
/// @placeholder
/// @expert
QEL_API int qelGripperAngleRadToEncoder(double a, int* enc, char ID);
/// Gripper gap to encoder count. Exported under its C++ name.
/// @param[in] g gripper gap, in millimetres
/// @param[out] enc encoder count
/// @deviceid
/// @ok
/// @placeholder
/// @expert
QEL_API int qelGripperGapToEncoder(double g, int* enc, char ID);
/// Gripper motor command to force. Exported under its C++ name.
/// @param[in] mot motor command (+-32767 for +- nominal torque)
/// @param[out] frc gripper force, in newtons
/// @param[out] e the encoder count the conversion would use
/// @deviceid
/// @ok
/// @placeholder
/// @expert
QEL_API int qelGripperMotorToForce(short mot, double* frc, int* e, char ID);

extern "C" {
#endif

// ---- Errors ----
/// The code and node of the last error (see @ref errors).
/// @param[out] errCode the code: 0 to 4 for the interface, otherwise the device's own
/// @param[out] errNode the device identifier the error concerns
/// @return 1, always
QEL_API int qelErrorGetLast(unsigned int* errCode, unsigned int* errNode);
/// The text of the last error.
/// @return the text; null before the first error, empty after qelClearError()
QEL_API const char* qelErrorGetLastStr(void);
/// The text of an interface error code.
/// @param[in] error the interface code, 0 to 5
/// @return the text of code 0 to 5; any other value returns the text of the previous call
QEL_API const char* qelErrorGetStr(int error);
/// Clears the last-error record: code 0, node 0, empty text.
QEL_API void qelClearError(void);

// ---- Counting and selecting ----
/// Searches the system afresh for attached devices.
/// @return the number of attached devices, at most 10 (#QEL_MAX_DEVICES)
QEL_API int qelGetDeviceCount(void);
/// Probes every attached device by opening and closing it.
/// @return the number of attached devices that could be opened
QEL_API int qelGetAvailableCount(void);
/// Makes a device the current device, the one -1 stands for.
///
/// The search for devices is made afresh; an identifier beyond the devices found is error 3 with
/// node 1.
/// @param[in] ID the device identifier, 1 to the number of attached devices
/// @ok
QEL_API int qelSetDevice(char ID);
/// The identifier of the current device.
/// @return the identifier -1 stands for (initially 1)
QEL_API int qelGetDeviceID(void);

// ---- Opening and closing ----
/// Opens the first device found (identifier 1), searching the system afresh.
///
/// With no device attached the call fails with error 1; a device that cannot be opened leaves its
/// own error in the record.
/// @return 1 on success (also when it was already open), 0 on failure
QEL_API int qelOpen(void);
/// Opens the device with this identifier, searching the system afresh.
///
/// Error 1 with no device attached, error 3 with node 1 for an identifier beyond the devices found,
/// or the device's own error when it cannot be opened.
/// @param[in] ID the device identifier, 1 to the number of attached devices
/// @return the identifier opened (also when it was already open), or 0
QEL_API int qelOpenID(char ID);
/// Opens every device with this serial number.
///
/// Each attached device is opened and closed to read its serial number first. Error 1 with no
/// device attached, error 3 with node 1 when no device carries the number.
/// @param[in] serial the serial number
/// @return the identifier of the last device opened, or 0
QEL_API int qelOpenSerial(unsigned int serial);
/// Opening by device type is not supported.
/// @param[in] type the device type (ignored)
/// @return 0, always
QEL_API int qelOpenType(int type);
/// Closes a device and releases it; a device that is not open is left alone.
///
/// Closing also clears an error left pending in the device.
/// @deviceid
/// @return 1 on success (also for a device not open); 0 when the identifier is out of range (error
///     3) or the device failed to close
QEL_API int qelClose(char ID);
/// Initialises an open device: reads its serial number and model parameters from it and
/// starts its refresh thread.
/// @deviceid
/// @ok
QEL_API int qelInit(char ID);
/// Accepted for compatibility; does nothing.
/// @param[in] on ignored
QEL_API void qelEnableSimulator(bool on);

// ---- Identity and capabilities ----
/// Reads the device's serial number.
///
/// A serial number that cannot be read makes the call fail without recording an error.
/// @param[out] sn the serial number
/// @deviceid
/// @ok
QEL_API int qelGetSerialNumber(unsigned int* sn, char ID);
/// Reads the device's operation mode.
/// @param[out] a_mode the operation mode
/// @deviceid
/// @ok
QEL_API int qelGetOperationMode(QELuchar* a_mode, char ID);
/// Enables (1) or disables (any other value) force output.
/// @param[in] val 1 to enable force, any other value to disable it
/// @deviceid
/// @ok
QEL_API int qelEnableForce(QELuchar val, char ID);
/// The device's type.
/// @deviceid
/// @return 62 for a valid device; 0 with the error recorded otherwise
QEL_API int qelGetSystemType(char ID);
/// The device's name; none is known.
/// @deviceid
/// @return null, always (the device is validated: an invalid one records its error)
QEL_API const char* qelGetSystemName(char ID);
/// Whether the device is left-handed.
/// @deviceid
/// @return false, always (the device is validated: an invalid one records its error)
QEL_API bool qelIsLeftHanded(char ID);
/// Whether the device has a base.
/// @deviceid
/// @return true for a valid device, false with the error recorded otherwise
QEL_API bool qelHasBase(char ID);
/// Whether the device has a wrist.
/// @deviceid
/// @return true for a valid device, false with the error recorded otherwise
QEL_API bool qelHasWrist(char ID);
/// Whether the device has an active wrist.
/// @deviceid
/// @return true for a valid device, false with the error recorded otherwise
QEL_API bool qelHasActiveWrist(char ID);
/// Whether the device has a gripper.
/// @deviceid
/// @return true for a valid device, false with the error recorded otherwise
QEL_API bool qelHasGripper(char ID);
/// Whether the device has an active gripper.
/// @deviceid
/// @return true for a valid device, false with the error recorded otherwise
QEL_API bool qelHasActiveGripper(char ID);
/// Stops the device.
/// @deviceid
/// @ok
/// @placeholder
QEL_API int qelStop(char ID);
/// The communication mode.
/// @deviceid
/// @return 1 when the device is valid, 0 otherwise with the error recorded
/// @placeholder
QEL_API int qelGetComMode(char ID);
/// Enables the gripper's force.
/// @param[in] val 1 to enable, 0 to disable
/// @deviceid
/// @ok
/// @placeholder
QEL_API int qelEnableGripperForce(QELuchar val, char ID);
/// The device's firmware version.
/// @param[out] ver the version
/// @deviceid
/// @ok
/// @placeholder
QEL_API int qelGetVersion(double* ver, char ID);
/// The device's status.
/// @param[out] status the status
/// @deviceid
/// @ok
/// @placeholder
QEL_API int qelGetStatus(int* status, char ID);
/// Resets the device.
/// @deviceid
/// @ok
/// @placeholder
QEL_API int qelReset(char ID);
/// Resets the wrist.
/// @deviceid
/// @ok
/// @placeholder
QEL_API int qelResetWrist(char ID);
/// Waits for the device to be reset.
/// @param[in] timeout time-out, in milliseconds
/// @deviceid
/// @ok
/// @placeholder
QEL_API int qelWaitForReset(int timeout, char ID);
/// The library's version; writes none of its outputs.
///
/// With no device object in slot 1 it records error 2 with node 0.
/// @param[out] major the major version (not written)
/// @param[out] minor the minor version (not written)
/// @param[out] release the release (not written)
/// @param[out] revision the revision (not written)
QEL_API void qelGetSDKVersion(int* major, int* minor, int* release, int* revision);

// ---- Expert mode (global to all devices) ----
/// Switches expert mode on, for all devices.
/// @return 1, always
QEL_API int qelEnableExpertMode(void);
/// Switches expert mode off, for all devices.
/// @return 1, always
QEL_API int qelDisableExpertMode(void);

// ---- Position, orientation and velocity ----
/// The handle's position, as of the last refresh of a calibrated device.
/// @param[out] px,py,pz the position (x, y, z), in millimetres
/// @deviceid
/// @ok
QEL_API int qelGetPosition(double* px, double* py, double* pz, char ID);
/// The wrist's rotation matrix (all zero on a device without a wrist).
/// @param[out] matrix the 3x3 rotation matrix, row by row
/// @deviceid
/// @ok
QEL_API int qelGetOrientationFrame(double (*matrix)[3], char ID);
/// The wrist's yaw, pitch and roll joint angles, in radians.
///
/// It borrows expert mode and leaves it off.
/// @param[out] oa yaw, in radians
/// @param[out] ob pitch, in radians
/// @param[out] og roll, in radians
/// @deviceid
/// @ok
QEL_API int qelGetOrientationRad(double* oa, double* ob, double* og, char ID);
/// The wrist's yaw, pitch and roll joint angles, in degrees.
///
/// It answers for the current device whatever ID names (ID is only validated), and borrows expert
/// mode and leaves it off.
/// @param[out] oa yaw, in degrees
/// @param[out] ob pitch, in degrees
/// @param[out] og roll, in degrees
/// @deviceid
/// @ok
QEL_API int qelGetOrientationDeg(double* oa, double* ob, double* og, char ID);
/// The handle's position and the wrist's angles in radians: qelGetPosition() and
/// qelGetOrientationRad() in one call.
/// @param[out] px,py,pz the position (x, y, z), in millimetres
/// @param[out] oa yaw, in radians
/// @param[out] ob pitch, in radians
/// @param[out] og roll, in radians
/// @deviceid
/// @ok
QEL_API int qelGetPositionAndOrientationRad(double* px, double* py, double* pz, double* oa,
                                            double* ob, double* og, char ID);
/// The handle's position and the wrist's angles in degrees: qelGetPosition() and
/// qelGetOrientationDeg() in one call.
/// @param[out] px,py,pz the position (x, y, z), in millimetres
/// @param[out] oa yaw, in degrees
/// @param[out] ob pitch, in degrees
/// @param[out] og roll, in degrees
/// @deviceid
/// @ok
QEL_API int qelGetPositionAndOrientationDeg(double* px, double* py, double* pz, double* oa,
                                            double* ob, double* og, char ID);
/// The handle's position and the wrist's rotation matrix: qelGetPosition() and
/// qelGetOrientationFrame() in one call.
/// @param[out] px,py,pz the position (x, y, z), in millimetres
/// @param[out] matrix the 3x3 rotation matrix, row by row
/// @deviceid
/// @ok
QEL_API int qelGetPositionAndOrientationFrame(double* px, double* py, double* pz,
                                              double (*matrix)[3], char ID);
/// The handle's velocity, as of the last refresh.
/// @param[out] vx,vy,vz the velocity (x, y, z), in millimetres per velocity period
/// @deviceid
/// @ok
QEL_API int qelGetLinearVelocity(double* vx, double* vy, double* vz, char ID);
/// The wrist joints' rates of the current device, in radians per velocity period.
///
/// ID is only range-checked.
/// @param[out] wx first wrist joint rate, in radians per velocity period
/// @param[out] wy second wrist joint rate, in radians per velocity period
/// @param[out] wz third wrist joint rate, in radians per velocity period
/// @deviceid
/// @ok
/// @expert
QEL_API int qelGetAngularVelocityRad(double* wx, double* wy, double* wz, char ID);
/// The wrist joints' rates of the current device, in degrees per velocity period.
///
/// ID is only range-checked.
/// @param[out] wx first wrist joint rate, in degrees per velocity period
/// @param[out] wy second wrist joint rate, in degrees per velocity period
/// @param[out] wz third wrist joint rate, in degrees per velocity period
/// @deviceid
/// @ok
/// @expert
QEL_API int qelGetAngularVelocityDeg(double* wx, double* wy, double* wz, char ID);
/// The state of a button, as of the last refresh.
/// @param[in] index the button, from 0
/// @deviceid
/// @return the button's state, 0 or 1; 0 on failure too, with the error recorded
QEL_API int qelGetButton(int index, char ID);
/// The rate of the cyclic exchange with the device.
/// @deviceid
/// @return cyclic exchanges per second; 0.0 on failure, with the error recorded
QEL_API double qelGetComFreq(char ID);
/// The gripper's angle, in degrees: 0.0, there is no gripper angle.
/// @param[out] a gripper angle, in degrees (0.0)
/// @deviceid
/// @ok
QEL_API int qelGetGripperAngleDeg(double* a, char ID);
/// The gripper's angle, in radians.
/// @param[out] a gripper angle, in radians
/// @deviceid
/// @ok
/// @placeholder
QEL_API int qelGetGripperAngleRad(double* a, char ID);
/// The gripper's opening.
/// @param[out] g gripper gap, in millimetres
/// @deviceid
/// @ok
/// @placeholder
QEL_API int qelGetGripperGap(double* g, char ID);
/// The position of the gripper's thumb.
/// @param[out] px,py,pz the position (x, y, z), in millimetres
/// @deviceid
/// @ok
/// @placeholder
QEL_API int qelGetGripperThumbPos(double* px, double* py, double* pz, char ID);
/// The position of the gripper's finger.
/// @param[out] px,py,pz the position (x, y, z), in millimetres
/// @deviceid
/// @ok
/// @placeholder
QEL_API int qelGetGripperFingerPos(double* px, double* py, double* pz, char ID);
/// The mask of the buttons pressed.
/// @deviceid
/// @return 1 when the device is valid, 0 otherwise with the error recorded
/// @placeholder
QEL_API QELuint qelGetButtonMask(char ID);
/// Emulates the button.
/// @param[in] val 1 to emulate the button, 0 to stop
/// @deviceid
/// @ok
/// @placeholder
QEL_API int qelEmulateButton(QELuchar val, char ID);
/// Configures the estimation of the linear velocity.
/// @param[in] ms averaging window, in milliseconds
/// @param[in] mode the estimation mode
/// @deviceid
/// @ok
/// @placeholder
QEL_API int qelConfigLinearVelocity(int ms, int mode, char ID);
/// Configures the estimation of the angular velocity.
/// @param[in] ms averaging window, in milliseconds
/// @param[in] mode the estimation mode
/// @deviceid
/// @ok
/// @placeholder
QEL_API int qelConfigAngularVelocity(int ms, int mode, char ID);
/// Configures the estimation of the gripper velocity.
/// @param[in] ms averaging window, in milliseconds
/// @param[in] mode the estimation mode
/// @deviceid
/// @ok
/// @placeholder
QEL_API int qelConfigGripperVelocity(int ms, int mode, char ID);
/// The gripper's opening velocity.
/// @param[out] vg gripper velocity
/// @deviceid
/// @ok
/// @placeholder
QEL_API int qelGetGripperLinearVelocity(double* vg, char ID);
/// The gripper's angular velocity, in radians.
/// @param[out] wg gripper angular velocity
/// @deviceid
/// @ok
/// @placeholder
QEL_API int qelGetGripperAngularVelocityRad(double* wg, char ID);
/// The gripper's angular velocity, in degrees.
/// @param[out] wg gripper angular velocity
/// @deviceid
/// @ok
/// @placeholder
QEL_API int qelGetGripperAngularVelocityDeg(double* wg, char ID);
/// The base angle about X, in radians.
/// @param[out] angle the angle, in radians
/// @deviceid
/// @ok
/// @placeholder
QEL_API int qelGetBaseAngleXRad(double* angle, char ID);
/// The base angle about X, in degrees.
/// @param[out] angle the angle, in degrees
/// @deviceid
/// @ok
/// @placeholder
QEL_API int qelGetBaseAngleXDeg(double* angle, char ID);
/// Sets the base angle about X, in radians.
/// @param[in] angle the angle, in radians
/// @deviceid
/// @ok
/// @placeholder
QEL_API int qelSetBaseAngleXRad(double angle, char ID);
/// Sets the base angle about X, in degrees.
/// @param[in] angle the angle, in degrees
/// @deviceid
/// @ok
/// @placeholder
QEL_API int qelSetBaseAngleXDeg(double angle, char ID);
/// The base angle about Z, in radians.
/// @param[out] angle the angle, in radians
/// @deviceid
/// @ok
/// @placeholder
QEL_API int qelGetBaseAngleZRad(double* angle, char ID);
/// The base angle about Z, in degrees.
/// @param[out] angle the angle, in degrees
/// @deviceid
/// @ok
/// @placeholder
QEL_API int qelGetBaseAngleZDeg(double* angle, char ID);
/// Sets the base angle about Z, in radians.
/// @param[in] angle the angle, in radians
/// @deviceid
/// @ok
/// @placeholder
QEL_API int qelSetBaseAngleZRad(double angle, char ID);
/// Sets the base angle about Z, in degrees.
/// @param[in] angle the angle, in degrees
/// @deviceid
/// @ok
/// @placeholder
QEL_API int qelSetBaseAngleZDeg(double angle, char ID);
/// The device angle, in radians.
/// @param[out] angle the angle, in radians
/// @deviceid
/// @ok
/// @placeholder
QEL_API int qelGetDeviceAngleRad(double* angle, char ID);
/// The device angle, in degrees.
/// @param[out] angle the angle, in degrees
/// @deviceid
/// @ok
/// @placeholder
QEL_API int qelGetDeviceAngleDeg(double* angle, char ID);
/// Sets the device angle, in radians.
/// @param[in] angle the angle, in radians
/// @deviceid
/// @ok
/// @placeholder
QEL_API int qelSetDeviceAngleRad(double angle, char ID);
/// Sets the device angle, in degrees.
/// @param[in] angle the angle, in degrees
/// @deviceid
/// @ok
/// @placeholder
QEL_API int qelSetDeviceAngleDeg(double angle, char ID);

// ---- Forces ----
/// Sets the force the refresh thread renders while force and drives are enabled; nothing is sent.
/// @param[in] fx,fy,fz the force (x, y, z), in newtons
/// @deviceid
/// @ok
QEL_API int qelSetForce(double fx, double fy, double fz, char ID);
/// The force last set with qelSetForce().
/// @param[out] fx,fy,fz the force (x, y, z), in newtons
/// @deviceid
/// @ok
QEL_API int qelGetForce(double* fx, double* fy, double* fz, char ID);
/// Sets the force and the wrist torques.
///
/// It borrows expert mode and leaves it off. The wrist torques and the gripper force have no
/// conversion to motor commands: their motors are commanded 0, and every such command also commands
/// 0 to the three arm motors.
/// @param[in] fx,fy,fz the force (x, y, z), in newtons
/// @param[in] tx,ty,tz the torque about x, y and z, in newton metres
/// @deviceid
/// @ok
QEL_API int qelSetForceAndTorque(double fx, double fy, double fz, double tx, double ty, double tz,
                                 char ID);
/// Sets the force and the gripper force.
///
/// It borrows expert mode and leaves it off. The wrist torques and the gripper force have no
/// conversion to motor commands: their motors are commanded 0, and every such command also commands
/// 0 to the three arm motors. It reads the gripper's encoder, which a device without a gripper
/// refuses: the force is stored, but the call fails with the device's error 258, which stays
/// pending.
/// @param[in] fx,fy,fz the force (x, y, z), in newtons
/// @param[in] fg gripper force, in newtons
/// @deviceid
/// @ok
QEL_API int qelSetForceAndGripperForce(double fx, double fy, double fz, double fg, char ID);
/// Sets the force, the wrist torques and the gripper force.
///
/// It borrows expert mode and leaves it off. The wrist torques and the gripper force have no
/// conversion to motor commands: their motors are commanded 0, and every such command also commands
/// 0 to the three arm motors.
/// @param[in] fx,fy,fz the force (x, y, z), in newtons
/// @param[in] tx,ty,tz the torque about x, y and z, in newton metres
/// @param[in] fg gripper force, in newtons
/// @deviceid
/// @ok
QEL_API int qelSetForceAndTorqueAndGripperForce(double fx, double fy, double fz, double tx,
                                                double ty, double tz, double fg, char ID);
/// Switches gravity compensation on (any non-zero value, with g = 9.81) or off.
/// @param[in] val non-zero for on, 0 for off
/// @deviceid
/// @ok
QEL_API int qelSetGravityCompensation(int val, char ID);
/// Sets the acceleration of gravity used for gravity compensation.
///
/// Fails without recording an error when the device refuses.
/// @param[in] g the acceleration of gravity, in metres per second squared
/// @deviceid
/// @ok
QEL_API int qelSetStandardGravity(double g, char ID);
/// Engages or releases the brakes.
///
/// A release that fails engages the brakes again and returns 0 without recording an error (the
/// device keeps its own). Other values than 0 and 1: error 3 with ID as node.
/// @param[in] val 1 engages, 0 releases
/// @deviceid
/// @ok
QEL_API int qelSetBrakes(int val, char ID);
/// The force and the wrist torques.
/// @param[out] fx,fy,fz the force (x, y, z), in newtons
/// @param[out] tx,ty,tz the torque about x, y and z, in newton metres
/// @deviceid
/// @ok
/// @placeholder
QEL_API int qelGetForceAndTorque(double* fx, double* fy, double* fz, double* tx, double* ty,
                                 double* tz, char ID);
/// The force, the wrist torques and the gripper force.
/// @param[out] fx,fy,fz the force (x, y, z), in newtons
/// @param[out] tx,ty,tz the torque about x, y and z, in newton metres
/// @param[out] f gripper force, in newtons
/// @deviceid
/// @ok
/// @placeholder
QEL_API int qelGetForceAndTorqueAndGripperForce(double* fx, double* fy, double* fz, double* tx,
                                                double* ty, double* tz, double* f, char ID);
/// Sets the mass of the end effector.
/// @param[in] mass effector mass, in kilograms
/// @deviceid
/// @ok
/// @placeholder
QEL_API int qelSetEffectorMass(double mass, char ID);
/// The mass of the end effector.
/// @param[out] mass effector mass, in kilograms
/// @deviceid
/// @ok
/// @placeholder
QEL_API int qelGetEffectorMass(double* mass, char ID);
/// Sets the device's user outputs.
/// @param[in] output the outputs, one bit each
/// @deviceid
/// @ok
/// @placeholder
QEL_API int qelSetOutput(QELuint output, char ID);
/// Makes the handle vibrate.
/// @param[in] freq frequency, in hertz
/// @param[in] amplitude amplitude, in newtons
/// @param[in] type the vibration type
/// @deviceid
/// @ok
/// @placeholder
QEL_API int qelSetVibration(double freq, double amplitude, int type, char ID);

// ---- Expert functions: raw encoders, motors, joint angles and conversions ----
// All need expert mode (error 4 with ID as node) except qelEnableDevice. Motor indices: 0 to
// 2 the arm, 3 to 5 the wrist, 6 the gripper; axis masks: bit i for axis i (0x07 the arm,
// 0x38 the wrist). Joint angles in radians.

/// Sets the force and the wrist's joint torques.
/// @param[in] fx,fy,fz the force (x, y, z), in newtons
/// @param[in] t0,t1,t2 the three joint torques, in newton metres
/// @deviceid
/// @ok
/// @expert
QEL_API int qelSetForceAndWristJointTorques(double fx, double fy, double fz, double t0, double t1,
                                            double t2, char ID);
/// Sets the force, the wrist's joint torques and the gripper force.
/// @param[in] fx,fy,fz the force (x, y, z), in newtons
/// @param[in] t0,t1,t2 the three joint torques, in newton metres
/// @param[in] fg gripper force, in newtons
/// @deviceid
/// @ok
/// @placeholder
/// @expert
QEL_API int qelSetForceAndWristJointTorquesAndGripperForce(double fx, double fy, double fz,
                                                           double t0, double t1, double t2,
                                                           double fg, char ID);
/// Sets the minimum time between two force commands.
/// @param[in] us guard time, in microseconds
/// @deviceid
/// @ok
/// @placeholder
/// @expert
QEL_API int qelSetTimeGuard(int us, char ID);
/// Sets the brakes of the axes in mask.
///
/// Needs expert mode; without it the call fails with error 4, which reports node 1 whatever ID is.
/// @param[in] mask axis mask: bit i for axis i
/// @deviceid
/// @ok
/// @placeholder
QEL_API int qelSetBrk(QELuchar mask, char ID);

/// Reads all six counts from the device into the device object.
/// @deviceid
/// @ok
/// @expert
QEL_API int qelUpdateEncoders(char ID);
/// The counts of the channels in mask, as of the last refresh, into enc[channel].
/// @param[out] enc the counts; holds 6
/// @param[in] mask channel mask: bit i for channel i
/// @deviceid
/// @ok
/// @expert
QEL_API int qelGetEnc(unsigned int* enc, QELuchar mask, char ID);
/// The count of one channel, as of the last refresh.
/// @param[in] index the channel, 0 to 5
/// @deviceid
/// @return the count; 0 on failure, which the error record tells apart
/// @expert
QEL_API unsigned int qelGetEncoder(int index, char ID);
/// The counts of the wrist's three encoders, as of the last refresh.
/// @param[out] enc0,enc1,enc2 the encoder counts of the three axes
/// @deviceid
/// @ok
/// @expert
QEL_API int qelGetWristEncoders(unsigned int* enc0, unsigned int* enc1, unsigned int* enc2,
                                char ID);
/// The gripper's encoder count.
///
/// The gripper has no encoder: on a device without a gripper the read leaves error 258 pending in
/// the device (and *enc = 0, result 1).
/// @param[out] enc the count
/// @deviceid
/// @ok
/// @expert
QEL_API int qelGetGripperEncoder(unsigned int* enc, char ID);
/// Sends one motor frame carrying val for motor index and 0 for the other arm motors.
///
/// Only the arm motors 0 to 2 exist on the line; an index outside 0 to 6 is error 3.
/// @param[in] index the motor: 0 to 2 the arm, 3 to 5 the wrist, 6 the gripper
/// @param[in] val the motor command (+-32767 for +- nominal torque)
/// @deviceid
/// @ok
/// @expert
QEL_API int qelSetMotor(int index, short val, char ID);
/// Commands the arm's three motors.
/// @param[in] mot0,mot1,mot2 the commands of the three motors (+-32767 for +- the nominal torque)
/// @deviceid
/// @ok
/// @expert
QEL_API int qelSetDeltaMotor(short mot0, short mot1, short mot2, char ID);
/// Commands the wrist's motors: indices 3, 3 and 5 in turn, so wrist motor 4 is never addressed.
/// @param[in] mot0,mot1,mot2 the commands of the three motors (+-32767 for +- the nominal torque)
/// @deviceid
/// @ok
/// @expert
QEL_API int qelSetWristMotor(short mot0, short mot1, short mot2, char ID);
/// Commands the gripper's motor (index 6).
/// @param[in] mot motor command (+-32767 for +- nominal torque)
/// @deviceid
/// @ok
/// @expert
QEL_API int qelSetGripperMotor(short mot, char ID);
/// Powers the drives on or off; needs no expert mode.
/// @param[in] a_on true powers the drives on, false off
/// @deviceid
/// @ok
QEL_API int qelEnableDevice(bool a_on, char ID);
/// Converts a force on the handle to the arm's motor commands at the given encoder counts.
/// @param[in] fx,fy,fz the force (x, y, z), in newtons
/// @param[in] enc0,enc1,enc2 the encoder counts of the three axes
/// @param[out] mot0 command of the first motor (+-32767 for +- nominal torque)
/// @param[out] mot1 command of the second motor
/// @param[out] mot2 command of the third motor
/// @deviceid
/// @ok
/// @expert
QEL_API int qelDeltaForceToMotor(double fx, double fy, double fz, int enc0, int enc1, int enc2,
                                 QELushort* mot0, QELushort* mot1, QELushort* mot2, char ID);
/// Converts the arm's encoder counts to its joint angles.
/// @param[in] enc0,enc1,enc2 the encoder counts of the three axes
/// @param[out] j0,j1,j2 the three joint angles, in radians
/// @deviceid
/// @ok
/// @expert
QEL_API int qelDeltaEncodersToJointAngles(unsigned int enc0, unsigned int enc1, unsigned int enc2,
                                          double* j0, double* j1, double* j2, char ID);
/// Converts the arm's joint angles to encoder counts.
///
/// All three angles are converted with axis 0's calibration.
/// @param[in] j0,j1,j2 the three joint angles, in radians
/// @param[out] enc0,enc1,enc2 the encoder counts of the three axes
/// @deviceid
/// @ok
/// @expert
QEL_API int qelDeltaJointAnglesToEncoders(double j0, double j1, double j2, unsigned int* enc0,
                                          unsigned int* enc1, unsigned int* enc2, char ID);
/// Converts the wrist's encoder counts to its joint angles.
/// @param[in] enc0,enc1,enc2 the encoder counts of the three axes
/// @param[out] j0,j1,j2 the three joint angles, in radians
/// @deviceid
/// @ok
/// @expert
QEL_API int qelWristEncodersToJointAngles(unsigned int enc0, unsigned int enc1, unsigned int enc2,
                                          double* j0, double* j1, double* j2, char ID);
/// Converts the wrist's joint angles to encoder counts.
///
/// It takes the angles in radians but hands them on in degrees, so the counts are not the inverse
/// of qelWristEncodersToJointAngles().
/// @param[in] j0,j1,j2 the three joint angles, in radians
/// @param[out] enc0,enc1,enc2 the encoder counts of the three axes
/// @deviceid
/// @ok
/// @expert
QEL_API int qelWristJointAnglesToEncoders(double j0, double j1, double j2, unsigned int* enc0,
                                          unsigned int* enc1, unsigned int* enc2, char ID);
/// Converts the wrist's encoder counts to yaw, pitch and roll.
/// @param[in] enc0,enc1,enc2 the encoder counts of the three axes
/// @param[out] oa yaw, in radians
/// @param[out] ob pitch, in radians
/// @param[out] og roll, in radians
/// @deviceid
/// @ok
/// @expert
QEL_API int qelWristEncoderToOrientation(unsigned int enc0, unsigned int enc1, unsigned int enc2,
                                         double* oa, double* ob, double* og, char ID);
/// Converts yaw, pitch and roll of the wrist to encoder counts.
/// @param[in] oa yaw, in radians
/// @param[in] ob pitch, in radians
/// @param[in] og roll, in radians
/// @param[out] enc0,enc1,enc2 the encoder counts of the three axes
/// @deviceid
/// @ok
/// @expert
QEL_API int qelWristOrientationToEncoder(double oa, double ob, double og, unsigned int* enc0,
                                         unsigned int* enc1, unsigned int* enc2, char ID);
/// The arm's joint angles, as of the last refresh.
/// @param[out] j0,j1,j2 the three joint angles, in radians
/// @deviceid
/// @ok
/// @expert
QEL_API int qelGetDeltaJointAngles(double* j0, double* j1, double* j2, char ID);
/// The wrist's joint angles, as of the last refresh.
/// @param[out] j0,j1,j2 the three joint angles, in radians
/// @deviceid
/// @ok
/// @expert
QEL_API int qelGetWristJointAngles(double* j0, double* j1, double* j2, char ID);
/// All joint angles, as of the last refresh.
/// @param[out] j holds 6: the arm's three angles, then the wrist's, in radians
/// @deviceid
/// @ok
/// @expert
QEL_API int qelGetJointAngles(double* j, char ID);
/// The arm's Jacobian at the given joint angles.
/// @param[in] j0,j1,j2 the three joint angles, in radians
/// @param[out] jcb the 3x3 Jacobian in millimetres per radian; row = Cartesian axis, column = arm
/// @deviceid
/// @ok
/// @expert
QEL_API int qelDeltaJointAnglesToJacobian(double j0, double j1, double j2, double (*jcb)[3],
                                          char ID);
/// The wrist's Jacobian: succeeds without writing jcb, the wrist has no Jacobian.
/// @param[in] j0,j1,j2 the three joint angles, in radians
/// @param[out] jcb not written
/// @deviceid
/// @ok
/// @expert
QEL_API int qelWristJointAnglesToJacobian(double j0, double j1, double j2, double (*jcb)[3],
                                          char ID);
/// The arm's Jacobian at the joint angles of the last refresh.
/// @param[out] jcb the 3x3 Jacobian in millimetres per radian; row = Cartesian axis, column = arm
/// @deviceid
/// @ok
/// @expert
QEL_API int qelGetDeltaJacobian(double (*jcb)[3], char ID);
/// The wrist's Jacobian at the joint angles of the last refresh.
/// @param[out] jcb the 3x3 Jacobian
/// @deviceid
/// @ok
/// @expert
QEL_API int qelGetWristJacobian(double (*jcb)[3], char ID);
/// Sets the wrist's joint torques.
/// @param[in] t0,t1,t2 the three joint torques, in newton metres
/// @deviceid
/// @ok
/// @expert
QEL_API int qelSetWristJointTorques(double t0, double t1, double t2, char ID);
/// The arm's joint torques.
/// @param[out] t0,t1,t2 the three joint torques, in newton metres
/// @deviceid
/// @ok
/// @expert
QEL_API int qelGetJointTorques(double* t0, double* t1, double* t2, char ID);
/// The joints' rates, as of the last refresh.
/// @param[out] v holds 6: the rates in radians per velocity period
/// @deviceid
/// @ok
/// @expert
QEL_API int qelGetJointVelocities(double* v, char ID);
/// The encoders' rates, as of the last refresh.
/// @param[out] v holds 6: the rates in counts per velocity period
/// @deviceid
/// @ok
/// @expert
QEL_API int qelGetEncVelocities(double* v, char ID);
/// Converts the arm's motor commands to a force on the handle.
/// @param[in] mot0,mot1,mot2 the commands of the three motors (+-32767 for +- the nominal torque)
/// @param[in] enc0,enc1,enc2 the encoder counts of the three axes
/// @param[out] fx,fy,fz the force (x, y, z), in newtons
/// @deviceid
/// @ok
/// @placeholder
/// @expert
QEL_API int qelDeltaMotorToForce(QELushort mot0, QELushort mot1, QELushort mot2, int enc0, int enc1,
                                 int enc2, double* fx, double* fy, double* fz, char ID);
/// Converts the wrist's motor commands to torques.
/// @param[in] mot0,mot1,mot2 the commands of the three motors (+-32767 for +- the nominal torque)
/// @param[in] enc0,enc1,enc2 the encoder counts of the three axes
/// @param[out] tx,ty,tz the torque about x, y and z, in newton metres
/// @deviceid
/// @ok
/// @placeholder
/// @expert
QEL_API int qelWristMotorToTorque(short mot0, short mot1, short mot2, int enc0, int enc1, int enc2,
                                  double* tx, double* ty, double* tz, char ID);
/// Converts wrist torques to motor commands.
/// @param[in] tx,ty,tz the torque about x, y and z, in newton metres
/// @param[in] enc0,enc1,enc2 the encoder counts of the three axes
/// @param[out] mot0,mot1,mot2 the commands of the three motors (+-32767 for +- the nominal torque)
/// @deviceid
/// @ok
/// @placeholder
/// @expert
QEL_API int qelWristTorqueToMotor(double tx, double ty, double tz, int enc0, int enc1, int enc2,
                                  short* mot0, short* mot1, short* mot2, char ID);
/// Converts a gripper force to a motor command.
/// @param[in] f gripper force, in newtons
/// @param[out] mot motor command (+-32767 for +- nominal torque)
/// @param[out] e the encoder count the conversion would use
/// @deviceid
/// @ok
/// @placeholder
/// @expert
QEL_API int qelGripperForceToMotor(double f, short* mot, unsigned int* e, char ID);
/// Commands the motors in mask.
/// @param[in] mot the motor commands, by motor index
/// @param[in] mask motor mask: bit i for motor i
/// @deviceid
/// @ok
/// @placeholder
/// @expert
QEL_API int qelSetMot(short* mot, QELuchar mask, char ID);
/// Preloads commands for the motors in mask.
/// @param[in] mot the motor commands, by motor index
/// @param[in] mask motor mask: bit i for motor i
/// @deviceid
/// @ok
/// @placeholder
/// @expert
QEL_API int qelPreloadMot(short* mot, QELuchar mask, char ID);
/// The extreme joint torques of the arm at the given joint angles.
/// @param[in] j0,j1,j2 the three joint angles, in radians
/// @param[out] minq minimum joint torques
/// @param[out] maxq maximum joint torques
/// @deviceid
/// @ok
/// @placeholder
/// @expert
QEL_API int qelDeltaJointTorquesExtrema(double j0, double j1, double j2, double* minq, double* maxq,
                                        char ID);
/// The extreme joint torques of the wrist at the given joint angles.
/// @param[in] j0,j1,j2 the three joint angles, in radians
/// @param[out] minq minimum joint torques
/// @param[out] maxq maximum joint torques
/// @deviceid
/// @ok
/// @placeholder
/// @expert
QEL_API int qelWristJointTorquesExtrema(double j0, double j1, double j2, double* minq, double* maxq,
                                        char ID);
/// The arm's joint torques that balance gravity at the given joint angles.
/// @param[in] j0,j1,j2 the three joint angles, in radians
/// @param[out] q0,q1,q2 the three joint torques, in newton metres
/// @deviceid
/// @ok
/// @placeholder
/// @expert
QEL_API int qelDeltaGravityJointTorques(double j0, double j1, double j2, double* q0, double* q1,
                                        double* q2, char ID);
/// The wrist's joint torques that balance gravity at the given joint angles.
/// @param[in] j0,j1,j2 the three joint angles, in radians
/// @param[out] q0,q1,q2 the three joint torques, in newton metres
/// @deviceid
/// @ok
/// @placeholder
/// @expert
QEL_API int qelWristGravityJointTorques(double j0, double j1, double j2, double* q0, double* q1,
                                        double* q2, char ID);
/// Sets the arm's joint torques.
/// @param[in] t0,t1,t2 the three joint torques, in newton metres
/// @deviceid
/// @ok
/// @placeholder
/// @expert
QEL_API int qelSetDeltaJointTorques(double t0, double t1, double t2, char ID);
/// The inertia matrix at the given joint angles.
/// @param[in] j six joint angles, in radians
/// @param[out] inertia the 6x6 inertia matrix
/// @deviceid
/// @ok
/// @placeholder
/// @expert
QEL_API int qelJointAnglesToInertiaMatrix(double* j, double (*inertia)[6], char ID);

// ---- Device parameters, calibration and velocity estimation ----
/// Writes a 32-bit parameter.
///
/// Parameters 1 to 8 are translated to the device's register numbers; other numbers address
/// registers directly. 32-bit values occupy two registers, low half first.
/// @param[in] param the parameter or register number
/// @param[in] value the value
/// @deviceid
/// @ok
/// @expert
QEL_API int qelSetParaInt(unsigned short param, unsigned int value, char ID);
/// Reads a 32-bit parameter.
///
/// Parameters 1 to 8 are translated to the device's register numbers; other numbers address
/// registers directly. 32-bit values occupy two registers, low half first.
/// @param[in] param the parameter or register number
/// @param[out] value the value
/// @deviceid
/// @ok
/// @expert
QEL_API int qelGetParaInt(unsigned short param, unsigned int* value, char ID);
/// Writes a 16-bit parameter.
///
/// Parameters 1 to 8 are translated to the device's register numbers; other numbers address
/// registers directly. 32-bit values occupy two registers, low half first.
/// @param[in] param the parameter or register number
/// @param[in] value the value
/// @deviceid
/// @ok
/// @expert
QEL_API int qelSetParaShort(unsigned short param, short value, char ID);
/// Reads a 16-bit parameter.
///
/// Parameters 1 to 8 are translated to the device's register numbers; other numbers address
/// registers directly. 32-bit values occupy two registers, low half first.
/// @param[in] param the parameter or register number
/// @param[out] value the value
/// @deviceid
/// @ok
/// @expert
QEL_API int qelGetParaShort(unsigned short param, short* value, char ID);
/// Commits the device's registers to its non-volatile memory.
/// @deviceid
/// @ok
/// @expert
QEL_API int qelSaveConfiguration(char ID);
/// Sets the Cartesian speed limit per axis above which the drives are switched off.
/// @param[in] val the limit
/// @deviceid
/// @ok
/// @expert
QEL_API int qelSetVelocityThreshold(QELuint val, char ID);
/// Reads the Cartesian speed limit per axis above which the drives are switched off.
/// @param[out] val the limit
/// @deviceid
/// @ok
/// @expert
QEL_API int qelGetVelocityThreshold(QELuint* val, char ID);
/// Loads the encoder limits stored in the device; position and orientation need it. Returns
/// once the refresh thread has solved a position from them (at most one exchange later).
/// @deviceid
/// @ok
QEL_API int qelCalibrateDevice(char ID);
/// Stores the encoder limits of the axes in mask in the device.
/// @param[in] minValue the lower limits, by axis
/// @param[in] maxValue the upper limits, by axis
/// @param[in] mask the axes: 0x07, 0x3F or 0x7F
/// @deviceid
/// @ok
/// @expert
QEL_API int qelSaveCalibration(unsigned int* minValue, unsigned int* maxValue, unsigned char mask,
                               char ID);
/// Sets the communication mode.
/// @param[in] mode mode
/// @deviceid
/// @ok
/// @placeholder
/// @expert
QEL_API int qelSetComMode(int mode, char ID);
/// Sets the priority of the communication.
/// @param[in] priority priority
/// @deviceid
/// @ok
/// @placeholder
/// @expert
QEL_API int qelSetComModePriority(int priority, char ID);
/// Sets the device's watchdog.
/// @param[in] val the watchdog period
/// @deviceid
/// @ok
/// @placeholder
/// @expert
QEL_API int qelSetWatchdog(unsigned char val, char ID);
/// Reads the device's watchdog.
/// @param[out] val the watchdog period
/// @deviceid
/// @ok
/// @placeholder
/// @expert
QEL_API int qelGetWatchdog(unsigned char* val, char ID);
/// Selects the device type of the controller.
/// @param[in] device the device type
/// @deviceid
/// @ok
/// @placeholder
/// @expert
QEL_API int qelControllerSetDevice(int device, char ID);
/// Reads a configuration from a file.
/// @param[in] filename the file
/// @deviceid
/// @ok
/// @placeholder
/// @expert
QEL_API int qelReadConfigFromFile(char* filename, char ID);
/// Calibrates the wrist.
/// @deviceid
/// @ok
/// @placeholder
/// @expert
QEL_API int qelCalibrateWrist(char ID);
/// Presets the encoders in mask.
/// @param[in] val the counts, by channel
/// @param[in] mask channel mask: bit i for channel i
/// @deviceid
/// @ok
/// @placeholder
/// @expert
QEL_API int qelPreset(int* val, QELushort mask, char ID);

// ---- Utilities (no device) ----
/// Automatic calibration is not supported; no device is touched.
/// @param[in] ID ignored
/// @return 0, always
QEL_API int qelAutoCalibrate(char ID);
/// Keyboard polling is not supported.
/// @return false, always
QEL_API bool qelKbHit(void);
/// Keyboard reading is not supported.
/// @return 0, always
QEL_API char qelKbGet(void);
/// A clock is not supported.
/// @return 0.0, always
QEL_API double qelGetTime(void);
/// Sleeping is not supported: returns at once.
/// @param[in] sec ignored
QEL_API void qelSleep(double sec);

/// A thread routine for qelStartThread(): takes and returns an untyped pointer.
typedef void* fn(void*);
/// Starts func(arg) on a detached thread.
///
/// The thread's attributes ask for first-in-first-out real-time scheduling at priority but leave
/// the inheritance of scheduling at the system's default, under which Linux runs the thread with
/// the caller's scheduling.
/// @param[in] func the thread routine
/// @param[in] arg handed to func
/// @param[in] priority the real-time priority asked for
/// @return 1 when the thread started, 0 otherwise
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
