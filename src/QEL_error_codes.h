// SPDX-License-Identifier: MIT
// The error codes of the library's two error records, each named once: the device object's
// (recorded with ErrorCatch into m_ErrCode) and the exported interface's (recorded with
// qelErrorCatch into the last-error record). Their texts are keyed on these names.
#ifndef QEL_ERROR_CODES_H
#define QEL_ERROR_CODES_H

namespace deverr {
enum Code : unsigned int {
    kNone = 0,
    kNotOpen = 1,
    kNotInitialized = 2,
    kUnmatchedMode = 3,
    kModeSet = 4,
    kThreadCreate = 5,
    kOpenFailed = 16,
    kSendFailed = 18,
    kReceiveFailed = 19,
    kChecksum = 20,
    kInvalidData = 257,
    kInvalidParameter = 258,
};
} // namespace deverr

namespace apierr {
enum Code : unsigned short {
    kNone = 0,
    kNoDevice = 1,
    kNotOpen = 2,
    kInvalidParameter = 3,
    kExpertModeNotSet = 4,
    // The device object failed: its own code and text replace this one in the record.
    kDeviceError = 5,
};
} // namespace apierr

#endif
