// SPDX-License-Identifier: MIT
// One device, opened through the exported interface for the life of the object and closed
// (drives off) when it ends. Every call is checked: a failure throws the library's reason.
#ifndef QELTOOL_DEVICE_H
#define QELTOOL_DEVICE_H

#include <array>
#include <optional>
#include <string>

#include "command_line.h"

namespace qeltool {

// Which device a subcommand addresses: -d/--device N (1-based, default 1) or --serial S.
struct Selection {
    int id = 1;
    std::optional<unsigned int> serial;
};
// Adds -d/--device and --serial to a command, to fill `selection`.
void addSelection(CLI::App& command, Selection& selection);

using Vector = std::array<double, 3>;

class Device {
public:
    explicit Device(const Selection& selection);
    ~Device();
    Device(const Device&) = delete;
    Device& operator=(const Device&) = delete;

    int id() const { return id_; }
    std::string name() const; // "device 1"

    // Reads the device's model and starts the library's refresh of its state.
    void init();
    // Closes the device and opens and initialises it again, as after a failed exchange, which
    // the library keeps reporting until then. Rendering ends; the calibration is to be loaded
    // again.
    void reopen();
    // Loads the calibration stored in the device: positions need it.
    void loadCalibration();
    // Waits (at most a second) until the library's refresh has computed a first position.
    void awaitPosition();

    // Registers, by the library's parameter number (1 to 8 translated, others direct).
    unsigned int serialNumber();
    unsigned int readInt(unsigned short param);
    short readShort(unsigned short param);
    void writeInt(unsigned short param, unsigned int value);
    void writeShort(unsigned short param, short value);
    void commit();

    // The handle's state as of the library's last refresh.
    Vector position();
    Vector orientationDegrees(); // wrist yaw, pitch, roll
    Vector velocity();
    Vector force(); // the commanded force
    bool button(int index);
    double loopRate(); // cyclic exchanges per second; 0 during the first second
    unsigned char operationMode();
    std::array<unsigned int, 6> encoders(); // single-turn counts until calibrated
    std::array<int, 3> armEncoders();
    Vector armAngles(); // the three arm joints in radians
    // The wrist frame as a rotation matrix, rows first.
    std::array<double, 9> orientationFrame();
    unsigned int velocityThreshold();

    // Force output: the commanded force with force output and the drives on, optionally with
    // gravity compensation. Switched off again when the object ends.
    void render(const Vector& force, bool gravity);
    bool rendering() const { return rendering_; }
    bool gravity() const { return gravity_; }
    // While rendering: a new commanded force, gravity compensation on or off.
    void setForce(const Vector& force);
    void setGravity(bool gravity);
    // Zero force, gravity compensation, drives and force output off; does nothing when nothing
    // is rendered. Never throws: it runs on every way out.
    void stopRendering();
    // The motor commands the library renders for the commanded force at the given counts
    // (before the refresh thread's velocity damping); none while nothing is rendered, as
    // after the library's speed limit has switched the drives off.
    std::optional<std::array<int, 3>> motorCommands(const Vector& force,
                                                    const std::array<int, 3>& counts);

    void saveCalibration(const std::array<unsigned int, 6>& lower,
                         const std::array<unsigned int, 6>& upper, unsigned char mask);

private:
    char cid() const { return static_cast<char>(id_); }
    std::string of(const char* what) const; // "cannot <what> of device N"

    int id_ = 0;
    bool rendering_ = false;
    bool gravity_ = false;
    bool current_ = false; // made the interface's current device
};

} // namespace qeltool

#endif
