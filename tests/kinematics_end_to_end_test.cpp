// SPDX-License-Identifier: MIT
// The refresh thread's kinematics against the emulated device: counts from the wire, the
// calibration from the device's registers, and the position, orientation and velocity they
// give, compared with the emulated arm's own ground truth; then the speed limit cutting the
// drives.
#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <cstring>

#include "QEL.h"
#include "emulator.h"
#include "fixtures.h"
#include "wire.h"

namespace {

namespace cmd = qelemu::cmd;

using qeltest::waitUntil;

const double kPi8 = 3.1415926;

// Rotation by t about axis 0, 1 or 2, multiplied onto m from the right.
void rotateBy(double m[3][3], int axis, double t) {
    double r[3][3] = {{1, 0, 0}, {0, 1, 0}, {0, 0, 1}}, out[3][3];
    int u = (axis + 1) % 3, w = (axis + 2) % 3;
    r[u][u] = r[w][w] = std::cos(t);
    r[u][w] = -std::sin(t);
    r[w][u] = std::sin(t);
    for (int i = 0; i < 3; ++i)
        for (int j = 0; j < 3; ++j)
            out[i][j] = m[i][0] * r[0][j] + m[i][1] * r[1][j] + m[i][2] * r[2][j];
    std::memcpy(m, out, sizeof out);
}

TEST(KinematicsEndToEnd, RefreshPassFollowsTheEmulatedArmAndCutsTheDrivesOnSpeed) {
    hal::UartDevices::settleMicroseconds = 0;
    for (int type : {1, 2}) {
        SCOPED_TRACE(type);
        qelemu::EmulatorOptions options;
        options.device.resize(1);
        options.device[0].type = type;
        qelemu::Emulator emu(options);
        qelemu::Device& dev = emu.device(0);
        const qelemu::ArmGeometry g = qelemu::ArmGeometry::forType(type);
        qelemu::ArmModel model(g);
        auto passes = [&dev](uint64_t n) {
            uint64_t from = dev.frames(cmd::Cyclic);
            return waitUntil([&] { return dev.frames(cmd::Cyclic) >= from + n; });
        };

        QEL d;
        ASSERT_EQ(QEL::GetDeviceCount(), 1);
        ASSERT_EQ(d.Open(), 1);
        ASSERT_EQ(d.Initialize(), 1);
        ASSERT_EQ(d.GetCalibration(), 1);

        const double lo = g.jointMinRad(), hi = g.jointMaxRad();
        const double q[6] = {
            lo + 0.3 * (hi - lo), lo + 0.6 * (hi - lo), lo + 0.45 * (hi - lo), 0.3, -0.2, 0.5};
        dev.setJointAngles(q);
        double truth[3];
        ASSERT_TRUE(dev.position(truth));
        // Counts are whole: the position is good to about a micrometre.
        EXPECT_TRUE(waitUntil([&] {
            for (int k = 0; k < 3; ++k)
                if (!(std::fabs(d.m_Position[k] - truth[k]) < 2e-3)) return false;
            return true;
        })) << "position "
            << d.m_Position[0] << ", " << d.m_Position[1] << ", " << d.m_Position[2];

        // The wrist: yaw, pitch, roll behind the mounting tilt (30 degrees on type 2).
        double pos[3], rot[3][3], grip, expected[3][3] = {{1, 0, 0}, {0, 1, 0}, {0, 0, 1}};
        ASSERT_EQ(d.GetOpPos(pos, rot, &grip), 1);
        rotateBy(expected, 1, -g.lambda);
        rotateBy(expected, 2, q[3]);
        rotateBy(expected, 1, q[4]);
        rotateBy(expected, 0, q[5]);
        for (int i = 0; i < 3; ++i)
            for (int j = 0; j < 3; ++j) EXPECT_NEAR(rot[i][j], expected[i][j], 1e-5) << i << j;

        // Device-reported rates, counts per period; the count rises as the angle falls. The
        // handle's velocity is the arm's Jacobian times the joint rates.
        const int16_t rate[3] = {300, -200, 100};
        for (int i = 0; i < 3; ++i) dev.setEncoderVelocity(i, rate[i]);
        ASSERT_TRUE(waitUntil([&] { return d.m_EncoderVel[2] == rate[2]; }));
        ASSERT_TRUE(passes(3));
        double J[3][3], vel[3];
        model.setJointAngles(q);
        ASSERT_TRUE(model.jacobian(J));
        ASSERT_EQ(d.GetVel(vel), 1);
        for (int k = 0; k < 3; ++k) {
            double expected = 0;
            for (int i = 0; i < 3; ++i)
                expected += J[k][i] * (-2.0 * kPi8 * rate[i] / d.m_EncoderResolution);
            EXPECT_NEAR(vel[k], expected, 1e-3) << "axis " << k;
        }

        // A speed at the limit keeps the drives on; above it on any axis, the pass cuts them.
        ASSERT_EQ(d.EnableDevice(true), 1);
        ASSERT_TRUE(dev.drivesEnabled());
        double top = std::max({std::fabs(vel[0]), std::fabs(vel[1]), std::fabs(vel[2])});
        ASSERT_EQ(d.SetVelThresh(static_cast<unsigned int>(std::ceil(top))), 1);
        ASSERT_TRUE(passes(5));
        EXPECT_TRUE(dev.drivesEnabled());
        ASSERT_EQ(d.SetVelThresh(static_cast<unsigned int>(std::floor(top))), 1);
        EXPECT_TRUE(waitUntil([&] { return !dev.drivesEnabled(); }));
        EXPECT_TRUE(waitUntil([&] { return !d.m_fDeviceEnable; }));
        EXPECT_EQ(d.m_ErrCode, 0);
        d.Close();
    }
}

} // namespace
