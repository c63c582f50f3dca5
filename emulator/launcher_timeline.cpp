#include "launcher_timeline.h"

#include <chrono>
#include <utility>
#include <vector>

namespace qelemu {

LauncherTimeline::LauncherTimeline(Emulator& emulator, const LauncherOptions& options)
    : emulator_(emulator) {
    if (options.handSeconds >= 0 || options.buttonSeconds >= 0)
        thread_ = std::thread([this, options] { run(options.handSeconds, options.buttonSeconds); });
}

LauncherTimeline::~LauncherTimeline() {
    {
        std::lock_guard<std::mutex> lock(mutex_);
        finished_ = true;
    }
    wake_.notify_all();
    if (thread_.joinable()) thread_.join();
}

void LauncherTimeline::run(double handSeconds, double buttonSeconds) {
    using Clock = std::chrono::steady_clock;
    auto at = [start = Clock::now()](double seconds) {
        return start +
               std::chrono::duration_cast<Clock::duration>(std::chrono::duration<double>(seconds));
    };
    // The events in the order they fall due.
    std::vector<std::pair<double, bool>> events; // (time, is the button)
    if (handSeconds >= 0) events.push_back({handSeconds, false});
    if (buttonSeconds >= 0) events.push_back({buttonSeconds, true});
    if (events.size() == 2 && events[1].first < events[0].first) std::swap(events[0], events[1]);

    std::unique_lock<std::mutex> lock(mutex_);
    for (const auto& event : events) {
        if (wake_.wait_until(lock, at(event.first), [this] { return finished_; })) return;
        if (event.second) {
            if (emulator_.deviceCount() > 0) emulator_.device(0).setButtons(1);
        } else {
            for (int k = 0; k < emulator_.deviceCount(); ++k)
                emulator_.device(k).setHand(HandScript());
        }
    }
}

} // namespace qelemu
