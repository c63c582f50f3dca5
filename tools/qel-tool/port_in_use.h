// SPDX-License-Identifier: MIT
// Whether another program (or another device object) holds a device's port. The library takes
// its port for itself while a device is open; qel-tool reports such a device as in use rather
// than opening it, which would only fail.
#ifndef QELTOOL_PORT_IN_USE_H
#define QELTOOL_PORT_IN_USE_H

#include <string>

namespace qeltool {

// Looks without touching the line: the port is opened without blocking and its owner's lock
// tried for a moment. A port that cannot be opened for another reason is not "in use".
bool portInUse(const std::string& node);

} // namespace qeltool

#endif
