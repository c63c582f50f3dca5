// The force path of one refresh pass: OpFrcToMot (joint angles from the pass's counts, the
// Jacobian transpose, the motor conversion) with and without gravity compensation, and the
// whole calibrated, force-enabled pass's computation (EncToOpPos, then OpFrcToMot with
// compensation). The whole pass should stay under 3 microseconds.
//
//   build/bench/force_bench
//
// The argument is the handle's travel per pass in micrometres, as in kinematics_bench.
#include <benchmark/benchmark.h>

#include <vector>

#include "QEL.h"
#include "bench_device.h"

namespace {

using namespace qelbench;

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

} // namespace

BENCHMARK_MAIN();
