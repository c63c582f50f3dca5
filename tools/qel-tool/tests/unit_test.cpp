// SPDX-License-Identifier: MIT
// The tool's parts that need no device: the classification of library errors into exit
// statuses, the limit tracker, the progress bar and traces.
#include <gtest/gtest.h>

#include <cmath>
#include <limits>
#include <set>
#include <sstream>

#include "commands.h"
#include "failure.h"
#include "limits.h"
#include "terminal.h"
#include "trace.h"

using namespace qeltool;

// ---- Library errors and exit statuses ----

TEST(ExitStatus, EveryLibraryErrorHasItsOwnStatusAndHelpRow) {
    std::set<int> statuses = {kOk, kFailed, kUsage, kNotConfirmed, kNoReason, kUnknownCode};
    std::string help = kExitStatusHelp;
    for (const LibraryError& e : libraryErrors()) {
        EXPECT_TRUE(statuses.insert(e.status).second) << e.text;
        EXPECT_EQ(classify(e.code, e.text), &e) << e.text;
        size_t at = help.find("\n  " + std::to_string(e.status) + "  ");
        ASSERT_NE(at, std::string::npos) << e.text;
        std::string line = help.substr(at + 1, help.find('\n', at + 1) - at - 1);
        std::string origin =
            std::string(e.device ? "(device" : "(interface") + " error " + std::to_string(e.code);
        EXPECT_NE(line.find(origin), std::string::npos) << line;
    }
    EXPECT_EQ(libraryErrors().size(), 15u); // 4 of the interface, 11 of the device
}

TEST(ExitStatus, AnUnknownTextDecidesOnlyACodeBothKindsShare) {
    // A shared code with a text of neither kind cannot be placed.
    EXPECT_EQ(classify(3, ""), nullptr);
    // A device-only code keeps an earlier text in the device: the code decides.
    EXPECT_EQ(classify(19, "CRC Not Passed")->status, 39);
    EXPECT_EQ(classify(77, "whatever"), nullptr);
}

// ---- Calibration limits ----

TEST(Limits, DownwardAcrossTheWrapAndBackWithinOneTurn) {
    const uint32_t turn = 1 << 20;
    LimitTracker down(turn);
    for (int64_t c = 4000; c >= -6000; c -= 1000)
        down.add(static_cast<uint32_t>((c + turn) % turn));
    down.add(2000); // back again: no new extreme
    EXPECT_EQ(down.lower(), turn - 6000);
    EXPECT_EQ(down.upper(), 4000u);
    EXPECT_EQ(down.span(), 10000u);
    LimitTracker inside(turn);
    for (uint32_t c : {500000u, 400000u, 650000u, 600000u}) inside.add(c);
    EXPECT_EQ(inside.lower(), 400000u);
    EXPECT_EQ(inside.upper(), 650000u);
}

// ---- Progress bar ----

TEST(ProgressBar, FillsInProportionAndClamps) {
    EXPECT_EQ(progressBar(0.5, 10), "[#####-----]  50%");
    EXPECT_EQ(progressBar(3, 4), "[####] 100%");
    EXPECT_EQ(progressBar(-1, 4), "[----]   0%");
}

// ---- Traces ----

TEST(Trace, AValueTheLibraryCouldNotComputeIsWrittenNanWhateverItsSign) {
    Sample s;
    s.velocity = {0, -std::numeric_limits<double>::quiet_NaN(), 0};
    EXPECT_EQ(traceRow(s).find("-nan"), std::string::npos);
    std::stringstream csv(traceHeader() + "\n" + traceRow(s) + "\n");
    Trace t = readTrace(csv, "t.csv");
    ASSERT_EQ(t.rows.size(), 1u);
    EXPECT_TRUE(std::isnan(t.rows[0][static_cast<size_t>(t.column("vy"))]));
}
