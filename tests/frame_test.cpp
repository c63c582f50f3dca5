// The units docs/frame.md states, measured on a moving emulated arm: the reported linear
// velocity against the velocity of the reported positions, differenced. The arm is moved in
// the device's own time: its joints are stepped by what the velocities it reports would carry
// them in 10 ms, so that no clock of a busy machine enters the measurement.
#include <gtest/gtest.h>

#include <memory>

#include "QEL_OPEN.h"
#include "emulator.h"
#include "fixtures.h"

namespace {

class Frame : public qeltest::InterfaceTest {
protected:
    void TearDown() override {
        InterfaceTest::TearDown();
        emulator.reset();
    }
    // The position and velocity of a pass that began after the call.
    void read(double p[3], double v[3]) {
        qelemu::Device& arm = emulator->device(0);
        uint64_t from = arm.frames(0xB0);
        ASSERT_TRUE(qeltest::waitUntil([&] { return arm.frames(0xB0) >= from + 3; }));
        ASSERT_EQ(qelGetPosition(&p[0], &p[1], &p[2], 1), 1);
        ASSERT_EQ(qelGetLinearVelocity(&v[0], &v[1], &v[2], 1), 1);
    }
    std::unique_ptr<qelemu::Emulator> emulator;
};

TEST_F(Frame, LinearVelocityIsMillimetresPerSecondTimesMinus128OverTheResolution) {
    // Off the plane x = 0, where the Jacobian the library solves without pivoting is poor.
    qelemu::EmulatorOptions options;
    options.device.resize(1);
    options.device[0].usePosition = true;
    options.device[0].position[0] = 30;
    options.device[0].position[1] = -10;
    options.device[0].position[2] = 190;
    emulator.reset(new qelemu::Emulator(options));
    qelemu::Device& arm = emulator->device(0);
    ASSERT_EQ(qelOpen(), 1);
    ASSERT_EQ(qelInit(1), 1);
    ASSERT_EQ(qelCalibrateDevice(1), 1);

    // The device reports joint velocities in 1/128 turn per second, positive as the angle
    // rises; the joints move by that much over +-5 ms around the pose.
    const int units[3] = {12, -7, 4};
    const double kPi = 3.14159265358979, dt = 0.005;
    for (int i = 0; i < 3; ++i) arm.setEncoderVelocity(i, units[i]);
    double q[6], p[2][3], reported[3], unused[3];
    arm.jointAngles(q);
    read(p[0], reported);
    for (int side = 0; side < 2; ++side) {
        double moved[6];
        for (int i = 0; i < 6; ++i)
            moved[i] = q[i] + (i < 3 ? (side ? 1 : -1) * units[i] * 2 * kPi / 128 * dt : 0);
        arm.setJointAngles(moved);
        read(p[side], unused);
    }
    // At the default resolution of 2^20 counts per turn: mm/s = -8192 x reported.
    const double factor = -1048576.0 / 128;
    for (int k = 0; k < 3; ++k) {
        double millimetresPerSecond = (p[1][k] - p[0][k]) / (2 * dt);
        EXPECT_NEAR(millimetresPerSecond, factor * reported[k],
                    0.005 * std::abs(factor * reported[k]) + 0.01)
            << "axis " << k;
    }
}

} // namespace
