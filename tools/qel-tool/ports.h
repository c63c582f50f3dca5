// The device's serial ports as udev lists them, in the order in which the library numbers its
// devices.
#ifndef QELTOOL_PORTS_H
#define QELTOOL_PORTS_H

#include <string>
#include <vector>

namespace qeltool {

struct Port {
    std::string node;    // /dev/ttyACM0
    std::string syspath; // the udev device
};

// At most ten, like the library's device table.
std::vector<Port> findPorts();

} // namespace qeltool

#endif
