// The kinematics of one refresh pass (counts to position by Newton's method, the Jacobian and
// the Cartesian velocity, and the wrist's orientation) next to a closed-form forward
// kinematics of the same arm: counts to angles, elbows, and the meeting point of the three
// spheres about them. The pass should stay under a microsecond and within four times the
// closed form.
//
//   build/bench/kinematics_bench
//
// Three arm motions, as the handle's travel per pass: 0 (the warm start is already the
// solution: one Newton step, and one more for the Jacobian), 50 micrometres (a brisk hand at
// about 0.2 m/s with some 4000 passes a second: two steps) and 200 micrometres (near 1 m/s:
// three steps).
#include <benchmark/benchmark.h>

#include <cmath>
#include <cstdlib>
#include <vector>

#include "QEL.h"
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

} // namespace

BENCHMARK_MAIN();
