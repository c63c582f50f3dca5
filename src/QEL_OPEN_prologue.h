// SPDX-License-Identifier: MIT
// The checks every exported device function runs before it reaches the device object, and
// the interface's globals. Internal to the library.
#ifndef QEL_OPEN_PROLOGUE_H
#define QEL_OPEN_PROLOGUE_H

#include "QEL.h"
#include "QEL_OPEN.h"

extern QEL* MyQEL[QEL_MAX_DEVICES];
extern int defaultID;
extern int m_DeviceCount;
extern bool flagExpertMode;

// An identifier as the application wrote it: a signed 8-bit value whatever char is on the
// target. Where char is unsigned (arm64), QEL_CURRENT_DEVICE arrives as 255.
inline int identifier(char ID) { return static_cast<signed char>(ID); }

// What a function requires of its device besides an identifier in range.
enum PrologueCheck : unsigned {
    kInRange = 0, // only the range: the slot may be empty
    kOpen = 1,    // a device object in the slot (error 2 otherwise)
    kExpert = 2,  // expert mode on (error 4 otherwise)
    kExpertFunction = kOpen | kExpert,
};

// The device a call addresses; false when a check failed (the error is already recorded).
// `device` may be null only when the open check was not asked for.
struct Target {
    QEL* device = nullptr;
    int id = 0;
    explicit operator bool() const { return id != 0; }
};

// Resolves -1 to the current device and runs the checks in their fixed order: range (error 3,
// node 1), open (error 2), expert mode (error 4, node `expertNode` or the identifier).
Target prologue(char ID, unsigned checks = kOpen, int expertNode = 0);

// Records the device's own failure (error 5 with the device's code and text) and returns 0.
int deviceFailed(const Target& target);

// One device operation on a device that passed its prologue; error 5 when it fails.
template <typename Operation>
int callDevice(const Target& target, Operation operation) {
    return operation(*target.device) ? 1 : deviceFailed(target);
}

// The prologue, one device operation, and error 5 when the operation fails.
template <typename Operation>
int callDevice(char ID, unsigned checks, Operation operation) {
    Target target = prologue(ID, checks);
    if (!target) return 0;
    return callDevice(target, operation);
}

// The prologue and nothing else: the functions that only validate their device answer 1.
inline int prologueOnly(char ID, unsigned checks = kOpen, int expertNode = 0) {
    return prologue(ID, checks, expertNode) ? 1 : 0;
}

// Runs `work` with expert mode on and leaves it off afterwards, whatever it was before: the
// functions that are built on expert functions borrow the mode this way.
template <typename Work>
int withExpertMode(Work work) {
    qelEnableExpertMode();
    int result = work();
    qelDisableExpertMode();
    return result;
}

// Degrees from radians with the interface's eight-digit pi, kept so that results match the
// device's own conversions digit for digit.
inline double toDegrees(double radians) { return 180.0 * radians / 3.1415926; }

#endif
