// SPDX-License-Identifier: MIT
// How qel-tool fails: every failure carries the exit status it ends the program with and the
// message that explains it. Failures of the library are classified by the code and the text
// of its last-error record, so that each of its error codes has an exit status of its own.
#ifndef QELTOOL_FAILURE_H
#define QELTOOL_FAILURE_H

#include <stdexcept>
#include <string>
#include <vector>

namespace qeltool {

// Exit statuses that do not come from the library.
enum Exit : int {
    kOk = 0,
    kFailed = 1,       // the tool's own failure: a file, gnuplot, an interrupted run
    kUsage = 2,        // bad command line
    kNotConfirmed = 3, // the user did not confirm a write to the device
    kNoReason = 9,     // a library call failed without recording a reason
    kUnknownCode = 49, // a library error code that the tool does not know
};

struct Failure : std::runtime_error {
    Failure(int status, const std::string& message) : std::runtime_error(message), status(status) {}
    int status;
};

struct UsageError : Failure {
    explicit UsageError(const std::string& message) : Failure(kUsage, message) {}
};

// One error that the library can record, and the exit status the tool gives it.
struct LibraryError {
    unsigned code;    // as qelErrorGetLast reports it
    const char* text; // as qelErrorGetLastStr reports it
    bool device;      // reported by the device object rather than by the interface
    int status;
    const char* hint; // what a user may do about it; may be empty
};

// Every error the library records, interface errors first.
const std::vector<LibraryError>& libraryErrors();

// The entry for a recorded code and text: the pair decides where both kinds share a code;
// null for a code the table does not hold.
const LibraryError* classify(unsigned code, const char* text);

// The failure of a library call that has just returned failure: reads the last-error record
// and builds the message "<what>: <text> (<kind> error <code>)" with the matching status.
Failure libraryFailure(const std::string& what);

// Throws libraryFailure(what) when ok is zero.
void check(int ok, const std::string& what);

// Clears the last-error record, so that the next call's failure is its own.
void clearLibraryError();

// True when a call since clearLibraryError recorded an error.
bool libraryErrorPending();

} // namespace qeltool

#endif
