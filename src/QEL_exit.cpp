// SPDX-License-Identifier: MIT
// Leaving the process: a program that returns from main or calls exit with a device still
// open would leave its drives on and its last motor command pushing. The library therefore
// keeps the set of open device objects and, when the process exits normally, stops each one's
// refresh thread and switches its drives off. It takes over no signal: what a signal does is
// the application's to decide, and a killed process leaves the device as it last was.
#include <algorithm>
#include <atomic>
#include <mutex>
#include <unistd.h>
#include <vector>

#include "QEL.h"

namespace {

// Never destroyed, so that objects closed or destroyed by the application's own exit
// handlers can still take themselves out of it, whatever the order of those handlers.
struct OpenDevices {
    std::mutex lock;
    std::vector<QEL*> devices;
    // The process that opened them. A child forked from it holds copies of the objects but
    // not their threads, and its exit must not switch off the drives its parent is using.
    std::atomic<pid_t> owner{0};
};
OpenDevices& openDevices() {
    static OpenDevices* set = new OpenDevices();
    return *set;
}

// Constructed when the library is loaded, before the application's own statics, so its
// destructor runs after theirs at exit: an application that closes its devices itself in a
// destructor or an exit handler has done so by then.
struct StopAtExit {
    StopAtExit() { openDevices(); }
    ~StopAtExit() { QEL::StopOpenDevicesAtExit(); }
} stopAtExit;

} // namespace

void QEL::TrackOpen(bool open) {
    OpenDevices& set = openDevices();
    std::lock_guard<std::mutex> guard(set.lock);
    auto it = std::find(set.devices.begin(), set.devices.end(), this);
    if (open && it == set.devices.end()) set.devices.push_back(this);
    if (open) set.owner = getpid();
    if (!open && it != set.devices.end()) set.devices.erase(it);
}

void QEL::StopOpenDevicesAtExit() {
    OpenDevices& set = openDevices();
    // Checked before the lock, which a thread of the parent may have held when it forked.
    if (set.owner != getpid()) return;
    std::lock_guard<std::mutex> guard(set.lock);
    for (QEL* device : set.devices) {
        // The thread leaves after its current exchange; the drives-off frame then has the line
        // to itself. A device that never got as far as initialisation has no drives on.
        device->fThreadFinish = true;
        device->ReapRefreshThreads();
        if (device->m_fOpen && device->m_fInit) device->SwitchDrivesOff();
    }
}
