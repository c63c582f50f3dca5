// SPDX-License-Identifier: MIT
#include "bridge.h"

#include <algorithm>
#include <cstdio>
#include <ctime>

#include "QEL_OPEN.h"

namespace bridge {

namespace {

double monotonic() {
    timespec t;
    clock_gettime(CLOCK_MONOTONIC, &t);
    return double(t.tv_sec) + double(t.tv_nsec) * 1e-9;
}

void sleepUntil(double when) {
    timespec t;
    t.tv_sec = static_cast<time_t>(when);
    t.tv_nsec = static_cast<long>((when - double(t.tv_sec)) * 1e9);
    while (clock_nanosleep(CLOCK_MONOTONIC, TIMER_ABSTIME, &t, nullptr) != 0) {
    }
}

} // namespace

Bridge::Bridge(const Options& options, DdsNode& node) : options_(options), node_(node) {
    limits_.maxForce = options.maxForce;
    limits_.maxForceRate = options.maxForceRate;
    limits_.commandTimeout = options.commandTimeout;
}

Bridge::~Bridge() { shutdown(); }

Bridge::Served* Bridge::find(unsigned serial) {
    for (auto& d : devices_)
        if (d->serial == serial) return d.get();
    return nullptr;
}

bool Bridge::startOn(Served& d, DeviceLink& link) {
    std::string error;
    if (!link.start(error)) {
        std::fprintf(stderr, "qel-bridge: device %u: %s\n", d.serial, error.c_str());
        link.close();
        d.error = error;
        return false;
    }
    d.link = link;
    d.error.clear();
    d.guard.reset();
    std::fprintf(stderr, "qel-bridge: device %u (interface device %d) on %s\n", d.serial,
                 link.slot(), d.ns.c_str());
    return true;
}

bool Bridge::openDevices() {
    // With --serial the devices are known before they are found: one missing now is looked
    // for like one that was unplugged.
    for (size_t i = 0; i < options_.serials.size(); ++i)
        devices_.push_back(std::make_unique<Served>(
            options_.serials[i], namespaceFor(options_, i, options_.serials[i]), node_, limits_));
    int count = qelGetDeviceCount();
    for (int slot = 1; slot <= count; ++slot) {
        DeviceLink link;
        std::string error;
        if (!link.open(slot, error)) {
            std::fprintf(stderr, "qel-bridge: interface device %d: %s\n", slot, error.c_str());
            continue;
        }
        Served* d = find(link.serial());
        if (!d && options_.serials.empty()) {
            devices_.push_back(std::make_unique<Served>(
                link.serial(), namespaceFor(options_, devices_.size(), link.serial()), node_,
                limits_));
            d = devices_.back().get();
        }
        if (!d || d->link.isOpen()) {
            link.close();
            continue;
        }
        startOn(*d, link);
    }
    probedCount_ = count;
    for (auto& d : devices_)
        if (!d->link.isOpen())
            std::fprintf(stderr, "qel-bridge: device %u not found; waiting for it\n", d->serial);
    if (devices_.empty()) std::fprintf(stderr, "qel-bridge: no device found\n");
    return !devices_.empty();
}

void Bridge::lose(Served& d, const std::string& error) {
    std::fprintf(stderr, "qel-bridge: device %u stopped answering (%s); closing it\n", d.serial,
                 error.c_str());
    d.error = error;
    d.link.close();
    d.guard.reset();
    probedCount_ = -1; // look again at once
}

// Said once per device: a command came that only --allow-force lets through.
void Bridge::noteIgnored(Served& d) {
    if (d.ignored++ == 0)
        std::fprintf(stderr,
                     "qel-bridge: device %u: force commands ignored (started without "
                     "--allow-force)\n",
                     d.serial);
}

void Bridge::serve(Served& d, double now) {
    std::string error;
    bool on = false;
    if (d.topics.takeOutputRequest(on) && on != d.link.outputOn()) {
        if (on && !options_.allowForce) {
            noteIgnored(d);
        } else {
            d.guard.reset();
            if (!d.link.setOutput(on, options_.gravity, error)) return lose(d, error);
        }
    }
    double force[3] = {0, 0, 0};
    if (options_.allowForce) {
        d.topics.takeForceCommands(d.guard, now);
        if (d.link.outputOn()) {
            d.guard.step(now, force);
            if (!d.link.setForce(force, error)) return lose(d, error);
        }
    } else {
        CommandGuard discard(limits_);
        if (d.topics.takeForceCommands(discard, now)) noteIgnored(d);
    }
    if (!d.link.read(d.state, error)) {
        if (!error.empty()) lose(d, error);
        return;
    }
    // Never faster than the device's own loop: each publication carries a fresh state.
    double rate = options_.rate;
    if (d.state.loopRate > 0) rate = std::min(rate, d.state.loopRate);
    if (d.lastPublish >= 0 && now - d.lastPublish < 0.95 / rate) return;
    d.lastPublish = now;
    d.topics.publish(d.state, force, d.link.hasWrist());
    ++d.published;
}

void Bridge::lookForLostDevices() {
    bool lost = false;
    int highest = 0;
    for (auto& d : devices_) {
        if (d->link.isOpen())
            highest = std::max(highest, d->link.slot());
        else
            lost = true;
    }
    if (!lost) return;
    int count = qelGetDeviceCount();
    if (count != probedCount_) foreignSlots_.clear();
    probedCount_ = count;
    // The library numbers devices by their place in the system's list of ports, and a device
    // that comes back is listed after the others. Only places past every open device can be
    // opened without touching a port that an open device is using.
    for (int slot = highest + 1; slot <= count; ++slot) {
        if (std::find(foreignSlots_.begin(), foreignSlots_.end(), slot) != foreignSlots_.end())
            continue;
        DeviceLink link;
        std::string error;
        if (!link.open(slot, error)) continue; // not answering yet: try again next time
        Served* d = find(link.serial());
        if (!d || d->link.isOpen()) {
            link.close();
            foreignSlots_.push_back(slot);
            continue;
        }
        if (startOn(*d, link)) ++d->reopened;
    }
}

void Bridge::publishDiagnostics(double elapsed) {
    std::vector<DeviceHealth> health;
    for (auto& d : devices_) {
        DeviceHealth h;
        h.ns = d->ns;
        h.serial = d->serial;
        h.present = d->link.isOpen();
        h.error = d->error;
        h.loopRate = h.present ? d->state.loopRate : 0;
        h.publishRate = elapsed > 0 ? double(d->published) / elapsed : 0;
        h.outputOn = d->link.outputOn();
        h.trips = d->guard.trips();
        h.rejected = d->guard.rejected();
        h.clamped = d->guard.clamped();
        h.reopened = d->reopened;
        d->published = 0;
        health.push_back(h);
    }
    node_.publishDiagnostics(health);
}

void Bridge::run(const std::atomic<bool>& stop) {
    // Commands are taken and the force stepped at least a thousand times a second, whatever
    // the publishing rate: the guard's ramps and the watchdog need it.
    const double start = monotonic(), period = 1.0 / std::max(options_.rate, 1000.0);
    double next = start, lastDiagnostics = start, lastSearch = start;
    std::vector<const DeviceTopics*> topics;
    std::vector<const DeviceState*> states;
    while (!stop) {
        double now = monotonic();
        if (options_.seconds > 0 && now - start >= options_.seconds) break;
        topics.clear();
        states.clear();
        for (auto& d : devices_) {
            if (!d->link.isOpen()) continue;
            unsigned long before = d->published;
            serve(*d, now);
            if (d->published != before) {
                topics.push_back(&d->topics);
                states.push_back(&d->state);
            }
        }
        if (!topics.empty()) node_.publishTransforms(topics, states);
        if (now - lastDiagnostics >= 1.0) {
            publishDiagnostics(now - lastDiagnostics);
            lastDiagnostics = now;
        }
        if (now - lastSearch >= 0.25) {
            lookForLostDevices();
            lastSearch = now;
        }
        next += period;
        now = monotonic();
        if (next < now - period) next = now; // a late pass does not make the next ones hurry
        sleepUntil(next);
    }
}

void Bridge::shutdown() {
    for (auto& d : devices_) {
        if (!d->link.isOpen()) continue;
        d->link.close();
        std::fprintf(stderr, "qel-bridge: device %u: drives off, closed\n", d->serial);
    }
}

} // namespace bridge
