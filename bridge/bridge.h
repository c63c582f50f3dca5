// SPDX-License-Identifier: MIT
// The bridge's loop: every served device's commands taken, its force rendered through the
// guard, its state read and published; lost devices closed and looked for again; the
// diagnostics once a second. One thread calls the library and DDS.
#ifndef QEL_BRIDGE_BRIDGE_H
#define QEL_BRIDGE_BRIDGE_H

#include <atomic>
#include <memory>
#include <string>
#include <vector>

#include "command_guard.h"
#include "dds_node.h"
#include "device_link.h"
#include "options.h"

namespace bridge {

class Bridge {
public:
    Bridge(const Options& options, DdsNode& node);
    ~Bridge(); // shutdown()
    // Opens the devices to serve. False when there is nothing to serve.
    bool openDevices();
    // Runs until `stop` is set or the time is up.
    void run(const std::atomic<bool>& stop);
    // Zero force and drives off on every device, then closes them.
    void shutdown();

private:
    struct Served {
        Served(unsigned serial, std::string ns, DdsNode& node, const GuardLimits& limits)
            : serial(serial), ns(std::move(ns)), topics(node.participant(), this->ns),
              guard(limits) {}
        unsigned serial;
        std::string ns;
        DeviceLink link;
        DeviceTopics topics;
        CommandGuard guard;
        DeviceState state = {};
        std::string error;
        unsigned long reopened = 0, published = 0, ignored = 0;
        double lastPublish = -1;
    };
    Served* find(unsigned serial);
    bool startOn(Served& served, DeviceLink& link);
    void serve(Served& d, double now);
    static void noteIgnored(Served& d);
    void lose(Served& d, const std::string& error);
    void lookForLostDevices();
    void publishDiagnostics(double elapsed);

    Options options_;
    DdsNode& node_;
    GuardLimits limits_;
    std::vector<std::unique_ptr<Served>> devices_;
    int probedCount_ = -1;
    std::vector<int> foreignSlots_; // slots holding a device not served, at probedCount_
};

} // namespace bridge

#endif
