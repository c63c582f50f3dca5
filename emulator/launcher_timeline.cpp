// SPDX-License-Identifier: MIT
#include "launcher_timeline.h"

#include <chrono>

namespace qelemu {

LauncherTimeline::LauncherTimeline(Emulator& emulator, const LauncherOptions& options)
    : emulator_(emulator) {
    double seconds = options.buttonSeconds;
    if (seconds >= 0) thread_ = std::thread([this, seconds] { pressButtonAfter(seconds); });
}

LauncherTimeline::~LauncherTimeline() {
    {
        std::lock_guard<std::mutex> lock(mutex_);
        finished_ = true;
    }
    wake_.notify_all();
    if (thread_.joinable()) thread_.join();
}

void LauncherTimeline::pressButtonAfter(double seconds) {
    std::unique_lock<std::mutex> lock(mutex_);
    auto due =
        std::chrono::steady_clock::now() + std::chrono::duration_cast<std::chrono::nanoseconds>(
                                               std::chrono::duration<double>(seconds));
    if (wake_.wait_until(lock, due, [this] { return finished_; })) return;
    if (emulator_.deviceCount() > 0) emulator_.device(0).setButtons(1);
}

} // namespace qelemu
