// SPDX-License-Identifier: MIT
// teleop: two devices coupled through the network only. Each device is served by its own
// qel-bridge (on two machines in real use); this program reads both handles' poses and twists
// from DDS and writes force commands back: the follower is pulled by a spring and a damper
// towards the leader's place (each in its own base frame), and the leader feels the opposite
// force. It links no device library: only Cyclone DDS and the bridges' message types.
//
//   teleop [--leader NS] [--follower NS] [--seconds S] [--stiffness K] [--damping B]
//          [--max-force N] [--csv FILE]
//     --leader NS     the leader's ROS namespace (default /leader)
//     --follower NS   the follower's (default /follower)
//     --seconds S     run this long (default 30; Ctrl-C ends it sooner)
//     --stiffness K   coupling spring in N/m (default 300)
//     --damping B     coupling damper in N*s/m (default 4)
//     --max-force N   largest force commanded (default 4; the bridges clamp as well)
//     --csv FILE      record time, both positions (m) and both forces (N)
//
// The bridges must run with --allow-force. The domain is ROS_DOMAIN_ID. At the end it prints
// the one-way latency from the leader's pose being published (its time stamp) to the
// follower's force command being written: median and 99th percentile.
#include <algorithm>
#include <atomic>
#include <chrono>
#include <cmath>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <ctime>
#include <string>
#include <vector>

#include <dds/dds.h>

#include "geometry_msgs/msg/PoseStamped.h"
#include "geometry_msgs/msg/TwistStamped.h"
#include "geometry_msgs/msg/WrenchStamped.h"
#include "std_msgs/msg/Bool.h"

namespace {

std::atomic<bool> stopRequested{false};

double option(int argc, char** argv, const char* name, double fallback) {
    for (int i = 1; i + 1 < argc; ++i)
        if (std::strcmp(argv[i], name) == 0) return std::atof(argv[i + 1]);
    return fallback;
}
const char* textOption(int argc, char** argv, const char* name, const char* fallback) {
    for (int i = 1; i + 1 < argc; ++i)
        if (std::strcmp(argv[i], name) == 0) return argv[i + 1];
    return fallback;
}

double wallClock() {
    timespec t;
    clock_gettime(CLOCK_REALTIME, &t);
    return double(t.tv_sec) + double(t.tv_nsec) * 1e-9;
}

// One handle as seen on the network: the newest pose (with its stamp) and twist.
struct Handle {
    dds_entity_t pose, twist, command, output;
    double position[3] = {0, 0, 0}, velocity[3] = {0, 0, 0}, stamp = 0;
    bool seen = false;

    Handle(dds_entity_t participant, const std::string& ns) {
        pose =
            endpoint(participant, &geometry_msgs_msg_dds__PoseStamped__desc, ns + "/pose", false);
        twist =
            endpoint(participant, &geometry_msgs_msg_dds__TwistStamped__desc, ns + "/twist", false);
        command = endpoint(participant, &geometry_msgs_msg_dds__WrenchStamped__desc,
                           ns + "/force_command", true);
        output = endpoint(participant, &std_msgs_msg_dds__Bool__desc, ns + "/force_output", true);
    }
    static dds_entity_t endpoint(dds_entity_t participant, const dds_topic_descriptor_t* type,
                                 const std::string& rosTopic, bool writer) {
        dds_entity_t topic =
            dds_create_topic(participant, type, ("rt" + rosTopic).c_str(), nullptr, nullptr);
        dds_qos_t* qos = dds_create_qos();
        dds_qset_reliability(qos, writer ? DDS_RELIABILITY_BEST_EFFORT : DDS_RELIABILITY_RELIABLE,
                             DDS_MSECS(10));
        dds_qset_history(qos, DDS_HISTORY_KEEP_LAST, writer ? 1 : 10);
        dds_entity_t e = writer ? dds_create_writer(participant, topic, qos, nullptr)
                                : dds_create_reader(participant, topic, qos, nullptr);
        dds_delete_qos(qos);
        return e;
    }
    // Takes what arrived; true when a new pose did.
    bool take() {
        void* samples[16] = {};
        dds_sample_info_t infos[16];
        bool fresh = false;
        int n = dds_take(pose, samples, infos, 16, 16);
        for (int i = 0; i < n; ++i)
            if (infos[i].valid_data) {
                auto* p = static_cast<geometry_msgs_msg_dds__PoseStamped_*>(samples[i]);
                position[0] = p->pose.position.x, position[1] = p->pose.position.y,
                position[2] = p->pose.position.z;
                stamp = p->header.stamp.sec + p->header.stamp.nanosec * 1e-9;
                fresh = seen = true;
            }
        if (n > 0) dds_return_loan(pose, samples, n);
        n = dds_take(twist, samples, infos, 16, 16);
        for (int i = 0; i < n; ++i)
            if (infos[i].valid_data) {
                auto* t = static_cast<geometry_msgs_msg_dds__TwistStamped_*>(samples[i]);
                velocity[0] = t->twist.linear.x, velocity[1] = t->twist.linear.y,
                velocity[2] = t->twist.linear.z;
            }
        if (n > 0) dds_return_loan(twist, samples, n);
        return fresh;
    }
    void send(const double f[3]) {
        geometry_msgs_msg_dds__WrenchStamped_ w = {};
        w.header.frame_id = const_cast<char*>("");
        w.wrench.force = {f[0], f[1], f[2]};
        dds_write(command, &w);
    }
    void forceOutput(bool on) {
        std_msgs_msg_dds__Bool_ b = {on};
        dds_write(output, &b);
    }
};

double percentile(std::vector<double> values, double p) {
    if (values.empty()) return 0;
    size_t k = static_cast<size_t>(p * double(values.size() - 1));
    std::nth_element(values.begin(), values.begin() + long(k), values.end());
    return values[k];
}

} // namespace

int main(int argc, char** argv) {
    const std::string leaderNs = textOption(argc, argv, "--leader", "/leader");
    const std::string followerNs = textOption(argc, argv, "--follower", "/follower");
    const double seconds = option(argc, argv, "--seconds", 30);
    const double stiffness = option(argc, argv, "--stiffness", 300);
    const double damping = option(argc, argv, "--damping", 4);
    const double maxForce = option(argc, argv, "--max-force", 4);
    const char* csvPath = textOption(argc, argv, "--csv", nullptr);
    struct sigaction action = {};
    action.sa_handler = [](int) { stopRequested = true; };
    action.sa_flags = SA_RESETHAND;
    sigaction(SIGINT, &action, nullptr);
    sigaction(SIGTERM, &action, nullptr);

    const char* domain = std::getenv("ROS_DOMAIN_ID");
    dds_entity_t participant = dds_create_participant(
        static_cast<dds_domainid_t>(domain ? std::atoi(domain) : 0), nullptr, nullptr);
    if (participant < 0) {
        std::fprintf(stderr, "teleop: %s\n", dds_strretcode(participant));
        return 1;
    }
    Handle leader(participant, leaderNs), follower(participant, followerNs);
    // Woken by every new leader pose: the follower's command goes out as soon as it can.
    dds_entity_t waitset = dds_create_waitset(participant);
    dds_waitset_attach(waitset, dds_create_readcondition(leader.pose, DDS_ANY_STATE), 0);
    dds_waitset_attach(waitset, dds_create_readcondition(follower.pose, DDS_ANY_STATE), 1);
    FILE* csv = csvPath ? std::fopen(csvPath, "w") : nullptr;
    if (csv)
        std::fprintf(csv, "t,leader_x,leader_y,leader_z,follower_x,follower_y,follower_z,"
                          "force_x,force_y,force_z\n");

    std::vector<double> latency;
    const double start = wallClock(), rampSeconds = 1.0;
    double lastOutput = -1, lastPrint = -1, started = -1, gapSum = 0, largestGap = 0;
    long gapSamples = 0;
    for (double t = 0; !stopRequested && t < seconds;) {
        dds_waitset_wait(waitset, nullptr, 0, DDS_MSECS(50));
        t = wallClock() - start;
        bool fresh = leader.take();
        follower.take();
        if (t - lastOutput >= 0.1) { // force output on, again and again: commands are best effort
            leader.forceOutput(true), follower.forceOutput(true);
            lastOutput = t;
        }
        if (!fresh || !follower.seen) continue;
        if (started < 0) started = t;
        double ramp = std::min(1.0, (t - started) / rampSeconds), force[3], back[3], gap[3];
        for (int i = 0; i < 3; ++i) {
            gap[i] = leader.position[i] - follower.position[i];
            force[i] =
                ramp * (stiffness * gap[i] + damping * (leader.velocity[i] - follower.velocity[i]));
        }
        double magnitude =
            std::sqrt(force[0] * force[0] + force[1] * force[1] + force[2] * force[2]);
        if (magnitude > maxForce)
            for (double& f : force) f *= maxForce / magnitude;
        for (int i = 0; i < 3; ++i) back[i] = -force[i];
        follower.send(force);
        latency.push_back(wallClock() - leader.stamp);
        leader.send(back);

        double distance = std::sqrt(gap[0] * gap[0] + gap[1] * gap[1] + gap[2] * gap[2]);
        if (t - started >= rampSeconds) {
            gapSum += distance, ++gapSamples;
            largestGap = std::max(largestGap, distance);
        }
        if (csv)
            std::fprintf(csv, "%.4f,%.6f,%.6f,%.6f,%.6f,%.6f,%.6f,%.4f,%.4f,%.4f\n", t,
                         leader.position[0], leader.position[1], leader.position[2],
                         follower.position[0], follower.position[1], follower.position[2], force[0],
                         force[1], force[2]);
        if (t - lastPrint >= 0.5) {
            lastPrint = t;
            std::printf("%5.1f s  gap %5.1f mm  force on the follower %5.2f N\n", t,
                        distance * 1000, std::min(magnitude, maxForce));
            std::fflush(stdout);
        }
    }
    leader.forceOutput(false), follower.forceOutput(false);
    if (csv) std::fclose(csv);
    dds_delete(participant);
    if (latency.empty()) {
        std::fprintf(stderr, "teleop: no poses from %s and %s\n", leaderNs.c_str(),
                     followerNs.c_str());
        return 1;
    }
    std::printf("teleop: gap %.2f mm on average, %.2f mm at most (after the ramp)\n",
                gapSamples ? gapSum / double(gapSamples) * 1000 : 0.0, largestGap * 1000);
    std::printf("teleop: latency from leader pose published to follower force command written: "
                "median %.3f ms, 99th percentile %.3f ms (%zu commands)\n",
                percentile(latency, 0.5) * 1000, percentile(latency, 0.99) * 1000, latency.size());
    return 0;
}
