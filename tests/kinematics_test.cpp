// SPDX-License-Identifier: MIT
// The arm's kinematics on a device object whose model is set by hand, checked against the
// worked figures of the type-1 arm and against the emulated arm's independent model.
#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <cstring>

#include "QEL.h"
#include "arm_model.h"

namespace {

const double kPi8 = 3.1415926;

// Counts the solver's steps and the calls that switch the drives off, and can pin the solved
// position to study the Jacobian at an exact point.
class ProbedQEL : public QEL {
public:
    int steps = 0, disables = 0;
    bool pinned = false;
    double pin[3] = {0, 0, 0};

    int CalcuTempVar(double* p, double* q, double* F, double (*J)[3]) override {
        ++steps;
        return QEL::CalcuTempVar(p, q, F, J);
    }
    int CalcuPosition(double* q, double* p) override {
        if (!pinned) return QEL::CalcuPosition(q, p);
        std::memcpy(p, pin, sizeof pin);
        return 1;
    }
    int EnableDevice(bool on) override {
        disables += on ? 0 : 1;
        return 1;
    }
};

// An open, initialised and calibrated type-1 arm without a wrist, 2^20 counts per turn.
class Kinematics : public ::testing::Test {
protected:
    void SetUp() override {
        d.m_fOpen = d.m_fInit = d.m_fCalibrate = d.m_fBase = true;
        d.m_OutputDOF = 3;
        d.m_lenActLink = 97.0;
        d.m_lenPassLink = 148.0;
        d.m_DimFixedPlat = 80.25;
        d.m_DimFloatPlat = 35.0;
        d.m_EncoderResolution = 1u << 20;
        const double defAng[6] = {86.5, 86.5, 86.5, 120.0, 45.0, 167.5};
        for (int i = 0; i < 6; ++i) {
            d.m_EncoderMinValue[i] = 1000000u + 1000u * i;
            d.m_DefAng[i] = defAng[i];
            d.m_TransRat[i] = 1.0;
        }
    }
    void TearDown() override { d.m_fOpen = d.m_fInit = false; }

    void solveFrom(double z0, const double q[3], double p[3]) {
        d.m_InitPos[0] = d.m_InitPos[1] = 1.0, d.m_InitPos[2] = z0;
        ASSERT_EQ(d.CalcuPosition(const_cast<double*>(q), p), 1);
    }
    // Counts for joint angles, three arm joints then the wrist's.
    void countsFor(const double q[6], unsigned int enc[6]) {
        for (int i = 0; i < 6; ++i) {
            double ang = q[i];
            ASSERT_EQ(d.JointAngToEnc(&ang, &enc[i], static_cast<unsigned char>(1 << i)), 1);
        }
    }
    // The joint angle, in degrees, that OpPosToEnc chose for arm i.
    double chosenDegrees(const unsigned int* enc, int i) {
        double offset = static_cast<int32_t>(enc[i] - d.m_EncoderMinValue[i]);
        return d.m_DefAng[i] - offset * 360.0 / d.m_EncoderResolution / d.m_TransRat[i];
    }

    ProbedQEL d;
};

// The documented sweep, entry by entry, as the reference for the library's unrolled one.
void referenceInverse(const double in[3][3], double out[3][3]) {
    double M[3][6];
    for (int i = 0; i < 3; ++i)
        for (int j = 0; j < 3; ++j) M[i][j] = in[i][j], M[i][j + 3] = i == j ? 1.0 : 0.0;
    for (int i = 0; i < 3; ++i)
        for (int k = i + 1; k < 3; ++k) {
            double f = -M[k][i] / M[i][i];
            for (int j = i; j < 6; ++j) M[k][j] = M[i][j] * f + M[k][j];
        }
    for (int i = 2; i >= 1; --i)
        for (int k = i - 1; k >= 0; --k) {
            double f = -M[k][i] / M[i][i];
            for (int j = 5; j >= 0; --j) M[k][j] = M[i][j] * f + M[k][j];
        }
    for (int i = 2; i >= 0; --i)
        for (int j = 5; j >= 0; --j) M[i][j] = M[i][j] / M[i][i];
    for (int i = 0; i < 3; ++i)
        for (int j = 0; j < 3; ++j) out[i][j] = M[i][j + 3];
}

TEST_F(Kinematics, InverseRoundsExactlyAsTheDocumentedSweep) {
    // Handpicked: a tiny first pivot (the Jacobian's matrix near x = 0), a zero first pivot
    // of a regular matrix (no row exchange: non-finite entries, and still success), a singular
    // matrix and signed zeros; then pseudo-random ones.
    double cases[106][3][3] = {
        {{1, 0, 0}, {0, 1, 0}, {0, 0, 1}},
        {{-3.46e-14, -45.25, 140.913}, {39.188, 22.625, 140.913}, {-39.188, 22.625, 140.913}},
        {{0, 1, 0}, {1, 0, 0}, {0, 0, 1}},
        {{1, 2, 3}, {2, 4, 6}, {1, 1, 1}},
        {{0.1, 1e8, -3}, {1e-7, 2, 5}, {7, -0.3, 1e-9}},
        {{-0.0, 2, 1}, {1, -0.0, 3}, {2, 1, -0.0}},
    };
    unsigned seed = 12345;
    for (int n = 6; n < 106; ++n)
        for (auto& row : cases[n])
            for (double& v : row) {
                seed = seed * 1103515245u + 12345u;
                v = static_cast<double>(seed >> 8) / (1u << 24) * 400.0 - 200.0;
            }
    for (int n = 0; n < 106; ++n) {
        double ours[3][3], ref[3][3];
        referenceInverse(cases[n], ref);
        ASSERT_EQ(d.CalcuInvMatrix(cases[n], ours), 1) << "case " << n;
        for (int i = 0; i < 3; ++i)
            for (int j = 0; j < 3; ++j)
                EXPECT_TRUE((std::isnan(ours[i][j]) && std::isnan(ref[i][j])) ||
                            std::memcmp(&ours[i][j], &ref[i][j], sizeof(double)) == 0)
                    << "case " << n << " entry " << i << j << ": " << ours[i][j] << " vs "
                    << ref[i][j];
    }
    double out[3][3];
    EXPECT_EQ(d.CalcuInvMatrix(cases[0], nullptr), 0);
    EXPECT_EQ(d.m_ErrCode, 258);
    EXPECT_EQ(d.CalcuInvMatrix(cases[0], out), 0) << "a pending error fails silently";
    d.ClearError();
    d.m_fOpen = false;
    EXPECT_EQ(d.CalcuInvMatrix(cases[0], out), 0) << "pure arithmetic, but guarded";
    EXPECT_EQ(d.m_ErrCode, 1);
}

TEST_F(Kinematics, NewtonSolverFromTheResetStartAndWarmAndTheJacobianNearXZero) {
    double zero[3] = {0, 0, 0}, p[3], again[3], J[3][3];
    solveFrom(140.0, zero, p);
    EXPECT_EQ(d.steps, 6);
    EXPECT_NEAR(p[0], 0.0, 1e-13);
    EXPECT_NEAR(p[1], 0.0, 1e-13);
    EXPECT_NEAR(p[2], 237.9128720, 1e-7);
    EXPECT_EQ(d.m_InitPos[2], p[2]) << "the solution is the next start";
    d.steps = 0;
    ASSERT_EQ(d.CalcuPosition(zero, again), 1);
    EXPECT_EQ(d.steps, 1);
    EXPECT_NEAR(again[2], p[2], 1e-9);

    // From the reset start the solver leaves x at about 1e-14: J is finite, but the
    // elimination through that pivot loses the three-fold symmetry of the true Jacobian,
    // where J[1][0] = -2 J[1][1] = 64.667.
    d.m_InitPos[0] = d.m_InitPos[1] = 1.0, d.m_InitPos[2] = 140.0;
    ASSERT_EQ(d.JointAngToJacobianTrans(zero, J), 1);
    ASSERT_NE(d.m_InitPos[0], 0.0);
    for (auto& row : J)
        for (double v : row) EXPECT_TRUE(std::isfinite(v));
    EXPECT_GT(std::fabs(J[1][0] + 2 * J[1][1]), 0.5);
    // Exactly on x = 0 the first pivot is zero: non-finite entries, and success.
    d.pinned = true;
    d.pin[2] = 237.9128720;
    ASSERT_EQ(d.JointAngToJacobianTrans(zero, J), 1);
    EXPECT_FALSE(std::isfinite(J[0][0]) && std::isfinite(J[1][0]) && std::isfinite(J[2][0]));
    d.pinned = false;

    // Passive links too short for the elbows to meet: the full hundred steps, no error.
    d.m_lenPassLink = 10.0;
    d.steps = 0;
    EXPECT_EQ(d.CalcuPosition(zero, p), 1);
    EXPECT_EQ(d.steps, 100);
    EXPECT_EQ(d.m_ErrCode, 0);

    d.m_fCalibrate = false;
    EXPECT_EQ(d.CalcuPosition(zero, p), 0);
    EXPECT_EQ(d.m_ErrCode, 2);
}

TEST_F(Kinematics, InverseKinematicsTakesTheLargerRoot) {
    const double worked[3] = {0.5, 0.1, -0.2};
    double p[3];
    solveFrom(140.0, worked, p);
    unsigned int enc[3], other[3];
    ASSERT_EQ(d.OpPosToEnc(p, enc, false), 1);
    const double degrees[3] = {28.64789, 5.72958, -11.45916};
    const double oneCount = 360.0 / (1u << 20);
    for (int i = 0; i < 3; ++i) EXPECT_NEAR(chosenDegrees(enc, i), degrees[i], oneCount) << i;
    ASSERT_EQ(d.OpPosToEnc(p, other, true), 1);
    EXPECT_TRUE(std::equal(enc, enc + 3, other)) << "the flag means nothing";

    // The mirror solution of zero angles lies on the other branch; its larger root is about
    // 91.7 degrees, not the angles that produced it.
    const double zero[3] = {0, 0, 0};
    double low[3];
    solveFrom(-100.0, zero, low);
    EXPECT_NEAR(low[2], -43.9, 0.05);
    ASSERT_EQ(d.OpPosToEnc(low, enc, false), 1);
    for (int i = 0; i < 3; ++i) EXPECT_NEAR(chosenDegrees(enc, i), 91.7, 0.1);

    // The transmission ratio scales the offset from the zero count.
    ASSERT_EQ(d.OpPosToEnc(p, enc, false), 1);
    d.m_TransRat[0] = 2.0;
    ASSERT_EQ(d.OpPosToEnc(p, other, false), 1);
    EXPECT_NEAR(static_cast<int32_t>(other[0] - d.m_EncoderMinValue[0]),
                2.0 * static_cast<int32_t>(enc[0] - d.m_EncoderMinValue[0]), 1.0);
    EXPECT_EQ(other[1], enc[1]);

    double far[3] = {0, 0, 1000};
    unsigned int untouched[3] = {5, 6, 7};
    EXPECT_EQ(d.OpPosToEnc(far, untouched, false), 0);
    EXPECT_EQ(untouched[0], 5u);
    EXPECT_EQ(d.m_ErrCode, 0) << "out of reach is not a device error";
}

TEST_F(Kinematics, CountsAndAnglesConvertBothWays) {
    d.m_EncoderResolution = 4096;
    d.m_EncoderMinValue[1] = 5000;
    d.m_DefAng[1] = 0.0;
    unsigned int enc[6] = {0, 5000 + 1024, 0, 0, 0, 0};
    double ang[6] = {9, 9, 9, 9, 9, 9};
    ASSERT_EQ(d.EncToJointAng(enc, ang, 0x02), 1);
    EXPECT_DOUBLE_EQ(ang[1], -1.5707963);
    EXPECT_EQ(ang[0], 9.0) << "unselected channels are not written";

    // One count below the zero wraps to nearly a full 32-bit range of rotation.
    enc[1] = 4999;
    ASSERT_EQ(d.EncToJointAng(enc, ang, 0x02), 1);
    EXPECT_DOUBLE_EQ(d.m_RotatAng[1], 4294967295.0 / 4096.0 * 360.0);

    // Wrist channels need a wrist; the gripper bit needs a gripper and converts nothing.
    EXPECT_EQ(d.EncToJointAng(enc, ang, 0x38), 0);
    EXPECT_EQ(d.m_ErrCode, 258);
    d.ClearError();
    d.m_fWrist = true;
    EXPECT_EQ(d.EncToJointAng(enc, ang, 0x40), 0);
    EXPECT_EQ(d.m_ErrCode, 258);
    d.ClearError();
    d.m_fGipper = true;
    EXPECT_EQ(d.EncToJointAng(enc, ang, 0x40), 1);

    // One angle to one count: the mask picks the channel's calibration, the arrays' first
    // elements carry the values. On a wrist channel past its default angle, 90.1 degrees are
    // 1025.14 counts below the zero, truncated toward zero, modulo 2^32.
    d.m_EncoderMinValue[4] = 10;
    double one[2] = {(45.0 + 90.1) * kPi8 / 180.0, 123};
    unsigned int out[2] = {1, 2};
    ASSERT_EQ(d.JointAngToEnc(one, out, 0x10), 1);
    EXPECT_EQ(out[0], 10u - 1025u);
    EXPECT_EQ(out[1], 2u);
    for (unsigned char bad : {0x00, 0x03, 0x40, 0x80}) {
        d.ClearError();
        EXPECT_EQ(d.JointAngToEnc(one, out, bad), 0) << int(bad);
        EXPECT_EQ(d.m_ErrCode, 258);
    }
}

// The Cartesian velocity from the reported rates, and how it compares with the limit, are
// checked against the emulated arm end to end; here the edges.
TEST_F(Kinematics, RefreshPassSpeedComesFromTheRatesAndCutsStrictlyAboveTheLimit) {
    const double q[6] = {0.5, 0.1, -0.2, 0, 0, 0};
    unsigned int enc[6], moved[6];
    countsFor(q, enc);
    std::memcpy(moved, enc, sizeof moved);
    moved[0] += 30, moved[1] -= 20;
    double pos[3], rot[3][3], v[3] = {9, 9, 9};
    // At rest, whatever the counts do, the speed is zero and meets a zero threshold.
    d.m_VelThresh = 0;
    EXPECT_EQ(d.EncToOpPos(enc, pos, rot), 1);
    EXPECT_EQ(d.EncToOpPos(moved, pos, rot), 1);
    ASSERT_EQ(d.GetVel(v), 1);
    EXPECT_EQ(v[0], 0.0);
    EXPECT_EQ(d.disables, 0);
    // One count per period on one axis exceeds it; the pass succeeds all the same.
    d.m_EncoderVel[2] = 1;
    EXPECT_EQ(d.EncToOpPos(enc, pos, rot), 1);
    EXPECT_EQ(d.disables, 1);
    EXPECT_EQ(d.m_ErrCode, 0);
}

TEST_F(Kinematics, QueriesAndPlaceholders) {
    const double q[6] = {0.5, 0.1, -0.2, 0, 0, 0};
    countsFor(q, d.m_EncoderValue);
    // Without a velocity array the call fails, after the angles have been written.
    double ang[6] = {};
    EXPECT_EQ(d.GetJointAng(ang, 0x07, nullptr), 0);
    EXPECT_EQ(d.m_ErrCode, 258);
    for (int i = 0; i < 3; ++i) EXPECT_NEAR(ang[i], q[i], 1e-5);
    d.ClearError();

    // A missing output ends the copy without an error; no wrist gives a zero matrix.
    d.m_Position[0] = 1.5;
    d.m_Orientation[0][0] = 1.0;
    double pos[3] = {}, rot[3][3], grip = 9;
    EXPECT_EQ(d.GetOpPos(pos, nullptr, &grip), 0);
    EXPECT_EQ(pos[0], 1.5);
    ASSERT_EQ(d.GetOpPos(pos, rot, &grip), 1);
    EXPECT_EQ(rot[0][0], 0.0);
    EXPECT_EQ(grip, 0.0);
    EXPECT_EQ(d.GetVel(nullptr), 0);
    EXPECT_EQ(d.m_ErrCode, 0);

    double M3[3][3], M6[6][6];
    EXPECT_EQ(d.GetOutputInertia(ang, M6), 0);
    EXPECT_EQ(d.JointAngToMatrix(ang, M3), 0);
    EXPECT_EQ(d.ConfigTranVel(1.0, 1), 0);
    EXPECT_EQ(d.m_ErrCode, 0);
    d.m_fInit = false;
    EXPECT_EQ(d.JointAngToJointInertia(ang, M6), 0);
    EXPECT_EQ(d.m_ErrCode, 2);
}

// The driver's solver and Jacobian against the emulated arm's closed-form geometry.
TEST(KinematicsAgainstTheArmModel, ForwardKinematicsAndJacobianAgree) {
    for (int type : {1, 2}) {
        qelemu::ArmGeometry g = qelemu::ArmGeometry::forType(type);
        qelemu::ArmModel arm(g);
        QEL d;
        d.m_fOpen = d.m_fInit = d.m_fCalibrate = true;
        d.m_OutputDOF = 3;
        d.m_lenActLink = g.actLink;
        d.m_lenPassLink = g.passLink;
        d.m_DimFixedPlat = g.fixedPlat;
        d.m_DimFloatPlat = g.floatPlat;
        const double lo = g.jointMinRad(), hi = g.jointMaxRad();
        // Fractions of the joints' range, none with arms 1 and 2 equal: that would put the
        // handle on the plane x = 0, where the Jacobian is rounding.
        const double fractions[][3] = {
            {0.5, 0.4, 0.6}, {0.1, 0.6, 0.9}, {0.9, 0.2, 0.4}, {0.3, 0.95, 0.05}};
        for (const auto& f : fractions) {
            double q[6] = {0, 0, 0, 0, 0, 0}, truth[3], p[3], J[3][3], expected[3][3];
            for (int i = 0; i < 3; ++i) q[i] = lo + f[i] * (hi - lo);
            arm.setJointAngles(q);
            ASSERT_TRUE(arm.position(truth));
            ASSERT_TRUE(arm.jacobian(expected));
            ASSERT_EQ(d.CalcuPosition(q, p), 1);
            ASSERT_EQ(d.JointAngToJacobianTrans(q, J), 1);
            for (int i = 0; i < 3; ++i) {
                EXPECT_NEAR(p[i], truth[i], 1e-9) << type << i;
                for (int j = 0; j < 3; ++j)
                    EXPECT_NEAR(J[i][j], expected[i][j], 1e-4) << type << i << j;
            }
        }
        d.m_fOpen = d.m_fInit = false;
    }
}

} // namespace
