#include "ports.h"

#include <cstring>
#include <libudev.h>

namespace qeltool {

namespace {

bool is(const char* value, const char* expected) {
    return value && std::strcmp(value, expected) == 0;
}

} // namespace

// The same match as the library's search, in the same enumeration order, so that the n-th
// port found here is the library's device n.
std::vector<Port> findPorts() {
    std::vector<Port> ports;
    struct udev* udev = udev_new();
    if (!udev) return ports;
    struct udev_enumerate* enumerate = udev_enumerate_new(udev);
    udev_enumerate_add_match_subsystem(enumerate, "tty");
    udev_enumerate_add_match_property(enumerate, "ID_VENDOR_ID", "0483");
    udev_enumerate_add_match_property(enumerate, "ID_MODEL_ID", "5740");
    udev_enumerate_scan_devices(enumerate);
    struct udev_list_entry* entry;
    udev_list_entry_foreach(entry, udev_enumerate_get_list_entry(enumerate)) {
        if (ports.size() >= 10) break;
        struct udev_device* dev =
            udev_device_new_from_syspath(udev, udev_list_entry_get_name(entry));
        if (!dev) continue;
        const char* node = udev_device_get_devnode(dev);
        if (node && is(udev_device_get_property_value(dev, "ID_VENDOR_ID"), "0483") &&
            is(udev_device_get_property_value(dev, "ID_MODEL_ID"), "5740") &&
            is(udev_device_get_property_value(dev, "ID_MODEL"), "WPXComPort"))
            ports.push_back({node, udev_device_get_syspath(dev)});
        udev_device_unref(dev);
    }
    udev_enumerate_unref(enumerate);
    udev_unref(udev);
    return ports;
}

} // namespace qeltool
