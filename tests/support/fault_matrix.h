// SPDX-License-Identifier: MIT
// The fault matrix: every fault the emulated device can commit, met in every phase of a
// device's life, with the outcome an application sees. The table is the expectation that each
// cell of tests/fault_matrix_test.cpp checks, and the text that docs/reliability.md keeps.
#ifndef QELTEST_FAULT_MATRIX_H
#define QELTEST_FAULT_MATRIX_H

#include <string>
#include <vector>

#include "device.h"

namespace qeltest {

enum class Phase {
    Open,        // discovery and qelOpen
    Init,        // qelInit, reading the device's parameters
    Registers,   // a register write (qelSetParaShort), drives on
    Calibration, // loading the calibration (qelCalibrateDevice), drives on
    Running,     // the refresh loop rendering a force, drives on
    Close,       // qelClose switching the drives off
};
constexpr int kPhases = 6;

const char* phaseName(Phase phase);
const char* faultName(qelemu::FaultKind kind);

// What the application sees in one cell.
struct Outcome {
    std::string call; // the call that meets the fault
    int result;       // what it returns
    unsigned code;    // the last-error record afterwards (0: nothing recorded)
    std::string text;
    bool lineDead;    // the device is gone afterwards: nothing can switch its drives off
    std::string note; // why, in a few words
};

// The expected outcome of a cell.
Outcome expectedOutcome(Phase phase, qelemu::FaultKind kind);

// The whole matrix as a Markdown table, one row per cell.
std::string matrixTable();

} // namespace qeltest

#endif
