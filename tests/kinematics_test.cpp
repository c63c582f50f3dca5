// The arm's kinematics on a device object whose model is set by hand: the position solver,
// the Jacobian, the inverse kinematics, count and angle conversions, velocities and the
// refresh pass, checked against worked figures of the type-1 arm, against the constraints,
// and against the emulated arm's independent model.
#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <cmath>
#include <cstring>
#include <vector>

#include "QEL.h"
#include "arm_model.h"

namespace {

const double kPi8 = 3.1415926;

// Counts the solver's steps and the calls that switch the drives, and can pin the solved
// position to study the Jacobian at an exact point.
class ProbedQEL : public QEL {
public:
    int steps = 0;
    int disables = 0;
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
        if (!on) ++disables;
        return 1;
    }
};

// An open, initialised and calibrated type-1 arm without a wrist, counting 2^20 per turn.
class Kinematics : public ::testing::Test {
protected:
    void SetUp() override {
        d.m_fOpen = d.m_fInit = d.m_fCalibrate = true;
        d.m_fBase = true;
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

    // Solves from the reset start point.
    void solveFresh(double q0, double q1, double q2, double p[3]) {
        d.m_InitPos[0] = 1.0, d.m_InitPos[1] = 1.0, d.m_InitPos[2] = 140.0;
        double q[3] = {q0, q1, q2};
        ASSERT_EQ(d.CalcuPosition(q, p), 1);
    }
    // Counts for the arm's joint angles, with the wrist's angles at zero.
    void countsFor(const double q[3], unsigned int enc[6]) {
        for (int i = 0; i < 6; ++i) {
            double ang = i < 3 ? q[i] : 0.0;
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

TEST_F(Kinematics, InverseWithoutPivoting) {
    double I[3][3] = {{1, 0, 0}, {0, 1, 0}, {0, 0, 1}}, out[3][3];
    ASSERT_EQ(d.CalcuInvMatrix(I, out), 1);
    for (int i = 0; i < 3; ++i)
        for (int j = 0; j < 3; ++j) EXPECT_EQ(out[i][j], i == j ? 1.0 : 0.0);

    double M[3][3] = {{4, -2, 1}, {3, 6, -4}, {2, 1, 8}};
    ASSERT_EQ(d.CalcuInvMatrix(M, out), 1);
    for (int i = 0; i < 3; ++i)
        for (int j = 0; j < 3; ++j) {
            double sum = 0;
            for (int k = 0; k < 3; ++k) sum += M[i][k] * out[k][j];
            EXPECT_NEAR(sum, i == j ? 1.0 : 0.0, 1e-14) << i << "," << j;
        }

    // A regular matrix with a zero leading pivot: no row is exchanged, so the result is
    // non-finite and still reported as success.
    double P[3][3] = {{0, 1, 0}, {1, 0, 0}, {0, 0, 1}};
    ASSERT_EQ(d.CalcuInvMatrix(P, out), 1);
    EXPECT_FALSE(std::isfinite(out[0][0]) && std::isfinite(out[0][1]) && std::isfinite(out[1][0]) &&
                 std::isfinite(out[1][1]));

    EXPECT_EQ(d.CalcuInvMatrix(M, nullptr), 0);
    EXPECT_EQ(d.m_ErrCode, 258);
    // A pending error fails silently.
    EXPECT_EQ(d.CalcuInvMatrix(M, out), 0);
    EXPECT_EQ(d.m_ErrCode, 258);
    d.ClearError();
    // Pure arithmetic, but the device must still be open.
    d.m_fOpen = false;
    EXPECT_EQ(d.CalcuInvMatrix(M, out), 0);
    EXPECT_EQ(d.m_ErrCode, 1);
}

// The documented sweep, entry by entry, as the reference for the library's unrolled one.
void referenceInverse(const double in[3][3], double out[3][3]) {
    double M[3][6];
    for (int i = 0; i < 3; ++i)
        for (int j = 0; j < 3; ++j) {
            M[i][j] = in[i][j];
            M[i][j + 3] = i == j ? 1.0 : 0.0;
        }
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

bool sameBits(double a, double b) {
    return (std::isnan(a) && std::isnan(b)) || std::memcmp(&a, &b, sizeof a) == 0;
}

TEST_F(Kinematics, InverseRoundsExactlyAsTheDocumentedSweep) {
    // The device's documented figures come from this sweep; every entry must match to the
    // last bit, including tiny and zero pivots.
    const double cases[][3][3] = {
        {{4, -2, 1}, {3, 6, -4}, {2, 1, 8}},
        {{-3.461279542638833e-14, -45.25, 140.91287201671818},
         {39.188, 22.625, 140.91287201671818},
         {-39.188, 22.625, 140.91287201671818}},
        {{0.1, 1e8, -3}, {1e-7, 2, 5}, {7, -0.3, 1e-9}},
        {{0, 1, 0}, {1, 0, 0}, {0, 0, 1}},
        {{1, 2, 3}, {2, 4, 6}, {1, 1, 1}},
        {{-0.0, 2, 1}, {1, -0.0, 3}, {2, 1, -0.0}},
    };
    unsigned seed = 12345;
    auto next = [&seed] {
        seed = seed * 1103515245u + 12345u;
        return static_cast<double>(seed >> 8) / (1u << 24) * 400.0 - 200.0;
    };
    std::vector<std::array<std::array<double, 3>, 3>> all;
    for (const auto& m : cases) {
        std::array<std::array<double, 3>, 3> a{};
        for (int i = 0; i < 3; ++i)
            for (int j = 0; j < 3; ++j) a[i][j] = m[i][j];
        all.push_back(a);
    }
    for (int n = 0; n < 200; ++n) {
        std::array<std::array<double, 3>, 3> a{};
        for (auto& row : a)
            for (double& v : row) v = next();
        all.push_back(a);
    }
    for (size_t n = 0; n < all.size(); ++n) {
        double in[3][3], ours[3][3], ref[3][3];
        for (int i = 0; i < 3; ++i)
            for (int j = 0; j < 3; ++j) in[i][j] = all[n][i][j];
        referenceInverse(in, ref);
        ASSERT_EQ(d.CalcuInvMatrix(in, ours), 1);
        for (int i = 0; i < 3; ++i)
            for (int j = 0; j < 3; ++j)
                EXPECT_TRUE(sameBits(ours[i][j], ref[i][j]))
                    << "case " << n << " entry " << i << "," << j << ": " << ours[i][j] << " vs "
                    << ref[i][j];
    }
}

TEST_F(Kinematics, NewtonSolverFromTheResetStartAndWarm) {
    double p[3];
    solveFresh(0, 0, 0, p);
    EXPECT_EQ(d.steps, 6);
    EXPECT_NEAR(p[0], 0.0, 1e-13);
    EXPECT_NEAR(p[1], 0.0, 1e-13);
    EXPECT_NEAR(p[2], 237.9128720, 1e-7);
    for (int i = 0; i < 3; ++i) EXPECT_EQ(d.m_InitPos[i], p[i]) << "the warm start is kept";

    // From its own solution the solver settles in one step, at the same point.
    double again[3], q[3] = {0, 0, 0};
    d.steps = 0;
    ASSERT_EQ(d.CalcuPosition(q, again), 1);
    EXPECT_EQ(d.steps, 1);
    for (int i = 0; i < 3; ++i) EXPECT_NEAR(again[i], p[i], 1e-9);

    solveFresh(0.5, 0.1, -0.2, p);
    EXPECT_NEAR(p[0], -23.296, 1e-3);
    EXPECT_NEAR(p[1], 44.621, 1e-3);
    EXPECT_NEAR(p[2], 223.472, 1e-3);

    // Equal arm angles put the handle on the vertical axis.
    solveFresh(0.3, 0.3, 0.3, p);
    EXPECT_NEAR(p[0], 0.0, 1e-9);
    EXPECT_NEAR(p[1], 0.0, 1e-9);

    // Started below the elbows the solver finds the mirror solution.
    d.m_InitPos[0] = 1.0, d.m_InitPos[1] = 1.0, d.m_InitPos[2] = -100.0;
    ASSERT_EQ(d.CalcuPosition(q, p), 1);
    EXPECT_NEAR(p[2], -43.9, 0.05);
}

TEST_F(Kinematics, SolverGivesUpQuietlyAndNeedsCalibration) {
    // Passive links too short for the elbows to meet: no solution, the full hundred steps,
    // and still success with whatever the last step gave.
    d.m_lenPassLink = 10.0;
    double p[3], q[3] = {0, 0, 0};
    EXPECT_EQ(d.CalcuPosition(q, p), 1);
    EXPECT_EQ(d.steps, 100);
    EXPECT_EQ(d.m_ErrCode, 0);

    d.m_fCalibrate = false;
    EXPECT_EQ(d.CalcuPosition(q, p), 0);
    EXPECT_EQ(d.m_ErrCode, 2);
    d.ClearError();
    double J[3][3];
    EXPECT_EQ(d.JointAngToJacobianTrans(q, J), 0);
    EXPECT_EQ(d.m_ErrCode, 2);
    d.ClearError();
    // A null point is refused before any arithmetic.
    double F[3], G[3][3];
    d.m_fCalibrate = true;
    EXPECT_EQ(d.CalcuTempVar(nullptr, q, F, G), 0);
    EXPECT_EQ(d.m_ErrCode, 258);
}

TEST_F(Kinematics, SolvedPositionsMeetEveryConstraint) {
    const double poses[][3] = {{0.5, 0.1, -0.2}, {1.2, 0.2, 0.7}, {-0.3, 0.9, 0.4}};
    for (const auto& q : poses) {
        double p[3];
        solveFresh(q[0], q[1], q[2], p);
        for (int i = 0; i < 3; ++i) {
            double phi = (4 * i + 3) * kPi8 / 6;
            double D = 97.0 * std::sin(q[i]) + 45.25;
            double len = std::hypot(p[0] - D * std::cos(phi), p[1] - D * std::sin(phi),
                                    p[2] - 97.0 * std::cos(q[i]));
            EXPECT_NEAR(len, 148.0, 1e-9) << "arm " << i;
        }
    }
}

TEST_F(Kinematics, JacobianAgreesWithTheWorkedPoseAndWithDifferences) {
    double q[3] = {0.5, 0.1, -0.2}, J[3][3];
    ASSERT_EQ(d.JointAngToJacobianTrans(q, J), 1);
    const double expected[3][3] = {
        {-19.778, -92.088, 62.746}, {90.939, -21.962, -24.837}, {-47.854, -22.989, 2.104}};
    for (int i = 0; i < 3; ++i)
        for (int j = 0; j < 3; ++j) EXPECT_NEAR(J[i][j], expected[i][j], 1e-3) << i << "," << j;

    // Column j is the handle's motion per radian of arm j.
    const double h = 1e-6;
    for (int j = 0; j < 3; ++j) {
        double up[3], down[3], qs[3] = {q[0], q[1], q[2]};
        qs[j] = q[j] + h;
        solveFresh(qs[0], qs[1], qs[2], up);
        qs[j] = q[j] - h;
        solveFresh(qs[0], qs[1], qs[2], down);
        for (int i = 0; i < 3; ++i)
            EXPECT_NEAR((up[i] - down[i]) / (2 * h), J[i][j], 1e-4) << i << "," << j;
    }
}

TEST_F(Kinematics, JacobianOnThePlaneXZeroIsKeptAsItComes) {
    // Exactly on x = 0 the inverse meets a zero first pivot: non-finite entries, success.
    double q[3] = {0, 0, 0}, J[3][3];
    d.pinned = true;
    d.pin[2] = 237.9128720;
    ASSERT_EQ(d.JointAngToJacobianTrans(q, J), 1);
    bool allFinite = true;
    for (auto& row : J)
        for (double v : row) allFinite = allFinite && std::isfinite(v);
    EXPECT_FALSE(allFinite);

    // From the reset start the solver leaves a tiny x: finite, but rounding breaks the
    // pose's mirror symmetry between arms 1 and 2.
    d.pinned = false;
    d.m_InitPos[0] = 1.0, d.m_InitPos[1] = 1.0, d.m_InitPos[2] = 140.0;
    ASSERT_EQ(d.JointAngToJacobianTrans(q, J), 1);
    EXPECT_NE(d.m_InitPos[0], 0.0);
    for (auto& row : J)
        for (double v : row) EXPECT_TRUE(std::isfinite(v));
    // The true Jacobian there has J[1][0] = -2 J[1][1] = 64.667 (the arms are 120 degrees
    // apart); the elimination through the tiny pivot misses that by more than a millimetre
    // per radian.
    EXPECT_GT(std::fabs(J[1][0] + 2 * J[1][1]), 0.5);
    EXPECT_NEAR(J[1][0], 64.667, 2.0);
}

TEST_F(Kinematics, InverseKinematicsTakesTheLargerRoot) {
    double p[3];
    solveFresh(0.5, 0.1, -0.2, p);
    unsigned int enc[3] = {7, 7, 7};
    ASSERT_EQ(d.OpPosToEnc(p, enc, false), 1);
    const double degrees[3] = {28.64789, 5.72958, -11.45916};
    const double oneCount = 360.0 / (1u << 20);
    for (int i = 0; i < 3; ++i)
        EXPECT_NEAR(chosenDegrees(enc, i), degrees[i], oneCount) << "arm " << i;
    // The flag means nothing.
    unsigned int other[3];
    ASSERT_EQ(d.OpPosToEnc(p, other, true), 1);
    for (int i = 0; i < 3; ++i) EXPECT_EQ(other[i], enc[i]);

    // The handle's solution for zero angles gives the zero counts back.
    double top[3] = {0, 0, 237.9128720};
    ASSERT_EQ(d.OpPosToEnc(top, enc, false), 1);
    for (int i = 0; i < 3; ++i) EXPECT_NEAR(chosenDegrees(enc, i), 0.0, oneCount);

    // The mirror solution of zero angles lies on the other branch: its larger root is about
    // 91.7 degrees, not the angles that produced it.
    double q[3] = {0, 0, 0}, low[3];
    d.m_InitPos[0] = 1.0, d.m_InitPos[1] = 1.0, d.m_InitPos[2] = -100.0;
    ASSERT_EQ(d.CalcuPosition(q, low), 1);
    ASSERT_EQ(d.OpPosToEnc(low, enc, false), 1);
    for (int i = 0; i < 3; ++i) EXPECT_NEAR(chosenDegrees(enc, i), 91.7, 0.1);

    // The transmission ratio scales the count offset from the zero count, which the angle
    // conversions do not undo.
    unsigned int base[3], geared[3];
    ASSERT_EQ(d.OpPosToEnc(p, base, false), 1);
    d.m_TransRat[0] = 2.0;
    ASSERT_EQ(d.OpPosToEnc(p, geared, false), 1);
    double baseOffset = static_cast<int32_t>(base[0] - d.m_EncoderMinValue[0]);
    double gearedOffset = static_cast<int32_t>(geared[0] - d.m_EncoderMinValue[0]);
    EXPECT_NEAR(gearedOffset, 2 * baseOffset, 1.0);
    EXPECT_EQ(geared[1], base[1]);

    // Out of reach: failure, with the counts and the error code untouched.
    double far[3] = {0, 0, 1000};
    unsigned int untouched[3] = {5, 6, 7};
    EXPECT_EQ(d.OpPosToEnc(far, untouched, false), 0);
    EXPECT_EQ(untouched[0], 5u);
    EXPECT_EQ(untouched[2], 7u);
    EXPECT_EQ(d.m_ErrCode, 0);
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
    EXPECT_EQ(ang[2], 9.0);

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
    double before[6];
    std::memcpy(before, ang, sizeof ang);
    EXPECT_EQ(d.EncToJointAng(enc, ang, 0x40), 1);
    EXPECT_EQ(std::memcmp(before, ang, sizeof ang), 0);

    // One angle to one count: the mask picks the channel's calibration, the arrays' first
    // elements carry the values. 90.1 degrees are 1025.14 counts, truncated.
    d.m_EncoderMinValue[2] = 70000;
    d.m_DefAng[2] = 86.5;
    double one[3] = {(86.5 - 90.1) * kPi8 / 180.0, 123, 456};
    unsigned int out[3] = {1, 2, 3};
    ASSERT_EQ(d.JointAngToEnc(one, out, 0x04), 1);
    EXPECT_EQ(out[0], 70000u + 1025u);
    EXPECT_EQ(out[1], 2u);
    // The same formula serves a wrist channel. An angle past the default angle gives a count
    // below the zero, truncated toward zero and taken modulo 2^32.
    d.m_EncoderMinValue[4] = 10;
    d.m_DefAng[4] = 0.0;
    one[0] = 90.1 * kPi8 / 180.0;
    ASSERT_EQ(d.JointAngToEnc(one, out, 0x10), 1);
    EXPECT_EQ(out[0], 10u - 1025u);
    // Converted back, that count does not give the angle again: below the zero the offset
    // wraps instead of going negative.
    unsigned int wrist[6] = {0, 0, 0, 0, out[0], 0};
    ASSERT_EQ(d.EncToJointAng(wrist, ang, 0x10), 1);
    EXPECT_LT(ang[4], -1e6);

    for (unsigned char bad : {0x00, 0x03, 0x40, 0x80}) {
        d.ClearError();
        EXPECT_EQ(d.JointAngToEnc(one, out, bad), 0) << int(bad);
        EXPECT_EQ(d.m_ErrCode, 258);
    }
}

TEST_F(Kinematics, JointAndEncoderVelocities) {
    d.m_EncoderResolution = 4096;
    d.m_EncoderVel[0] = 1024;
    d.m_EncoderVel[4] = -2048;
    double vel[6];
    ASSERT_EQ(d.GetJointVel(vel), 1);
    EXPECT_DOUBLE_EQ(vel[0], -1.5707963) << "a rising count is a falling angle";
    EXPECT_DOUBLE_EQ(vel[4], 3.1415926) << "wrist channels convert without a wrist";
    EXPECT_EQ(vel[1], 0.0);
    ASSERT_EQ(d.GetEncVel(vel), 1);
    EXPECT_EQ(vel[0], 1024.0);
    EXPECT_EQ(vel[4], -2048.0);

    EXPECT_EQ(d.GetVel(nullptr), 0);
    EXPECT_EQ(d.m_ErrCode, 0);
    unsigned int thresh = 0;
    EXPECT_EQ(d.GetVelThresh(nullptr), 0);
    EXPECT_EQ(d.m_ErrCode, 0);
    EXPECT_EQ(d.ConfigTranVel(1.0, 1), 0);
    EXPECT_EQ(d.ConfigEncVel(1.0, 1), 0);
    EXPECT_EQ(d.m_ErrCode, 0);
    ASSERT_EQ(d.SetVelThresh(0xFFFFFFFFu), 1);
    EXPECT_EQ(d.m_VelThresh, -1);
    ASSERT_EQ(d.GetVelThresh(&thresh), 1);
    EXPECT_EQ(thresh, 0xFFFFFFFFu);

    EXPECT_EQ(d.GetEncVel(nullptr), 0);
    EXPECT_EQ(d.m_ErrCode, 258);
    d.ClearError();
    EXPECT_EQ(d.GetJointVel(nullptr), 0);
    EXPECT_EQ(d.m_ErrCode, 258);
}

TEST_F(Kinematics, RefreshPassPositionVelocityAndCutOff) {
    const double q[3] = {0.5, 0.1, -0.2};
    unsigned int enc[6];
    countsFor(q, enc);
    double pos[3], rot[3][3];
    double start[3] = {1, 1, 140};
    std::memcpy(d.m_InitPos, start, sizeof start);
    ASSERT_EQ(d.EncToOpPos(enc, pos, rot), 1);
    // One count is 6e-6 rad, so the position from counts is good to about a micrometre.
    EXPECT_NEAR(pos[0], -23.296, 2e-3);
    EXPECT_NEAR(pos[1], 44.621, 2e-3);
    EXPECT_NEAR(pos[2], 223.472, 2e-3);
    EXPECT_EQ(d.disables, 0);

    // The device's rates are counts per period; moving every count by its rate must move the
    // handle by the reported velocity, sign included.
    const int16_t rate[3] = {30, -20, 10};
    for (int i = 0; i < 3; ++i) d.m_EncoderVel[i] = rate[i];
    ASSERT_EQ(d.EncToOpPos(enc, pos, rot), 1);
    unsigned int moved[6];
    std::memcpy(moved, enc, sizeof moved);
    for (int i = 0; i < 3; ++i) moved[i] += static_cast<uint32_t>(rate[i]);
    double v[3], after[3];
    ASSERT_EQ(d.GetVel(v), 1);
    ASSERT_EQ(d.EncToOpPos(moved, after, rot), 1);
    for (int k = 0; k < 3; ++k)
        EXPECT_NEAR(after[k] - pos[k], v[k], 2e-3 * std::fabs(v[k]) + 1e-6) << "axis " << k;
    EXPECT_EQ(d.disables, 0);
    // The velocity follows the reported rates, never the change of the counts handed in.
    for (int i = 0; i < 3; ++i) d.m_EncoderVel[i] = 0;
    double still[3];
    ASSERT_EQ(d.EncToOpPos(enc, pos, rot), 1);
    ASSERT_EQ(d.EncToOpPos(moved, after, rot), 1);
    ASSERT_EQ(d.GetVel(still), 1);
    for (int k = 0; k < 3; ++k) EXPECT_EQ(still[k], 0.0);
    for (int i = 0; i < 3; ++i) d.m_EncoderVel[i] = rate[i];

    // The threshold is per axis and strict; the pass succeeds either way.
    double top = std::max({std::fabs(v[0]), std::fabs(v[1]), std::fabs(v[2])});
    d.m_VelThresh = static_cast<int>(std::floor(top));
    EXPECT_EQ(d.EncToOpPos(enc, pos, rot), 1);
    EXPECT_EQ(d.disables, 1);
    d.m_VelThresh = static_cast<int>(std::ceil(top));
    EXPECT_EQ(d.EncToOpPos(enc, pos, rot), 1);
    EXPECT_EQ(d.disables, 1);
    // At rest, a zero threshold is met exactly and does not trip.
    for (int i = 0; i < 3; ++i) d.m_EncoderVel[i] = 0;
    d.m_VelThresh = 0;
    EXPECT_EQ(d.EncToOpPos(enc, pos, rot), 1);
    EXPECT_EQ(d.disables, 1);
    d.m_EncoderVel[2] = 1;
    EXPECT_EQ(d.EncToOpPos(enc, pos, rot), 1);
    EXPECT_EQ(d.disables, 2);
    EXPECT_EQ(d.m_ErrCode, 0);
}

TEST_F(Kinematics, WristOrientationAndTheQueries) {
    unsigned int enc[6];
    const double q[3] = {0.2, 0.2, 0.2};
    countsFor(q, enc);
    double pos[3] = {0, 0, 0}, rot[3][3];
    std::memset(rot, 0, sizeof rot);

    // Without a base the position is left alone; without a wrist, the orientation.
    d.m_fBase = false;
    ASSERT_EQ(d.EncToOpPos(enc, pos, rot), 1);
    EXPECT_EQ(pos[2], 0.0);
    d.m_fBase = true;
    d.m_fWrist = true;
    ASSERT_EQ(d.EncToOpPos(enc, pos, rot), 1);
    for (int i = 0; i < 3; ++i)
        for (int j = 0; j < 3; ++j) EXPECT_NEAR(rot[i][j], i == j ? 1.0 : 0.0, 1e-5);

    // Yaw about z, then pitch about y, then roll about x, all behind the mounting tilt, a
    // rotation by -lambda about y.
    const double yaw = 0.3, pitch = -0.2, roll = 0.7, lambda = 0.5235987666666666;
    const double ang[3] = {yaw, pitch, roll};
    for (int i = 0; i < 3; ++i) {
        double a = ang[i];
        ASSERT_EQ(d.JointAngToEnc(&a, &enc[3 + i], static_cast<unsigned char>(8 << i)), 1);
    }
    d.m_Lambuta = lambda;
    ASSERT_EQ(d.EncToOpPos(enc, pos, rot), 1);
    auto Rz = [](double t, double m[3][3]) {
        double r[3][3] = {{std::cos(t), -std::sin(t), 0}, {std::sin(t), std::cos(t), 0}, {0, 0, 1}};
        std::memcpy(m, r, sizeof r);
    };
    auto Ry = [](double t, double m[3][3]) {
        double r[3][3] = {{std::cos(t), 0, std::sin(t)}, {0, 1, 0}, {-std::sin(t), 0, std::cos(t)}};
        std::memcpy(m, r, sizeof r);
    };
    auto Rx = [](double t, double m[3][3]) {
        double r[3][3] = {{1, 0, 0}, {0, std::cos(t), -std::sin(t)}, {0, std::sin(t), std::cos(t)}};
        std::memcpy(m, r, sizeof r);
    };
    auto mul = [](double a[3][3], double b[3][3], double out[3][3]) {
        for (int i = 0; i < 3; ++i)
            for (int j = 0; j < 3; ++j)
                out[i][j] = a[i][0] * b[0][j] + a[i][1] * b[1][j] + a[i][2] * b[2][j];
    };
    double z[3][3], y[3][3], x[3][3], t[3][3], zy[3][3], w[3][3], expected[3][3];
    Rz(yaw, z), Ry(pitch, y), Rx(roll, x), Ry(-lambda, t);
    mul(z, y, zy), mul(zy, x, w), mul(t, w, expected);
    for (int i = 0; i < 3; ++i)
        for (int j = 0; j < 3; ++j) EXPECT_NEAR(rot[i][j], expected[i][j], 1e-5) << i << "," << j;

    // The queries copy the members; a missing output ends the copy without an error.
    std::memcpy(d.m_Orientation, rot, sizeof rot);
    d.m_Position[0] = 1.5;
    d.m_GripAngle = 0.25;
    double outPos[3], outRot[3][3], grip = 9;
    ASSERT_EQ(d.GetOpPos(outPos, outRot, &grip), 1);
    EXPECT_EQ(outPos[0], 1.5);
    EXPECT_EQ(outRot[1][2], rot[1][2]);
    EXPECT_EQ(grip, 0.0) << "no gripper";
    d.m_fWrist = false;
    outPos[0] = 0;
    EXPECT_EQ(d.GetOpPos(outPos, nullptr, &grip), 0);
    EXPECT_EQ(outPos[0], 1.5);
    ASSERT_EQ(d.GetOpPos(outPos, outRot, &grip), 1);
    for (auto& row : outRot)
        for (double v : row) EXPECT_EQ(v, 0.0) << "no wrist: a zero matrix, not the identity";
    EXPECT_EQ(d.m_ErrCode, 0);
}

TEST_F(Kinematics, JointAnglesFromTheCyclicCounts) {
    const double q[3] = {0.5, 0.1, -0.2};
    countsFor(q, d.m_EncoderValue);
    d.m_EncoderVel[0] = 100;
    double ang[6] = {0, 0, 0, 0, 0, 0}, vel[6];
    ASSERT_EQ(d.GetJointAng(ang, 0x07, vel), 1);
    for (int i = 0; i < 3; ++i) EXPECT_NEAR(ang[i], q[i], 1e-5);
    EXPECT_LT(vel[0], 0.0);

    // Before calibration the single-turn readings stand in for the counts.
    d.m_fCalibrate = false;
    for (int i = 0; i < 6; ++i) d.m_EncoderSingleValue[i] = d.m_EncoderMinValue[i];
    ASSERT_EQ(d.GetJointAng(ang, 0x07, vel), 1);
    EXPECT_EQ(ang[0], 86.5 * kPi8 / 180.0);

    // Without a velocity array the call fails, after the angles have been written.
    d.m_fCalibrate = true;
    ang[1] = 9;
    EXPECT_EQ(d.GetJointAng(ang, 0x07, nullptr), 0);
    EXPECT_EQ(d.m_ErrCode, 258);
    EXPECT_NEAR(ang[1], q[1], 1e-5);
}

TEST_F(Kinematics, PlaceholdersKeepTheirStatuses) {
    double q[3] = {0, 0, 0}, M3[3][3] = {{7}}, M6[6][6] = {{7}};
    EXPECT_EQ(d.JointAngToJacobianRot(q, M3), 1);
    EXPECT_EQ(M3[0][0], 7.0);
    EXPECT_EQ(d.JointAngToJacobianRot(q, nullptr), 0);
    EXPECT_EQ(d.m_ErrCode, 258);
    // The inertia operations never succeed and record nothing of their own.
    d.ClearError();
    EXPECT_EQ(d.GetOutputInertia(q, M6), 0);
    EXPECT_EQ(d.JointAngToInertiaTrans(q, M3), 0);
    EXPECT_EQ(d.JointAngToMatrix(q, M3), 0);
    EXPECT_EQ(d.m_ErrCode, 0);
    EXPECT_EQ(d.Preset(static_cast<unsigned char>(0), 5u), 0);
    EXPECT_EQ(d.m_ErrCode, 0);
    d.m_fInit = false;
    EXPECT_EQ(d.JointAngToJointInertia(q, M6), 0);
    EXPECT_EQ(d.m_ErrCode, 2);
}

// The driver's solver against the emulated arm's closed-form geometry, for both models.
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
        // Fractions of the joints' range; none has arms 1 and 2 equal, which would put the
        // handle on the plane x = 0 where the Jacobian is rounding.
        const double fractions[][3] = {
            {0.5, 0.4, 0.6}, {0.1, 0.6, 0.9}, {0.9, 0.2, 0.4}, {0.3, 0.95, 0.05}};
        for (const auto& f : fractions) {
            double q[6] = {0, 0, 0, 0, 0, 0};
            for (int i = 0; i < 3; ++i) q[i] = lo + f[i] * (hi - lo);
            arm.setJointAngles(q);
            double truth[3], p[3];
            ASSERT_TRUE(arm.position(truth));
            ASSERT_EQ(d.CalcuPosition(q, p), 1);
            for (int k = 0; k < 3; ++k)
                EXPECT_NEAR(p[k], truth[k], 1e-9) << "type " << type << " axis " << k;

            double J[3][3];
            ASSERT_EQ(d.JointAngToJacobianTrans(q, J), 1);
            const double h = 1e-6;
            for (int j = 0; j < 3; ++j) {
                double up[3], down[3], qs[6];
                std::memcpy(qs, q, sizeof qs);
                qs[j] = q[j] + h;
                arm.setJointAngles(qs);
                ASSERT_TRUE(arm.position(up));
                qs[j] = q[j] - h;
                arm.setJointAngles(qs);
                ASSERT_TRUE(arm.position(down));
                for (int i = 0; i < 3; ++i)
                    EXPECT_NEAR(J[i][j], (up[i] - down[i]) / (2 * h), 1e-4)
                        << "type " << type << " J" << i << j;
            }
        }
        d.m_fOpen = d.m_fInit = false;
    }
}

} // namespace
