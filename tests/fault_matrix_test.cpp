// SPDX-License-Identifier: MIT
// The fault matrix end to end through the exported interface: each fault of the emulated
// device met in each phase of a device's life. Every cell checks the failing call's result and
// the last-error record, bounds every call by the exchange time-out plus a margin, checks that
// qelClose leaves the drives off wherever the line still works, and then recovers the way an
// application does: qelClose, (after an unplug, plugging the device in again), qelOpen, qelInit.
// Each cell is a test of its own, so that ctest runs them side by side.
#include <gtest/gtest.h>

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <fstream>
#include <functional>
#include <memory>
#include <sstream>
#include <thread>
#include <tuple>
#include <vector>

#include "QEL.h"
#include "QEL_OPEN.h"
#include "emulator.h"
#include "fault_matrix.h"
#include "fixtures.h"
#include "wire.h"

namespace {

namespace cmd = qelemu::cmd;

using qelemu::Fault;
using qelemu::FaultKind;
using qeltest::Phase;
using qeltest::waitUntil;
using Clock = std::chrono::steady_clock;
using Cell = std::tuple<Phase, FaultKind>;

// One exchange gives up after 0.5 s without a first byte and 0.1 s of quiet after the last;
// every call must return within that and a margin for a loaded machine.
constexpr double kBoundS = 0.6 + 0.5;
// The open's settle time on a real device, which also lets a late reply arrive before the
// open flushes the line.
constexpr unsigned kDeviceSettleUs = 400000;
// A late reply comes this long after the request, past the exchange's time-out.
constexpr int kLateReplyMs = 700;

double secondsSince(Clock::time_point start) {
    return std::chrono::duration<double>(Clock::now() - start).count();
}

// Faults of the phases with a call of their own land on its frame, not on a cyclic one.
Fault faultFor(Phase phase, FaultKind kind) {
    const uint8_t code = phase == Phase::Registers     ? cmd::WriteRegister
                         : phase == Phase::Calibration ? cmd::ReadRegister
                         : phase == Phase::Close       ? cmd::EnableDrives
                                                       : 0;
    Fault fault = code ? Fault::onCode(kind, code) : Fault::next(kind);
    if (kind == FaultKind::Delay) fault.pause(kLateReplyMs);
    return fault;
}

class FaultMatrix : public qeltest::InterfaceTest, public ::testing::WithParamInterface<Cell> {
protected:
    qelemu::Device& device() { return emulator->device(0); }

    int timed(const std::function<int()>& call) {
        auto start = Clock::now();
        int result = call();
        longest = std::max(longest, secondsSince(start));
        return result;
    }

    bool cyclicFramesFlow() {
        uint64_t from = device().frames(cmd::Cyclic);
        return waitUntil([&] { return device().frames(cmd::Cyclic) >= from + 3; }, 1000);
    }

    // The call of the phase, met by the fault. Returns its result.
    int faultedCall(Phase phase) {
        int (*const calls[qeltest::kPhases])() = {qelOpen,
                                                  [] { return qelInit(-1); },
                                                  [] { return qelSetParaShort(8, 1234, -1); },
                                                  [] { return qelCalibrateDevice(-1); },
                                                  nullptr,
                                                  [] { return qelClose(-1); }};
        qelEnableExpertMode();
        qelClearError();
        int result = 1;
        if (phase == Phase::Running) {
            // The loop meets the fault on its own; the application learns of it from its next
            // query, and keeps querying while nothing is wrong.
            auto start = Clock::now();
            double x, y, z;
            while (result == 1 && secondsSince(start) < kBoundS) {
                result = timed([&] { return qelGetPosition(&x, &y, &z, -1); });
                std::this_thread::sleep_for(std::chrono::microseconds(500));
            }
        } else {
            result = timed(calls[static_cast<int>(phase)]);
            if (phase == Phase::Open) opened = result == 1;
            if (phase == Phase::Close) opened = false;
        }
        qelDisableExpertMode();
        return result;
    }

    std::unique_ptr<qelemu::Emulator> emulator;
    bool opened = false;
    double longest = 0;
};

TEST_P(FaultMatrix, FailsDefinedlyClosesSafelyAndRecovers) {
    const Phase phase = std::get<0>(GetParam());
    const FaultKind kind = std::get<1>(GetParam());
    const qeltest::Outcome want = qeltest::expectedOutcome(phase, kind);
    SCOPED_TRACE(std::string(qeltest::phaseName(phase)) + " / " + qeltest::faultName(kind));

    // The device is brought to the state the phase starts from, and the fault injected.
    emulator.reset(new qelemu::Emulator());
    if (phase != Phase::Open) {
        ASSERT_EQ(qelOpen(), 1);
        opened = true;
    }
    if (phase != Phase::Open && phase != Phase::Init) {
        ASSERT_EQ(qelInit(-1), 1);
        ASSERT_EQ(qelEnableDevice(true, -1), 1);
        ASSERT_TRUE(device().drivesEnabled());
        if (phase == Phase::Running || phase == Phase::Close) {
            ASSERT_EQ(qelCalibrateDevice(-1), 1);
            ASSERT_EQ(qelEnableForce(1, -1), 1);
            ASSERT_EQ(qelSetForce(0.5, -0.5, 1.0, -1), 1);
        }
        ASSERT_TRUE(cyclicFramesFlow());
    }
    if (phase == Phase::Open && kind == FaultKind::Unplug)
        emulator->unplug(0);
    else
        device().injectFault(faultFor(phase, kind));

    const bool drivesWereOn = device().drivesEnabled();
    const int result = faultedCall(phase);
    EXPECT_EQ(result, want.result);
    qeltest::expectLastError(want.code, want.code ? 1 : 0, want.text.c_str());

    if (phase == Phase::Open && kind != FaultKind::Unplug) {
        EXPECT_EQ(device().faultsApplied(kind), 0u) << "opening exchanges no frame";
    }
    if (phase == Phase::Running && result == 0) {
        uint64_t from = device().frames(cmd::Cyclic);
        std::this_thread::sleep_for(std::chrono::milliseconds(50));
        EXPECT_EQ(device().frames(cmd::Cyclic), from) << "frames stop while the error is pending";
    } else if (phase == Phase::Running) {
        EXPECT_TRUE(cyclicFramesFlow());
    }
    EXPECT_EQ(emulator->unplugged(0), kind == FaultKind::Unplug);

    // The application lets the device go.
    if (phase != Phase::Close) device().clearFaults();
    if (opened) {
        EXPECT_EQ(timed([] { return qelClose(-1); }), 1);
    }
    // The device acts on the drives-off frame when it reads it, which may be after a late
    // reply of its own has gone out and the close has returned.
    const bool drivesOff = waitUntil([&] { return !device().drivesEnabled(); }, 500);
    EXPECT_TRUE(drivesOff || want.lineDead) << (drivesWereOn ? "drives left on" : "");
    device().clearFaults();
    if (emulator->unplugged(0)) emulator->replug(0);

    // Recovery. A reply that came after its exchange gave up is dropped by the open's settle
    // time and flush, as on the device.
    if (kind == FaultKind::Delay) hal::UartDevices::settleMicroseconds = kDeviceSettleUs;
    ASSERT_EQ(timed([] { return qelOpen(); }), 1);
    hal::UartDevices::settleMicroseconds = 0;
    ASSERT_EQ(timed([] { return qelInit(-1); }), 1);
    EXPECT_TRUE(cyclicFramesFlow());
    ASSERT_EQ(timed([] { return qelEnableDevice(true, -1); }), 1);
    EXPECT_TRUE(device().drivesEnabled());
    ASSERT_EQ(timed([] { return qelClose(-1); }), 1);
    EXPECT_FALSE(device().drivesEnabled());

    EXPECT_LE(longest, kBoundS) << "a call took too long";
}

std::vector<Cell> allCells() {
    std::vector<Cell> cells;
    for (int p = 0; p < qeltest::kPhases; ++p)
        for (int k = 0; k < qelemu::kFaultKinds; ++k)
            cells.emplace_back(static_cast<Phase>(p), static_cast<FaultKind>(k));
    return cells;
}

std::string cellName(const ::testing::TestParamInfo<Cell>& info) {
    static const char* const phases[] = {"Open",        "Init",    "Registers",
                                         "Calibration", "Running", "Close"};
    return std::string(phases[static_cast<int>(std::get<0>(info.param))]) + "_" +
           qeltest::faultName(std::get<1>(info.param));
}

INSTANTIATE_TEST_SUITE_P(Cells, FaultMatrix, ::testing::ValuesIn(allCells()), cellName);

// The table is printed in the test's output, and docs/reliability.md keeps the same text.
TEST(FaultMatrixTable, IsPrintedAndDocumented) {
    const std::string table = qeltest::matrixTable();
    std::printf("\n%s\n", table.c_str());
    std::ifstream doc(QEL_RELIABILITY_DOC);
    std::stringstream text;
    text << doc.rdbuf();
    EXPECT_NE(text.str().find(table), std::string::npos)
        << "docs/reliability.md does not hold the matrix as printed above";
}

} // namespace
