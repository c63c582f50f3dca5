// SPDX-License-Identifier: MIT
#include "doctor.h"

#include <dirent.h>
#include <dlfcn.h>
#include <grp.h>
#include <libudev.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <unistd.h>

#include <chrono>
#include <climits>
#include <cstdlib>
#include <cstring>
#include <fstream>
#include <string>
#include <thread>

#include "QEL_OPEN.h"
#include "failure.h"
#include "QEL_discovery.h"

namespace qeltool {

namespace {

enum class Verdict { kOk, kWarning, kFix };

class Report {
public:
    explicit Report(std::FILE* out) : out_(out) {}
    void line(const char* check, Verdict verdict, const std::string& text) {
        static const char* const words[] = {"ok", "warning", "fix"};
        std::fprintf(out_, "%-14s %s: %s\n", check, words[static_cast<int>(verdict)], text.c_str());
        if (verdict == Verdict::kFix) missing_ = true;
    }
    bool missing() const { return missing_; }

private:
    std::FILE* out_;
    bool missing_ = false;
};

const char kRule[] = "70-qel.rules";
const char kReload[] = "sudo udevadm control --reload && sudo udevadm trigger";

// The library this process has loaded, and its version from the file's name.
void checkLibrary(Report& report) {
    Dl_info info{};
    if (!dladdr(reinterpret_cast<void*>(&qelOpen), &info) || !info.dli_fname) {
        report.line("library", Verdict::kFix, "cannot tell which libqel is loaded");
        return;
    }
    char real[PATH_MAX];
    std::string file = realpath(info.dli_fname, real) ? real : info.dli_fname;
    std::string::size_type so = file.rfind(".so.");
    std::string version = so == std::string::npos ? "unknown" : file.substr(so + 4);
    report.line("library", Verdict::kOk, file + ", version " + version);
}

// The directories udev reads rules from, most local first.
std::string installedRule() {
    for (const char* dir : {"/etc/udev/rules.d", "/run/udev/rules.d", "/usr/local/lib/udev/rules.d",
                            "/usr/lib/udev/rules.d", "/lib/udev/rules.d"}) {
        std::string path = std::string(dir) + "/" + kRule;
        if (access(path.c_str(), R_OK) == 0) return path;
    }
    return "";
}

bool modemManagerRunning() {
    DIR* proc = opendir("/proc");
    if (!proc) return false;
    bool running = false;
    while (dirent* entry = readdir(proc)) {
        std::ifstream comm(std::string("/proc/") + entry->d_name + "/comm");
        std::string name;
        if (comm && std::getline(comm, name) && name == "ModemManager") running = true;
    }
    closedir(proc);
    return running;
}

bool modemManagerIgnores(const qeldiscovery::Port& port) {
    struct udev* udev = udev_new();
    if (!udev) return false;
    struct udev_device* dev = udev_device_new_from_syspath(udev, port.syspath.c_str());
    const char* value = dev ? udev_device_get_property_value(dev, "ID_MM_DEVICE_IGNORE") : nullptr;
    bool ignores = value && std::strcmp(value, "1") == 0;
    if (dev) udev_device_unref(dev);
    udev_unref(udev);
    return ignores;
}

std::string groupOf(const std::string& node) {
    struct stat st {};
    if (stat(node.c_str(), &st) != 0) return "";
    const group* g = getgrgid(st.st_gid);
    return g ? g->gr_name : std::to_string(st.st_gid);
}

// Returns whether this user may open every port.
bool checkPorts(Report& report, const std::vector<qeldiscovery::Port>& ports, const std::string& rule) {
    if (ports.empty()) {
        report.line("ports", Verdict::kFix,
                    "udev lists no device port: connect the device's USB cable (and power it), "
                    "then see 'dmesg' for a new ttyACM port");
        return false;
    }
    std::string nodes;
    for (const qeldiscovery::Port& p : ports) nodes += (nodes.empty() ? "" : ", ") + p.node;
    report.line("ports", Verdict::kOk, nodes);

    const std::string install = "install the rule (sudo cp 70-qel.rules /etc/udev/rules.d/), "
                                "then " +
                                std::string(kReload) + " and plug the device again";
    bool mayOpen = true;
    for (const qeldiscovery::Port& p : ports) {
        if (access(p.node.c_str(), R_OK | W_OK) == 0) {
            report.line("access", Verdict::kOk, p.node + " is readable and writable");
            continue;
        }
        std::string what = "this user may not read and write " + p.node + ": ";
        if (rule.empty())
            what += install;
        else
            what += "log in at the seat (the rule gives its user the port), or join the port's "
                    "group '" +
                    groupOf(p.node) + "' (sudo adduser $USER " + groupOf(p.node) +
                    ", then log in again)";
        report.line("access", Verdict::kFix, what);
        mayOpen = false;
    }
    for (const qeldiscovery::Port& p : ports) {
        if (modemManagerIgnores(p))
            report.line("modemmanager", Verdict::kOk, p.node + " is marked to be left alone");
        else if (!modemManagerRunning())
            report.line("modemmanager", Verdict::kOk, "ModemManager is not running");
        else
            report.line("modemmanager", Verdict::kFix,
                        "ModemManager may probe " + p.node + " and disturb the device: " +
                            (rule.empty() ? install : std::string(kReload)));
    }
    return mayOpen;
}

void checkLimits(Report& report) {
    rlimit rt{}, mem{};
    getrlimit(RLIMIT_RTPRIO, &rt);
    getrlimit(RLIMIT_MEMLOCK, &mem);
    const std::string limitsFile = "/etc/security/limits.d/qel.conf";
    if (geteuid() == 0)
        report.line("realtime", Verdict::kOk, "running as root: any priority");
    else if (rt.rlim_cur > 0)
        report.line("realtime", Verdict::kOk,
                    "real-time priority up to " + std::to_string(rt.rlim_cur));
    else
        report.line("realtime", Verdict::kWarning,
                    "RLIMIT_RTPRIO is 0, so qelStartThread's threads run without real-time "
                    "priority: add '" +
                        std::string(getlogin() ? getlogin() : "USER") + " - rtprio 80' to " +
                        limitsFile + " and log in again");
    const rlim_t wanted = 64ull << 20;
    if (geteuid() == 0 || mem.rlim_cur == RLIM_INFINITY || mem.rlim_cur >= wanted)
        report.line("locked memory", Verdict::kOk,
                    mem.rlim_cur == RLIM_INFINITY ? "unlimited"
                                                  : std::to_string(mem.rlim_cur >> 10) + " KiB");
    else
        report.line("locked memory", Verdict::kWarning,
                    std::to_string(mem.rlim_cur >> 10) +
                        " KiB may be locked, too little for a real-time program to lock its "
                        "memory: add 'USER - memlock unlimited' to " +
                        limitsFile);
}

void checkDevice(Report& report, const Selection& selection) {
    try {
        Device device(selection);
        unsigned int serial = device.serialNumber();
        device.init();
        // The loop rate is counted over a second of exchanges; a loaded machine may take a
        // little longer to report the first second.
        double rate = 0;
        auto deadline = std::chrono::steady_clock::now() + std::chrono::seconds(3);
        std::this_thread::sleep_for(std::chrono::milliseconds(1100));
        while ((rate = device.loopRate()) == 0 && std::chrono::steady_clock::now() < deadline)
            std::this_thread::sleep_for(std::chrono::milliseconds(100));
        char text[160];
        std::snprintf(text, sizeof text, "%s answers: serial number %u, %.0f exchanges per second",
                      device.name().c_str(), serial, rate);
        report.line("device", rate > 0 ? Verdict::kOk : Verdict::kFix,
                    rate > 0 ? text : std::string(text) + ": the refresh loop does not run");
    } catch (const Failure& e) {
        report.line("device", Verdict::kFix, e.what());
    }
}

} // namespace

int doctor(const DoctorOptions& options, std::FILE* out) {
    Report report(out);
    checkLibrary(report);
    std::string rule = installedRule();
    if (rule.empty())
        report.line("udev rule", Verdict::kWarning,
                    std::string(kRule) +
                        " is in none of udev's directories: copy it to "
                        "/etc/udev/rules.d/ and run " +
                        kReload);
    else
        report.line("udev rule", Verdict::kOk, rule);
    std::vector<qeldiscovery::Port> ports = qeldiscovery::findPorts(QEL_MAX_DEVICES);
    bool mayOpen = checkPorts(report, ports, rule);
    checkLimits(report);
    if (options.checkDevice && mayOpen) checkDevice(report, options.device);
    return report.missing() ? kFailed : kOk;
}

} // namespace qeltool
