// SPDX-License-Identifier: MIT
// bridge_probe: what a controller on the network sees of qel-bridge. For each namespace it
// reads the pose topic and, on every new pose, writes a force command back at once (zero
// newtons), as a teleoperation controller would. After a second to settle it counts, for
// `seconds`, the poses received per device and the one-way latency from a pose being
// published (its stamp) to the command being written; then prints one line per device:
//   NS RATE_HZ MEDIAN_MS P99_MS
//   bridge_probe SECONDS NS...    (domain from ROS_DOMAIN_ID)
#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <ctime>
#include <string>
#include <vector>

#include <dds/dds.h>

#include "geometry_msgs/msg/PoseStamped.h"
#include "geometry_msgs/msg/WrenchStamped.h"

namespace {

double wallClock() {
    timespec t;
    clock_gettime(CLOCK_REALTIME, &t);
    return double(t.tv_sec) + double(t.tv_nsec) * 1e-9;
}

dds_entity_t endpoint(dds_entity_t participant, const dds_topic_descriptor_t* type,
                      const std::string& rosTopic, bool writer) {
    dds_entity_t topic =
        dds_create_topic(participant, type, ("rt" + rosTopic).c_str(), nullptr, nullptr);
    dds_qos_t* qos = dds_create_qos();
    dds_qset_reliability(qos, writer ? DDS_RELIABILITY_BEST_EFFORT : DDS_RELIABILITY_RELIABLE,
                         DDS_MSECS(10));
    dds_qset_history(qos, DDS_HISTORY_KEEP_LAST, 10);
    dds_entity_t e = writer ? dds_create_writer(participant, topic, qos, nullptr)
                            : dds_create_reader(participant, topic, qos, nullptr);
    dds_delete_qos(qos);
    return e;
}

struct Device {
    std::string ns;
    dds_entity_t pose, command;
    std::vector<double> latency;
};

double percentile(std::vector<double> v, double p) {
    if (v.empty()) return 0;
    size_t k = static_cast<size_t>(p * double(v.size() - 1));
    std::nth_element(v.begin(), v.begin() + long(k), v.end());
    return v[k];
}

} // namespace

int main(int argc, char** argv) {
    if (argc < 3) {
        std::fprintf(stderr, "usage: bridge_probe SECONDS NS...\n");
        return 2;
    }
    const double seconds = std::atof(argv[1]), settle = 1.0;
    const char* domain = std::getenv("ROS_DOMAIN_ID");
    dds_entity_t participant = dds_create_participant(
        static_cast<dds_domainid_t>(domain ? std::atoi(domain) : 0), nullptr, nullptr);
    if (participant < 0) return std::fprintf(stderr, "bridge_probe: no participant\n"), 1;
    std::vector<Device> devices;
    dds_entity_t waitset = dds_create_waitset(participant);
    for (int i = 2; i < argc; ++i) {
        Device d{argv[i], 0, 0, {}};
        d.pose =
            endpoint(participant, &geometry_msgs_msg_dds__PoseStamped__desc, d.ns + "/pose", false);
        d.command = endpoint(participant, &geometry_msgs_msg_dds__WrenchStamped__desc,
                             d.ns + "/force_command", true);
        dds_waitset_attach(waitset, dds_create_readcondition(d.pose, DDS_ANY_STATE), 0);
        devices.push_back(d);
    }
    geometry_msgs_msg_dds__WrenchStamped_ zero = {};
    zero.header.frame_id = const_cast<char*>("");
    const double start = wallClock();
    for (double t = 0; t < settle + seconds; t = wallClock() - start) {
        dds_waitset_wait(waitset, nullptr, 0, DDS_MSECS(100));
        for (Device& d : devices) {
            void* samples[16] = {};
            dds_sample_info_t infos[16];
            int n = dds_take(d.pose, samples, infos, 16, 16);
            double stamp = -1;
            for (int i = 0; i < n; ++i)
                if (infos[i].valid_data) {
                    const auto* p = static_cast<geometry_msgs_msg_dds__PoseStamped_*>(samples[i]);
                    stamp = p->header.stamp.sec + p->header.stamp.nanosec * 1e-9;
                    if (wallClock() - start >= settle) d.latency.push_back(-stamp);
                }
            if (n > 0) dds_return_loan(d.pose, samples, n);
            if (stamp < 0) continue;
            dds_write(d.command, &zero);
            // Every pose taken in this pass counts, each against this one write.
            double written = wallClock();
            for (auto it = d.latency.rbegin(); it != d.latency.rend() && *it < 0; ++it)
                *it += written;
        }
    }
    for (const Device& d : devices)
        std::printf("%s %.1f %.3f %.3f\n", d.ns.c_str(), double(d.latency.size()) / seconds,
                    percentile(d.latency, 0.5) * 1000, percentile(d.latency, 0.99) * 1000);
    dds_delete(participant);
    return 0;
}
