// SPDX-License-Identifier: MIT
// One refresh pass's computation, each part in nanoseconds next to a closed-form forward
// kinematics of the same arm computed in the same run:
// - the kinematics (counts to position by Newton's method, the Jacobian and the Cartesian
//   velocity, and the wrist's orientation), which should stay within four times the closed
//   form, and the position solve alone, which computes what the closed form does;
// - the force path (OpFrcToMot) with and without gravity compensation, and the whole
//   calibrated, force-enabled pass (EncToOpPos, then OpFrcToMot with compensation), which
//   should stay under 3 microseconds;
// - the full cyclic frame's checksum, build and parse.
//
//   build/bench/pass_bench
//
// Three arm motions, as the handle's travel per pass: 0 (the warm start is already the
// solution: one Newton step, and one more for the Jacobian), 50 micrometres (a brisk hand at
// about 0.2 m/s with some 4000 passes a second: two steps) and 200 micrometres (near 1 m/s:
// three steps).
#include <benchmark/benchmark.h>

#include <cmath>
#include <cstdlib>
#include <vector>

#include "CRC.h"
#include "QEL.h"
#include "QEL_frame.h"
#include "bench_device.h"

namespace {

using namespace qelbench;

// Closed-form position of the handle from the arm's counts.
bool closedForm(const QEL& d, const unsigned int* enc, const double cosPhi[3],
                const double sinPhi[3], double p[3]) {
    const double a = d.m_lenActLink, b = d.m_lenPassLink;
    const double dd = d.m_DimFixedPlat - d.m_DimFloatPlat;
    double c[3][3];
    for (int i = 0; i < 3; ++i) {
        double rot =
            static_cast<double>(enc[i] - d.m_EncoderMinValue[i]) / d.m_EncoderResolution * 360.0;
        double q = (d.m_DefAng[i] - rot) * kPi8 / 180.0;
        double D = a * std::sin(q) + dd;
        c[i][0] = D * cosPhi[i];
        c[i][1] = D * sinPhi[i];
        c[i][2] = a * std::cos(q);
    }
    double ex[3], v2[3];
    for (int j = 0; j < 3; ++j) {
        ex[j] = c[1][j] - c[0][j];
        v2[j] = c[2][j] - c[0][j];
    }
    double d01 = std::sqrt(ex[0] * ex[0] + ex[1] * ex[1] + ex[2] * ex[2]);
    for (double& e : ex) e /= d01;
    double i2 = ex[0] * v2[0] + ex[1] * v2[1] + ex[2] * v2[2];
    double ey[3] = {v2[0] - i2 * ex[0], v2[1] - i2 * ex[1], v2[2] - i2 * ex[2]};
    double j2 = std::sqrt(ey[0] * ey[0] + ey[1] * ey[1] + ey[2] * ey[2]);
    for (double& e : ey) e /= j2;
    double ez[3] = {ex[1] * ey[2] - ex[2] * ey[1], ex[2] * ey[0] - ex[0] * ey[2],
                    ex[0] * ey[1] - ex[1] * ey[0]};
    double x = 0.5 * d01;
    double y = (i2 * i2 + j2 * j2 - 2 * i2 * x) / (2 * j2);
    double zz = b * b - x * x - y * y;
    if (!(zz >= 0)) return false;
    double z = std::sqrt(zz);
    if (ez[2] < 0) z = -z;
    for (int j = 0; j < 3; ++j) p[j] = c[0][j] + x * ex[j] + y * ey[j] + z * ez[j];
    return true;
}

void refreshPass(benchmark::State& state, double perPass, bool wrist) {
    QEL d;
    setUpType1(d);
    d.m_fWrist = wrist;
    std::vector<Counts> path = circle(d, perPass);
    size_t k = 0;
    d.m_InitPos[0] = d.m_InitPos[1] = 1.0, d.m_InitPos[2] = 140.0;
    for (auto _ : state) {
        int ok = d.EncToOpPos(path[k].enc, d.m_Position, d.m_Orientation);
        benchmark::DoNotOptimize(ok);
        benchmark::DoNotOptimize(d.m_Velocity);
        if (++k == path.size()) k = 0;
    }
    tearDown(d);
}

// The position alone, counts to joint angles to Newton's solution: what the closed form
// computes, without the Jacobian and velocity that the pass adds.
void BM_PositionSolve(benchmark::State& state) {
    QEL d;
    setUpType1(d);
    std::vector<Counts> path = circle(d, state.range(0) / 1000.0);
    size_t k = 0;
    d.m_InitPos[0] = d.m_InitPos[1] = 1.0, d.m_InitPos[2] = 140.0;
    double angles[6], p[3];
    for (auto _ : state) {
        int ok = d.EncToJointAng(path[k].enc, angles, 0x07) && d.CalcuPosition(angles, p);
        benchmark::DoNotOptimize(ok);
        benchmark::DoNotOptimize(p);
        if (++k == path.size()) k = 0;
    }
    tearDown(d);
}
BENCHMARK(BM_PositionSolve)->Arg(0)->Arg(50)->Arg(200);

void closedFormPass(benchmark::State& state, double perPass) {
    QEL d;
    setUpType1(d);
    std::vector<Counts> path = circle(d, perPass);
    double cosPhi[3], sinPhi[3];
    for (int i = 0; i < 3; ++i) {
        cosPhi[i] = std::cos((4 * i + 3) * kPi8 / 6);
        sinPhi[i] = std::sin((4 * i + 3) * kPi8 / 6);
    }
    size_t k = 0;
    double p[3];
    for (auto _ : state) {
        bool ok = closedForm(d, path[k].enc, cosPhi, sinPhi, p);
        benchmark::DoNotOptimize(ok);
        benchmark::DoNotOptimize(p);
        if (++k == path.size()) k = 0;
    }
    tearDown(d);
}

// The first argument is the handle's travel per pass in micrometres. The refresh pass runs
// as on the device, with the wrist's orientation (second argument 1), and for the arm alone,
// the same work as the closed form (0).
void BM_RefreshPass(benchmark::State& state) {
    refreshPass(state, state.range(0) / 1000.0, state.range(1) != 0);
}
void BM_ClosedForm(benchmark::State& state) { closedFormPass(state, state.range(0) / 1000.0); }

BENCHMARK(BM_RefreshPass)->ArgsProduct({{0, 50, 200}, {1, 0}});
BENCHMARK(BM_ClosedForm)->Arg(0)->Arg(50)->Arg(200);

// ---- The force path ----

void forcePass(benchmark::State& state, bool gravity, bool kinematics) {
    QEL d;
    setUpType1(d);
    d.m_fForceEnable = d.m_fDeviceEnable = true;
    d.m_fGravComp = gravity;
    std::vector<Counts> path = circle(d, state.range(0) / 1000.0);
    // The position the compensation works from, as the pass before would leave it.
    d.EncToOpPos(path[0].enc, d.m_Position, d.m_Orientation);
    double force[3] = {0.5, -1.0, 2.0};
    size_t k = 0;
    for (auto _ : state) {
        if (kinematics) d.EncToOpPos(path[k].enc, d.m_Position, d.m_Orientation);
        int ok = d.OpFrcToMot(force, path[k].enc, d.m_MotorDACValue);
        benchmark::DoNotOptimize(ok);
        benchmark::DoNotOptimize(d.m_MotorDACValue);
        if (++k == path.size()) k = 0;
    }
    if (d.m_ErrCode) state.SkipWithError("the pass reported an error");
    tearDown(d);
}

void BM_ForcePath(benchmark::State& state) { forcePass(state, false, false); }
void BM_ForcePathWithGravity(benchmark::State& state) { forcePass(state, true, false); }
void BM_WholePass(benchmark::State& state) { forcePass(state, true, true); }

BENCHMARK(BM_ForcePath)->Arg(0)->Arg(50);
BENCHMARK(BM_ForcePathWithGravity)->Arg(0)->Arg(50);
BENCHMARK(BM_WholePass)->Arg(0)->Arg(50)->Arg(200);

// ---- The cyclic frame ----

// The build and parse are protected members; the benchmark reaches them as a derived class.
struct FrameCodec : QEL {
    using QEL::BuildFullRequest;
    using QEL::ParseFullReply;
};

void BM_FrameChecksum(benchmark::State& state) {
    uint8_t frame[67];
    for (int i = 0; i < 67; ++i) frame[i] = static_cast<uint8_t>(i * 37);
    for (auto _ : state) {
        benchmark::DoNotOptimize(frame);
        benchmark::DoNotOptimize(crcCompute(frame, 67));
    }
}

void BM_FrameBuild(benchmark::State& state) {
    unsigned char ctrl[6] = {1, 1, 1, 0, 0, 0};
    unsigned int target[6] = {74565, 2, 3, 4, 5, 6};
    short velocity[6] = {-2, 3, 4, 0, 0, 0}, motor[6] = {1000, -1000, 20, 0, 0, 0};
    uint8_t request[67];
    for (auto _ : state) {
        benchmark::DoNotOptimize(
            FrameCodec::BuildFullRequest(request, 3, 6, ctrl, target, velocity, motor, 0x0102));
        benchmark::DoNotOptimize(request);
    }
}

void BM_FrameParse(benchmark::State& state) {
    FrameCodec d;
    setUpType1(d);
    uint8_t reply[67] = {0xBE, qelframe::cmd::Cyclic, 0x63};
    for (int i = 0; i < 6; ++i) {
        reply[3 + 10 * i + 1] = 0x10;
        reply[3 + 10 * i + 3] = static_cast<uint8_t>(0x10 + i);
    }
    unsigned char motors, channels, status[6];
    unsigned int enc[6];
    short vel[6], current[6];
    unsigned short deviceState;
    for (auto _ : state) {
        benchmark::DoNotOptimize(reply);
        d.ParseFullReply(reply, 6, &motors, &channels, status, enc, vel, current, &deviceState);
        benchmark::DoNotOptimize(enc);
    }
    tearDown(d);
}

BENCHMARK(BM_FrameChecksum);
BENCHMARK(BM_FrameBuild);
BENCHMARK(BM_FrameParse);

} // namespace

BENCHMARK_MAIN();
