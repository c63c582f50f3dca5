// SPDX-License-Identifier: MIT
// The emulated arm's joint stops against energy. Its kinematics meet the library's in the
// kinematics tests and its physics the library's force rendering end to end.
#include "arm_model.h"

#include <cmath>
#include <gtest/gtest.h>

using qelemu::ArmGeometry;
using qelemu::ArmModel;

namespace {

void setArm(ArmModel& m, double q0, double q1, double q2) {
    double q[6] = {q0, q1, q2, 0, 0, 0};
    m.setJointAngles(q);
}

bool insideLimits(const ArmModel& m) {
    double q[6];
    m.jointAngles(q);
    const ArmGeometry& g = m.geometry();
    for (int i = 0; i < 3; ++i)
        if (!(q[i] >= g.jointMinRad() - 1e-12 && q[i] <= g.jointMaxRad() + 1e-12)) return false;
    return true;
}

// An arm in physics mode, at rest where a new model stands.
ArmModel physical(const ArmGeometry& g, bool gravity, double friction) {
    ArmModel m(g);
    m.setPhysics(true);
    m.setGravity(gravity);
    m.setFriction(friction);
    return m;
}

} // namespace

TEST(EmulatedArm, JointStopsNeverAddEnergy) {
    // Coasting into the stops from many directions, without gravity or friction: each impact
    // may only take energy away, and the arm stays within its range.
    for (int type : {1, 2}) {
        SCOPED_TRACE(type);
        for (int dir = 0; dir < 26; ++dir) {
            double v0[3] = {dir % 3 - 1.0, (dir / 3) % 3 - 1.0, dir / 9 - 1.0};
            for (double& v : v0) v *= 3.0;
            ArmModel m = physical(ArmGeometry::forType(type), false, 0);
            setArm(m, 0.4, 0.9, 1.3);
            m.setJointVelocities(v0);
            double e = m.energy();
            for (int s = 0; s < 100; ++s) {
                m.step(5e-3, nullptr, false);
                ASSERT_TRUE(insideLimits(m));
                double now = m.energy();
                ASSERT_LE(now, e * (1 + 1e-6) + 1e-12) << "direction " << dir << " step " << s;
                e = now;
            }
        }
    }
}
