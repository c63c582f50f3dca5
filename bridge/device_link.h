// SPDX-License-Identifier: MIT
// One device as the bridge sees it through the library's exported interface: bring-up, its
// state in ROS's units (REP 103: metres, radians, newtons, seconds), the force it renders, and
// closing. The library is called from one thread only: the bridge's loop.
#ifndef QEL_BRIDGE_DEVICE_LINK_H
#define QEL_BRIDGE_DEVICE_LINK_H

#include <string>

namespace bridge {

struct DeviceState {
    double position[3];     // m, in the device's base frame
    double orientation[4];  // quaternion x, y, z, w
    double velocity[3];     // m/s
    double joints[6];       // rad: arm 0..2, wrist yaw, pitch, roll
    double jointRates[6];   // rad/s
    double jointEfforts[6]; // N*m (the wrist's are not measured: 0)
    int button;             // 0 or 1
    double loopRate;        // the refresh loop's exchanges per second
};

class DeviceLink {
public:
    // Opens the device in interface slot `slot` and reads its serial number; the device stays
    // open (and idle) on success. Returns false, with `error` set, on failure.
    bool open(int slot, std::string& error);
    // Starts the refresh loop and loads the calibration. A device is ready once it reports a
    // position (see read()).
    bool start(std::string& error);
    // Reads the state; false when the device failed (error set) or reports no position yet
    // (error empty).
    bool read(DeviceState& state, std::string& error);
    // Force output and drives on or off, with gravity compensation when asked for.
    bool setOutput(bool on, bool gravity, std::string& error);
    bool setForce(const double force[3], std::string& error);
    // Zero force, drives off, close. Safe to call on a failed or closed device.
    void close();

    int slot() const { return slot_; }
    unsigned serial() const { return serial_; }
    bool hasWrist() const { return hasWrist_; }
    bool outputOn() const { return outputOn_; }
    bool isOpen() const { return slot_ > 0; }

private:
    std::string lastError(const char* what) const;
    int slot_ = 0;
    unsigned serial_ = 0;
    bool hasWrist_ = false;
    bool outputOn_ = false;
    double velocityScale_ = 0; // library velocity -> per second
};

} // namespace bridge

#endif
