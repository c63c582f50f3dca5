// SPDX-License-Identifier: MIT
// qel-bridge: the attached devices on DDS, with ROS 2's own topics and types, so that ROS 2
// nodes and tools see them with no adapter. See docs/bridge.md.
#include <atomic>
#include <csignal>
#include <cstdio>
#include <exception>
#include <unistd.h>

#include "bridge.h"
#include "dds_node.h"
#include "options.h"

namespace {

std::atomic<bool> stopRequested{false};

// The first SIGINT or SIGTERM ends the loop, which then switches the drives off and closes
// the devices; a second one ends the program at once.
void onSignal(int signal) {
    if (stopRequested.exchange(true)) _exit(128 + signal);
}

} // namespace

int main(int argc, char** argv) {
    bridge::Options options;
    int exitNow = bridge::parseOptions(argc, argv, options);
    if (exitNow >= 0) return exitNow;

    struct sigaction action = {};
    action.sa_handler = onSignal;
    sigaction(SIGINT, &action, nullptr);
    sigaction(SIGTERM, &action, nullptr);

    try {
        bridge::DdsNode node(options.domain);
        bridge::Bridge bridge(options, node);
        if (!bridge.openDevices()) return 1;
        std::fprintf(stderr, "qel-bridge: domain %d, %.0f Hz, force commands %s\n", options.domain,
                     options.rate, options.allowForce ? "allowed" : "ignored (no --allow-force)");
        bridge.run(stopRequested);
        bridge.shutdown();
    } catch (const std::exception& e) {
        // The bridge's destructor has switched the drives off by now.
        std::fprintf(stderr, "qel-bridge: %s\n", e.what());
        return 1;
    }
    return 0;
}
