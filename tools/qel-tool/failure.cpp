// SPDX-License-Identifier: MIT
#include "failure.h"

#include <cstring>

#include "QEL_OPEN.h"

namespace qeltool {

const std::vector<LibraryError>& libraryErrors() {
    static const std::vector<LibraryError> errors = {
        {1, "No Device Connected to the System", false, 10,
         "connect a device; 'qel-tool list' shows the devices found"},
        {2, "Device Not Open", false, 11, ""},
        {3, "Invalid Input Parameter", false, 12,
         "check the device number and the arguments; 'qel-tool list' shows the devices found"},
        {4, "Expert Mode Not Set", false, 13, ""},
        {1, "Device Not Open", true, 21, ""},
        {2, "Device Not Initialized", true, 22, ""},
        {3, "Unmatched Operation Mode", true, 23, ""},
        {4, "Mode Set Error", true, 24, ""},
        {5, "Thread Create Failed", true, 25, "the system is short of resources"},
        {16, "Device Open Failed", true, 36,
         "the port exists but cannot be opened: check its permissions and that no other "
         "program holds it"},
        {18, "Data Send Failed", true, 38, "the device was unplugged or its port closed"},
        {19, "Data Recieve Failed", true, 39,
         "the device did not answer: check the cable and its power"},
        {20, "CRC Not Passed", true, 40, "the line is disturbed: check the cable"},
        {257, "Invalid Received Data!", true, 41, "the device refused or garbled a request"},
        {258, "Invalid Input Parameter!", true, 42,
         "the device does not have what was asked for (a gripper, say)"},
    };
    return errors;
}

const LibraryError* classify(unsigned code, const char* text) {
    const LibraryError* byCode = nullptr;
    int matches = 0;
    for (const LibraryError& e : libraryErrors()) {
        if (e.code != code) continue;
        if (text && std::strcmp(text, e.text) == 0) return &e;
        byCode = &e;
        ++matches;
    }
    // A device code the device object knows keeps the previous text when it is not one of
    // its own; the code alone then decides, where only one kind uses it.
    return matches == 1 ? byCode : nullptr;
}

Failure libraryFailure(const std::string& what) {
    unsigned int code = 0, node = 0;
    qelErrorGetLast(&code, &node);
    const char* text = qelErrorGetLastStr();
    if (code == 0) return Failure(kNoReason, what + ": the library gave no reason");
    const LibraryError* e = classify(code, text);
    if (!e) {
        std::string message = what + ": library error " + std::to_string(code);
        if (text && *text) message += std::string(" (") + text + ")";
        return Failure(kUnknownCode, message);
    }
    std::string message = what + ": " + e->text + " (" + (e->device ? "device" : "interface") +
                          " error " + std::to_string(code) + ")";
    if (*e->hint) message += std::string("\n  ") + e->hint;
    return Failure(e->status, message);
}

void check(int ok, const std::string& what) {
    if (!ok) throw libraryFailure(what);
}

void clearLibraryError() { qelClearError(); }

bool libraryErrorPending() {
    unsigned int code = 0, node = 0;
    qelErrorGetLast(&code, &node);
    return code != 0;
}

} // namespace qeltool
