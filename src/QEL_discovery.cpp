// SPDX-License-Identifier: MIT
#include "QEL_discovery.h"

#include <cstring>
#include <libudev.h>

namespace qeldiscovery {

const char kVendorId[] = "0483";
const char kProductId[] = "5740";
const char kModel[] = "WPXComPort";

namespace {

bool is(const char* value, const char* expected) {
    return value && std::strcmp(value, expected) == 0;
}

} // namespace

std::vector<Port> findPorts(size_t limit) {
    std::vector<Port> ports;
    struct udev* udev = udev_new();
    if (!udev) return ports;
    struct udev_enumerate* enumerate = udev_enumerate_new(udev);
    udev_enumerate_add_match_subsystem(enumerate, "tty");
    udev_enumerate_add_match_property(enumerate, "ID_VENDOR_ID", kVendorId);
    udev_enumerate_add_match_property(enumerate, "ID_MODEL_ID", kProductId);
    udev_enumerate_scan_devices(enumerate);

    // libudev ORs several property matches of one enumeration, so each entry is checked for
    // both identifiers and the model again.
    struct udev_list_entry* entry;
    udev_list_entry_foreach(entry, udev_enumerate_get_list_entry(enumerate)) {
        if (ports.size() >= limit) break;
        struct udev_device* dev =
            udev_device_new_from_syspath(udev, udev_list_entry_get_name(entry));
        if (!dev) continue;
        const char* node = udev_device_get_devnode(dev);
        if (node && is(udev_device_get_property_value(dev, "ID_VENDOR_ID"), kVendorId) &&
            is(udev_device_get_property_value(dev, "ID_MODEL_ID"), kProductId) &&
            is(udev_device_get_property_value(dev, "ID_MODEL"), kModel))
            ports.push_back({node, udev_device_get_syspath(dev)});
        udev_device_unref(dev);
    }
    udev_enumerate_unref(enumerate);
    udev_unref(udev);
    return ports;
}

} // namespace qeldiscovery
