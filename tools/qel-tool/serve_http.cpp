// The HTTP side of qel-tool serve: the page and its assets, the state stream (Server-Sent
// Events), the device's facts and the token-guarded controls.
#include <atomic>
#include <cerrno>
#include <climits>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <httplib.h>
#include <random>
#include <thread>
#include <unistd.h>

#include "clock.h"
#include "failure.h"
#include "info_facts.h"
#include "serve.h"
#include "serve_info.h"
#include "serve_json.h"
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

constexpr double kStateRate = 60;         // states per second to each page
constexpr int kMaxStreams = 4;            // pages streaming at once (each holds a server thread)
constexpr double kControlsPerSecond = 20; // sustained control requests, beyond the lease renewals
constexpr size_t kMaxBody = 256;          // bytes of a control request

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

std::string randomToken() {
    std::random_device source;
    char token[33];
    for (int i = 0; i < 32; i += 8)
        std::snprintf(token + i, 9, "%08x", static_cast<unsigned>(source()));
    return std::string(token, 32);
}

// Compares in time independent of where the texts differ.
bool sameToken(const std::string& given, const std::string& token) {
    if (given.size() != token.size()) return false;
    unsigned char diff = 0;
    for (size_t i = 0; i < token.size(); ++i)
        diff |= static_cast<unsigned char>(given[i] ^ token[i]);
    return diff == 0;
}

// A token bucket: bursts of `burst`, `rate` per second sustained.
class RateLimit {
public:
    RateLimit(double rate, double burst) : rate_(rate), burst_(burst), tokens_(burst) {}
    bool allow() {
        std::lock_guard<std::mutex> lock(lock_);
        double t = now();
        tokens_ = std::min(burst_, tokens_ + (t - last_) * rate_);
        last_ = t;
        if (tokens_ < 1) return false;
        tokens_ -= 1;
        return true;
    }

private:
    std::mutex lock_;
    double rate_, burst_, tokens_, last_ = now();
};

bool parseSwitch(const httplib::Request& req, bool& on) {
    std::string v = req.get_param_value("on");
    if (v != "0" && v != "1") return false;
    on = v == "1";
    return true;
}

bool parseNewtons(const httplib::Request& req, const char* name, double& value) {
    if (!req.has_param(name)) return false;
    std::string text = req.get_param_value(name);
    char* end = nullptr;
    errno = 0;
    value = std::strtod(text.c_str(), &end);
    return !text.empty() && *end == '\0' && errno == 0 && std::isfinite(value) &&
           std::fabs(value) <= 1000;
}

void reply(httplib::Response& res, int status, const std::string& message) {
    res.status = status;
    res.set_content(message.empty() ? "{\"ok\":true}"
                                    : "{\"ok\":false,\"error\":" + json::text(message) + "}",
                    "application/json");
}

struct Page {
    Session& session;
    std::string token;
    std::string info;
    RateLimit limit{kControlsPerSecond, kControlsPerSecond};
    std::atomic<int> streams{0};

    bool allowed(const httplib::Request& req, httplib::Response& res) {
        if (!sameToken(req.get_header_value("X-QEL-Token"), token)) {
            reply(res, 403, "controls need the token printed when the tool started");
            return false;
        }
        if (req.get_header_value("Content-Type") != "application/x-www-form-urlencoded") {
            reply(res, 415, "controls take form-encoded fields");
            return false;
        }
        if (!limit.allow()) {
            reply(res, 429, "too many control requests");
            return false;
        }
        return true;
    }

    void routes(httplib::Server& server) {
        server.Get("/api/info", [this](const httplib::Request&, httplib::Response& res) {
            res.set_content(info, "application/json");
        });
        server.Get("/api/access", [this](const httplib::Request& req, httplib::Response& res) {
            bool control = sameToken(req.get_header_value("X-QEL-Token"), token);
            res.set_content(std::string("{\"control\":") + json::boolean(control) + "}",
                            "application/json");
        });
        server.Get("/api/state", [this](const httplib::Request&, httplib::Response& res) {
            std::string state;
            session.awaitState(0, 1.0, state);
            res.set_content(state, "application/json");
        });
        server.Get("/api/events", [this](const httplib::Request&, httplib::Response& res) {
            if (++streams > kMaxStreams) {
                --streams;
                reply(res, 503, "too many pages open");
                return;
            }
            res.set_header("Cache-Control", "no-store");
            uint64_t last = 0;
            res.set_chunked_content_provider(
                "text/event-stream",
                [this, last](size_t, httplib::DataSink& sink) mutable {
                    std::string state;
                    uint64_t seq = session.awaitState(last, 1.0, state);
                    if (session.closing()) {
                        sink.done(); // a clean end, not a broken stream
                        return true;
                    }
                    std::string event = seq == last ? ": idle\n\n" : "data: " + state + "\n\n";
                    last = seq;
                    return sink.write(event.data(), event.size());
                },
                [this](bool) { --streams; });
        });
        server.Post("/api/output", [this](const httplib::Request& req, httplib::Response& res) {
            bool on = false;
            if (!allowed(req, res)) return;
            if (!parseSwitch(req, on)) return reply(res, 400, "on must be 0 or 1");
            std::string error = session.setOutput(on);
            reply(res, error.empty() ? 200 : 409, error);
        });
        server.Post("/api/gravity", [this](const httplib::Request& req, httplib::Response& res) {
            bool on = false;
            if (!allowed(req, res)) return;
            if (!parseSwitch(req, on)) return reply(res, 400, "on must be 0 or 1");
            std::string error = session.setGravity(on);
            reply(res, error.empty() ? 200 : 409, error);
        });
        // Not rate-limited: the page renews a test force several times a second.
        server.Post("/api/force", [this](const httplib::Request& req, httplib::Response& res) {
            if (!sameToken(req.get_header_value("X-QEL-Token"), token))
                return reply(res, 403, "controls need the token printed when the tool started");
            Vector force{};
            if (!parseNewtons(req, "x", force[0]) || !parseNewtons(req, "y", force[1]) ||
                !parseNewtons(req, "z", force[2]))
                return reply(res, 400, "x, y and z must be numbers of newtons");
            std::string error = session.setTestForce(force);
            reply(res, error.empty() ? 200 : 409, error);
        });
        server.Post("/api/calibrate", [this](const httplib::Request& req, httplib::Response& res) {
            if (!allowed(req, res)) return;
            std::string error = session.loadCalibration();
            reply(res, error.empty() ? 200 : 409, error);
        });
    }
};

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

    // What qel-tool info shows, then the geometry, which needs the port to itself.
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
    Model model;
    std::string modelError;
    bool haveModel = readModel(id, model, modelError);

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

    Page page{session, randomToken(),
              infoJson(name, facts, haveModel ? &model : nullptr, modelError)};
    httplib::Server server;
    server.set_payload_max_length(kMaxBody);
    server.set_keep_alive_timeout(1);
    server.set_default_headers(
        {{"Content-Security-Policy", "default-src 'self'; img-src 'self' data:"},
         {"X-Content-Type-Options", "nosniff"},
         {"Cache-Control", "no-store"}});
    server.set_mount_point("/three", QELTOOL_THREE_DIR);
    server.set_mount_point("/", web);
    page.routes(server);

    int port = options.port;
    if (port == 0)
        port = server.bind_to_any_port(options.bind);
    else if (!server.bind_to_port(options.bind, port))
        port = -1;
    if (port <= 0)
        throw Failure(kFailed,
                      "cannot listen on " + options.bind + " port " + std::to_string(options.port));

    std::string host =
        options.bind.find(':') != std::string::npos ? "[" + options.bind + "]" : options.bind;
    std::string address = "http://" + host + ":" + std::to_string(port) + "/";
    std::printf("qel-tool serve: %s (serial %u)\n"
                "  controls:  %s?token=%s\n"
                "  read-only: %s\n"
                "Ctrl-C ends it and switches the drives off.\n",
                name.c_str(), facts.serial, address.c_str(), page.token.c_str(), address.c_str());
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
