// SPDX-License-Identifier: MIT
#include "options.h"

#include <CLI/CLI.hpp>
#include <cstdio>
#include <cstdlib>

namespace bridge {

int parseOptions(int argc, char** argv, Options& options) {
    CLI::App app{"qel-bridge: publishes the attached devices on DDS with ROS 2's topics and "
                 "types, and takes force commands from it when allowed.\n"
                 "The DDS domain is ROS_DOMAIN_ID (default 0); Cyclone DDS reads its "
                 "configuration from CYCLONEDDS_URI.",
                 "qel-bridge"};
    app.set_version_flag("--version", QEL_BRIDGE_VERSION);
    app.add_option("-s,--serial", options.serials,
                   "serve only the devices with these serial numbers (default: every device)")
        ->delimiter(',');
    app.add_option("-N,--namespace", options.namespaces,
                   "ROS namespace of each device, in the order of --serial or of discovery "
                   "(default /qel/device_SERIAL)")
        ->delimiter(',');
    app.add_option("-r,--rate", options.rate,
                   "state publishing rate per device in Hz, at most the device loop's rate")
        ->check(CLI::Range(1.0, 10000.0))
        ->capture_default_str();
    app.add_flag("--allow-force", options.allowForce,
                 "obey force_command and force_output (off: both are ignored)");
    app.add_option("--max-force", options.maxForce, "largest force magnitude in newtons")
        ->check(CLI::Range(0.0, 20.0))
        ->capture_default_str();
    app.add_option("--max-force-rate", options.maxForceRate,
                   "largest rate of change of the force in newtons per second")
        ->check(CLI::Range(1.0, 100000.0))
        ->capture_default_str();
    app.add_option("--command-timeout", options.commandTimeout,
                   "seconds without a force command after which the force ramps to zero")
        ->check(CLI::Range(0.005, 10.0))
        ->capture_default_str();
    app.add_flag("--gravity", options.gravity,
                 "compensate the arm's weight while force output is on");
    app.add_option("--seconds", options.seconds,
                   "run this long, then stop (default: until "
                   "SIGINT or SIGTERM)")
        ->check(CLI::NonNegativeNumber);
    try {
        app.parse(argc, argv);
    } catch (const CLI::ParseError& e) {
        return app.exit(e);
    }
    // Unset or empty: domain 0, as for ROS 2.
    const char* domain = std::getenv("ROS_DOMAIN_ID");
    if (domain && *domain) {
        char* end = nullptr;
        long value = std::strtol(domain, &end, 10);
        if (*end == '\0' && value >= 0 && value <= 232) {
            options.domain = int(value);
        } else {
            std::fprintf(stderr, "qel-bridge: ROS_DOMAIN_ID=%s is not a domain (0 to 232)\n",
                         domain);
            return 2;
        }
    }
    return -1;
}

std::string namespaceFor(const Options& options, size_t index, unsigned serial) {
    std::string name = index < options.namespaces.size() ? options.namespaces[index]
                                                         : "/qel/device_" + std::to_string(serial);
    if (name.empty() || name[0] != '/') name = "/" + name;
    while (name.size() > 1 && name.back() == '/') name.pop_back();
    return name;
}

} // namespace bridge
