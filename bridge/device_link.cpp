// SPDX-License-Identifier: MIT
#include "device_link.h"

#include <cmath>

#include "QEL_OPEN.h"
#include "units.h"

namespace bridge {

std::string DeviceLink::lastError(const char* what) const {
    unsigned int code = 0, node = 0;
    qelErrorGetLast(&code, &node);
    const char* text = qelErrorGetLastStr();
    return std::string(what) + " failed: error " + std::to_string(code) + " (" +
           (text ? text : "") + ")";
}

bool DeviceLink::open(int slot, std::string& error) {
    char id = static_cast<char>(slot);
    if (qelOpenID(id) != slot) return error = lastError("qelOpenID"), false;
    slot_ = slot;
    unsigned int serial = 0;
    if (!qelGetSerialNumber(&serial, id)) {
        error = lastError("qelGetSerialNumber");
        close();
        return false;
    }
    serial_ = serial;
    return true;
}

bool DeviceLink::start(std::string& error) {
    char id = static_cast<char>(slot_);
    if (!qelInit(id)) return error = lastError("qelInit"), false;
    if (!qelCalibrateDevice(id)) return error = lastError("qelCalibrateDevice"), false;
    hasWrist_ = qelHasWrist(id);
    // The library reports velocities per the device's velocity period, which depends on the
    // encoder resolution, a device parameter (expert).
    unsigned int resolution = 0;
    qelEnableExpertMode();
    if (!qelGetParaInt(2, &resolution, id) || resolution == 0)
        return error = lastError("qelGetParaInt (encoder resolution)"), false;
    velocityScale_ = units::velocityPerSecond(resolution);
    return true;
}

bool DeviceLink::read(DeviceState& s, std::string& error) {
    char id = static_cast<char>(slot_);
    double p[3], rotation[3][3], v[3];
    if (!qelGetPositionAndOrientationFrame(&p[0], &p[1], &p[2], rotation, id))
        return error = lastError("qelGetPositionAndOrientationFrame"), false;
    if (p[0] == 0 && p[1] == 0 && p[2] == 0) return error.clear(), false; // not refreshed yet
    if (!qelGetLinearVelocity(&v[0], &v[1], &v[2], id))
        return error = lastError("qelGetLinearVelocity"), false;
    // The joint functions are expert functions; some of the library's calls switch expert
    // mode off as they leave.
    qelEnableExpertMode();
    double torques[3] = {0, 0, 0};
    if (!qelGetJointAngles(s.joints, id) || !qelGetJointVelocities(s.jointRates, id) ||
        !qelGetJointTorques(&torques[0], &torques[1], &torques[2], id))
        return error = lastError("joint state"), false;
    for (int i = 0; i < 3; ++i) {
        s.position[i] = units::metres(p[i]);
        s.velocity[i] = units::metres(v[i] * velocityScale_);
        s.jointEfforts[i] = units::newtonMetres(torques[i]);
        s.jointEfforts[i + 3] = 0;
    }
    for (double& rate : s.jointRates) rate *= velocityScale_;
    if (hasWrist_)
        units::quaternion(rotation, s.orientation);
    else
        s.orientation[0] = s.orientation[1] = s.orientation[2] = 0, s.orientation[3] = 1;
    s.button = qelGetButton(0, id);
    s.loopRate = qelGetComFreq(id);
    return true;
}

bool DeviceLink::setOutput(bool on, bool gravity, std::string& error) {
    char id = static_cast<char>(slot_);
    if (on) {
        if (!qelSetForce(0, 0, 0, id) || !qelSetGravityCompensation(gravity ? 1 : 0, id) ||
            !qelEnableForce(1, id) || !qelEnableDevice(true, id))
            return error = lastError("switching force output on"), false;
    } else {
        qelSetForce(0, 0, 0, id);
        qelSetGravityCompensation(0, id);
        qelEnableForce(0, id);
        if (!qelEnableDevice(false, id)) return error = lastError("qelEnableDevice"), false;
    }
    outputOn_ = on;
    return true;
}

bool DeviceLink::setForce(const double f[3], std::string& error) {
    if (!qelSetForce(f[0], f[1], f[2], static_cast<char>(slot_)))
        return error = lastError("qelSetForce"), false;
    return true;
}

void DeviceLink::close() {
    if (slot_ <= 0) return;
    char id = static_cast<char>(slot_);
    qelSetForce(0, 0, 0, id);
    qelEnableDevice(false, id);
    qelClose(id);
    slot_ = 0;
    outputOn_ = false;
}

} // namespace bridge
