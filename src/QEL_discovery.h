// SPDX-License-Identifier: MIT
// Finding the device's serial ports in the udev database. The library numbers its devices in
// this order, and qel-tool lists ports in it, so both are built on this one search.
#ifndef QEL_DISCOVERY_H
#define QEL_DISCOVERY_H

#include <stddef.h>

#include <string>
#include <vector>

namespace qeldiscovery {

// The udev properties of the device's port: USB vendor and product, and the model name.
extern const char kVendorId[];
extern const char kProductId[];
extern const char kModel[];

struct Port {
    std::string node;    // /dev/ttyACM0
    std::string syspath; // the udev device
};

// The tty devices that carry all three properties, in udev's enumeration order, at most
// `limit` of them. Empty when udev cannot be reached.
std::vector<Port> findPorts(size_t limit);

} // namespace qeldiscovery

#endif
