// SPDX-License-Identifier: MIT
#include "testbed.h"

#include <cstdio>
#include <stdexcept>
#include <umockdev.h>

namespace qelemu {

Testbed::Testbed(bool warnIfNotPreloaded) : testbed_(umockdev_testbed_new()) {
    if (warnIfNotPreloaded && !umockdev_in_mock_environment())
        std::fprintf(stderr, "qelemu: not running under the umockdev preload; programs will "
                             "not see the emulated ports (run under umockdev-wrapper)\n");
}

Testbed::~Testbed() { g_object_unref(testbed_); }

int Testbed::addPort(const PortIdentity& id) {
    int index = static_cast<int>(ports_.size());
    // A two-digit suffix in the sysfs path keeps udev's path order equal to the order of
    // addition; the node keeps the kernel's usual name.
    char name[32], usb[32];
    std::snprintf(name, sizeof name, "ttyACM%d", index);
    std::snprintf(usb, sizeof usb, "1-%02d", index);
    std::string syspath = std::string("/devices/pci0000:00/usb1/") + usb + "/" + usb + ":1.0/" +
                          id.subsystem + "/" + name;
    std::string devnode = std::string("/dev/") + name;

    // The umockdev record format is the one way to have a pseudo-terminal made for the node.
    std::string record = "P: " + syspath + "\nN: " + name + "\nE: SUBSYSTEM=" + id.subsystem +
                         "\nE: DEVNAME=" + devnode + "\nE: ID_VENDOR_ID=" + id.vendorId +
                         "\nE: ID_MODEL_ID=" + id.modelId + "\n";
    if (!id.model.empty()) record += "E: ID_MODEL=" + id.model + "\n";
    char majmin[32];
    std::snprintf(majmin, sizeof majmin, "166:%d", index);
    record += std::string("A: dev=") + majmin + "\n";

    add(record);
    ports_.push_back({name, "/sys" + syspath, devnode, record, true});
    return index;
}

void Testbed::add(const std::string& record) {
    GError* error = nullptr;
    if (!umockdev_testbed_add_from_string(testbed_, record.c_str(), &error)) {
        std::string message = error ? error->message : "unknown error";
        if (error) g_error_free(error);
        throw std::runtime_error("qelemu: cannot add port: " + message);
    }
}

int Testbed::masterFd(int index) const {
    const Port& port = ports_.at(static_cast<size_t>(index));
    if (!port.present) return -1;
    return umockdev_testbed_get_dev_fd(testbed_, port.devnode.c_str());
}

std::string Testbed::devnode(int index) const {
    return ports_.at(static_cast<size_t>(index)).devnode;
}

void Testbed::removePort(int index) {
    Port& port = ports_.at(static_cast<size_t>(index));
    if (!port.present) return;
    umockdev_testbed_remove_device(testbed_, port.syspath.c_str());
    port.present = false;
}

void Testbed::replugPort(int index) {
    Port& port = ports_.at(static_cast<size_t>(index));
    if (port.present) return;
    add(port.record);
    port.present = true;
}

} // namespace qelemu
