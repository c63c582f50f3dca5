// SPDX-License-Identifier: MIT
#include "serve_routes.h"

#include <atomic>
#include <cerrno>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <memory>
#include <mutex>
#include <random>

#include "clock.h"
#include "serve_json.h"
#include "serve_session.h"

namespace qeltool {

namespace {

constexpr int kMaxStreams = 4;            // pages streaming at once (each holds a server thread)
constexpr double kControlsPerSecond = 10; // sustained switch and calibration requests
constexpr double kForcesPerSecond = 20;   // sustained test forces (a page renews 5 a second)

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

} // namespace

struct Page {
    Page(Session& session, std::string token, std::string info)
        : session(session), token(std::move(token)), info(std::move(info)) {}

    Session& session;
    std::string token;
    std::string info;
    RateLimit switches{kControlsPerSecond, kControlsPerSecond};
    RateLimit forces{kForcesPerSecond, kForcesPerSecond};
    std::atomic<int> streams{0};

    bool allowed(const httplib::Request& req, httplib::Response& res, RateLimit& limit) {
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
            if (!allowed(req, res, switches)) return;
            if (!parseSwitch(req, on)) return reply(res, 400, "on must be 0 or 1");
            std::string error = session.setOutput(on);
            reply(res, error.empty() ? 200 : 409, error);
        });
        server.Post("/api/gravity", [this](const httplib::Request& req, httplib::Response& res) {
            bool on = false;
            if (!allowed(req, res, switches)) return;
            if (!parseSwitch(req, on)) return reply(res, 400, "on must be 0 or 1");
            std::string error = session.setGravity(on);
            reply(res, error.empty() ? 200 : 409, error);
        });
        server.Post("/api/force", [this](const httplib::Request& req, httplib::Response& res) {
            if (!allowed(req, res, forces)) return;
            Vector force{};
            if (!parseNewtons(req, "x", force[0]) || !parseNewtons(req, "y", force[1]) ||
                !parseNewtons(req, "z", force[2]))
                return reply(res, 400, "x, y and z must be numbers of newtons");
            std::string error = session.setTestForce(force);
            reply(res, error.empty() ? 200 : 409, error);
        });
        server.Post("/api/calibrate", [this](const httplib::Request& req, httplib::Response& res) {
            if (!allowed(req, res, switches)) return;
            std::string error = session.loadCalibration();
            reply(res, error.empty() ? 200 : 409, error);
        });
    }
};

std::string randomToken() {
    std::random_device source;
    char token[33];
    for (int i = 0; i < 32; i += 8)
        std::snprintf(token + i, 9, "%08x", static_cast<unsigned>(source()));
    return std::string(token, 32);
}

std::shared_ptr<Page> addRoutes(httplib::Server& server, Session& session, const std::string& token,
                                const std::string& info) {
    auto page = std::make_shared<Page>(session, token, info);
    page->routes(server);
    return page;
}

} // namespace qeltool
