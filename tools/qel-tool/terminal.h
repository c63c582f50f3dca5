// SPDX-License-Identifier: MIT
// The terminal: whether a stream is one, the keys a user presses while a live view runs, the
// ANSI sequences that redraw a view in place, and the progress bar.
#ifndef QELTOOL_TERMINAL_H
#define QELTOOL_TERMINAL_H

#include <string>
#include <termios.h>

namespace qeltool {

bool isTerminal(int fd);

namespace ansi {
constexpr const char* kClearLine = "\x1b[2K";
constexpr const char* kHideCursor = "\x1b[?25l";
constexpr const char* kShowCursor = "\x1b[?25h";
constexpr const char* kBold = "\x1b[1m";
constexpr const char* kReset = "\x1b[0m";
std::string cursorUp(int lines);
} // namespace ansi

// "[#########-----------]  45%": width counts the cells between the brackets; the fraction is
// held to [0, 1].
std::string progressBar(double fraction, int width);

// Single key presses from standard input while it is a terminal: it is put in non-canonical
// mode without echo for the life of the object. Reads nothing when standard input is not a
// terminal.
class Keys {
public:
    Keys();
    ~Keys();
    Keys(const Keys&) = delete;
    Keys& operator=(const Keys&) = delete;
    bool active() const { return active_; }
    // The key pressed, or -1 when none arrived within timeoutMs.
    int poll(int timeoutMs);

private:
    bool active_ = false;
    struct termios saved_ {};
};

// Ctrl-C, SIGTERM and SIGHUP end the live views and recordings cleanly (drives off, file
// complete) instead of killing the program.
void catchStopSignals();
bool stopRequested();

} // namespace qeltool

#endif
