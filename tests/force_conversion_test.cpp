// SPDX-License-Identifier: MIT
// The torque and motor-unit conversions and the gravity settings of the device object, on an
// object marked open and initialised by hand: pure arithmetic, no line.
#include <gtest/gtest.h>

#include <cmath>

#include "QEL.h"

namespace {

class ForceConversion : public ::testing::Test {
protected:
    void SetUp() override {
        d.m_fOpen = d.m_fInit = true;
        d.m_NominalTorque = 100;
    }
    QEL d;
};

TEST_F(ForceConversion, JointTorquesBecomeTruncatedMotorUnitsSaturatingAtFullScale) {
    double ratio[3] = {20.0, 11.89, 1.0};
    short mot[3] = {7, 7, 7};
    // 1000 N*mm through a ratio of 20 is 50 of 100 at the motor: 65535 * 50 / 200 = 16383.75.
    double torque[3] = {1000.0, -1e9, 0.0};
    ASSERT_EQ(d.JointTrqToMot(torque, ratio, mot, 3), 1);
    EXPECT_EQ(mot[0], 16383);
    EXPECT_EQ(mot[1], -32767) << "clamped to the nominal torque, then 65535/2 truncated";
    EXPECT_EQ(mot[2], 7) << "outside the mask: untouched";

    double tiny[3] = {-0.001, 0, 2000.0 * 1.0};
    ASSERT_EQ(d.JointTrqToMot(tiny, ratio, mot, 7), 1);
    EXPECT_EQ(mot[0], 0) << "truncated toward zero";
    EXPECT_EQ(mot[2], 32767);

    // Masks: the top bit, wrist bits without an active wrist, anything past the arm without an
    // active gripper are refused without an error; the gripper's bit passes the wrist check.
    for (unsigned char mask : {128, 8, 63, 64, 71, 72}) {
        EXPECT_EQ(d.JointTrqToMot(torque, ratio, mot, mask), 0) << int(mask);
    }
    EXPECT_EQ(d.m_ErrCode, 0);
    d.m_fActiveGripper = true;
    mot[0] = 7;
    EXPECT_EQ(d.JointTrqToMot(torque, ratio, mot, 65), 1);
    EXPECT_EQ(mot[0], 16383);
    EXPECT_EQ(d.JointTrqToMot(torque, ratio, mot, 72), 0);
    d.m_fActiveWrist = true;
    EXPECT_EQ(d.JointTrqToMot(torque, ratio, mot, 72), 1);

    // Without a nominal torque there is no scale: the command is 0, not an undefined value.
    d.m_NominalTorque = 0;
    ASSERT_EQ(d.JointTrqToMot(torque, ratio, mot, 1), 1);
    EXPECT_EQ(mot[0], 0);
}

TEST_F(ForceConversion, MotorUnitsToTorqueKeepTheirAsymmetry) {
    double ratio[3] = {2.0, 3.0, 4.0};
    double torque[3] = {9, 9, 9};
    unsigned short mot[3] = {30000, 1, 2};
    d.m_NominalTorque = 1000;
    // The scale (2 * 1000) / 65535 is 0 in integers: only the offset remains.
    ASSERT_EQ(d.MotToJointTrq(mot, ratio, torque, 4), 1);
    EXPECT_EQ(torque[2], -1000.0 * 4.0);
    EXPECT_EQ(torque[0], 9.0);
    ASSERT_EQ(d.MotToJointTrq(mot, ratio, torque, 1), 1);
    EXPECT_EQ(torque[0], -2000.0);
    EXPECT_EQ(d.MotToJointTrq(mot, ratio, torque, 3), 0);
    EXPECT_EQ(d.m_ErrCode, 258);
}

TEST_F(ForceConversion, JointTorqueStoreAndGravitySettings) {
    double torque[3] = {1.5, 2.5, 3.5};
    ASSERT_EQ(d.SetJointTrq(torque, nullptr, 1), 1);
    double out[3] = {};
    ASSERT_EQ(d.GetJointTorq(out), 1);
    EXPECT_EQ(out[0], 0.0);
    EXPECT_EQ(out[1], 2.5);
    EXPECT_EQ(d.GetJointTorq(nullptr), 0);
    EXPECT_EQ(d.m_ErrCode, 0);
    EXPECT_EQ(d.SetJointTrq(torque, nullptr, 3), 0);
    EXPECT_EQ(d.m_ErrCode, 258);
    d.ClearError();

    EXPECT_EQ(d.SetGravity(true, 0), 0);
    EXPECT_FALSE(d.m_fGravComp);
    EXPECT_EQ(d.m_ErrCode, 0);
    ASSERT_EQ(d.SetGravity(true, 9.7), 1);
    EXPECT_TRUE(d.m_fGravComp);
    EXPECT_EQ(d.m_GravityConstant, 9.7);
    EXPECT_EQ(d.GetGravityCompensation(), 0) << "the flag is not reported";
    ASSERT_EQ(d.SetGravity(false, 1.0), 1);
    EXPECT_FALSE(d.m_fGravComp);
    EXPECT_EQ(d.m_GravityConstant, 9.7) << "switching off stores no value";

    EXPECT_EQ(d.SetStandardGravity(0), 1);
    EXPECT_EQ(d.m_GravityConstant, 0.0);
    EXPECT_EQ(d.SetStandardGravity(std::nan("")), 0);
    EXPECT_EQ(d.m_ErrCode, 258);
    d.ClearError();
    EXPECT_EQ(d.SetStandardGravity(-1), 0);
    EXPECT_EQ(d.m_ErrCode, 258);

    EXPECT_EQ(d.GetG(3.0), 1.0);
    EXPECT_EQ(d.SetEffectorMass(0.2), 0);
    EXPECT_EQ(d.GetEffectorMass(), 1.0);
    d.m_fInit = false;
    EXPECT_EQ(d.GetEffectorMass(), 0.0);
}

} // namespace
