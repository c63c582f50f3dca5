// The emulated arm on its own: kinematics against the constraints they must satisfy, and the
// physics against conservation laws and statics rather than against its own formulas.
#include "arm_model.h"

#include <cmath>
#include <gtest/gtest.h>

using qelemu::ArmGeometry;
using qelemu::ArmModel;
using qelemu::HandScript;

namespace {

// |p - c_i| for every arm, with the elbows written out from the arm's geometry.
void passiveLengths(const ArmGeometry& g, const double q[3], const double p[3], double len[3]) {
    for (int i = 0; i < 3; ++i) {
        double phi = (4 * i + 3) * 3.1415926 / 6;
        double D = g.actLink * std::sin(q[i]) + g.fixedPlat - g.floatPlat;
        double c[3] = {D * std::cos(phi), D * std::sin(phi), g.actLink * std::cos(q[i])};
        len[i] = std::hypot(p[0] - c[0], p[1] - c[1], p[2] - c[2]);
    }
}

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

// Energy in joules per N*mm*rad of work.
constexpr double kJoulePerNmmRad = 1e-3;

} // namespace

TEST(EmulatedArm, KnownPosesAndTheirInverse) {
    // The second pose has arm 2 below its stop, where the inverse must still find it.
    ArmModel m(ArmGeometry::forType(1));
    const double poses[2][3] = {{0, 0, 0}, {0.5, 0.1, -0.2}};
    const double handles[2][3] = {{0, 0, 237.9128720}, {-23.296, 44.621, 223.472}};
    for (int k = 0; k < 2; ++k) {
        double p[3], q[6];
        setArm(m, poses[k][0], poses[k][1], poses[k][2]);
        ASSERT_TRUE(m.position(p));
        for (int i = 0; i < 3; ++i) EXPECT_NEAR(p[i], handles[k][i], k ? 1e-3 : 1e-6);
        ASSERT_TRUE(m.setPosition(p));
        m.jointAngles(q);
        for (int i = 0; i < 3; ++i) EXPECT_NEAR(q[i], poses[k][i], 1e-9);
    }
}

TEST(EmulatedArm, InverseKinematicsMeetsConstraintsAndInvertsForward) {
    for (int type : {1, 2}) {
        SCOPED_TRACE(type);
        ArmModel m(ArmGeometry::forType(type));
        const ArmGeometry& g = m.geometry();
        const double lo = g.jointMinRad(), span = g.jointMaxRad() - lo;
        // Poses spread over the joint range: the handle found by the forward kinematics must
        // lie on every passive link's sphere, and the inverse must give back the pose, which
        // shows that it picks the working branch everywhere in the range.
        for (double f0 : {0.05, 0.5, 0.95})
            for (double f1 : {0.1, 0.6})
                for (double f2 : {0.02, 0.4, 0.9}) {
                    double q[3] = {lo + f0 * span, lo + f1 * span, lo + f2 * span}, p[3], len[3];
                    setArm(m, q[0], q[1], q[2]);
                    ASSERT_TRUE(m.position(p));
                    passiveLengths(g, q, p, len);
                    for (double l : len) EXPECT_NEAR(l, g.passLink, 1e-9);

                    ASSERT_TRUE(m.setPosition(p));
                    double back[6], p2[3];
                    m.jointAngles(back);
                    for (int i = 0; i < 3; ++i) EXPECT_NEAR(back[i], q[i], 1e-9);
                    ASSERT_TRUE(m.position(p2));
                    for (int i = 0; i < 3; ++i) EXPECT_NEAR(p2[i], p[i], 1e-8);
                }
        // Out of reach: refused, and the pose and wrist are untouched.
        double wrist[6] = {0.1, 0.2, 0.3, 0.4, 0.5, 0.6}, far[3] = {0, 0, 1000}, q[6];
        m.setJointAngles(wrist);
        EXPECT_FALSE(m.setPosition(far));
        m.jointAngles(q);
        for (int i = 0; i < 6; ++i) EXPECT_EQ(q[i], wrist[i]);
    }
}

TEST(EmulatedArm, PoseModeVelocityFollowsSuccessivePoses) {
    ArmModel m(ArmGeometry::forType(1));
    double a[6] = {0.1, 0.2, 0.3, 0.4, 0.5, 0.6}, b[6] = {0.11, 0.18, 0.3, 0.4, 0.5, 0.7};
    double v[6];
    m.setJointAngles(a);
    m.jointVelocities(v);
    for (double x : v) EXPECT_EQ(x, 0.0); // a first pose has no history

    m.step(0.004, nullptr, false);
    m.step(0.006, nullptr, false);
    m.setJointAngles(a); // replaced at the same instant by b
    m.setJointAngles(b);
    m.jointVelocities(v);
    for (int i = 0; i < 6; ++i) EXPECT_NEAR(v[i], (b[i] - a[i]) / 0.01, 1e-9);
    m.step(0.015, nullptr, false); // still within the time the last move took, twice over
    m.jointVelocities(v);
    EXPECT_NEAR(v[0], 1.0, 1e-9);
    m.step(0.01, nullptr, false); // left in place: at rest
    m.jointVelocities(v);
    for (double x : v) EXPECT_EQ(x, 0.0);
}

TEST(EmulatedArm, EnergyIsConservedWithoutFriction) {
    // No gravity: the arm coasts, its joint speeds changing with the configuration-dependent
    // inertia; only the velocity-product terms keep the kinetic energy constant.
    ArmModel coast = physical(ArmGeometry::forType(1), false, 0);
    double v0[3] = {0.25, -0.2, 0.1}, v[6];
    coast.setJointVelocities(v0);
    double e0 = coast.energy();
    EXPECT_GT(e0, 0);
    for (int s = 0; s < 2000; ++s) {
        coast.step(1e-3, nullptr, false);
        ASSERT_TRUE(insideLimits(coast));
    }
    EXPECT_NEAR(coast.energy(), e0, 0.02 * e0);
    coast.jointVelocities(v);
    EXPECT_GT(std::fabs(v[0] - v0[0]) + std::fabs(v[1] - v0[1]) + std::fabs(v[2] - v0[2]), 0.01);

    // Gravity with the balancing spring: a spring preload of 2 N gives the type-2 arm a rest
    // pose inside its range. Find it with friction, then swing about it freely.
    ArmModel swing = physical(ArmGeometry::forType(2, 12.5, 2.0), true, 30);
    setArm(swing, 0.3, 2.0, 2.0);
    for (int s = 0; s < 5000; ++s) swing.step(1e-3, nullptr, false);
    swing.setFriction(0);
    double v1[3] = {0.3, -0.2, 0.2}, rest = swing.energy();
    swing.setJointVelocities(v1);
    double e1 = swing.energy(), kinetic = e1 - rest;
    ASSERT_GT(kinetic, 0);
    for (int s = 0; s < 2000; ++s) {
        swing.step(1e-3, nullptr, false);
        ASSERT_TRUE(insideLimits(swing));
        ASSERT_NEAR(swing.energy(), e1, 0.02 * kinetic);
    }
}

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

// Drive torques against the slope of the potential (gravity and the balancing spring): a
// torque acting the wrong way, or while the drives are off, or a spring that does not pull as
// its potential says, breaks the balance or the work.
TEST(EmulatedArm, JointTorquesAgreeWithEnergy) {
    for (int type : {1, 2}) {
        SCOPED_TRACE(type);
        ArmModel m = physical(ArmGeometry::forType(type), true, 0);
        setArm(m, 0.6, 0.9, 1.1);

        // Static balance: drive torques equal to the slope of the potential (gravity and
        // spring) hold the arm where it is; without them it moves.
        double q0[6], tau[3];
        m.jointAngles(q0);
        for (int i = 0; i < 3; ++i) {
            ArmModel probe = m;
            double qp[6], h = 1e-6;
            for (int k = 0; k < 6; ++k) qp[k] = q0[k];
            qp[i] += h;
            probe.setJointAngles(qp);
            double up = probe.energy();
            qp[i] -= 2 * h;
            probe.setJointAngles(qp);
            tau[i] = (up - probe.energy()) / (2 * h) / kJoulePerNmmRad;
        }
        ArmModel held = m, free = m;
        for (int s = 0; s < 100; ++s) {
            held.step(1e-3, tau, true);
            free.step(1e-3, tau, false); // drives off: the torque must not act
        }
        double q[6], qf[6];
        held.jointAngles(q);
        free.jointAngles(qf);
        for (int i = 0; i < 3; ++i) EXPECT_NEAR(q[i], q0[i], 1e-5);
        EXPECT_GT(std::fabs(qf[0] - q0[0]) + std::fabs(qf[1] - q0[1]) + std::fabs(qf[2] - q0[2]),
                  0.01);

        // Work: with a constant drive torque the energy grows by exactly tau . dq.
        double push[3] = {300, -200, 100};
        m.setGravity(type == 1); // once without the gravity potential, once with it
        double e0 = m.energy();
        for (int s = 0; s < 50; ++s) m.step(1e-3, push, true);
        double q1[6];
        m.jointAngles(q1);
        ASSERT_TRUE(insideLimits(m));
        double work = 0;
        for (int i = 0; i < 3; ++i) work += push[i] * (q1[i] - q0[i]) * kJoulePerNmmRad;
        EXPECT_GT(std::fabs(work), 1e-3);
        EXPECT_NEAR(m.energy() - e0, work, 1e-4 * std::fabs(work));
    }
}

TEST(EmulatedArm, LargeAndSmallStepsAgree) {
    // A hand leading the handle round a circle about (0, 0, 200), with gravity and friction:
    // 0.5 s in frames of 50 microseconds and of 20 milliseconds.
    HandScript circle;
    circle.kind = HandScript::FollowCircle;
    circle.radius = 25;
    circle.periodSeconds = 1.0;
    double torque[3] = {20, -10, 5};
    auto run = [&](double dt, int frames, double q[6], double v[6], double f[3]) {
        ArmModel m(ArmGeometry::forType(1));
        m.setPhysics(true);
        m.setHand(circle);
        for (int s = 0; s < frames; ++s) {
            m.step(dt, torque, true);
            EXPECT_TRUE(insideLimits(m));
        }
        m.jointAngles(q);
        m.jointVelocities(v);
        m.handForce(f);
    };
    double qa[6], va[6], fa[3], qb[6], vb[6], fb[3];
    run(50e-6, 10000, qa, va, fa);
    run(20e-3, 25, qb, vb, fb);
    for (int i = 0; i < 3; ++i) {
        ASSERT_TRUE(std::isfinite(qb[i]) && std::isfinite(vb[i]));
        EXPECT_NEAR(qa[i], qb[i], 1e-3);
        EXPECT_NEAR(va[i], vb[i], 1e-2);
        EXPECT_NEAR(fa[i], fb[i], 0.05);
    }
}

TEST(EmulatedArm, PushingHandGivesItsFullForceUpToThePlane) {
    // Holding and pushing hands also drive the force-rendering tests end to end; here the
    // exact force, along a normal that the script must normalize.
    ArmModel push = physical(ArmGeometry::forType(1), false, 10);
    setArm(push, 0.5, 0.5, 0.5);
    double p[3], f[3];
    ASSERT_TRUE(push.position(p));
    HandScript w;
    w.kind = HandScript::PushPlane;
    w.point[0] = 0, w.point[1] = 0, w.point[2] = p[2] - 20;
    w.normal[0] = 0, w.normal[1] = 0, w.normal[2] = -2;
    w.force = 3;
    push.setHand(w);
    push.step(0.001, nullptr, false);
    push.handForce(f);
    EXPECT_NEAR(f[2], -3, 1e-12);
    for (int s = 0; s < 300; ++s) push.step(0.01, nullptr, false);
    ASSERT_TRUE(push.position(p));
    EXPECT_NEAR(p[2], w.point[2], 1.0);
}
