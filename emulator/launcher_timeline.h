// SPDX-License-Identifier: MIT
// What happens to the emulated devices while qel-emulator's program runs: device 1's button
// goes down at the time the command line gives. A thread of its own waits for that time;
// destroying the timeline ends it at once.
#ifndef QELEMU_LAUNCHER_TIMELINE_H
#define QELEMU_LAUNCHER_TIMELINE_H

#include <condition_variable>
#include <mutex>
#include <thread>

#include "emulator.h"
#include "launcher_options.h"

namespace qelemu {

class LauncherTimeline {
public:
    LauncherTimeline(Emulator& emulator, const LauncherOptions& options);
    ~LauncherTimeline();
    LauncherTimeline(const LauncherTimeline&) = delete;
    LauncherTimeline& operator=(const LauncherTimeline&) = delete;

private:
    void pressButtonAfter(double seconds);

    Emulator& emulator_;
    std::mutex mutex_;
    std::condition_variable wake_;
    bool finished_ = false;
    std::thread thread_;
};

} // namespace qelemu

#endif
