// SPDX-License-Identifier: MIT
// Emulated serial ports in a umockdev testbed: each port is a tty in a private udev database,
// backed by a pseudo-terminal whose master end the emulator (or a test) serves. Programs run
// under the umockdev preload (umockdev-wrapper) see these ports instead of the machine's.
#ifndef QELEMU_TESTBED_H
#define QELEMU_TESTBED_H

#include <string>
#include <vector>

typedef struct _UMockdevTestbed UMockdevTestbed;

namespace qelemu {

// The udev identity of one port. The defaults are those the driver's discovery matches;
// change a field to make a decoy. An empty model leaves the ID_MODEL property out.
struct PortIdentity {
    std::string vendorId = "0483";
    std::string modelId = "5740";
    std::string model = "WPXComPort";
    std::string subsystem = "tty";
};

class Testbed {
public:
    // warnIfNotPreloaded: print a warning when this process is not under the umockdev preload
    // (useful for a test program; a launcher whose child is preloaded passes false).
    explicit Testbed(bool warnIfNotPreloaded = true);
    ~Testbed();
    Testbed(const Testbed&) = delete;
    Testbed& operator=(const Testbed&) = delete;

    // Adds a port and returns its index. Ports are named ttyACM0, ttyACM1, ... in the order
    // they are added; udev enumerates them in the order of their sysfs paths, which the names
    // keep equal to the order of addition for the first ten.
    int addPort(const PortIdentity& identity = PortIdentity());

    // The master end of the port's pseudo-terminal, or -1 for a port that is not a tty or has
    // been removed. Owned by the testbed.
    int masterFd(int index) const;
    // The device node a program opens, such as "/dev/ttyACM0".
    std::string devnode(int index) const;
    // Unplugs the port: its udev entry and device node go away.
    void removePort(int index);
    // Plugs an unplugged port in again under its old name, on a new pseudo-terminal.
    void replugPort(int index);
    int portCount() const { return static_cast<int>(ports_.size()); }

private:
    struct Port {
        std::string name;
        std::string syspath;
        std::string devnode;
        std::string record;
        bool present;
    };
    void add(const std::string& record);
    UMockdevTestbed* testbed_;
    std::vector<Port> ports_;
};

} // namespace qelemu

#endif
