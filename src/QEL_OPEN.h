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

// ---- Device parameters (expert) ----
// Parameters 1 to 8 are translated to the device's register numbers; other numbers address
// registers directly. 32-bit values occupy two registers, low half first.
QEL_API int qelSetParaInt(unsigned short param, unsigned int value, char ID);
QEL_API int qelGetParaInt(unsigned short param, unsigned int* value, char ID);
QEL_API int qelSetParaShort(unsigned short param, short value, char ID);
QEL_API int qelGetParaShort(unsigned short param, short* value, char ID);
// Commits the device's registers to its non-volatile memory.
QEL_API int qelSaveConfiguration(char ID);

#ifdef __cplusplus
} // extern "C"
#endif

#endif
