// SPDX-License-Identifier: MIT
#include "port_in_use.h"

#include <cerrno>
#include <fcntl.h>
#include <sys/file.h>
#include <unistd.h>

namespace qeltool {

bool portInUse(const std::string& node) {
    int fd = open(node.c_str(), O_RDWR | O_NOCTTY | O_NONBLOCK | O_CLOEXEC);
    // An owner that set the port exclusive turns other users' opens away.
    if (fd < 0) return errno == EBUSY;
    bool held = flock(fd, LOCK_EX | LOCK_NB) != 0 && errno == EWOULDBLOCK;
    close(fd);
    return held;
}

} // namespace qeltool
