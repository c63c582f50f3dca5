// SPDX-License-Identifier: MIT
// qel-tool serve: gathers the device's facts, opens it for the session, serves the page's files
// and routes until a stop signal, then switches the drives off before letting the pages go.
#include <atomic>
#include <cstdio>
#include <cstdlib>
#include <set>
#include <sys/socket.h>
#include <thread>
#include <unistd.h>

#include "clock.h"
#include "failure.h"
#include "info_facts.h"
#include "serve.h"
#include "serve_info.h"
#include "serve_routes.h"
#include "serve_session.h"
#include "terminal.h"

#ifndef QELTOOL_WEB_RELATIVE
#define QELTOOL_WEB_RELATIVE "../share/qel/web"
#endif
#ifndef QELTOOL_THREE_DIR
#define QELTOOL_THREE_DIR "/usr/share/javascript/three"
#endif

namespace qeltool {

namespace {

constexpr double kStateRate = 60; // states per second to each page

bool fileExists(const std::string& path) { return access(path.c_str(), R_OK) == 0; }

// The page's folder as installed beside the program, else in the source tree the program was
// built from.
std::string findWebFolder() {
    char self[4096];
    ssize_t n = readlink("/proc/self/exe", self, sizeof self - 1);
    if (n > 0) {
        std::string exe(self, static_cast<size_t>(n));
        std::string installed = exe.substr(0, exe.rfind('/') + 1) + QELTOOL_WEB_RELATIVE;
        if (fileExists(installed + "/index.html")) return installed;
    }
#ifdef QELTOOL_SOURCE_WEB_DIR
    if (fileExists(std::string(QELTOOL_SOURCE_WEB_DIR) + "/index.html"))
        return QELTOOL_SOURCE_WEB_DIR;
#endif
    throw Failure(kFailed,
                  "cannot find the page's files (" QELTOOL_WEB_RELATIVE " beside the program)");
}

// The device did not take or answer an exchange (send, receive, checksum or content failed).
bool isLineFailure(const Failure& e) { return e.status >= 38 && e.status <= 41; }

// A device that missed an exchange, as on a busy machine, is asked again before the tool gives
// up, as the session does while serving.
template <class Step>
auto retried(Step step) -> decltype(step()) {
    for (int attempt = 1;; ++attempt) {
        try {
            return step();
        } catch (const Failure& e) {
            if (attempt == 3 || !isLineFailure(e)) throw;
            std::fprintf(stderr, "qel-tool serve: %s; trying again\n", e.what());
        }
    }
}

bool isLoopback(const std::string& address) {
    return address.rfind("127.", 0) == 0 || address == "::1" || address == "localhost";
}

} // namespace

int serve(const ServeOptions& options) {
    std::string web = findWebFolder();
    if (!fileExists(QELTOOL_THREE_DIR "/build/three.min.js"))
        throw Failure(kFailed,
                      "cannot find three.js in " QELTOOL_THREE_DIR " (Debian package libjs-three)");

    // What qel-tool info shows.
    Facts facts;
    int id = 0;
    std::string name;
    facts = retried([&] {
        Device device(options.selection);
        Facts f = gather(device);
        id = device.id();
        name = device.name();
        return f;
    });
    Selection byId;
    byId.id = id;
    Device device(byId);
    bool fresh = true; // initialising twice would start a second refresh thread
    retried([&] {
        if (fresh) {
            fresh = false;
            device.init();
        } else {
            device.reopen();
        }
        return 0;
    });
    Session session(device);
    std::string calibration = session.loadCalibration();
    if (calibration.empty()) device.awaitPosition();
    session.start(kStateRate);

    std::string token = randomToken();
    std::string info = infoJson(name, facts);
    httplib::Server server;
    server.set_payload_max_length(kMaxControlBody);
    // The library's default shares the port (SO_REUSEPORT): a second server on it would take
    // half the requests. Only a quick restart is allowed, a port in use is refused.
    server.set_socket_options([](int socket) {
        int yes = 1;
        setsockopt(socket, SOL_SOCKET, SO_REUSEADDR, &yes, sizeof yes);
    });
    server.set_keep_alive_timeout(1);
    server.set_default_headers(
        {{"Content-Security-Policy", "default-src 'self'; img-src 'self' data:"},
         {"X-Content-Type-Options", "nosniff"},
         {"Cache-Control", "no-store"}});
    server.set_mount_point("/three", QELTOOL_THREE_DIR);
    server.set_mount_point("/", web);
    std::shared_ptr<Page> page = addRoutes(server, session, token, info);

    int port = options.port;
    if (port == 0)
        port = server.bind_to_any_port(options.bind);
    else if (!server.bind_to_port(options.bind, port))
        port = -1;
    if (port <= 0)
        throw Failure(kFailed,
                      "cannot listen on " + options.bind + " port " + std::to_string(options.port) +
                          ": the port is in use or the address is not this machine's (--port 0 "
                          "takes any free port)");

    if (isLoopback(options.bind)) {
        // A page of another site whose name is made to resolve to this machine (DNS rebinding)
        // would send that name as its Host: on a loopback address only loopback names are
        // served.
        std::string p = ":" + std::to_string(port);
        std::set<std::string> hosts = {"127.0.0.1" + p, "localhost" + p, "[::1]" + p,
                                       options.bind + p};
        server.set_pre_routing_handler(
            [hosts](const httplib::Request& req, httplib::Response& res) {
                if (hosts.count(req.get_header_value("Host")))
                    return httplib::Server::HandlerResponse::Unhandled;
                res.status = 403;
                res.set_content("served to this machine's own addresses only\n", "text/plain");
                return httplib::Server::HandlerResponse::Handled;
            });
    }

    std::string host =
        options.bind.find(':') != std::string::npos ? "[" + options.bind + "]" : options.bind;
    std::string address = "http://" + host + ":" + std::to_string(port) + "/";
    std::printf("qel-tool serve: %s (serial %u)\n"
                "  controls:  %s?token=%s\n"
                "  read-only: %s\n"
                "Ctrl-C ends it and switches the drives off.\n",
                name.c_str(), facts.serial, address.c_str(), token.c_str(), address.c_str());
    if (!isLoopback(options.bind))
        std::printf("warning: listening on %s: other machines can see the page (controls "
                    "still need the token)\n",
                    options.bind.c_str());
    std::fflush(stdout);

    catchStopSignals();
    std::atomic<bool> listening{true};
    std::thread listener([&server, &listening] {
        server.listen_after_bind();
        listening = false;
    });
    while (!stopRequested() && listening) sleepUntil(now() + 0.05);
    // Drives off first, then the pages are let go.
    session.shutDown();
    server.stop();
    listener.join();
    if (!stopRequested()) throw Failure(kFailed, "the server stopped listening");
    std::printf("qel-tool serve: stopped, the drives are off\n");
    return kOk;
}

} // namespace qeltool
