// SPDX-License-Identifier: MIT
#include "fault_matrix.h"

#include <sstream>

namespace qeltest {

using qelemu::FaultKind;

namespace {

const char* const kReceiveFailed = "Data Recieve Failed";
const char* const kCrcFailed = "CRC Not Passed";
const char* const kInvalidData = "Invalid Received Data!";

// The call of each phase that meets the fault.
const char* callOf(Phase phase) {
    static const char* const calls[kPhases] = {"qelOpen",         "qelInit",
                                               "qelSetParaShort", "qelCalibrateDevice",
                                               "qelGetPosition",  "qelClose"};
    return calls[static_cast<int>(phase)];
}

Outcome succeeds(Phase phase, const char* note) { return {callOf(phase), 1, 0, "", false, note}; }

Outcome fails(Phase phase, unsigned code, const char* text, const char* note) {
    return {callOf(phase), 0, code, text, false, note};
}

} // namespace

const char* phaseName(Phase phase) {
    static const char* const names[kPhases] = {"discovery and open",     "qelInit",
                                               "register write",         "calibration load",
                                               "refresh loop, force on", "qelClose"};
    return names[static_cast<int>(phase)];
}

const char* faultName(FaultKind kind) {
    static const char* const names[qelemu::kFaultKinds] = {
        "CorruptChecksum", "WrongHeader", "WrongCode", "ShortReply", "SplitReply",
        "NoReply",         "ZeroAck",     "Delay",     "Unplug"};
    return names[static_cast<int>(kind)];
}

Outcome expectedOutcome(Phase phase, FaultKind kind) {
    if (phase == Phase::Open) {
        // Opening exchanges no frame: only a device that is gone changes the outcome.
        if (kind == FaultKind::Unplug)
            return {"qelOpen", 0,
                    1,         "No Device Connected to the System",
                    true,      "unplugged before the count"};
        return succeeds(phase, "no frame is exchanged");
    }
    if (phase == Phase::Close) {
        // Closing always succeeds; a failed drives-off frame is not the application's error.
        Outcome closes = succeeds(phase, "the drives-off frame meets the fault");
        closes.lineDead = kind == FaultKind::Unplug;
        return closes;
    }
    switch (kind) {
    case FaultKind::CorruptChecksum:
        return fails(phase, 20, kCrcFailed, "reply checksum wrong");
    case FaultKind::WrongHeader:
        return fails(phase, 257, kInvalidData, "header 0xBF");
    case FaultKind::WrongCode:
        return fails(phase, 257, kInvalidData, "code not echoed");
    case FaultKind::ShortReply:
        return fails(phase, 19, kReceiveFailed, "one byte short, 0.1 s quiet");
    case FaultKind::SplitReply:
        return succeeds(phase, "two writes 20 ms apart are gathered");
    case FaultKind::NoReply:
        return fails(phase, 19, kReceiveFailed, "no first byte within 0.5 s");
    case FaultKind::ZeroAck:
        return succeeds(phase, "no acknowledgement frame in this phase");
    case FaultKind::Delay:
        return fails(phase, 19, kReceiveFailed, "reply 0.7 s late: 0.5 s time-out");
    case FaultKind::Unplug: {
        Outcome gone = fails(phase, 19, kReceiveFailed, "port gone");
        gone.lineDead = true;
        return gone;
    }
    }
    return {};
}

std::string matrixTable() {
    std::ostringstream out;
    out << "| phase | fault | call | result | error record | drives after qelClose | note |\n";
    out << "|---|---|---|---|---|---|---|\n";
    for (int p = 0; p < kPhases; ++p) {
        Phase phase = static_cast<Phase>(p);
        for (int k = 0; k < qelemu::kFaultKinds; ++k) {
            FaultKind kind = static_cast<FaultKind>(k);
            Outcome o = expectedOutcome(phase, kind);
            out << "| " << phaseName(phase) << " | " << faultName(kind) << " | " << o.call << " | "
                << o.result << " | ";
            if (o.code)
                out << o.code << " \"" << o.text << "\"";
            else
                out << "none";
            out << " | " << (o.lineDead ? "line dead" : "off") << " | " << o.note << " |\n";
        }
    }
    return out.str();
}

} // namespace qeltest
