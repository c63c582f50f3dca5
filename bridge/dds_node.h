// SPDX-License-Identifier: MIT
// The bridge on DDS: one participant in the ROS_DOMAIN_ID domain, the per-device topics under
// the device's namespace, and the shared /tf and /diagnostics. ROS 2 puts the ROS topic /a/b
// on the DDS topic rt/a/b. Only the bridge's loop thread calls it.
#ifndef QEL_BRIDGE_DDS_NODE_H
#define QEL_BRIDGE_DDS_NODE_H

#include <dds/dds.h>
#include <string>
#include <vector>

#include "command_guard.h"
#include "device_link.h"

namespace bridge {

// A device's diagnostics, published once a second.
struct DeviceHealth {
    std::string ns;
    unsigned serial = 0;
    bool present = false;
    std::string error; // the last failure, if any
    double loopRate = 0, publishRate = 0;
    bool outputOn = false;
    unsigned long trips = 0, rejected = 0, clamped = 0, reopened = 0;
};

class DeviceTopics {
public:
    DeviceTopics(dds_entity_t participant, const std::string& ns);
    ~DeviceTopics();
    DeviceTopics(const DeviceTopics&) = delete;
    DeviceTopics& operator=(const DeviceTopics&) = delete;

    // The frame names: <name>_base and <name>_handle, name the namespace's last part.
    const std::string& baseFrame() const { return base_; }
    const std::string& handleFrame() const { return handle_; }

    void publish(const DeviceState& state, const double force[3], bool hasWrist);
    // Hands every force command received since the last call to the guard; true if any.
    bool takeForceCommands(CommandGuard& guard, double now);
    // The newest force_output request since the last call, if any.
    bool takeOutputRequest(bool& on);

private:
    std::string base_, handle_;
    std::vector<std::string> jointNames_;
    dds_entity_t pose_, twist_, joy_, joints_, wrench_, forceCommand_, forceOutput_;
};

class DdsNode {
public:
    explicit DdsNode(int domain); // throws std::runtime_error
    ~DdsNode();
    DdsNode(const DdsNode&) = delete;
    DdsNode& operator=(const DdsNode&) = delete;

    dds_entity_t participant() const { return participant_; }
    // One TFMessage with the handle frames of the devices given.
    void publishTransforms(const std::vector<const DeviceTopics*>& topics,
                           const std::vector<const DeviceState*>& states);
    void publishDiagnostics(const std::vector<DeviceHealth>& health);

private:
    dds_entity_t participant_, tf_, diagnostics_;
};

} // namespace bridge

#endif
