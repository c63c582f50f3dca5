// SPDX-License-Identifier: MIT
// The guard's arithmetic on a 1 ms clock: the bounds a network command cannot get past.
#include <gtest/gtest.h>

#include <cmath>

#include "command_guard.h"

using bridge::CommandGuard;

namespace {
double magnitude(const double f[3]) { return std::sqrt(f[0] * f[0] + f[1] * f[1] + f[2] * f[2]); }
} // namespace

TEST(CommandGuard, ClampsLimitsTheRateAndRejectsNonFinite) {
    CommandGuard guard({3, 100, 0.1, 0.05});
    const double big[3] = {0, 30, 40}, bad[3] = {1, NAN, 0}, worse[3] = {INFINITY, 0, 0};
    double f[3];
    EXPECT_TRUE(guard.command(big, 0));
    EXPECT_FALSE(guard.command(bad, 0));
    EXPECT_FALSE(guard.command(worse, 0));
    for (int ms = 0; ms <= 10; ++ms) guard.step(ms * 1e-3, f);
    EXPECT_NEAR(magnitude(f), 1.0, 1e-9); // 100 N/s for 10 ms
    for (int ms = 11; ms <= 50; ++ms) guard.step(ms * 1e-3, f);
    EXPECT_NEAR(f[1], 3 * 0.6, 1e-9); // clamped to 3 N, direction kept
    EXPECT_NEAR(f[2], 3 * 0.8, 1e-9);
    EXPECT_EQ(guard.clamped(), 1u);
    EXPECT_EQ(guard.rejected(), 2u);
}

TEST(CommandGuard, WatchdogRampsToZeroWithinItsRampAndStaysThere) {
    CommandGuard guard({3, 10, 0.1, 0.05}); // the rate limit alone would need 300 ms
    const double push[3] = {3, 0, 0};
    double f[3];
    for (int ms = 0; ms <= 400; ++ms) {
        guard.command(push, ms * 1e-3);
        guard.step(ms * 1e-3, f);
    }
    ASSERT_NEAR(f[0], 3, 1e-9);
    int zeroAt = -1;
    for (int ms = 401; ms <= 700; ++ms) {
        guard.step(ms * 1e-3, f);
        if (zeroAt < 0 && magnitude(f) == 0) zeroAt = ms;
        if (zeroAt >= 0) {
            EXPECT_EQ(magnitude(f), 0);
        }
    }
    EXPECT_GT(zeroAt, 400 + 100);
    EXPECT_LE(zeroAt, 400 + 100 + 1 + 50);
    EXPECT_EQ(guard.trips(), 1u);
    guard.command(push, 0.701); // commands resume
    guard.step(0.702, f);
    EXPECT_GT(f[0], 0);
    EXPECT_FALSE(guard.tripped());
}
