// The fault matrix end to end through the exported interface: each fault of the emulated
// device met in each phase of a device's life. Every cell checks the failing call's result and
// the last-error record, bounds every call by the exchange time-out plus a margin, checks that
// qelClose leaves the drives off wherever the line still works, and then recovers the way an
// application does: qelClose, (after an unplug, plugging the device in again), qelOpen, qelInit.
//
// Each cell is a test of its own, so that ctest runs them side by side. Run directly, the
// program prints the cells it ran with their observed timings.
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

namespace {

using qelemu::Fault;
using qelemu::FaultKind;
using qeltest::Outcome;
using qeltest::Phase;
using Clock = std::chrono::steady_clock;

// One exchange gives up after 0.5 s without a first byte and 0.1 s of quiet after the last;
// every call must return within that and a margin for a loaded machine.
constexpr double kExchangeTimeoutS = 0.6;
constexpr double kBoundS = kExchangeTimeoutS + 0.5;
// The open's settle time on a real device, which also lets a late reply arrive before the
// open flushes the line.
constexpr unsigned kDeviceSettleUs = 400000;

double secondsSince(Clock::time_point start) {
    return std::chrono::duration<double>(Clock::now() - start).count();
}

bool waitUntil(const std::function<bool()>& done, double seconds) {
    auto start = Clock::now();
    while (!done()) {
        if (secondsSince(start) > seconds) return false;
        std::this_thread::sleep_for(std::chrono::milliseconds(1));
    }
    return true;
}

// What a cell saw, for the table printed at the end.
struct Observed {
    Phase phase;
    FaultKind kind;
    int result;
    unsigned code;
    double faultedCallS;
    double longestCallS;
    bool drivesOff;
    bool recovered;
};

std::vector<Observed>& observed() {
    static std::vector<Observed> cells;
    return cells;
}

class PrintObserved : public ::testing::Environment {
public:
    void TearDown() override {
        if (observed().empty()) return;
        std::printf("\nFault matrix, as observed:\n");
        std::printf("| phase | fault | result | error | faulted call | longest call | drives "
                    "off after close | recovered |\n|---|---|---|---|---|---|---|---|\n");
        for (const Observed& o : observed())
            std::printf("| %s | %s | %d | %u | %.3f s | %.3f s | %s | %s |\n",
                        qeltest::phaseName(o.phase), qeltest::faultName(o.kind), o.result, o.code,
                        o.faultedCallS, o.longestCallS, o.drivesOff ? "yes" : "no",
                        o.recovered ? "yes" : "no");
    }
};
const auto* const kPrinter = ::testing::AddGlobalTestEnvironment(new PrintObserved);

// The frame each phase's call exchanges, for faults that must not land on a cyclic frame.
uint8_t codeOf(Phase phase) {
    switch (phase) {
    case Phase::Registers:
        return 0xAD;
    case Phase::Calibration:
        return 0xAC;
    case Phase::Close:
        return 0xA7;
    default:
        return 0;
    }
}

Fault faultFor(Phase phase, FaultKind kind) {
    uint8_t code = codeOf(phase);
    Fault fault = code ? Fault::onCode(kind, code) : Fault::next(kind);
    if (kind == FaultKind::Delay) fault.pause(qeltest::kLateReplyMs);
    return fault;
}

class FaultMatrix : public qeltest::InterfaceTest,
                    public ::testing::WithParamInterface<std::tuple<Phase, FaultKind>> {
protected:
    void TearDown() override {
        qeltest::InterfaceTest::TearDown();
        emulator.reset();
        hal::UartDevices::settleMicroseconds = 0;
    }

    qelemu::Device& device() { return emulator->device(0); }

    template <typename Call>
    auto timed(Call call) {
        auto start = Clock::now();
        auto result = call();
        longest = std::max(longest, secondsSince(start));
        return result;
    }

    bool cyclicFramesFlow() {
        uint64_t from = device().frames(0xB0);
        return waitUntil([&] { return device().frames(0xB0) >= from + 3; }, 1.0);
    }

    bool cyclicFramesStopped() {
        uint64_t from = device().frames(0xB0);
        std::this_thread::sleep_for(std::chrono::milliseconds(50));
        return device().frames(0xB0) == from;
    }

    // Opens and initialises the device and brings it to the state the phase starts from.
    void bringUp(Phase phase) {
        ASSERT_EQ(qelOpen(), 1);
        opened = true;
        if (phase == Phase::Init) return;
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

    // The call of the phase, met by the fault. Returns its result.
    int faultedCall(Phase phase) {
        qelEnableExpertMode();
        qelClearError();
        auto start = Clock::now();
        int result = 0;
        switch (phase) {
        case Phase::Open:
            result = timed([] { return qelOpen(); });
            opened = result == 1;
            break;
        case Phase::Init:
            result = timed([] { return qelInit(-1); });
            break;
        case Phase::Registers:
            result = timed([] { return qelSetParaShort(8, 1234, -1); });
            break;
        case Phase::Calibration:
            result = timed([] { return qelCalibrateDevice(-1); });
            break;
        case Phase::Running:
            // The loop meets the fault on its own; the application learns of it from its next
            // query, and keeps querying while nothing is wrong.
            result = 1;
            while (result == 1 && secondsSince(start) < kBoundS) {
                double x, y, z;
                result = timed([&] { return qelGetPosition(&x, &y, &z, -1); });
                std::this_thread::sleep_for(std::chrono::microseconds(500));
            }
            break;
        case Phase::Close:
            result = timed([] { return qelClose(-1); });
            opened = false;
            break;
        }
        faultedS = secondsSince(start);
        qelDisableExpertMode();
        return result;
    }

    void expectRecovery(bool lateReply) {
        // A reply that came after its exchange gave up is dropped by the open's settle time
        // and flush, as on the device.
        if (lateReply) hal::UartDevices::settleMicroseconds = kDeviceSettleUs;
        ASSERT_EQ(timed([] { return qelOpen(); }), 1);
        opened = true;
        hal::UartDevices::settleMicroseconds = 0;
        ASSERT_EQ(timed([] { return qelInit(-1); }), 1);
        EXPECT_TRUE(cyclicFramesFlow());
        ASSERT_EQ(timed([] { return qelEnableDevice(true, -1); }), 1);
        EXPECT_TRUE(device().drivesEnabled());
        ASSERT_EQ(timed([] { return qelClose(-1); }), 1);
        opened = false;
        EXPECT_FALSE(device().drivesEnabled());
        recovered = !::testing::Test::HasFailure();
    }

    std::unique_ptr<qelemu::Emulator> emulator;
    bool opened = false;
    bool recovered = false;
    double longest = 0;
    double faultedS = 0;
};

TEST_P(FaultMatrix, FailsDefinedlyClosesSafelyAndRecovers) {
    const Phase phase = std::get<0>(GetParam());
    const FaultKind kind = std::get<1>(GetParam());
    const Outcome want = qeltest::expectedOutcome(phase, kind);
    SCOPED_TRACE(std::string(qeltest::phaseName(phase)) + " / " + qeltest::faultName(kind));

    emulator.reset(new qelemu::Emulator());
    if (phase == Phase::Open && kind == FaultKind::Unplug) {
        emulator->unplug(0);
    } else {
        if (phase != Phase::Open) {
            ASSERT_NO_FATAL_FAILURE(bringUp(phase));
        }
        device().injectFault(faultFor(phase, kind));
    }

    const bool drivesWereOn = device().drivesEnabled();
    const int result = faultedCall(phase);
    EXPECT_EQ(result, want.result);
    if (want.code) {
        qeltest::expectLastError(want.code, 1, want.text.c_str());
    } else {
        qeltest::expectLastError(0, 0, "");
    }

    if (phase == Phase::Open && kind != FaultKind::Unplug) {
        EXPECT_EQ(device().faultsApplied(kind), 0u) << "opening exchanges no frame";
    }
    if (phase == Phase::Running && result == 0) {
        EXPECT_TRUE(cyclicFramesStopped()) << "frames stop while the error is pending";
    }
    if (phase == Phase::Running && result == 1) {
        EXPECT_TRUE(cyclicFramesFlow());
    }
    if (kind == FaultKind::Unplug) {
        EXPECT_TRUE(emulator->unplugged(0));
    }

    // The application lets the device go.
    if (phase != Phase::Close) device().clearFaults();
    if (opened) {
        EXPECT_EQ(timed([] { return qelClose(-1); }), 1);
        opened = false;
    }
    // The device acts on the drives-off frame when it reads it, which may be after a late
    // reply of its own has gone out and the close has returned.
    const bool drivesOff = waitUntil([&] { return !device().drivesEnabled(); }, 0.5);
    if (!want.lineDead) {
        EXPECT_TRUE(drivesOff) << (drivesWereOn ? "drives left on" : "");
    }
    device().clearFaults();

    if (emulator->unplugged(0)) emulator->replug(0);
    expectRecovery(kind == FaultKind::Delay);

    EXPECT_LE(longest, kBoundS) << "a call took too long";
    observed().push_back({phase, kind, result, want.code, faultedS, longest, drivesOff, recovered});
}

std::string cellName(const ::testing::TestParamInfo<std::tuple<Phase, FaultKind>>& info) {
    static const char* const phases[] = {"Open",        "Init",    "Registers",
                                         "Calibration", "Running", "Close"};
    return std::string(phases[static_cast<int>(std::get<0>(info.param))]) + "_" +
           qeltest::faultName(std::get<1>(info.param));
}

INSTANTIATE_TEST_SUITE_P(
    Cells, FaultMatrix,
    ::testing::Combine(::testing::Values(Phase::Open, Phase::Init, Phase::Registers,
                                         Phase::Calibration, Phase::Running, Phase::Close),
                       ::testing::Values(FaultKind::CorruptChecksum, FaultKind::WrongHeader,
                                         FaultKind::WrongCode, FaultKind::ShortReply,
                                         FaultKind::SplitReply, FaultKind::NoReply,
                                         FaultKind::ZeroAck, FaultKind::Delay, FaultKind::Unplug)),
    cellName);

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
