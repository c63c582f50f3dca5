// SPDX-License-Identifier: MIT
// The command line of qel-bridge.
#ifndef QEL_BRIDGE_OPTIONS_H
#define QEL_BRIDGE_OPTIONS_H

#include <string>
#include <vector>

namespace bridge {

struct Options {
    std::vector<unsigned> serials;       // the devices to serve; empty: every device found
    std::vector<std::string> namespaces; // per device, in the order of serials (or discovery)
    double rate = 1000;                  // publishing rate per device, Hz
    bool allowForce = false;             // obey force_command and force_output
    double maxForce = 3;                 // N
    double maxForceRate = 200;           // N/s
    double commandTimeout = 0.1;         // s
    bool gravity = false;                // gravity compensation while force output is on
    double seconds = 0;                  // run this long; 0: until a signal
    int domain = 0;                      // from ROS_DOMAIN_ID
};

// Parses argv. Returns -1 to go on, or the status to exit with at once (0 after --help, 2
// after a usage error, which has been printed).
int parseOptions(int argc, char** argv, Options& options);

// The namespace of the k-th device served (0-based) with this serial number.
std::string namespaceFor(const Options& options, size_t index, unsigned serial);

} // namespace bridge

#endif
