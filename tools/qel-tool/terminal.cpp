// SPDX-License-Identifier: MIT
#include "terminal.h"

#include <csignal>
#include <cstdio>
#include <poll.h>
#include <unistd.h>

namespace qeltool {

bool isTerminal(int fd) { return isatty(fd) == 1; }

std::string ansi::cursorUp(int lines) {
    return lines > 0 ? "\x1b[" + std::to_string(lines) + "A" : std::string();
}

std::string progressBar(double fraction, int width) {
    if (!(fraction > 0)) fraction = 0;
    if (fraction > 1) fraction = 1;
    int filled = static_cast<int>(fraction * width + 1e-9);
    std::string bar = "[" + std::string(static_cast<size_t>(filled), '#') +
                      std::string(static_cast<size_t>(width - filled), '-') + "]";
    char percent[8];
    std::snprintf(percent, sizeof percent, " %3d%%", static_cast<int>(fraction * 100 + 1e-9));
    return bar + percent;
}

Keys::Keys() {
    if (!isTerminal(STDIN_FILENO) || tcgetattr(STDIN_FILENO, &saved_) != 0) return;
    struct termios raw = saved_;
    raw.c_lflag &= static_cast<tcflag_t>(~(ICANON | ECHO));
    raw.c_cc[VMIN] = 0;
    raw.c_cc[VTIME] = 0;
    active_ = tcsetattr(STDIN_FILENO, TCSANOW, &raw) == 0;
}

Keys::~Keys() {
    if (active_) tcsetattr(STDIN_FILENO, TCSANOW, &saved_);
}

int Keys::poll(int timeoutMs) {
    if (!active_) return -1;
    struct pollfd in = {STDIN_FILENO, POLLIN, 0};
    if (::poll(&in, 1, timeoutMs) <= 0) return -1;
    unsigned char key = 0;
    return read(STDIN_FILENO, &key, 1) == 1 ? key : -1;
}

namespace {

volatile std::sig_atomic_t stopFlag = 0;

void onStop(int) { stopFlag = 1; }

} // namespace

void catchStopSignals() {
    struct sigaction action {};
    action.sa_handler = onStop;
    sigemptyset(&action.sa_mask);
    sigaction(SIGINT, &action, nullptr);
    sigaction(SIGTERM, &action, nullptr);
    sigaction(SIGHUP, &action, nullptr);
}

bool stopRequested() { return stopFlag != 0; }

} // namespace qeltool
