// SPDX-License-Identifier: MIT
// The stiffest stable wall: the emulated arm in physics mode, the scripted hand pushing 2 N up
// into a wall at z = 200 mm, the wall rendered either from an application loop at 1 kHz (the
// force set with qelSetForce) or from the servo callback on every refresh pass. Both use the
// same force law: a spring of the wall's stiffness behind the plane and a damper of 0.005 N per
// mm/s on the velocity differenced from successive positions, with a soft centring spring
// across. A wall counts when the handle stays in contact over the last half second of a 4 s
// push and moves less than 0.05 mm peak to peak there; the stiffest such wall is found by
// bisection. Then the rest penetration and the forces that hold the resting handle, each
// taken to the handle through the emulated arm's own Jacobian, for both device types.
//
// Runs under the umockdev preload, like the tests:
//   tests/run-under-umockdev build/bench/wall_bench [--budget | --line LINE]
// --budget skips the sweep and only takes the forces on the resting handle; --line sweeps on
// one of the emulator's lines (pty, usb-fs, usb-hs) and skips the forces.
#include <algorithm>
#include <atomic>
#include <chrono>
#include <cmath>
#include <cstdio>
#include <memory>
#include <string>
#include <thread>
#include <vector>

#include "QEL_OPEN.h"
#include "arm_model.h"
#include "emulator.h"
#include "uartconnector.h"

namespace {

using Clock = std::chrono::steady_clock;

const double kWallZ = 200, kPush = 2.0, kDamping = 0.005, kCentring = 0.1;
const double kRunSeconds = 4.0, kSettleWindow = 0.5, kSettledPeakToPeak = 0.05;

// The wall's force law, fed one position at a time with its time in nanoseconds.
struct WallLaw {
    double stiffness = 1;
    double previous[3] = {0, 0, 0};
    long long previousNs = 0;

    void force(const double p[3], long long ns, double f[3]) {
        double v[3] = {0, 0, 0};
        if (previousNs && ns > previousNs)
            for (int i = 0; i < 3; ++i) v[i] = (p[i] - previous[i]) / ((ns - previousNs) * 1e-9);
        for (int i = 0; i < 3; ++i) previous[i] = p[i];
        previousNs = ns;
        const double penetration = p[2] - kWallZ;
        f[0] = -kCentring * p[0] - kDamping * v[0];
        f[1] = -kCentring * p[1] - kDamping * v[1];
        f[2] = penetration > 0 ? std::min(0.0, -stiffness * penetration - kDamping * v[2]) : 0.0;
    }
};

void servo(const qelServoState* state, double force[3], void* user) {
    static_cast<WallLaw*>(user)->force(state->position, state->timeNs, force);
}

long long nowNs() {
    return std::chrono::duration_cast<std::chrono::nanoseconds>(Clock::now().time_since_epoch())
        .count();
}

struct Outcome {
    bool settled = false;
    double peakToPeak = 0, penetration = 0; // over the last half second, mm
};

// Puts the handle short of the wall with no force and sets the hand pushing it in; `law` is the
// wall's, for the caller to render.
void startPush(qelemu::Device& device, WallLaw& law, double stiffness) {
    qelSetForce(0, 0, 0, 1);
    const double start[3] = {0.5, 0.5, kWallZ - 3};
    device.setPosition(start);
    law.stiffness = stiffness;
    qelemu::HandScript hand;
    hand.kind = qelemu::HandScript::PushPlane;
    hand.point[2] = kWallZ + 30; // the hand's own stop lies well behind the wall
    hand.force = kPush;
    device.setHand(hand);
}

// One push into a wall of `stiffness`, its law run by the callback or by a 1 kHz loop.
Outcome push(qelemu::Device& device, double stiffness, bool callback) {
    WallLaw law;
    startPush(device, law, stiffness);

    std::atomic<bool> stop{false};
    std::thread loop;
    if (callback) {
        qelSetServoCallback(servo, &law, 1);
    } else {
        loop = std::thread([&] {
            auto next = Clock::now();
            while (!stop) {
                double p[3], f[3];
                qelGetPosition(&p[0], &p[1], &p[2], 1);
                law.force(p, nowNs(), f);
                qelSetForce(f[0], f[1], f[2], 1);
                next += std::chrono::microseconds(1000);
                std::this_thread::sleep_until(next);
            }
        });
    }

    // The emulated arm's own position, sampled every half millisecond.
    std::vector<double> z;
    const int perWindow = static_cast<int>(kSettleWindow / 0.0005);
    const auto t0 = Clock::now();
    Outcome outcome;
    for (auto next = t0; next - t0 < std::chrono::duration<double>(kRunSeconds);) {
        next += std::chrono::microseconds(500);
        std::this_thread::sleep_until(next);
        double p[3];
        device.position(p);
        z.push_back(p[2]);
        if (static_cast<int>(z.size()) < perWindow) continue;
        auto from = z.end() - perWindow;
        auto [low, high] = std::minmax_element(from, z.end());
        outcome.peakToPeak = *high - *low;
        outcome.settled = *low > kWallZ && outcome.peakToPeak < kSettledPeakToPeak;
        double sum = 0;
        for (auto it = from; it != z.end(); ++it) sum += *it - kWallZ;
        outcome.penetration = sum / perWindow;
        // A wall still ringing by a millimetre after 2 s will not settle in the rest.
        if (next - t0 > std::chrono::seconds(2) && outcome.peakToPeak > 1.0) break;
    }
    stop = true;
    if (loop.joinable()) loop.join();
    qelSetServoCallback(nullptr, nullptr, 1);
    qelSetForce(0, 0, 0, 1);
    device.setHand(qelemu::HandScript());
    return outcome;
}

// The stiffest wall that settles, by bisection on a logarithmic scale.
double stiffest(qelemu::Device& device, bool callback, Outcome& at) {
    double low = 0.5, high = 512;
    at = push(device, low, callback);
    if (!at.settled) return 0;
    Outcome top = push(device, high, callback);
    if (top.settled) {
        at = top;
        return high;
    }
    while (high / low > 1.12) {
        const double middle = std::sqrt(low * high);
        Outcome o = push(device, middle, callback);
        std::fprintf(stderr, "  %s %6.2f N/mm: %s, %.3f mm peak to peak\n",
                     callback ? "callback" : "1 kHz loop", middle,
                     o.settled ? "settled" : "not settled", o.peakToPeak);
        if (o.settled) {
            low = middle;
            at = o;
        } else {
            high = middle;
        }
    }
    return low;
}

// Joint torques (N*mm) to the handle force (N) that balances them: solves J^T f = tau with the
// emulated arm's own Jacobian.
void toHandle(const double J[3][3], const double tau[3], double f[3]) {
    double A[3][3];
    for (int i = 0; i < 3; ++i)
        for (int j = 0; j < 3; ++j) A[i][j] = J[j][i];
    const double det = A[0][0] * (A[1][1] * A[2][2] - A[1][2] * A[2][1]) -
                       A[0][1] * (A[1][0] * A[2][2] - A[1][2] * A[2][0]) +
                       A[0][2] * (A[1][0] * A[2][1] - A[1][1] * A[2][0]);
    for (int c = 0; c < 3; ++c) {
        double M[3][3];
        for (int i = 0; i < 3; ++i)
            for (int j = 0; j < 3; ++j) M[i][j] = j == c ? tau[i] : A[i][j];
        f[c] = (M[0][0] * (M[1][1] * M[2][2] - M[1][2] * M[2][1]) -
                M[0][1] * (M[1][0] * M[2][2] - M[1][2] * M[2][0]) +
                M[0][2] * (M[1][0] * M[2][1] - M[1][1] * M[2][0])) /
               det;
    }
}

// The joint torques a potential exerts at q: minus its gradient, by central differences.
void potentialTorque(qelemu::ArmModel& model, const double q[6], double tau[3]) {
    const double h = 1e-6;
    for (int i = 0; i < 3; ++i) {
        double up[6], down[6];
        std::copy(q, q + 6, up);
        std::copy(q, q + 6, down);
        up[i] += h;
        down[i] -= h;
        model.setJointAngles(up);
        const double eUp = model.energy();
        model.setJointAngles(down);
        tau[i] = -(eUp - model.energy()) / (2 * h) * 1000.0; // J per radian to N*mm
    }
    model.setJointAngles(q);
}

// The forces on the resting handle after a settled push into a wall of `stiffness`.
void restBudget(int type, double stiffness) {
    qelemu::EmulatorOptions e;
    e.device.resize(1);
    e.device[0].type = type;
    e.device[0].physics = true;
    e.device[0].usePosition = true;
    qelemu::Emulator emulator(e);
    qelemu::Device& device = emulator.device(0);
    if (qelOpen() != 1 || qelInit(1) != 1 || qelCalibrateDevice(1) != 1 ||
        qelSetGravityCompensation(1, 1) != 1 || qelEnableForce(1, 1) != 1 ||
        qelEnableDevice(true, 1) != 1) {
        std::printf("type %d: the device did not come up\n", type);
        qelClose(1);
        return;
    }

    // The push, held: the budget is read while the hand still pushes.
    WallLaw law;
    startPush(device, law, stiffness);
    qelSetServoCallback(servo, &law, 1);
    std::this_thread::sleep_for(std::chrono::seconds(3));

    double p[3], q[6], commanded[3];
    device.position(p);
    device.jointAngles(q);
    qelGetForce(&commanded[0], &commanded[1], &commanded[2], 1);
    const qelemu::CyclicRequest sent = device.lastCyclic();
    // The library's own Jacobian at the same counts, for the wall's joint torques.
    double libraryAngles[3], libraryJ[3][3];
    qelEnableExpertMode();
    const bool haveLibraryJ =
        qelGetDeltaJointAngles(&libraryAngles[0], &libraryAngles[1], &libraryAngles[2], 1) &&
        qelDeltaJointAnglesToJacobian(libraryAngles[0], libraryAngles[1], libraryAngles[2],
                                      libraryJ, 1);
    qelDisableExpertMode();
    double handForce[3] = {0, 0, 0};
    qelSetServoCallback(nullptr, nullptr, 1);
    qelClose(1);

    // Every torque at the joints, each taken to the handle.
    const qelemu::ArmGeometry geometry = qelemu::ArmGeometry::forType(type);
    qelemu::ArmModel model(geometry);
    model.setJointAngles(q);
    double J[3][3];
    model.jacobian(J);
    const double scale = 100.0 / 32767.0 * geometry.transRatio[0];
    double motors[3], wall[3], gravity[3], spring[3];
    for (int i = 0; i < 3; ++i) {
        motors[i] = sent.motor[i] * scale;
        const double(*Jw)[3] = haveLibraryJ ? libraryJ : J;
        wall[i] = Jw[0][i] * commanded[0] + Jw[1][i] * commanded[1] + Jw[2][i] * commanded[2];
    }
    double gravityAndSpring[3];
    potentialTorque(model, q, gravityAndSpring);
    model.setGravity(false);
    potentialTorque(model, q, spring);
    for (int i = 0; i < 3; ++i) gravity[i] = gravityAndSpring[i] - spring[i];
    double compensation[3];
    for (int i = 0; i < 3; ++i) compensation[i] = motors[i] - wall[i];

    double fMotors[3], fWall[3], fCompensation[3], fGravity[3], fSpring[3];
    toHandle(J, motors, fMotors);
    toHandle(J, wall, fWall);
    toHandle(J, compensation, fCompensation);
    toHandle(J, gravity, fGravity);
    toHandle(J, spring, fSpring);
    // The hand pushes exactly kPush along +z while the handle is short of its stop.
    handForce[2] = kPush;
    const double penetration = p[2] - kWallZ;
    double residue[3], sum[3];
    for (int i = 0; i < 3; ++i) {
        residue[i] = fCompensation[i] + fGravity[i] + fSpring[i];
        sum[i] = handForce[i] + fMotors[i] + fGravity[i] + fSpring[i];
    }
    std::printf("type %d, %.1f N/mm: rest penetration %.3f mm = %.3f of force / stiffness; "
                "forces at the handle (x, y, z in N):\n",
                type, stiffness, penetration, penetration * stiffness / kPush);
    auto row = [](const char* name, const double f[3]) {
        std::printf("  %-44s %+7.3f %+7.3f %+7.3f\n", name, f[0], f[1], f[2]);
    };
    row("hand", handForce);
    row("wall and centring spring, as commanded", commanded);
    row("the same, as the motors render it", fWall);
    row("library's compensation (gravity and spring)", fCompensation);
    row("arm's weight", fGravity);
    row("balancing spring", fSpring);
    row("residue: compensation + weight + spring", residue);
    // The weight split: the platform with half of each passive link acts at the handle as it
    // is; the rest hangs on the arms. The compensation split likewise, its spring term being
    // the balancing spring's, reversed.
    const double platform = (geometry.massPlatform + 1.5 * geometry.massPassLink) * 9.8;
    double armWeight[3], armCompensation[3];
    for (int i = 0; i < 3; ++i) {
        armWeight[i] = fGravity[i] + (i == 1 ? platform : 0.0);
        armCompensation[i] = fCompensation[i] + fSpring[i] - (i == 1 ? platform : 0.0);
    }
    row("of the weight: links and elbows", armWeight);
    row("of the compensation: links and elbows", armCompensation);
    row("sum of all (0 at rest)", sum);
}

} // namespace

int main(int argc, char** argv) {
    hal::UartDevices::settleMicroseconds = 0;
    const bool budgetOnly = argc > 1 && std::string(argv[1]) == "--budget";
    const bool lineOnly = argc > 2 && std::string(argv[1]) == "--line";
    qelemu::Line line = qelemu::Line::Pty;
    if (lineOnly && !qelemu::lineFromName(argv[2], line)) {
        std::printf("unknown line %s (pty, usb-fs, usb-hs)\n", argv[2]);
        return 2;
    }
    double figures[2] = {0, 0};
    if (!budgetOnly) {
        qelemu::EmulatorOptions e;
        e.line = line;
        e.device.resize(1);
        e.device[0].physics = true;
        qelemu::Emulator emulator(e);
        qelemu::Device& device = emulator.device(0);
        if (qelOpen() != 1 || qelInit(1) != 1 || qelCalibrateDevice(1) != 1 ||
            qelSetGravityCompensation(1, 1) != 1 || qelEnableForce(1, 1) != 1 ||
            qelEnableDevice(true, 1) != 1) {
            std::printf("the device did not come up\n");
            return 1;
        }
        for (int callback = 0; callback < 2; ++callback) {
            Outcome at;
            figures[callback] = stiffest(device, callback, at);
            std::printf("%s line, stiffest settled wall, %s: %.2f N/mm (%.3f mm peak to peak, rest "
                        "penetration %.3f of force / stiffness)\n",
                        qelemu::lineName(line),
                        callback ? "servo callback" : "1 kHz application loop", figures[callback],
                        at.peakToPeak, at.penetration * figures[callback] / kPush);
        }
        std::printf("refresh rate %.0f /s\n", qelGetComFreq(1));
        qelClose(1);
    }
    if (!budgetOnly)
        std::printf("%s line, callback against loop: %.1fx\n", qelemu::lineName(line),
                    figures[0] > 0 ? figures[1] / figures[0] : 0.0);
    if (lineOnly) return 0;
    restBudget(1, 2.0);
    restBudget(2, 2.0);
    return 0;
}
