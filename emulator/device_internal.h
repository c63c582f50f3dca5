// SPDX-License-Identifier: MIT
// What the device's files share and its header keeps to itself: the arm the encoders measure
// and the clock the physics and the cyclic log run on.
#ifndef QELEMU_DEVICE_INTERNAL_H
#define QELEMU_DEVICE_INTERNAL_H

#include <cstdint>
#include <ctime>

#include "clock.h"
#include "device.h"

namespace qelemu {

// The arm the encoders measure, kept out of the header.
struct Device::Arm {
    ArmModel model;
    bool physicsOn = false;
    explicit Arm(int type) : model(ArmGeometry::forType(type)) {}
    void setJointAngles(const double q[6]) { model.setJointAngles(q); }
    void jointAngles(double q[6]) const { model.jointAngles(q); }
    void jointVelocities(double v[6]) const { model.jointVelocities(v); }
    bool setPosition(const double p[3]) { return model.setPosition(p); }
    bool position(double p[3]) const { return model.position(p); }
    void setPhysics(bool on) {
        physicsOn = on;
        model.setPhysics(on);
    }
    void setHand(const HandScript& hand) { model.setHand(hand); }
    void step(double dt, const double torque[3], bool drives) { model.step(dt, torque, drives); }
};

} // namespace qelemu

#endif
