// SPDX-License-Identifier: MIT
#include "dds_node.h"

#include <cmath>
#include <ctime>
#include <stdexcept>

#include "diagnostic_msgs/msg/DiagnosticArray.h"
#include "geometry_msgs/msg/PoseStamped.h"
#include "geometry_msgs/msg/TwistStamped.h"
#include "geometry_msgs/msg/WrenchStamped.h"
#include "sensor_msgs/msg/JointState.h"
#include "sensor_msgs/msg/Joy.h"
#include "std_msgs/msg/Bool.h"
#include "tf2_msgs/msg/TFMessage.h"

namespace bridge {

namespace {

// ROS 2's default profile for state: reliable, keep the last 10, volatile. A best-effort
// (sensor data) subscription matches it as well.
dds_qos_t* stateQos(int depth = 10) {
    dds_qos_t* qos = dds_create_qos();
    dds_qset_reliability(qos, DDS_RELIABILITY_RELIABLE, DDS_MSECS(10));
    dds_qset_history(qos, DDS_HISTORY_KEEP_LAST, depth);
    dds_qset_durability(qos, DDS_DURABILITY_VOLATILE);
    return qos;
}

// Commands: best effort, so that a writer of any reliability matches.
dds_qos_t* commandQos() {
    dds_qos_t* qos = dds_create_qos();
    dds_qset_reliability(qos, DDS_RELIABILITY_BEST_EFFORT, 0);
    dds_qset_history(qos, DDS_HISTORY_KEEP_LAST, 10);
    dds_qset_durability(qos, DDS_DURABILITY_VOLATILE);
    return qos;
}

dds_entity_t check(dds_entity_t entity, const std::string& what) {
    if (entity < 0) throw std::runtime_error(what + ": " + dds_strretcode(entity));
    return entity;
}

dds_entity_t writer(dds_entity_t participant, const dds_topic_descriptor_t* type,
                    const std::string& rosTopic, int depth = 10) {
    std::string name = "rt" + rosTopic;
    dds_entity_t topic =
        check(dds_create_topic(participant, type, name.c_str(), nullptr, nullptr), "topic " + name);
    dds_qos_t* qos = stateQos(depth);
    dds_entity_t w = dds_create_writer(participant, topic, qos, nullptr);
    dds_delete_qos(qos);
    return check(w, "writer " + name);
}

dds_entity_t reader(dds_entity_t participant, const dds_topic_descriptor_t* type,
                    const std::string& rosTopic) {
    std::string name = "rt" + rosTopic;
    dds_entity_t topic =
        check(dds_create_topic(participant, type, name.c_str(), nullptr, nullptr), "topic " + name);
    dds_qos_t* qos = commandQos();
    dds_entity_t r = dds_create_reader(participant, topic, qos, nullptr);
    dds_delete_qos(qos);
    return check(r, "reader " + name);
}

// ROS time is the system's clock.
std_msgs_msg_dds__Header_ header(const char* frame) {
    timespec now;
    clock_gettime(CLOCK_REALTIME, &now);
    std_msgs_msg_dds__Header_ h;
    h.stamp.sec = static_cast<int32_t>(now.tv_sec);
    h.stamp.nanosec = static_cast<uint32_t>(now.tv_nsec);
    h.frame_id = const_cast<char*>(frame);
    return h;
}

template <typename Seq, typename T>
Seq borrow(T* data, size_t n) {
    Seq s;
    s._maximum = s._length = static_cast<uint32_t>(n);
    s._buffer = data;
    s._release = false;
    return s;
}

} // namespace

DeviceTopics::DeviceTopics(dds_entity_t participant, const std::string& ns) {
    std::string name = ns.substr(ns.find_last_of('/') + 1);
    if (name.empty()) name = "qel";
    base_ = name + "_base";
    handle_ = name + "_handle";
    for (const char* joint : {"arm_0", "arm_1", "arm_2", "wrist_yaw", "wrist_pitch", "wrist_roll"})
        jointNames_.push_back(name + "_" + joint);
    pose_ = writer(participant, &geometry_msgs_msg_dds__PoseStamped__desc, ns + "/pose");
    twist_ = writer(participant, &geometry_msgs_msg_dds__TwistStamped__desc, ns + "/twist");
    joy_ = writer(participant, &sensor_msgs_msg_dds__Joy__desc, ns + "/joy");
    joints_ = writer(participant, &sensor_msgs_msg_dds__JointState__desc, ns + "/joint_states");
    wrench_ = writer(participant, &geometry_msgs_msg_dds__WrenchStamped__desc, ns + "/wrench");
    forceCommand_ =
        reader(participant, &geometry_msgs_msg_dds__WrenchStamped__desc, ns + "/force_command");
    forceOutput_ = reader(participant, &std_msgs_msg_dds__Bool__desc, ns + "/force_output");
}

DeviceTopics::~DeviceTopics() {
    // A topic can go only once its reader or writer has gone.
    for (dds_entity_t e : {pose_, twist_, joy_, joints_, wrench_, forceCommand_, forceOutput_}) {
        dds_entity_t topic = dds_get_topic(e);
        dds_delete(e);
        dds_delete(topic);
    }
}

void DeviceTopics::publish(const DeviceState& s, const double force[3], bool hasWrist) {
    geometry_msgs_msg_dds__PoseStamped_ pose;
    pose.header = header(base_.c_str());
    pose.pose.position = {s.position[0], s.position[1], s.position[2]};
    pose.pose.orientation = {s.orientation[0], s.orientation[1], s.orientation[2],
                             s.orientation[3]};
    dds_write(pose_, &pose);

    geometry_msgs_msg_dds__TwistStamped_ twist;
    twist.header = pose.header;
    twist.twist.linear = {s.velocity[0], s.velocity[1], s.velocity[2]};
    twist.twist.angular = {0, 0, 0};
    dds_write(twist_, &twist);

    int32_t buttons[1] = {s.button};
    sensor_msgs_msg_dds__Joy_ joy;
    joy.header = pose.header;
    joy.axes = borrow<dds_sequence_float, float>(nullptr, 0);
    joy.buttons = borrow<dds_sequence_long, int32_t>(buttons, 1);
    dds_write(joy_, &joy);

    size_t n = hasWrist ? 6 : 3;
    char* names[6];
    for (size_t i = 0; i < n; ++i) names[i] = const_cast<char*>(jointNames_[i].c_str());
    double positions[6], rates[6], efforts[6];
    for (size_t i = 0; i < n; ++i)
        positions[i] = s.joints[i], rates[i] = s.jointRates[i], efforts[i] = s.jointEfforts[i];
    sensor_msgs_msg_dds__JointState_ joints;
    joints.header = pose.header;
    joints.header.frame_id = const_cast<char*>("");
    joints.name = borrow<dds_sequence_string, char*>(names, n);
    joints.position = borrow<dds_sequence_double, double>(positions, n);
    joints.velocity = borrow<dds_sequence_double, double>(rates, n);
    joints.effort = borrow<dds_sequence_double, double>(efforts, n);
    dds_write(joints_, &joints);

    geometry_msgs_msg_dds__WrenchStamped_ wrench;
    wrench.header = pose.header;
    wrench.wrench.force = {force[0], force[1], force[2]};
    wrench.wrench.torque = {0, 0, 0};
    dds_write(wrench_, &wrench);
}

bool DeviceTopics::takeForceCommands(CommandGuard& guard, double now) {
    void* samples[16] = {};
    dds_sample_info_t infos[16];
    bool got = false;
    int n;
    while ((n = dds_take(forceCommand_, samples, infos, 16, 16)) > 0) {
        for (int i = 0; i < n; ++i) {
            if (!infos[i].valid_data) continue;
            const auto& w = static_cast<geometry_msgs_msg_dds__WrenchStamped_*>(samples[i])->wrench;
            double f[3] = {w.force.x, w.force.y, w.force.z};
            guard.command(f, now);
            got = true;
        }
        dds_return_loan(forceCommand_, samples, n);
    }
    return got;
}

bool DeviceTopics::takeOutputRequest(bool& on) {
    void* samples[16] = {};
    dds_sample_info_t infos[16];
    bool got = false;
    int n;
    while ((n = dds_take(forceOutput_, samples, infos, 16, 16)) > 0) {
        for (int i = 0; i < n; ++i)
            if (infos[i].valid_data) {
                on = static_cast<std_msgs_msg_dds__Bool_*>(samples[i])->data;
                got = true;
            }
        dds_return_loan(forceOutput_, samples, n);
    }
    return got;
}

DdsNode::DdsNode(int domain) {
    participant_ =
        check(dds_create_participant(static_cast<dds_domainid_t>(domain), nullptr, nullptr),
              "participant (is CYCLONEDDS_URI valid?)");
    // tf2 listeners keep up to 100 transforms.
    tf_ = writer(participant_, &tf2_msgs_msg_dds__TFMessage__desc, "/tf", 100);
    diagnostics_ =
        writer(participant_, &diagnostic_msgs_msg_dds__DiagnosticArray__desc, "/diagnostics");
}

DdsNode::~DdsNode() { dds_delete(participant_); }

void DdsNode::publishTransforms(const std::vector<const DeviceTopics*>& topics,
                                const std::vector<const DeviceState*>& states) {
    std::vector<geometry_msgs_msg_dds__TransformStamped_> transforms(topics.size());
    for (size_t i = 0; i < topics.size(); ++i) {
        const DeviceState& s = *states[i];
        auto& t = transforms[i];
        t.header = header(topics[i]->baseFrame().c_str());
        t.child_frame_id = const_cast<char*>(topics[i]->handleFrame().c_str());
        t.transform.translation = {s.position[0], s.position[1], s.position[2]};
        t.transform.rotation = {s.orientation[0], s.orientation[1], s.orientation[2],
                                s.orientation[3]};
    }
    tf2_msgs_msg_dds__TFMessage_ message;
    message.transforms = borrow<dds_sequence_geometry_msgs_msg_dds__TransformStamped_>(
        transforms.data(), transforms.size());
    dds_write(tf_, &message);
}

void DdsNode::publishDiagnostics(const std::vector<DeviceHealth>& health) {
    using Status = diagnostic_msgs_msg_dds__DiagnosticStatus_;
    using KeyValue = diagnostic_msgs_msg_dds__KeyValue_;
    // Everything the messages point at lives here until the write returns.
    struct Texts {
        std::string name, message, hardware;
        std::vector<std::string> keys, values;
        std::vector<KeyValue> pairs;
    };
    std::vector<Texts> texts(health.size());
    std::vector<Status> statuses(health.size());
    for (size_t i = 0; i < health.size(); ++i) {
        const DeviceHealth& h = health[i];
        Texts& t = texts[i];
        Status& s = statuses[i];
        t.name = "qel-bridge: " + h.ns;
        t.hardware = "serial " + std::to_string(h.serial);
        if (!h.present) {
            s.level = 2;
            t.message = "device lost; waiting for it to come back" +
                        (h.error.empty() ? std::string() : ": " + h.error);
        } else if (!h.error.empty()) {
            s.level = 1;
            t.message = h.error;
        } else {
            s.level = 0;
            t.message = h.outputOn ? "force output on" : "force output off";
        }
        auto add = [&](const char* key, const std::string& value) {
            t.keys.push_back(key);
            t.values.push_back(value);
        };
        char rate[32];
        std::snprintf(rate, sizeof rate, "%.1f", h.loopRate);
        add("loop rate (Hz)", rate);
        std::snprintf(rate, sizeof rate, "%.1f", h.publishRate);
        add("publish rate (Hz)", rate);
        add("error", h.error.empty() ? "none" : h.error);
        add("force output", h.outputOn ? "on" : "off");
        add("watchdog trips", std::to_string(h.trips));
        add("commands rejected", std::to_string(h.rejected));
        add("commands clamped", std::to_string(h.clamped));
        add("reopened", std::to_string(h.reopened));
        for (size_t k = 0; k < t.keys.size(); ++k)
            t.pairs.push_back(
                {const_cast<char*>(t.keys[k].c_str()), const_cast<char*>(t.values[k].c_str())});
        s.name = const_cast<char*>(t.name.c_str());
        s.message = const_cast<char*>(t.message.c_str());
        s.hardware_id = const_cast<char*>(t.hardware.c_str());
        s.values =
            borrow<dds_sequence_diagnostic_msgs_msg_dds__KeyValue_>(t.pairs.data(), t.pairs.size());
    }
    diagnostic_msgs_msg_dds__DiagnosticArray_ array;
    array.header = header("");
    array.status = borrow<dds_sequence_diagnostic_msgs_msg_dds__DiagnosticStatus_>(statuses.data(),
                                                                                   statuses.size());
    dds_write(diagnostics_, &array);
}

} // namespace bridge
