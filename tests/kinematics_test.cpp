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
    // of a regular matrix, a singular matrix and signed zeros; then pseudo-random ones.
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
    // No row exchange: the zero pivot gives non-finite entries, and still success.
    double out[3][3];
    d.CalcuInvMatrix(cases[2], out);
    EXPECT_FALSE(std::isfinite(out[0][0]));

    EXPECT_EQ(d.CalcuInvMatrix(cases[0], nullptr), 0);
    EXPECT_EQ(d.m_ErrCode, 258);
    EXPECT_EQ(d.CalcuInvMatrix(cases[0], out), 0) << "a pending error fails silently";
    d.ClearError();
    d.m_fOpen = false;
    EXPECT_EQ(d.CalcuInvMatrix(cases[0], out), 0) << "pure arithmetic, but guarded";
    EXPECT_EQ(d.m_ErrCode, 1);
}

TEST_F(Kinematics, NewtonSolverFromTheResetStartAndWarm) {
    const double zero[3] = {0, 0, 0};
    double p[3], again[3];
    solveFrom(140.0, zero, p);
    EXPECT_EQ(d.steps, 6);
    EXPECT_NEAR(p[0], 0.0, 1e-13);
    EXPECT_NEAR(p[1], 0.0, 1e-13);
    EXPECT_NEAR(p[2], 237.9128720, 1e-7);
    EXPECT_EQ(d.m_InitPos[2], p[2]) << "the solution is the next start";
    d.steps = 0;
    ASSERT_EQ(d.CalcuPosition(const_cast<double*>(zero), again), 1);
    EXPECT_EQ(d.steps, 1);
    EXPECT_NEAR(again[2], p[2], 1e-9);

    const double worked[3] = {0.5, 0.1, -0.2};
    solveFrom(140.0, worked, p);
    EXPECT_NEAR(p[0], -23.296, 1e-3);
    EXPECT_NEAR(p[1], 44.621, 1e-3);
    EXPECT_NEAR(p[2], 223.472, 1e-3);

    const double equal[3] = {0.3, 0.3, 0.3};
    solveFrom(140.0, equal, p);
    EXPECT_NEAR(p[0], 0.0, 1e-9) << "equal angles put the handle on the vertical axis";
    EXPECT_NEAR(p[1], 0.0, 1e-9);

    // Passive links too short for the elbows to meet: the full hundred steps, no error.
    d.m_lenPassLink = 10.0;
    d.steps = 0;
    EXPECT_EQ(d.CalcuPosition(const_cast<double*>(zero), p), 1);
    EXPECT_EQ(d.steps, 100);
    EXPECT_EQ(d.m_ErrCode, 0);

    d.m_fCalibrate = false;
    EXPECT_EQ(d.CalcuPosition(const_cast<double*>(zero), p), 0);
    EXPECT_EQ(d.m_ErrCode, 2);
    d.ClearError();
    double J[3][3];
    EXPECT_EQ(d.JointAngToJacobianTrans(const_cast<double*>(zero), J), 0);
    EXPECT_EQ(d.m_ErrCode, 2);
}

TEST_F(Kinematics, JacobianAtTheWorkedPoseAndOnThePlaneXZero) {
    double q[3] = {0.5, 0.1, -0.2}, J[3][3];
    ASSERT_EQ(d.JointAngToJacobianTrans(q, J), 1);
    const double expected[3][3] = {
        {-19.778, -92.088, 62.746}, {90.939, -21.962, -24.837}, {-47.854, -22.989, 2.104}};
    for (int i = 0; i < 3; ++i)
        for (int j = 0; j < 3; ++j) EXPECT_NEAR(J[i][j], expected[i][j], 1e-3) << i << j;

    // Exactly on x = 0 the first pivot is zero: non-finite entries, and success.
    double zero[3] = {0, 0, 0};
    d.pinned = true;
    d.pin[2] = 237.9128720;
    ASSERT_EQ(d.JointAngToJacobianTrans(zero, J), 1);
    EXPECT_FALSE(std::isfinite(J[0][0]) && std::isfinite(J[1][0]) && std::isfinite(J[2][0]));

    // From the reset start the solver leaves x at about 1e-14: J is finite, but the
    // elimination through that pivot loses the three-fold symmetry of the true Jacobian,
    // where J[1][0] = -2 J[1][1] = 64.667.
    d.pinned = false;
    d.m_InitPos[0] = d.m_InitPos[1] = 1.0, d.m_InitPos[2] = 140.0;
    ASSERT_EQ(d.JointAngToJacobianTrans(zero, J), 1);
    ASSERT_NE(d.m_InitPos[0], 0.0);
    for (auto& row : J)
        for (double v : row) EXPECT_TRUE(std::isfinite(v));
    EXPECT_GT(std::fabs(J[1][0] + 2 * J[1][1]), 0.5);
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

    double top[3] = {0, 0, 237.9128720};
    ASSERT_EQ(d.OpPosToEnc(top, enc, false), 1);
    for (int i = 0; i < 3; ++i) EXPECT_NEAR(chosenDegrees(enc, i), 0.0, oneCount);

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
    // elements carry the values. 90.1 degrees are 1025.14 counts, truncated toward zero.
    d.m_EncoderMinValue[2] = 70000;
    double one[2] = {(86.5 - 90.1) * kPi8 / 180.0, 123};
    unsigned int out[2] = {1, 2};
    ASSERT_EQ(d.JointAngToEnc(one, out, 0x04), 1);
    EXPECT_EQ(out[0], 70000u + 1025u);
    EXPECT_EQ(out[1], 2u);
    // On a wrist channel past its default angle: below the zero, modulo 2^32.
    d.m_EncoderMinValue[4] = 10;
    one[0] = (45.0 + 90.1) * kPi8 / 180.0;
    ASSERT_EQ(d.JointAngToEnc(one, out, 0x10), 1);
    EXPECT_EQ(out[0], 10u - 1025u);
    for (unsigned char bad : {0x00, 0x03, 0x40, 0x80}) {
        d.ClearError();
        EXPECT_EQ(d.JointAngToEnc(one, out, bad), 0) << int(bad);
        EXPECT_EQ(d.m_ErrCode, 258);
    }
}

TEST_F(Kinematics, RefreshPassVelocityAndCutOff) {
    const double q[6] = {0.5, 0.1, -0.2, 0, 0, 0};
    unsigned int enc[6], moved[6];
    countsFor(q, enc);
    double pos[3], after[3], rot[3][3], v[3];
    d.m_InitPos[0] = d.m_InitPos[1] = 1.0, d.m_InitPos[2] = 140.0;
    ASSERT_EQ(d.EncToOpPos(enc, pos, rot), 1);
    // One count is 6e-6 rad: the position from counts is good to a micrometre or so.
    EXPECT_NEAR(pos[0], -23.296, 2e-3);
    EXPECT_NEAR(pos[2], 223.472, 2e-3);

    // Rates are counts per period: moving every count by its rate must move the handle by
    // the reported velocity, sign included.
    const int16_t rate[3] = {30, -20, 10};
    std::memcpy(moved, enc, sizeof moved);
    for (int i = 0; i < 3; ++i) d.m_EncoderVel[i] = rate[i], moved[i] += rate[i];
    ASSERT_EQ(d.EncToOpPos(enc, pos, rot), 1);
    ASSERT_EQ(d.GetVel(v), 1);
    ASSERT_EQ(d.EncToOpPos(moved, after, rot), 1);
    for (int k = 0; k < 3; ++k)
        EXPECT_NEAR(after[k] - pos[k], v[k], 2e-3 * std::fabs(v[k]) + 1e-6) << "axis " << k;
    double jointVel[6];
    d.m_EncoderResolution = 4096;
    d.m_EncoderVel[0] = 1024;
    ASSERT_EQ(d.GetJointVel(jointVel), 1);
    EXPECT_DOUBLE_EQ(jointVel[0], -1.5707963) << "a rising count is a falling angle";
    d.m_EncoderResolution = 1u << 20;
    d.m_EncoderVel[0] = rate[0];
    EXPECT_EQ(d.disables, 0);

    // The threshold is per axis and strict, and the pass succeeds either way.
    double top = std::max({std::fabs(v[0]), std::fabs(v[1]), std::fabs(v[2])});
    d.m_VelThresh = static_cast<int>(std::floor(top));
    EXPECT_EQ(d.EncToOpPos(enc, pos, rot), 1);
    EXPECT_EQ(d.disables, 1);
    ASSERT_EQ(d.SetVelThresh(static_cast<unsigned int>(std::ceil(top))), 1);
    EXPECT_EQ(d.EncToOpPos(enc, pos, rot), 1);
    EXPECT_EQ(d.disables, 1);
    // At rest, whatever the counts do, the speed is zero and meets a zero threshold.
    for (int i = 0; i < 3; ++i) d.m_EncoderVel[i] = 0;
    d.m_VelThresh = 0;
    EXPECT_EQ(d.EncToOpPos(moved, pos, rot), 1);
    ASSERT_EQ(d.GetVel(v), 1);
    EXPECT_EQ(v[0], 0.0);
    EXPECT_EQ(d.disables, 1);
    d.m_EncoderVel[2] = 1;
    EXPECT_EQ(d.EncToOpPos(enc, pos, rot), 1);
    EXPECT_EQ(d.disables, 2);
    EXPECT_EQ(d.m_ErrCode, 0);
}

TEST_F(Kinematics, WristOrientation) {
    unsigned int enc[6];
    const double rest[6] = {0.2, 0.2, 0.2, 0, 0, 0};
    countsFor(rest, enc);
    double pos[3], rot[3][3];
    d.m_fWrist = true;
    ASSERT_EQ(d.EncToOpPos(enc, pos, rot), 1);
    for (int i = 0; i < 3; ++i)
        for (int j = 0; j < 3; ++j) EXPECT_NEAR(rot[i][j], i == j, 1e-5);

    // Yaw about z, then pitch about y, then roll about x, behind the mounting tilt: a
    // rotation by -lambda about y.
    const double pose[6] = {0.2, 0.2, 0.2, 0.3, -0.2, 0.7}, lambda = 0.5235987666666666;
    countsFor(pose, enc);
    d.m_Lambuta = lambda;
    ASSERT_EQ(d.EncToOpPos(enc, pos, rot), 1);
    auto about = [](int axis, double t, double m[3][3]) {
        int u = (axis + 1) % 3, w = (axis + 2) % 3;
        std::memset(m, 0, 9 * sizeof(double));
        m[axis][axis] = 1;
        m[u][u] = m[w][w] = std::cos(t);
        m[u][w] = -std::sin(t);
        m[w][u] = std::sin(t);
    };
    auto times = [](double a[3][3], double b[3][3]) {
        double r[3][3];
        for (int i = 0; i < 3; ++i)
            for (int j = 0; j < 3; ++j)
                r[i][j] = a[i][0] * b[0][j] + a[i][1] * b[1][j] + a[i][2] * b[2][j];
        std::memcpy(a, r, sizeof r);
    };
    double expected[3][3], m[3][3];
    about(1, -lambda, expected);
    about(2, pose[3], m), times(expected, m);
    about(1, pose[4], m), times(expected, m);
    about(0, pose[5], m), times(expected, m);
    for (int i = 0; i < 3; ++i)
        for (int j = 0; j < 3; ++j) EXPECT_NEAR(rot[i][j], expected[i][j], 1e-5) << i << j;
}

TEST_F(Kinematics, QueriesAndPlaceholders) {
    const double q[6] = {0.5, 0.1, -0.2, 0, 0, 0};
    countsFor(q, d.m_EncoderValue);
    double ang[6] = {}, vel[6];
    ASSERT_EQ(d.GetJointAng(ang, 0x07, vel), 1);
    for (int i = 0; i < 3; ++i) EXPECT_NEAR(ang[i], q[i], 1e-5);
    // Without a velocity array the call fails, after the angles have been written.
    ang[1] = 9;
    EXPECT_EQ(d.GetJointAng(ang, 0x07, nullptr), 0);
    EXPECT_EQ(d.m_ErrCode, 258);
    EXPECT_NEAR(ang[1], q[1], 1e-5);
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
    EXPECT_EQ(d.GetVelThresh(nullptr), 0);
    EXPECT_EQ(d.m_ErrCode, 0);
    EXPECT_EQ(d.GetEncVel(nullptr), 0);
    EXPECT_EQ(d.m_ErrCode, 258);
    d.ClearError();

    double M3[3][3] = {{7}}, M6[6][6];
    EXPECT_EQ(d.JointAngToJacobianRot(ang, M3), 1);
    EXPECT_EQ(M3[0][0], 7.0) << "succeeds without writing";
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
            double q[6] = {0, 0, 0, 0, 0, 0}, truth[3], p[3], J[3][3];
            for (int i = 0; i < 3; ++i) q[i] = lo + f[i] * (hi - lo);
            arm.setJointAngles(q);
            ASSERT_TRUE(arm.position(truth));
            ASSERT_EQ(d.CalcuPosition(q, p), 1);
            for (int k = 0; k < 3; ++k) EXPECT_NEAR(p[k], truth[k], 1e-9) << type << k;

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
                    EXPECT_NEAR(J[i][j], (up[i] - down[i]) / (2 * h), 1e-4) << type << i << j;
            }
        }
        d.m_fOpen = d.m_fInit = false;
    }
}

} // namespace
