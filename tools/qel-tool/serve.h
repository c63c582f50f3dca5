// SPDX-License-Identifier: MIT
// qel-tool serve: a live diagnostic page of one device, served over HTTP to a browser.
#ifndef QELTOOL_SERVE_H
#define QELTOOL_SERVE_H

#include <string>

#include "device.h"

namespace qeltool {

struct ServeOptions {
    int port = 8480; // 0: any free port (the printed address tells which)
    std::string bind = "127.0.0.1";
    Selection selection;
};

// Serves until SIGINT, SIGTERM or SIGHUP; the drives are off when it returns or throws.
int serve(const ServeOptions& options);

} // namespace qeltool

#endif
