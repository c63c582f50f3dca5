// SPDX-License-Identifier: MIT
// The exported state, force and parameter functions against the emulated device: what an
// application reads matches the emulated arm, and what it commands reaches the device's
// registers, brakes and motor frames.
#include <gtest/gtest.h>

#include <array>
#include <cmath>
#include <memory>
#include <vector>

#include "QEL_OPEN.h"
#include "arm_model.h"
#include "emulator.h"
#include "fixtures.h"
#include "wire.h"

namespace {

namespace cmd = qelemu::cmd;

using qelemu::Fault;
using qelemu::FaultKind;
using qeltest::expectLastError;

const double kPi = 3.1415926; // the interface's pi
const double kResolution = 1048576.0;

double degrees(double radians) { return 180.0 * radians / kPi; }

// The three signed 16-bit commands of a motor frame.
std::array<int16_t, 3> motorsOf(const std::vector<uint8_t>& request) {
    std::array<int16_t, 3> m{};
    for (int i = 0; i < 3; ++i)
        m[i] = static_cast<int16_t>(request.at(2 + 2 * i) << 8 | request.at(3 + 2 * i));
    return m;
}

// The poses of two arms at rest, and the encoder rates they report.
const double kPoses[2][6] = {{0.5, 0.7, 0.6, 0.3, -0.2, 0.4}, {0.5, 0.5, 0.5, -0.5, 0.3, -0.6}};
const int16_t kRates[2][6] = {{40, -25, 10, 64, -32, 16}, {3, -4, 5, -100, 50, 200}};

class Application : public qeltest::InterfaceTest {
protected:
    void TearDown() override {
        qeltest::InterfaceTest::TearDown();
        emulator.reset();
    }
    // With `posed`, the devices stand at the poses above and report the rates above.
    qelemu::Emulator& start(int devices, bool posed = false) {
        qelemu::EmulatorOptions options;
        options.devices = devices;
        for (int d = 0; posed && d < devices; ++d) {
            options.device.emplace_back();
            for (int i = 0; i < 6; ++i) options.device[d].jointAngles[i] = kPoses[d][i];
        }
        emulator.reset(new qelemu::Emulator(options));
        for (int d = 0; posed && d < devices; ++d)
            for (int i = 0; i < 6; ++i) emulator->device(d).setEncoderVelocity(i, kRates[d][i]);
        return *emulator;
    }
    // Opened, initialised and calibrated through the interface, with a few refresh passes
    // run on the calibration.
    void bringUp(char id) {
        ASSERT_EQ(qelOpenID(id), id);
        ASSERT_EQ(qelInit(id), 1);
        ASSERT_EQ(qelCalibrateDevice(id), 1);
        qelemu::Device& device = emulator->device(id - 1);
        const uint64_t target = device.frames(cmd::Cyclic) + 5;
        ASSERT_TRUE(qeltest::waitUntil([&] { return device.frames(cmd::Cyclic) >= target; }))
            << "the refresh thread stalled";
    }
    // Expert mode is off: an expert function refuses with error 4.
    void expectExpertModeOff(char id = 1) {
        EXPECT_EQ(qelGetEncoder(0, id), 0u);
        expectLastError(4, static_cast<unsigned>(id), "Expert Mode Not Set");
        qelClearError();
    }
    std::unique_ptr<qelemu::Emulator> emulator;
};

// What an application reads of device 1, the current device, matches its arm; device 2 stands
// elsewhere, so that an answer for the wrong device shows.
TEST_F(Application, ReadingsAndConversionsMatchTheArmOfTheCurrentDevice) {
    qelemu::Emulator& emu = start(2, true);
    qelemu::Device& device = emu.device(0);
    bringUp(1);
    bringUp(2);
    ASSERT_EQ(qelGetDeviceID(), 1);
    double truth[3], q[6];
    ASSERT_TRUE(device.position(truth));
    device.jointAngles(q);

    double p[3] = {};
    ASSERT_EQ(qelGetPosition(&p[0], &p[1], &p[2], 1), 1);
    for (int i = 0; i < 3; ++i) EXPECT_NEAR(p[i], truth[i], 0.01) << "millimetres, axis " << i;

    qelEnableExpertMode(); // borrowed and given back switched off, whatever it was
    double o[3] = {};
    ASSERT_EQ(qelGetOrientationRad(&o[0], &o[1], &o[2], 1), 1);
    expectExpertModeOff();
    for (int i = 0; i < 3; ++i) EXPECT_NEAR(o[i], q[3 + i], 1e-5);

    // The degrees and the angular velocity answer for the current device, whatever the
    // identifier says.
    double deg[3] = {};
    ASSERT_EQ(qelGetOrientationDeg(&deg[0], &deg[1], &deg[2], 2), 1);
    for (int i = 0; i < 3; ++i) EXPECT_DOUBLE_EQ(deg[i], degrees(o[i])) << "device 1's";
    double w[3] = {};
    EXPECT_EQ(qelGetAngularVelocityRad(&w[0], &w[1], &w[2], 2), 0);
    expectLastError(4, 1, "Expert Mode Not Set");
    qelEnableExpertMode();
    ASSERT_EQ(qelGetAngularVelocityRad(&w[0], &w[1], &w[2], 2), 1);
    for (int i = 0; i < 3; ++i)
        EXPECT_DOUBLE_EQ(w[i], -2 * (kRates[0][3 + i] / kResolution) * kPi) << "device 1's";
    double wd[3] = {};
    ASSERT_EQ(qelGetAngularVelocityDeg(&wd[0], &wd[1], &wd[2], 2), 1);
    for (int i = 0; i < 3; ++i) EXPECT_DOUBLE_EQ(wd[i], degrees(w[i]));

    // Rz(yaw) * Ry(pitch) * Rx(roll): the wrist's frame on a device without mounting tilt.
    double frame[3][3] = {};
    ASSERT_EQ(qelGetOrientationFrame(frame, 1), 1);
    double cy = std::cos(q[3]), sy = std::sin(q[3]), ct = std::cos(q[4]), st = std::sin(q[4]);
    double co = std::cos(q[5]), so = std::sin(q[5]);
    const double expected[3][3] = {{cy * ct, cy * st * so - sy * co, cy * st * co + sy * so},
                                   {sy * ct, sy * st * so + cy * co, sy * st * co - cy * so},
                                   {-st, ct * so, ct * co}};
    for (int i = 0; i < 3; ++i)
        for (int j = 0; j < 3; ++j) EXPECT_NEAR(frame[i][j], expected[i][j], 1e-5) << i << j;

    double both[6] = {};
    ASSERT_EQ(qelGetPositionAndOrientationRad(&both[0], &both[1], &both[2], &both[3], &both[4],
                                              &both[5], -1),
              1);
    for (int i = 0; i < 3; ++i) {
        // Each pass solves the position afresh from the last solution: the last digits move.
        EXPECT_NEAR(both[i], p[i], 1e-6);
        EXPECT_DOUBLE_EQ(both[3 + i], o[i]);
    }
    expectExpertModeOff();

    // The handle's velocity is the Jacobian times the joint rates the device reports, which
    // the library scales from counts to radians without a time base.
    qelemu::ArmModel model(qelemu::ArmGeometry::forType(1));
    model.setJointAngles(q);
    double J[3][3];
    ASSERT_TRUE(model.jacobian(J));
    double v[3] = {};
    ASSERT_EQ(qelGetLinearVelocity(&v[0], &v[1], &v[2], 1), 1);
    for (int k = 0; k < 3; ++k) {
        double expectedRate = 0;
        for (int i = 0; i < 3; ++i)
            expectedRate += J[k][i] * (-2 * kRates[0][i] / kResolution * kPi);
        EXPECT_NEAR(v[k], expectedRate, 1e-3 * std::fabs(expectedRate) + 1e-9) << "axis " << k;
    }

    // The expert functions: encoders, conversions, the Jacobians and the calibration.
    ASSERT_EQ(qelEnableExpertMode(), 1);
    unsigned int counts[6];
    for (int i = 0; i < 6; ++i) {
        counts[i] = qelGetEncoder(i, 1);
        EXPECT_EQ(counts[i], device.encoderCount(i)) << "channel " << i;
    }
    int delta[3] = {};
    unsigned int wrist[3] = {};
    ASSERT_EQ(qelGetDeltaEncoders(&delta[0], &delta[1], &delta[2], 1), 1);
    ASSERT_EQ(qelGetWristEncoders(&wrist[0], &wrist[1], &wrist[2], 1), 1);
    for (int i = 0; i < 3; ++i) {
        EXPECT_EQ(static_cast<unsigned int>(delta[i]), counts[i]);
        EXPECT_EQ(wrist[i], counts[3 + i]);
    }
    uint64_t reads = device.frames(cmd::ReadEncoders);
    ASSERT_EQ(qelUpdateEncoders(1), 1);
    EXPECT_EQ(device.frames(cmd::ReadEncoders), reads + 1);

    double j[6] = {};
    ASSERT_EQ(
        qelDeltaEncodersToJointAngles(counts[0], counts[1], counts[2], &j[0], &j[1], &j[2], 1), 1);
    ASSERT_EQ(
        qelWristEncodersToJointAngles(counts[3], counts[4], counts[5], &j[3], &j[4], &j[5], 1), 1);
    for (int i = 0; i < 6; ++i) EXPECT_NEAR(j[i], q[i], 1e-5) << "joint " << i;
    double live[6] = {};
    ASSERT_EQ(qelGetJointAngles(live, 1), 1);
    for (int i = 0; i < 6; ++i) EXPECT_NEAR(live[i], q[i], 1e-5) << "joint " << i;

    double c[3] = {};
    ASSERT_EQ(qelDeltaEncoderToPosition(delta[0], delta[1], delta[2], &c[0], &c[1], &c[2], 1), 1);
    for (int i = 0; i < 3; ++i) EXPECT_NEAR(c[i], truth[i], 0.01);

    double jacobian[3][3] = {};
    ASSERT_EQ(qelGetDeltaJacobian(jacobian, 1), 1);
    for (int r = 0; r < 3; ++r)
        for (int c = 0; c < 3; ++c) EXPECT_NEAR(jacobian[r][c], J[r][c], 0.01) << r << c;
    double untouched[3][3] = {{7, 7, 7}, {7, 7, 7}, {7, 7, 7}};
    ASSERT_EQ(qelGetWristJacobian(untouched, 1), 1);
    EXPECT_EQ(untouched[2][2], 7.0) << "the wrist has no Jacobian to hand out";

    double rates[6] = {};
    ASSERT_EQ(qelGetEncVelocities(rates, 1), 1);
    for (int i = 0; i < 6; ++i) EXPECT_EQ(rates[i], kRates[0][i]);

    // A calibration with a different zero count per axis, stored in the device: the arm's
    // angle-to-count conversion uses axis 0's for all three angles, and the wrist's hands the
    // angles on in degrees.
    unsigned int low[6] = {900000, 910000, 920000, 100000, 110000, 120000};
    unsigned int high[6] = {1200000, 1210000, 1220000, 900000, 910000, 920000};
    ASSERT_EQ(qelSaveCalibration(low, high, 0x3F, 1), 1);
    for (int axis = 0; axis < 6; ++axis) EXPECT_EQ(device.reg32(100 + 4 * axis), low[axis]);
    const double armZero = 86.5, wristZero[3] = {120, 45, 167.5}; // degrees, type 1
    auto count = [](uint32_t zero, double zeroDegrees, double angle) {
        double rot = zeroDegrees - 180.0 * angle / kPi;
        return zero + static_cast<uint32_t>(static_cast<int32_t>(kResolution * (rot / 360.0)));
    };
    const double angles[3] = {0.1, 0.2, 0.3};
    unsigned int e[3] = {};
    ASSERT_EQ(qelDeltaJointAnglesToEncoders(0.1, 0.2, 0.3, &e[0], &e[1], &e[2], 1), 1);
    for (int i = 0; i < 3; ++i)
        EXPECT_EQ(e[i], count(low[0], armZero, angles[i])) << "angle " << i << ", axis 0's zero";
    ASSERT_EQ(qelWristJointAnglesToEncoders(0.1, 0.2, 0.3, &e[0], &e[1], &e[2], 1), 1);
    for (int i = 0; i < 3; ++i)
        EXPECT_EQ(e[i], count(low[3 + i], wristZero[i], degrees(angles[i]))) << "wrist " << i;

    // The gripper has no encoder: the read answers 0 and leaves the device's refusal pending.
    unsigned int gripper = 99;
    qelClearError();
    ASSERT_EQ(qelGetGripperEncoder(&gripper, 1), 1);
    EXPECT_EQ(gripper, 0u);
    expectLastError(258, 1, "Invalid Input Parameter!");

    // Switching the current device switches the answer.
    ASSERT_EQ(qelSetDevice(2), 1);
    emu.device(1).jointAngles(q);
    ASSERT_EQ(qelGetOrientationDeg(&deg[0], &deg[1], &deg[2], 1), 1);
    for (int i = 0; i < 3; ++i) EXPECT_NEAR(deg[i], degrees(q[3 + i]), 1e-3) << "device 2's";
}

TEST_F(Application, ParameterNumbersReachTheirRegisters) {
    qelemu::Device& device = start(1).device(0);
    ASSERT_EQ(qelOpen(), 1);
    ASSERT_EQ(qelEnableExpertMode(), 1);
    // Register of interface parameter 1 to 8, and one number that passes through.
    const unsigned short wide[] = {1, 0x80, 3, 4, 5, 6, 7, 0x88, 200};
    const unsigned short shortSet[] = {0x87, 2, 0x82, 0x83, 0x84, 0x85, 0x86, 8, 200};
    const unsigned short shortGet[] = {1, 2, 0x82, 0x83, 0x84, 0x85, 0x86, 8, 200};
    const unsigned short params[] = {1, 2, 3, 4, 5, 6, 7, 8, 200};

    for (int k = 0; k < 9; ++k) {
        unsigned short param = params[k];
        SCOPED_TRACE(param);
        short s = static_cast<short>(-1000 - k);
        ASSERT_EQ(qelSetParaShort(param, s, 1), 1);
        EXPECT_EQ(device.reg(shortSet[k]), static_cast<uint16_t>(s));

        device.setReg(shortGet[k], static_cast<uint16_t>(2000 + k));
        short read = 0;
        ASSERT_EQ(qelGetParaShort(param, &read, 1), 1);
        EXPECT_EQ(read, 2000 + k);

        unsigned int value = 0x00010000u * (k + 1) + 300u + k;
        ASSERT_EQ(qelSetParaInt(param, value, 1), 1);
        EXPECT_EQ(device.reg32(wide[k]), value);

        device.setReg32(wide[k], value ^ 0x5A5A5A5Au);
        unsigned int readWide = 0;
        ASSERT_EQ(qelGetParaInt(param, &readWide, 1), 1);
        EXPECT_EQ(readWide, value ^ 0x5A5A5A5Au);
    }
}

TEST_F(Application, BrakesEngageReleaseAndEngageAgainWhenAReleaseIsRefused) {
    qelemu::Device& device = start(2).device(1);
    bringUp(2);
    ASSERT_EQ(qelSetBrakes(1, 2), 1);
    EXPECT_TRUE(device.brakes());
    ASSERT_EQ(qelSetBrakes(0, 2), 1);
    EXPECT_FALSE(device.brakes());
    qelClearError();
    EXPECT_EQ(qelSetBrakes(2, 2), 0);
    expectLastError(3, 2, "Invalid Input Parameter");
    EXPECT_FALSE(device.brakes());

    // The device releases but answers with a refusal: the brakes are engaged again, and the
    // caller learns of it from the result alone.
    ASSERT_EQ(qelSetBrakes(1, 2), 1);
    uint64_t frames = device.frames(cmd::SetBrakes);
    device.injectFault(Fault::next(FaultKind::ZeroAck));
    qelClearError();
    EXPECT_EQ(qelSetBrakes(0, 2), 0);
    expectLastError(0, 0, "");
    EXPECT_EQ(device.frames(cmd::SetBrakes), frames + 2);
    EXPECT_TRUE(device.brakes());
    // The refusal stays pending in the device, which reports it on the next call.
    EXPECT_EQ(qelSetBrakes(1, 2), 0);
    expectLastError(257, 2, "Invalid Received Data!");

    // So does the standard gravity, whose failure is told by the result alone.
    qelClearError();
    EXPECT_EQ(qelSetStandardGravity(9.8, 2), 0);
    expectLastError(0, 0, "");
}

TEST_F(Application, MotorCommandsCarryTheArmMotorsOnly) {
    qelemu::Device& device = start(2).device(1);
    bringUp(2);
    ASSERT_EQ(qelEnableExpertMode(), 1);
    auto lastMotors = [&] { return motorsOf(device.lastRequest(cmd::SetMotors)); };
    using M = std::array<int16_t, 3>;

    ASSERT_EQ(qelSetMotor(1, 500, 2), 1);
    EXPECT_EQ(lastMotors(), (M{0, 500, 0})) << "the other arm motors are commanded 0";
    ASSERT_EQ(qelSetMotor(2, -7, 2), 1);
    EXPECT_EQ(lastMotors(), (M{0, 0, -7}));

    uint64_t frames = device.frames(cmd::SetMotors);
    ASSERT_EQ(qelSetDeltaMotor(11, 22, 33, 2), 1);
    EXPECT_EQ(device.frames(cmd::SetMotors), frames + 3);
    EXPECT_EQ(lastMotors(), (M{0, 0, 33}));

    // Wrist and gripper indices have no place in the frame: it carries zeros.
    frames = device.frames(cmd::SetMotors);
    ASSERT_EQ(qelSetWristMotor(100, 200, 300, 2), 1);
    EXPECT_EQ(device.frames(cmd::SetMotors), frames + 3) << "indices 3, 3 and 5";
    EXPECT_EQ(lastMotors(), (M{0, 0, 0}));
    ASSERT_EQ(qelSetMotor(0, 9, 2), 1);
    ASSERT_EQ(qelSetGripperMotor(1234, 2), 1);
    EXPECT_EQ(lastMotors(), (M{0, 0, 0}));

    frames = device.frames(cmd::SetMotors);
    qelClearError();
    EXPECT_EQ(qelSetMotor(7, 1, 2), 0);
    EXPECT_EQ(qelSetMotor(-1, 1, 2), 0);
    expectLastError(3, 2, "Invalid Input Parameter");
    EXPECT_EQ(device.frames(cmd::SetMotors), frames) << "nothing is sent for an unknown motor";

    ASSERT_EQ(qelSetForce(1.5, -2.5, 3.5, 2), 1);
    double f[3] = {};
    ASSERT_EQ(qelGetForce(&f[0], &f[1], &f[2], 2), 1);
    EXPECT_EQ(std::vector<double>(f, f + 3), (std::vector<double>{1.5, -2.5, 3.5}));

    // The gripper path reads the gripper's encoder, which a device without a gripper refuses
    // with its own error; the motor frame is never reached and expert mode ends up off.
    ASSERT_EQ(qelSetMotor(1, 77, 2), 1);
    frames = device.frames(cmd::SetMotors);
    EXPECT_EQ(qelSetForceAndGripperForce(1.0, 2.0, 3.0, 0.5, 2), 0);
    expectLastError(258, 2, "Invalid Input Parameter!");
    EXPECT_EQ(device.frames(cmd::SetMotors), frames);
    EXPECT_EQ(lastMotors(), (M{0, 77, 0}));
    expectExpertModeOff(2);
}

} // namespace
