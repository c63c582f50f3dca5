// SPDX-License-Identifier: MIT
// The HTTP interface of a served device: its facts, the access check, its state once and as a
// stream of Server-Sent Events, and the controls, which need the token.
#ifndef QELTOOL_SERVE_ROUTES_H
#define QELTOOL_SERVE_ROUTES_H

#include <climits> // before httplib.h: the OpenSSL headers it includes use INT_MAX
#include <httplib.h>
#include <memory>
#include <string>

namespace qeltool {

class Session;
struct Page; // the routes' own state: the rate limit, the open streams

constexpr size_t kMaxControlBody = 256; // bytes of a control request

// 32 hexadecimal digits from the system's random source.
std::string randomToken();

// `info` is the device's facts as JSON (serve_info.h). The routes refer to the returned state:
// keep it until the server has stopped.
std::shared_ptr<Page> addRoutes(httplib::Server& server, Session& session, const std::string& token,
                                const std::string& info);

} // namespace qeltool

#endif
