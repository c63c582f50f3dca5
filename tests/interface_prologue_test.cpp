// Every exported function's checks before it reaches a device, one table row per function:
// an identifier out of range, an empty slot, expert mode off, and the fixed answer of the
// functions that do nothing else, each with its outputs left as they were. The rows must name
// exactly the functions of the exported-symbol list.
#include <gtest/gtest.h>

#include <cstring>
#include <fstream>
#include <functional>
#include <optional>
#include <set>
#include <string>
#include <type_traits>
#include <vector>

#include "QEL_OPEN.h"
#include "emulator.h"
#include "fixtures.h"

namespace {

using qeltest::expectLastError;

// What a function checks before it does anything else.
enum Checks {
    NoPrologue,  // addresses no device
    RangeOnly,   // the identifier's range (error 3, node 1)
    Open,        // ... and an object in the slot (error 2, the identifier as node)
    Expert,      // ... and expert mode (error 4, the identifier as node)
    ExpertNode1, // ... with node 1 for the expert-mode error
};

// Every output a function can be handed, filled with a byte pattern no function writes.
struct Outputs {
    double d[64];
    int i[8];
    unsigned int u[8];
    short s[8];
    QELushort us[8];
    QELuchar uc[8];
    char text[8];
    double (*m3())[3] { return reinterpret_cast<double(*)[3]>(d + 16); }
    double (*m6())[6] { return reinterpret_cast<double(*)[6]>(d + 16); }

    static constexpr unsigned char kPattern = 0xA5;
    void fill() { std::memset(static_cast<void*>(this), kPattern, sizeof *this); }
    bool untouched() const {
        const unsigned char* bytes = reinterpret_cast<const unsigned char*>(this);
        for (size_t k = 0; k < sizeof *this; ++k)
            if (bytes[k] != kPattern) return false;
        return true;
    }
};

// A call's result as a number: pointers count as null or not, void as 0.
template <typename Call>
double resultOf(Call call) {
    using R = decltype(call());
    if constexpr (std::is_void_v<R>) {
        call();
        return 0.0;
    } else if constexpr (std::is_pointer_v<R>) {
        return call() ? 1.0 : 0.0;
    } else {
        return static_cast<double>(call());
    }
}

struct Row {
    std::string name;
    Checks checks;
    // The answer on an open, uninitialised device with expert mode on, for the functions that
    // answer without reaching the device; their outputs stay untouched too.
    std::optional<double> fixed;
    std::function<double(Outputs&, char)> call;
};

#define ROW(fn, checks, fixed, args)                                                               \
    Row {                                                                                          \
#fn, checks, fixed, [](Outputs & o, char ID) {                                         \
            (void)o;                                                                           \
            (void)ID;                                                                          \
            return resultOf([&] { return fn args; });                                          \
        }           \
    }

const std::optional<double> none;

std::vector<Row> rows() {
    return {
        // Errors and the device table.
        ROW(qelErrorCatch, NoPrologue, none, (0, 0)),
        ROW(qelErrorGetLast, NoPrologue, none, (o.u, o.u + 1)),
        ROW(qelErrorGetLastStr, NoPrologue, none, ()),
        ROW(qelErrorGetStr, NoPrologue, none, (0)),
        ROW(qelClearError, NoPrologue, none, ()),
        ROW(qelGetDeviceCount, NoPrologue, none, ()),
        ROW(qelGetAvailableCount, NoPrologue, none, ()),
        ROW(qelSetDevice, RangeOnly, none, (ID)),
        ROW(qelGetDeviceID, NoPrologue, none, ()),
        ROW(qelOpen, NoPrologue, none, ()),
        ROW(qelOpenID, RangeOnly, none, (ID)),
        ROW(qelOpenSerial, NoPrologue, none, (1u)),
        ROW(qelOpenType, NoPrologue, 0, (1)),
        ROW(qelClose, RangeOnly, none, (ID)),
        ROW(qelInit, Open, none, (ID)),
        ROW(qelEnableSimulator, NoPrologue, none, (true)),
        ROW(qelGetSerialNumber, Open, none, (o.u, ID)),
        ROW(qelGetOperationMode, Open, none, (o.uc, ID)),
        ROW(qelEnableForce, Open, none, (1, ID)),
        ROW(qelGetSystemType, Open, 62, (ID)),
        ROW(qelGetSystemName, Open, 0, (ID)),
        ROW(qelIsLeftHanded, Open, 0, (ID)),
        ROW(qelHasBase, Open, 1, (ID)),
        ROW(qelHasWrist, Open, 1, (ID)),
        ROW(qelHasActiveWrist, Open, 1, (ID)),
        ROW(qelHasGripper, Open, 1, (ID)),
        ROW(qelHasActiveGripper, Open, 1, (ID)),
        ROW(qelStop, Open, 1, (ID)),
        ROW(qelGetComMode, Open, 1, (ID)),
        ROW(qelEnableGripperForce, Open, 1, (1, ID)),
        ROW(qelGetVersion, Open, 1, (o.d, ID)),
        ROW(qelGetStatus, Open, 1, (o.i, ID)),
        ROW(qelReset, Open, 1, (ID)),
        ROW(qelResetWrist, Open, 1, (ID)),
        ROW(qelWaitForReset, Open, 1, (10, ID)),
        ROW(qelGetSDKVersion, NoPrologue, none, (o.i, o.i + 1, o.i + 2, o.i + 3)),
        ROW(qelEnableExpertMode, NoPrologue, none, ()),
        ROW(qelDisableExpertMode, NoPrologue, none, ()),

        // Position, orientation and velocity.
        ROW(qelGetPosition, Open, none, (o.d, o.d + 1, o.d + 2, ID)),
        ROW(qelGetOrientationFrame, Open, none, (o.m3(), ID)),
        ROW(qelGetOrientationRad, Open, none, (o.d, o.d + 1, o.d + 2, ID)),
        ROW(qelGetOrientationDeg, Open, none, (o.d, o.d + 1, o.d + 2, ID)),
        ROW(qelGetPositionAndOrientationRad, Open, none,
            (o.d, o.d + 1, o.d + 2, o.d + 3, o.d + 4, o.d + 5, ID)),
        ROW(qelGetPositionAndOrientationDeg, Open, none,
            (o.d, o.d + 1, o.d + 2, o.d + 3, o.d + 4, o.d + 5, ID)),
        ROW(qelGetPositionAndOrientationFrame, Open, none, (o.d, o.d + 1, o.d + 2, o.m3(), ID)),
        ROW(qelGetLinearVelocity, Open, none, (o.d, o.d + 1, o.d + 2, ID)),
        ROW(qelGetAngularVelocityRad, RangeOnly, none, (o.d, o.d + 1, o.d + 2, ID)),
        ROW(qelGetAngularVelocityDeg, RangeOnly, none, (o.d, o.d + 1, o.d + 2, ID)),
        ROW(qelGetButton, Open, none, (0, ID)),
        ROW(qelGetComFreq, Open, none, (ID)),
        ROW(qelGetGripperAngleDeg, Open, none, (o.d, ID)),
        ROW(qelGetGripperAngleRad, Open, 1, (o.d, ID)),
        ROW(qelGetGripperGap, Open, 1, (o.d, ID)),
        ROW(qelGetGripperThumbPos, Open, 1, (o.d, o.d + 1, o.d + 2, ID)),
        ROW(qelGetGripperFingerPos, Open, 1, (o.d, o.d + 1, o.d + 2, ID)),
        ROW(qelGetButtonMask, Open, 1, (ID)),
        ROW(qelEmulateButton, Open, 1, (1, ID)),
        ROW(qelConfigLinearVelocity, Open, 1, (10, 1, ID)),
        ROW(qelConfigAngularVelocity, Open, 1, (10, 1, ID)),
        ROW(qelConfigGripperVelocity, Open, 1, (10, 1, ID)),
        ROW(qelGetGripperLinearVelocity, Open, 1, (o.d, ID)),
        ROW(qelGetGripperAngularVelocityRad, Open, 1, (o.d, ID)),
        ROW(qelGetGripperAngularVelocityDeg, Open, 1, (o.d, ID)),
        ROW(qelGetBaseAngleXRad, Open, 1, (o.d, ID)),
        ROW(qelGetBaseAngleXDeg, Open, 1, (o.d, ID)),
        ROW(qelSetBaseAngleXRad, Open, 1, (0.5, ID)),
        ROW(qelSetBaseAngleXDeg, Open, 1, (30.0, ID)),
        ROW(qelGetBaseAngleZRad, Open, 1, (o.d, ID)),
        ROW(qelGetBaseAngleZDeg, Open, 1, (o.d, ID)),
        ROW(qelSetBaseAngleZRad, Open, 1, (0.5, ID)),
        ROW(qelSetBaseAngleZDeg, Open, 1, (30.0, ID)),
        ROW(qelGetDeviceAngleRad, Open, 1, (o.d, ID)),
        ROW(qelGetDeviceAngleDeg, Open, 1, (o.d, ID)),
        ROW(qelSetDeviceAngleRad, Open, 1, (0.5, ID)),
        ROW(qelSetDeviceAngleDeg, Open, 1, (30.0, ID)),

        // Force output.
        ROW(qelSetForce, Open, none, (1.0, 2.0, 3.0, ID)),
        ROW(qelGetForce, Open, none, (o.d, o.d + 1, o.d + 2, ID)),
        ROW(qelSetForceAndTorque, Open, none, (1.0, 2.0, 3.0, 0.1, 0.2, 0.3, ID)),
        ROW(qelSetForceAndWristJointTorques, Expert, none, (1.0, 2.0, 3.0, 0.1, 0.2, 0.3, ID)),
        ROW(qelSetForceAndGripperForce, Open, none, (1.0, 2.0, 3.0, 0.5, ID)),
        ROW(qelSetForceAndTorqueAndGripperForce, Open, 1, (1.0, 2.0, 3.0, 0.1, 0.2, 0.3, 0.5, ID)),
        ROW(qelSetGravityCompensation, Open, none, (1, ID)),
        ROW(qelSetStandardGravity, Open, none, (9.8, ID)),
        ROW(qelSetBrakes, Open, none, (1, ID)),
        ROW(qelGetForceAndTorque, Open, 1, (o.d, o.d + 1, o.d + 2, o.d + 3, o.d + 4, o.d + 5, ID)),
        ROW(qelGetForceAndTorqueAndGripperForce, Open, 1,
            (o.d, o.d + 1, o.d + 2, o.d + 3, o.d + 4, o.d + 5, o.d + 6, ID)),
        ROW(qelSetEffectorMass, Open, 1, (0.2, ID)),
        ROW(qelGetEffectorMass, Open, 1, (o.d, ID)),
        ROW(qelSetOutput, Open, 1, (3u, ID)),
        ROW(qelSetVibration, Open, 1, (50.0, 1.0, 0, ID)),
        ROW(qelSetForceAndWristJointTorquesAndGripperForce, Expert, 1,
            (1.0, 2.0, 3.0, 0.1, 0.2, 0.3, 0.5, ID)),
        ROW(qelSetTimeGuard, Expert, 1, (100, ID)),
        ROW(qelSetBrk, ExpertNode1, 1, (1, ID)),

        // Expert functions.
        ROW(qelUpdateEncoders, Expert, none, (ID)),
        ROW(qelGetEnc, Expert, none, (o.u, 0x07, ID)),
        ROW(qelGetEncoder, Expert, none, (0, ID)),
        ROW(qelGetDeltaEncoders, Expert, none, (o.i, o.i + 1, o.i + 2, ID)),
        ROW(qelGetWristEncoders, Expert, none, (o.u, o.u + 1, o.u + 2, ID)),
        ROW(qelGetGripperEncoder, Expert, none, (o.u, ID)),
        ROW(qelSetMotor, Expert, none, (0, 100, ID)),
        ROW(qelSetDeltaMotor, Expert, none, (1, 2, 3, ID)),
        ROW(qelSetWristMotor, Expert, none, (1, 2, 3, ID)),
        ROW(qelSetGripperMotor, Expert, none, (1, ID)),
        ROW(qelEnableDevice, Open, none, (false, ID)),
        ROW(qelDeltaEncoderToPosition, Expert, none, (1, 2, 3, o.d, o.d + 1, o.d + 2, ID)),
        ROW(qelDeltaPositionToEncoder, Expert, none, (0.0, 0.0, 150.0, o.i, o.i + 1, o.i + 2, ID)),
        ROW(qelDeltaForceToMotor, Expert, none,
            (1.0, 2.0, 3.0, 1, 2, 3, o.us, o.us + 1, o.us + 2, ID)),
        ROW(qelDeltaEncodersToJointAngles, Expert, none, (1u, 2u, 3u, o.d, o.d + 1, o.d + 2, ID)),
        ROW(qelDeltaJointAnglesToEncoders, Expert, none,
            (0.1, 0.2, 0.3, o.u, o.u + 1, o.u + 2, ID)),
        ROW(qelWristEncodersToJointAngles, Expert, none, (1u, 2u, 3u, o.d, o.d + 1, o.d + 2, ID)),
        ROW(qelWristJointAnglesToEncoders, Expert, none,
            (0.1, 0.2, 0.3, o.u, o.u + 1, o.u + 2, ID)),
        ROW(qelWristEncoderToOrientation, Expert, none, (1u, 2u, 3u, o.d, o.d + 1, o.d + 2, ID)),
        ROW(qelWristOrientationToEncoder, Expert, none, (0.1, 0.2, 0.3, o.u, o.u + 1, o.u + 2, ID)),
        ROW(qelGetDeltaJointAngles, Expert, none, (o.d, o.d + 1, o.d + 2, ID)),
        ROW(qelGetWristJointAngles, Expert, none, (o.d, o.d + 1, o.d + 2, ID)),
        ROW(qelGetJointAngles, Expert, none, (o.d, ID)),
        ROW(qelDeltaJointAnglesToJacobian, Expert, none, (0.1, 0.2, 0.3, o.m3(), ID)),
        ROW(qelWristJointAnglesToJacobian, Expert, none, (0.1, 0.2, 0.3, o.m3(), ID)),
        ROW(qelGetDeltaJacobian, Expert, none, (o.m3(), ID)),
        ROW(qelGetWristJacobian, Expert, none, (o.m3(), ID)),
        ROW(qelSetWristJointTorques, Expert, none, (0.1, 0.2, 0.3, ID)),
        ROW(qelGetJointTorques, Expert, none, (o.d, o.d + 1, o.d + 2, ID)),
        ROW(qelGetJointVelocities, Expert, none, (o.d, ID)),
        ROW(qelGetEncVelocities, Expert, none, (o.d, ID)),
        ROW(qelDeltaMotorToForce, Expert, 1, (1, 2, 3, 1, 2, 3, o.d, o.d + 1, o.d + 2, ID)),
        ROW(qelWristMotorToTorque, Expert, 1, (1, 2, 3, 1, 2, 3, o.d, o.d + 1, o.d + 2, ID)),
        ROW(qelWristTorqueToMotor, Expert, 1, (0.1, 0.2, 0.3, 1, 2, 3, o.s, o.s + 1, o.s + 2, ID)),
        ROW(qelGripperEncoderToAngleRad, Expert, 1, (5, o.d, ID)),
        ROW(qelGripperEncoderToGap, Expert, 1, (5, o.d, ID)),
        ROW(qelGripperAngleRadToEncoder, Expert, 1, (0.5, o.i, ID)),
        ROW(qelGripperGapToEncoder, Expert, 1, (0.5, o.i, ID)),
        ROW(qelGripperMotorToForce, Expert, 1, (100, o.d, o.i, ID)),
        ROW(qelGripperForceToMotor, Expert, 1, (1.0, o.s, o.u, ID)),
        ROW(qelSetMot, Expert, 1, (o.s, 0x07, ID)),
        ROW(qelPreloadMot, Expert, 1, (o.s, 0x07, ID)),
        ROW(qelDeltaJointTorquesExtrema, Expert, 1, (0.1, 0.2, 0.3, o.d, o.d + 3, ID)),
        ROW(qelWristJointTorquesExtrema, Expert, 1, (0.1, 0.2, 0.3, o.d, o.d + 3, ID)),
        ROW(qelDeltaGravityJointTorques, Expert, 1, (0.1, 0.2, 0.3, o.d, o.d + 1, o.d + 2, ID)),
        ROW(qelWristGravityJointTorques, Expert, 1, (0.1, 0.2, 0.3, o.d, o.d + 1, o.d + 2, ID)),
        ROW(qelSetDeltaJointTorques, Expert, 1, (0.1, 0.2, 0.3, ID)),
        ROW(qelJointAnglesToInertiaMatrix, Expert, 1, (o.d, o.m6(), ID)),

        // Parameters, calibration, velocity threshold and utilities.
        ROW(qelSetParaInt, Expert, none, (2, 7u, ID)),
        ROW(qelGetParaInt, Expert, none, (2, o.u, ID)),
        ROW(qelSetParaShort, Expert, none, (2, 7, ID)),
        ROW(qelGetParaShort, Expert, none, (2, o.s, ID)),
        ROW(qelSaveConfiguration, Expert, none, (ID)),
        ROW(qelSetVelocityThreshold, Expert, none, (100u, ID)),
        ROW(qelGetVelocityThreshold, Expert, none, (o.u, ID)),
        ROW(qelCalibrateDevice, Open, none, (ID)),
        ROW(qelSaveCalibration, Expert, none, (o.u, o.u + 6, 0x07, ID)),
        ROW(qelSetComMode, Expert, 1, (1, ID)),
        ROW(qelSetComModePriority, Expert, 1, (1, ID)),
        ROW(qelSetWatchdog, Expert, 1, (1, ID)),
        ROW(qelGetWatchdog, Expert, 1, (o.uc, ID)),
        ROW(qelControllerSetDevice, Expert, 1, (1, ID)),
        ROW(qelReadConfigFromFile, Expert, 1, (o.text, ID)),
        ROW(qelCalibrateWrist, Expert, 1, (ID)),
        ROW(qelPreset, Expert, 1, (o.i, 0x07, ID)),
        ROW(qelAutoCalibrate, NoPrologue, 0, (ID)),
        ROW(qelKbHit, NoPrologue, 0, ()),
        ROW(qelKbGet, NoPrologue, 0, ()),
        ROW(qelGetTime, NoPrologue, 0, ()),
        ROW(qelSleep, NoPrologue, none, (1.0)),
        ROW(qelStartThread, NoPrologue, none, (nullptr, nullptr, 0)),
    };
}

// The plain names of the exported-symbol list.
std::set<std::string> exportedNames() {
    std::ifstream list(QEL_EXPORTED_SYMBOLS_FILE);
    std::set<std::string> names;
    std::string line;
    while (std::getline(list, line)) {
        if (line.empty() || line[0] == '#') continue;
        size_t equals = line.find('=');
        names.insert(equals == std::string::npos ? line : line.substr(equals + 1));
    }
    return names;
}

class Prologue : public qeltest::InterfaceTest {
protected:
    void TearDown() override {
        qeltest::InterfaceTest::TearDown();
        emulator.reset();
    }
    std::unique_ptr<qelemu::Emulator> emulator;
};

TEST_F(Prologue, EveryFunctionChecksItsDeviceBeforeAnythingElse) {
    const std::vector<Row> table = rows();
    std::set<std::string> named;
    for (const Row& row : table) EXPECT_TRUE(named.insert(row.name).second) << row.name;
    EXPECT_EQ(named, exportedNames()) << "one row per exported function";

    // Three devices: 1 and 3 open, 2 not; identifier 4 is out of range.
    qelemu::EmulatorOptions options;
    options.devices = 3;
    emulator.reset(new qelemu::Emulator(options));
    ASSERT_EQ(qelOpenID(1), 1);
    ASSERT_EQ(qelOpenID(3), 3);
    const char outOfRange = 4, empty = 2, open = 3;

    Outputs outputs;
    auto run = [&](const Row& row, char id) {
        outputs.fill();
        qelClearError();
        return row.call(outputs, id);
    };

    for (const Row& row : table) {
        SCOPED_TRACE(row.name);
        if (row.checks == NoPrologue) {
            if (!row.fixed) continue;
            EXPECT_EQ(run(row, open), *row.fixed);
            expectLastError(0, 0, "");
            continue;
        }

        qelDisableExpertMode();
        EXPECT_EQ(run(row, outOfRange), 0.0);
        expectLastError(3, 1, "Invalid Input Parameter");
        EXPECT_TRUE(outputs.untouched());
        if (row.checks == RangeOnly) continue;

        qelEnableExpertMode();
        EXPECT_EQ(run(row, empty), 0.0);
        expectLastError(2, empty, "Device Not Open");
        EXPECT_TRUE(outputs.untouched());

        if (row.checks == Expert || row.checks == ExpertNode1) {
            qelDisableExpertMode();
            EXPECT_EQ(run(row, open), 0.0);
            expectLastError(4, row.checks == ExpertNode1 ? 1 : open, "Expert Mode Not Set");
            EXPECT_TRUE(outputs.untouched());
            qelEnableExpertMode();
        }

        if (row.fixed) {
            EXPECT_EQ(run(row, open), *row.fixed);
            expectLastError(0, 0, "");
            EXPECT_TRUE(outputs.untouched());
        }
    }
}

} // namespace
