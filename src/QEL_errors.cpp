// SPDX-License-Identifier: MIT
// The device object's error record and the texts of its codes and of the controller's faults.
#include "QEL.h"

#include <algorithm>

namespace {

struct CodeText {
    unsigned int code;
    const char* text;
};

// Sorted by code for the binary searches below.
const CodeText kDeviceErrors[] = {
    {deverr::kNone, "No Error"},
    {deverr::kNotOpen, "Device Not Open"},
    {deverr::kNotInitialized, "Device Not Initialized"},
    {deverr::kUnmatchedMode, "Unmatched Operation Mode"},
    {deverr::kModeSet, "Mode Set Error"},
    {deverr::kThreadCreate, "Thread Create Failed"},
    {deverr::kOpenFailed, "Device Open Failed"},
    {deverr::kSendFailed, "Data Send Failed"},
    {deverr::kReceiveFailed, "Data Recieve Failed"},
    {deverr::kChecksum, "CRC Not Passed"},
    {deverr::kInvalidData, "Invalid Received Data!"},
    {deverr::kInvalidParameter, "Invalid Input Parameter!"},
};

// Fault codes of the motor controller, laid out like the CANopen emergency codes: the high
// byte is the class, the low byte refines it. Only exact codes have a text.
const CodeText kControllerFaults[] = {
    {0x0000, "No error"},
    {0x1000, "Generic error"},
    {0x2000, "Current"},
    {0x2100, "Current on device input side"},
    {0x2110, "short circuit/earth leakage"},
    {0x2120, "Earth leakage"},
    {0x2121, "Earth leakage phase L1"},
    {0x2122, "Earth leakage phase L2"},
    {0x2123, "Earth leakage phase L3"},
    {0x2130, "short circuit"},
    {0x2131, "short circuit phases L1-L2"},
    {0x2132, "short circuit phases L2-L3"},
    {0x2133, "short circuit phases L3-L1"},
    {0x2200, "Internal current"},
    {0x2211, "Internal current No.1"},
    {0x2212, "Internal current No.2"},
    {0x2213, "Over-current in ramp function"},
    {0x2214, "Over-current in the sequence"},
    {0x2220, "Continuous over current"},
    {0x2221, "Continuous over current No.1"},
    {0x2222, "Continuous over current No.2"},
    {0x2230, "short circuit/earth leakage"},
    {0x2240, "Earth leakage"},
    {0x2250, "short circuit"},
    {0x2300, "Current on device output side"},
    {0x2310, "Continuous over current"},
    {0x2311, "Continuous over current No.1"},
    {0x2312, "Continuous over current No.2"},
    {0x2320, "short circuit/earth leakage"},
    {0x2330, "Earth leakage"},
    {0x2331, "Earth leakage phase U"},
    {0x2332, "Earth leakage phase V"},
    {0x2333, "Earth leakage phase W"},
    {0x7300, "Sensor"},
    {0x7301, "Tacho fault"},
    {0x7302, "Tacho wrong polarity"},
    {0x7303, "Resolver 1 fault"},
    {0x7304, "Resolver 2 fault"},
    {0x7305, "Incremental sensor 1 fault"},
    {0x7306, "Incremental sensor 2 fault"},
    {0x7307, "Incremental sensor 3 fault"},
    {0x7310, "Speed"},
    {0x7320, "Position"},
    {0x7400, "Computation circuit"},
    {0x7500, "Communication"},
    {0x7510, "Serial interface No.1"},
    {0x7520, "Serial interface No.2"},
    {0x7600, "Data storage"},
    {0x8000, "Monitoring"},
    {0x8100, "Communication"},
    {0x8110, "CAN overrun(object lost)"},
    {0x8120, "CAN in Error Passive Mode"},
    {0x8130, "Life guard error or heartbeat error"},
    {0x8140, "Recovered from bus-off"},
    {0x8150, "Transmit COB-ID"},
    {0x8200, "Protocol error"},
    {0x8210, "PDO not processed due to length error"},
    {0x8220, "PDO length exceeded"},
    {0x8300, "Torque control"},
    {0x8311, "Excess torque"},
    {0x8312, "Difficult Start up"},
    {0x8313, "Standstill torque"},
    {0x8321, "Insufficient torque"},
    {0x8331, "Torque fault"},
    {0x8400, "Velocity speed controller"},
    {0x8500, "Position controller"},
    {0x8600, "Positioning controller"},
    {0x8611, "Following error"},
    {0x8612, "Reference limit"},
    {0x8700, "Sync controller"},
    {0x8800, "Winding controller"},
    {0x8900, "Process data monitoring"},
    {0x8A00, "Control"},
    {0x9000, "External error"},
    {0xF000, "Additional functions"},
    {0xF001, "Deceleration"},
    {0xF002, "Sub-synchronous run"},
    {0xF003, "Stroke operation"},
    {0xF004, "Control"},
};

template <size_t N>
const char* lookup(const CodeText (&table)[N], unsigned int code) {
    const CodeText* end = table + N;
    const CodeText* it = std::lower_bound(
        table, end, code, [](const CodeText& entry, unsigned int c) { return entry.code < c; });
    return (it != end && it->code == code) ? it->text : nullptr;
}

} // namespace

// The code is stored first, truncated to 16 bits; the text only changes for a known code,
// looked up with the full argument.
void QEL::ErrorCatch(unsigned int code) {
    m_ErrCode = static_cast<uint16_t>(code);
    if (const char* text = lookup(kDeviceErrors, code)) m_ErrString = text;
}

void QEL::ClearError() {
    m_ErrCode = 0;
    m_ErrString = "";
}

void QEL::GetInternalErrStr(unsigned int code) {
    if (const char* text = lookup(kControllerFaults, code)) m_ErrString = text;
}
