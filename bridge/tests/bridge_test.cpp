// SPDX-License-Identifier: MIT
// qel-bridge end to end: the bridge runs as a program of its own against devices emulated in
// this process, and this process looks at it over DDS as a ROS 2 node would. DDS stays on the
// loopback interface (CYCLONEDDS_URI); each test has a domain of its own.
#include <gtest/gtest.h>

#include <array>
#include <chrono>
#include <cmath>
#include <csignal>
#include <cstdlib>
#include <fstream>
#include <functional>
#include <sstream>
#include <string>
#include <sys/wait.h>
#include <thread>
#include <unistd.h>
#include <vector>

#include <dds/dds.h>

#include "diagnostic_msgs/msg/DiagnosticArray.h"
#include "emulator.h"
#include "geometry_msgs/msg/PoseStamped.h"
#include "geometry_msgs/msg/TwistStamped.h"
#include "geometry_msgs/msg/WrenchStamped.h"
#include "sensor_msgs/msg/JointState.h"
#include "sensor_msgs/msg/Joy.h"
#include "std_msgs/msg/Bool.h"
#include "tf2_msgs/msg/TFMessage.h"

namespace {

using Clock = std::chrono::steady_clock;
double seconds(Clock::time_point since) {
    return std::chrono::duration<double>(Clock::now() - since).count();
}

// A program started by the test; its standard error goes to a file. `ownDevices`: the program
// builds its own emulated devices (qel-emulator), outside this process's testbed.
class Child {
public:
    Child(const std::vector<std::string>& args, bool ownDevices = false)
        : log_("/tmp/qel-bridge-test-" + std::to_string(getpid()) + "-" +
               std::to_string(counter()++) + ".log") {
        pid_ = fork();
        if (pid_ == 0) {
            if (ownDevices) unsetenv("UMOCKDEV_DIR"), unsetenv("LD_PRELOAD");
            freopen(log_.c_str(), "w", stderr);
            std::vector<char*> argv;
            for (const std::string& a : args) argv.push_back(const_cast<char*>(a.c_str()));
            argv.push_back(nullptr);
            execv(argv[0], argv.data());
            _exit(127);
        }
    }
    ~Child() {
        if (pid_ > 0) stop(SIGKILL);
        std::remove(log_.c_str());
    }
    // Sends `signal` and returns the exit status (-1 when it did not end within 5 s).
    int stop(int signal = SIGTERM) {
        kill(pid_, signal);
        for (auto start = Clock::now(); seconds(start) < 5;) {
            int status = 0;
            if (waitpid(pid_, &status, WNOHANG) == pid_) {
                pid_ = -1;
                return WIFEXITED(status) ? WEXITSTATUS(status) : 128 + WTERMSIG(status);
            }
            std::this_thread::sleep_for(std::chrono::milliseconds(5));
        }
        return -1;
    }
    std::string log() const {
        std::ifstream in(log_);
        std::stringstream text;
        text << in.rdbuf();
        return text.str();
    }

private:
    static int& counter() {
        static int n = 0;
        return n;
    }
    pid_t pid_ = -1;
    std::string log_;
};

// One DDS participant in the test's domain, with readers and writers on ROS topics as a
// default ROS 2 node makes them (reliable, keep last 10).
class Node {
public:
    explicit Node(int domain) {
        // Never a packet beyond loopback, however the test is started; the bridge inherits it.
        setenv("CYCLONEDDS_URI", QEL_DDS_LOOPBACK_CONFIG, 1);
        setenv("ROS_DOMAIN_ID", std::to_string(domain).c_str(), 1);
        participant_ =
            dds_create_participant(static_cast<dds_domainid_t>(domain), nullptr, nullptr);
        EXPECT_GT(participant_, 0);
    }
    ~Node() { dds_delete(participant_); }
    dds_entity_t endpoint(const dds_topic_descriptor_t* type, const std::string& rosTopic,
                          bool writer = false) {
        dds_entity_t topic =
            dds_create_topic(participant_, type, ("rt" + rosTopic).c_str(), nullptr, nullptr);
        dds_qos_t* qos = dds_create_qos();
        dds_qset_reliability(qos, DDS_RELIABILITY_RELIABLE, DDS_SECS(1));
        dds_qset_history(qos, DDS_HISTORY_KEEP_LAST, 10);
        dds_entity_t e = writer ? dds_create_writer(participant_, topic, qos, nullptr)
                                : dds_create_reader(participant_, topic, qos, nullptr);
        dds_delete_qos(qos);
        EXPECT_GT(e, 0) << rosTopic;
        return e;
    }

private:
    dds_entity_t participant_;
};

// Takes the reader's samples, handing each to `each`, until `each` returns true or the time
// is up. Returns whether it did.
template <typename T>
bool waitFor(dds_entity_t reader, double timeout, const std::function<bool(const T&)>& each) {
    for (auto start = Clock::now();;) {
        void* samples[32] = {};
        dds_sample_info_t infos[32];
        int n = dds_take(reader, samples, infos, 32, 32);
        bool done = false;
        for (int i = 0; i < n && !done; ++i)
            if (infos[i].valid_data) done = each(*static_cast<const T*>(samples[i]));
        if (n > 0) dds_return_loan(reader, samples, n);
        if (done) return true;
        if (seconds(start) >= timeout) return false;
        std::this_thread::sleep_for(std::chrono::milliseconds(1));
    }
}

using Pose = geometry_msgs_msg_dds__PoseStamped_;
using Twist = geometry_msgs_msg_dds__TwistStamped_;
using Wrench = geometry_msgs_msg_dds__WrenchStamped_;
using Diagnostics = diagnostic_msgs_msg_dds__DiagnosticArray_;

std::string bridgeProgram() { return QEL_BRIDGE_PROGRAM; }

// The diagnostics value `key` of the status whose name ends in `ns`.
std::string diagnostic(const Diagnostics& d, const std::string& ns, const std::string& key) {
    for (uint32_t i = 0; i < d.status._length; ++i) {
        const auto& s = d.status._buffer[i];
        std::string name = s.name;
        if (name.size() < ns.size() || name.compare(name.size() - ns.size(), ns.size(), ns))
            continue;
        if (key == "level") return std::to_string(s.level);
        for (uint32_t k = 0; k < s.values._length; ++k)
            if (key == s.values._buffer[k].key) return s.values._buffer[k].value;
    }
    return "";
}

void writeForce(dds_entity_t writer, double fx, double fy, double fz) {
    Wrench w = {};
    w.header.frame_id = const_cast<char*>("");
    w.wrench.force = {fx, fy, fz};
    dds_write(writer, &w);
}

double magnitude(const geometry_msgs_msg_dds__Vector3_& v) {
    return std::sqrt(v.x * v.x + v.y * v.y + v.z * v.z);
}

qelemu::EmulatorOptions devices(int count, bool circling) {
    qelemu::EmulatorOptions options;
    options.devices = count;
    options.device.resize(static_cast<size_t>(count));
    for (auto& d : options.device) {
        d.usePosition = true;
        d.position[0] = 10, d.position[1] = -20, d.position[2] = 180;
        if (circling) d.physics = true, d.hand.kind = qelemu::HandScript::FollowCircle;
    }
    return options;
}

} // namespace

// What a ROS 2 subscriber sees: the types ROS 2 names, the handle's place in metres in the
// device's base frame, the joints, the button, the frame on /tf, the diagnostics. Force
// commands and force output requests are ignored without --allow-force.
TEST(Bridge, PublishesTheDeviceInRosTermsAndIgnoresForcesUnlessAllowed) {
    EXPECT_STREQ(geometry_msgs_msg_dds__PoseStamped__desc.m_typename,
                 "geometry_msgs::msg::dds_::PoseStamped_");
    qelemu::Emulator emulator(devices(1, false));
    Node node(61);
    dds_entity_t pose =
        node.endpoint(&geometry_msgs_msg_dds__PoseStamped__desc, "/qel/device_10001/pose");
    dds_entity_t joints =
        node.endpoint(&sensor_msgs_msg_dds__JointState__desc, "/qel/device_10001/joint_states");
    dds_entity_t joy = node.endpoint(&sensor_msgs_msg_dds__Joy__desc, "/qel/device_10001/joy");
    dds_entity_t tf = node.endpoint(&tf2_msgs_msg_dds__TFMessage__desc, "/tf");
    dds_entity_t diagnostics =
        node.endpoint(&diagnostic_msgs_msg_dds__DiagnosticArray__desc, "/diagnostics");
    dds_entity_t command = node.endpoint(&geometry_msgs_msg_dds__WrenchStamped__desc,
                                         "/qel/device_10001/force_command", true);
    dds_entity_t output =
        node.endpoint(&std_msgs_msg_dds__Bool__desc, "/qel/device_10001/force_output", true);
    Child bridge({bridgeProgram()});

    EXPECT_TRUE(waitFor<Pose>(pose, 10, [](const Pose& p) {
        EXPECT_STREQ(p.header.frame_id, "device_10001_base");
        EXPECT_NEAR(p.pose.position.x, 0.010, 1e-4);
        EXPECT_NEAR(p.pose.position.y, -0.020, 1e-4);
        EXPECT_NEAR(p.pose.position.z, 0.180, 1e-4);
        EXPECT_GT(p.header.stamp.sec, 1600000000); // the system's clock, as ROS time is
        return true;
    })) << bridge.log();
    EXPECT_TRUE(waitFor<sensor_msgs_msg_dds__JointState_>(joints, 2, [](const auto& j) {
        EXPECT_EQ(j.name._length, 6u);
        EXPECT_STREQ(j.name._buffer[0], "device_10001_arm_0");
        EXPECT_EQ(j.position._length, 6u);
        EXPECT_NEAR(j.position._buffer[0], 0.0, 3.2); // radians, not degrees
        return true;
    }));
    EXPECT_TRUE(waitFor<sensor_msgs_msg_dds__Joy_>(
        joy, 2, [](const auto& j) { return j.buttons._length == 1 && j.buttons._buffer[0] == 0; }));
    EXPECT_TRUE(waitFor<tf2_msgs_msg_dds__TFMessage_>(tf, 2, [](const auto& m) {
        return m.transforms._length == 1 &&
               std::string(m.transforms._buffer[0].child_frame_id) == "device_10001_handle";
    }));

    auto start = Clock::now();
    while (seconds(start) < 0.5) {
        std_msgs_msg_dds__Bool_ on = {true};
        dds_write(output, &on);
        writeForce(command, 0, 0, 2);
        std::this_thread::sleep_for(std::chrono::milliseconds(5));
    }
    EXPECT_FALSE(emulator.device(0).drivesEnabled());
    EXPECT_EQ(emulator.device(0).motorCommand(0), 0);
    EXPECT_TRUE(waitFor<Diagnostics>(diagnostics, 3, [](const Diagnostics& d) {
        return diagnostic(d, "/qel/device_10001", "force output") == "off" &&
               diagnostic(d, "/qel/device_10001", "level") == "0";
    }));
    EXPECT_EQ(bridge.stop(), 0);
    EXPECT_NE(bridge.log().find("ignored (started without --allow-force)"), std::string::npos)
        << bridge.log();
}

// With --allow-force the commanded force reaches the motors, clamped to --max-force, changing
// no faster than allowed; non-finite commands are rejected; when the commands stop the force
// ramps to zero, and the trip is counted. A signal switches the drives off.
TEST(Bridge, RendersGuardedForceCommandsOnlyWhenAllowed) {
    qelemu::Emulator emulator(devices(1, false));
    Node node(62);
    dds_entity_t wrench =
        node.endpoint(&geometry_msgs_msg_dds__WrenchStamped__desc, "/qel/device_10001/wrench");
    dds_entity_t diagnostics =
        node.endpoint(&diagnostic_msgs_msg_dds__DiagnosticArray__desc, "/diagnostics");
    dds_entity_t command = node.endpoint(&geometry_msgs_msg_dds__WrenchStamped__desc,
                                         "/qel/device_10001/force_command", true);
    dds_entity_t output =
        node.endpoint(&std_msgs_msg_dds__Bool__desc, "/qel/device_10001/force_output", true);
    Child bridge({bridgeProgram(), "--allow-force", "--max-force", "1", "--max-force-rate", "10"});
    ASSERT_TRUE(waitFor<Wrench>(wrench, 10, [](const Wrench&) { return true; })) << bridge.log();

    // 5 N asked for, 1 N allowed, reached at 10 N/s in about 0.1 s.
    double largest = 0, afterFirstTenth = 0;
    auto start = Clock::now();
    while (seconds(start) < 0.4) {
        std_msgs_msg_dds__Bool_ on = {true};
        dds_write(output, &on);
        writeForce(command, 0, 0, 5);
        writeForce(command, NAN, 0, 0); // rejected, so the 5 N command stays in force
        waitFor<Wrench>(wrench, 0.005, [&](const Wrench& w) {
            largest = std::max(largest, magnitude(w.wrench.force));
            if (seconds(start) < 0.05)
                afterFirstTenth = std::max(afterFirstTenth, magnitude(w.wrench.force));
            return false;
        });
    }
    EXPECT_TRUE(emulator.device(0).drivesEnabled());
    EXPECT_NEAR(largest, 1.0, 1e-6);
    EXPECT_LT(afterFirstTenth, 0.7);
    EXPECT_NE(emulator.device(0).motorCommand(0), 0);

    // The commands stop: zero force within the time-out and the ramp.
    auto stopped = Clock::now();
    double zeroAfter = -1;
    waitFor<Wrench>(wrench, 1, [&](const Wrench& w) {
        if (magnitude(w.wrench.force) > 1e-9) return false;
        zeroAfter = seconds(stopped);
        return true;
    });
    // (Not sooner than the time-out is the guard's own test: here a starved writer may let it
    // trip early.)
    EXPECT_GE(zeroAfter, 0);
    EXPECT_LT(zeroAfter, 0.1 + 0.05 + 0.1); // time-out, ramp, and room for a loaded machine
    EXPECT_TRUE(waitFor<Diagnostics>(diagnostics, 3, [](const Diagnostics& d) {
        return std::atoi(diagnostic(d, "/qel/device_10001", "watchdog trips").c_str()) >= 1 &&
               std::atoi(diagnostic(d, "/qel/device_10001", "commands rejected").c_str()) > 10 &&
               std::atoi(diagnostic(d, "/qel/device_10001", "commands clamped").c_str()) > 10;
    }));
    EXPECT_EQ(bridge.stop(SIGINT), 0);
    EXPECT_FALSE(emulator.device(0).drivesEnabled());
}

// Two devices with hands moving them round circles: the twist agrees with the poses'
// differences; the second device is unplugged, which the diagnostics report while the first
// goes on publishing, and comes back on its own within 2 s of being plugged in again.
TEST(Bridge, TwistFollowsThePosesAndAnUnpluggedDeviceComesBack) {
    qelemu::Emulator emulator(devices(2, true));
    Node node(63);
    dds_entity_t pose1 =
        node.endpoint(&geometry_msgs_msg_dds__PoseStamped__desc, "/qel/device_10001/pose");
    dds_entity_t pose2 =
        node.endpoint(&geometry_msgs_msg_dds__PoseStamped__desc, "/qel/device_10002/pose");
    dds_entity_t twist2 =
        node.endpoint(&geometry_msgs_msg_dds__TwistStamped__desc, "/qel/device_10002/twist");
    dds_entity_t diagnostics =
        node.endpoint(&diagnostic_msgs_msg_dds__DiagnosticArray__desc, "/diagnostics");
    Child bridge({bridgeProgram()});
    ASSERT_TRUE(waitFor<Pose>(pose2, 10, [](const Pose&) { return true; })) << bridge.log();

    // The twist integrated over 0.2 s spans against the poses' displacement over the same
    // spans. Pose and twist of one pass carry one stamp, so the spans match however unevenly
    // the bridge publishes. On a loaded machine the emulated arm's time falls behind the wall
    // clock (its steps are capped), which shortens the displacement, by half and more: the check
    // asks for the direction and the scale within that, which a wrong sign, axis or unit (a
    // thousand, or two pi) misses by far more.
    std::vector<std::array<double, 4>> poses, twists; // stamp, x, y, z
    auto stamp = [](const auto& header) { return header.stamp.sec + header.stamp.nanosec * 1e-9; };
    for (auto start = Clock::now(); seconds(start) < 2.5;) {
        waitFor<Pose>(pose2, 0.01, [&](const Pose& p) {
            const auto& q = p.pose.position;
            return poses.push_back({stamp(p.header), q.x, q.y, q.z}), false;
        });
        waitFor<Twist>(twist2, 0, [&](const Twist& t) {
            const auto& v = t.twist.linear;
            return twists.push_back({stamp(t.header), v.x, v.y, v.z}), false;
        });
    }
    int agreed = 0, compared = 0;
    std::ostringstream spans; // displacement / integrated twist @ cosine, per span
    size_t from = 0, k = 1;
    for (size_t to = 1; to < poses.size(); ++to) {
        if (poses[to][0] - poses[from][0] < 0.2) continue;
        double integrated[3] = {0, 0, 0}, moved[3];
        for (; k < twists.size() && twists[k][0] <= poses[to][0]; ++k)
            if (twists[k][0] > poses[from][0])
                for (int i = 0; i < 3; ++i)
                    integrated[i] += twists[k][i + 1] * (twists[k][0] - twists[k - 1][0]);
        for (int i = 0; i < 3; ++i) moved[i] = poses[to][i + 1] - poses[from][i + 1];
        double distance = std::hypot(moved[0], moved[1], moved[2]);
        double length = std::hypot(integrated[0], integrated[1], integrated[2]);
        double cosine =
            (integrated[0] * moved[0] + integrated[1] * moved[1] + integrated[2] * moved[2]) /
            (distance * length + 1e-12);
        ++compared;
        if (distance > 0.004 && cosine > 0.9 && distance / length > 0.2 && distance / length < 1.3)
            ++agreed;
        spans << " " << distance / length << "@" << cosine;
        from = to;
    }
    EXPECT_GE(compared, 8);
    EXPECT_GE(agreed, compared * 3 / 4) << agreed << " of " << compared << ":" << spans.str();

    emulator.unplug(1);
    EXPECT_TRUE(waitFor<Diagnostics>(diagnostics, 3, [](const Diagnostics& d) {
        return diagnostic(d, "/qel/device_10002", "level") == "2";
    })) << bridge.log();
    int firstDevicePoses = 0;
    waitFor<Pose>(pose1, 0.5, [&](const Pose&) { return ++firstDevicePoses, false; });
    EXPECT_GT(firstDevicePoses, 20);

    waitFor<Pose>(pose2, 0, [](const Pose&) { return false; });
    emulator.replug(1);
    auto replugged = Clock::now();
    EXPECT_TRUE(waitFor<Pose>(pose2, 2, [](const Pose&) { return true; })) << bridge.log();
    EXPECT_LT(seconds(replugged), 2.0);
    EXPECT_EQ(bridge.stop(), 0);
}

// Two bridges, each with its own emulated device, on one domain under two namespaces.
TEST(Bridge, TwoBridgesShareADomainUnderTheirNamespaces) {
    Node node(64);
    dds_entity_t left = node.endpoint(&geometry_msgs_msg_dds__PoseStamped__desc, "/left/pose");
    dds_entity_t right = node.endpoint(&geometry_msgs_msg_dds__PoseStamped__desc, "/right/pose");
    Child a({QEL_EMULATOR_PROGRAM, "--serial", "501", "--position", "0,0,170", "--",
             bridgeProgram(), "--namespace", "/left"},
            true);
    Child b({QEL_EMULATOR_PROGRAM, "--serial", "502", "--position", "0,0,190", "--",
             bridgeProgram(), "--namespace", "right"},
            true);
    EXPECT_TRUE(waitFor<Pose>(left, 10, [](const Pose& p) {
        return std::string(p.header.frame_id) == "left_base" &&
               std::fabs(p.pose.position.z - 0.170) < 1e-4;
    })) << a.log();
    EXPECT_TRUE(waitFor<Pose>(right, 5, [](const Pose& p) {
        return std::string(p.header.frame_id) == "right_base" &&
               std::fabs(p.pose.position.z - 0.190) < 1e-4;
    })) << b.log();
    EXPECT_EQ(a.stop(), 0);
    EXPECT_EQ(b.stop(), 0);
}
