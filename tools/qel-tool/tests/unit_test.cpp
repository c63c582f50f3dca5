// The tool's parts that need no device: the command line, the classification of library
// errors into exit statuses, the limit tracker, the progress bar, traces and the plot script.
#include <gtest/gtest.h>

#include <cmath>
#include <limits>
#include <set>
#include <sstream>

#include "QEL_OPEN.h"
#include "args.h"
#include "commands.h"
#include "failure.h"
#include "limits.h"
#include "plot_script.h"
#include "registers.h"
#include "terminal.h"
#include "trace.h"

using namespace qeltool;

// ---- The command line ----

TEST(Args, OptionsAnywhereAndPositionalWordsInOrder) {
    Args args({"get", "-d", "2", "serial", "--rate=50", "type"});
    EXPECT_EQ(args.value({"-d", "--device"}), "2");
    EXPECT_EQ(args.value({"-r", "--rate"}), "50");
    EXPECT_EQ(args.next(), "get");
    EXPECT_EQ(args.next(), "serial");
    EXPECT_EQ(args.next(), "type");
    EXPECT_EQ(args.next(), std::nullopt);
    EXPECT_NO_THROW(args.finish());
}

TEST(Args, NegativeNumbersArePositionalAndDashDashEndsOptions) {
    Args args({"set", "300", "-5", "--", "--yes"});
    EXPECT_FALSE(args.flag({"--yes"}));
    EXPECT_EQ(args.next(), "set");
    EXPECT_EQ(args.next(), "300");
    EXPECT_EQ(args.next(), "-5");
    EXPECT_EQ(args.next(), "--yes");
}

TEST(Args, LeftoversAndMissingValuesAreUsageErrors) {
    Args unknown({"--frob"});
    EXPECT_THROW(unknown.finish(), UsageError);
    Args extra({"list", "more"});
    EXPECT_EQ(extra.next(), "list");
    EXPECT_THROW(extra.finish(), UsageError);
    Args missing({"--time"});
    EXPECT_THROW(missing.value({"--time"}), UsageError);
    Args empty({});
    try {
        empty.next("the trace file");
        FAIL();
    } catch (const UsageError& e) {
        EXPECT_EQ(e.status, kUsage);
        EXPECT_STREQ(e.what(), "missing the trace file");
    }
}

TEST(Args, NumbersAreCheckedForFormAndRange) {
    EXPECT_EQ(parseInteger("0x10", "n", 0, 100), 16);
    EXPECT_EQ(parseInteger("-5", "n", -10, 10), -5);
    EXPECT_THROW(parseInteger("12a", "n", 0, 100), UsageError);
    EXPECT_THROW(parseInteger("", "n", 0, 100), UsageError);
    EXPECT_THROW(parseInteger("101", "n", 0, 100), UsageError);
    EXPECT_DOUBLE_EQ(parseNumber("2.5", "x", 0, 10), 2.5);
    EXPECT_THROW(parseNumber("nan", "x", 0, 10), UsageError);
    EXPECT_THROW(parseNumber("11", "x", 0, 10), UsageError);
    std::array<double, 3> f = parseTriple("1,-2,0.5", "f");
    EXPECT_EQ(f, (std::array<double, 3>{1, -2, 0.5}));
    EXPECT_THROW(parseTriple("1,2", "f"), UsageError);
    EXPECT_THROW(parseTriple("1,2,3,4", "f"), UsageError);
    EXPECT_THROW(parseTriple("1,,3", "f"), UsageError);
}

// ---- Library errors and exit statuses ----

TEST(ExitStatus, EveryLibraryErrorHasItsOwnStatus) {
    std::set<int> statuses = {kOk, kFailed, kUsage, kNotConfirmed, kNoReason, kUnknownCode};
    for (const LibraryError& e : libraryErrors()) {
        EXPECT_TRUE(statuses.insert(e.status).second) << e.text;
        EXPECT_EQ(classify(e.code, e.text), &e) << e.text;
    }
    EXPECT_EQ(libraryErrors().size(), 15u); // 4 of the interface, 11 of the device
}

TEST(ExitStatus, TheHelpTextListsEveryStatus) {
    std::string help = kExitStatusHelp;
    for (const LibraryError& e : libraryErrors()) {
        std::string row = "\n  " + std::to_string(e.status) + "  ";
        size_t at = help.find(row);
        ASSERT_NE(at, std::string::npos) << e.text;
        std::string line = help.substr(at + 1, help.find('\n', at + 1) - at - 1);
        std::string origin =
            std::string(e.device ? "(device" : "(interface") + " error " + std::to_string(e.code);
        EXPECT_NE(line.find(origin), std::string::npos) << line;
    }
}

TEST(ExitStatus, CodesSharedByInterfaceAndDeviceAreToldApartByText) {
    EXPECT_EQ(classify(1, "No Device Connected to the System")->status, 10);
    EXPECT_EQ(classify(1, "Device Not Open")->status, 21);
    EXPECT_EQ(classify(2, "Device Not Open")->status, 11);
    EXPECT_EQ(classify(2, "Device Not Initialized")->status, 22);
    EXPECT_EQ(classify(3, "Invalid Input Parameter")->status, 12);
    EXPECT_EQ(classify(258, "Invalid Input Parameter!")->status, 42);
    // A shared code with a text of neither kind cannot be placed.
    EXPECT_EQ(classify(3, ""), nullptr);
    // A device-only code keeps an earlier text in the device: the code decides.
    EXPECT_EQ(classify(19, "CRC Not Passed")->status, 39);
    EXPECT_EQ(classify(77, "whatever"), nullptr);
}

TEST(ExitStatus, FailuresReadTheLibrarysRecord) {
    qelClearError();
    Failure none = libraryFailure("device 1: cannot do it");
    EXPECT_EQ(none.status, kNoReason);
    // No device has been counted: any identifier is out of range, interface error 3.
    double x, y, z;
    EXPECT_EQ(qelGetPosition(&x, &y, &z, 1), 0);
    Failure range = libraryFailure("device 1: cannot read the position");
    EXPECT_EQ(range.status, 12);
    EXPECT_NE(std::string(range.what()).find("Invalid Input Parameter (interface error 3)"),
              std::string::npos)
        << range.what();
    EXPECT_TRUE(libraryErrorPending());
    EXPECT_THROW(check(0, "x"), Failure);
    EXPECT_NO_THROW(check(1, "x"));
    clearLibraryError();
    EXPECT_FALSE(libraryErrorPending());
}

// ---- Calibration limits ----

TEST(Limits, ARangeAcrossTheWrapComesOutWhole) {
    const uint32_t turn = 1 << 20;
    LimitTracker t(turn);
    EXPECT_TRUE(t.empty());
    for (uint32_t c = turn - 3000; c < turn; c += 500) t.add(c);
    for (uint32_t c = 0; c <= 7000; c += 500) t.add(c);
    t.add(2000); // back again: no new extreme
    EXPECT_EQ(t.lower(), turn - 3000);
    EXPECT_EQ(t.upper(), 7000u);
    EXPECT_EQ(t.span(), 10000u);
    EXPECT_EQ(storedSpan(t.lower(), t.upper(), turn), 10000u);
    EXPECT_NEAR(t.spanDegrees(), 10000 * 360.0 / turn, 1e-9);
}

TEST(Limits, DownwardAcrossTheWrapAndWithinOneTurn) {
    const uint32_t turn = 1 << 20;
    LimitTracker down(turn);
    for (int64_t c = 4000; c >= -6000; c -= 1000)
        down.add(static_cast<uint32_t>((c + turn) % turn));
    EXPECT_EQ(down.lower(), turn - 6000);
    EXPECT_EQ(down.upper(), 4000u);
    LimitTracker inside(turn);
    for (uint32_t c : {500000u, 400000u, 650000u, 600000u}) inside.add(c);
    EXPECT_EQ(inside.lower(), 400000u);
    EXPECT_EQ(inside.upper(), 650000u);
    EXPECT_EQ(storedSpan(948576, 156319, turn), 256319u);
    EXPECT_EQ(storedSpan(100000, 799051, turn), 699051u);
}

// ---- Progress bar ----

TEST(ProgressBar, FillsInProportionAndClamps) {
    EXPECT_EQ(progressBar(0, 10), "[----------]   0%");
    EXPECT_EQ(progressBar(0.5, 10), "[#####-----]  50%");
    EXPECT_EQ(progressBar(1, 10), "[##########] 100%");
    EXPECT_EQ(progressBar(3, 4), "[####] 100%");
    EXPECT_EQ(progressBar(-1, 4), "[----]   0%");
}

// ---- Traces ----

TEST(Trace, RowsMatchTheHeaderAndReadBack) {
    Sample s;
    s.time = 0.25;
    s.position = {1.5, -2, 150};
    s.velocity = {0, -std::numeric_limits<double>::quiet_NaN(), 0};
    s.force = {0, 0, 2};
    s.motor = {-100, 0, 32767};
    std::stringstream csv;
    csv << traceHeader() << "\n" << traceRow(s) << "\n";
    EXPECT_EQ(traceRow(s).find("-nan"), std::string::npos);
    Trace t = readTrace(csv, "t.csv");
    ASSERT_EQ(t.columns.size(), 13u);
    ASSERT_EQ(t.rows.size(), 1u);
    EXPECT_EQ(t.column("t_s"), 0);
    EXPECT_EQ(t.column("fz_N"), 9);
    EXPECT_EQ(t.column("motor2"), 12);
    EXPECT_EQ(t.column("nope"), -1);
    EXPECT_DOUBLE_EQ(t.rows[0][0], 0.25);
    EXPECT_DOUBLE_EQ(t.rows[0][3], 150);
    EXPECT_TRUE(std::isnan(t.rows[0][5]));
    EXPECT_DOUBLE_EQ(t.rows[0][9], 2);
    EXPECT_DOUBLE_EQ(t.rows[0][10], -100);
}

TEST(Trace, BrokenFilesNameTheLine) {
    std::stringstream shortRow("a,b\n1,2\n\n3\n");
    try {
        readTrace(shortRow, "t.csv");
        FAIL();
    } catch (const Failure& e) {
        EXPECT_EQ(e.status, kFailed);
        EXPECT_STREQ(e.what(), "t.csv:4: 1 fields where the header has 2");
    }
    std::stringstream text("a,b\n1,x\n");
    EXPECT_THROW(readTrace(text, "t.csv"), Failure);
    std::stringstream empty("");
    EXPECT_THROW(readTrace(empty, "t.csv"), Failure);
    std::stringstream headerOnly("a,b\r\n");
    Trace t = readTrace(headerOnly, "t.csv");
    EXPECT_EQ(t.columns, (std::vector<std::string>{"a", "b"}));
    EXPECT_TRUE(t.rows.empty());
}

// ---- The plot script ----

TEST(PlotScript, QuotesNamesAndPlotsTheRequestedColumns) {
    EXPECT_EQ(gnuplotQuote("it's"), "'it''s'");
    EXPECT_EQ(gnuplotQuote("a\nb"), "'a b'");
    PlotRequest r;
    r.data = "run's.csv";
    r.output = "out.png";
    r.title = "run";
    r.width = 800;
    r.height = 600;
    r.t = 1, r.x = 2, r.y = 3, r.z = 4, r.fx = 8, r.fy = 9, r.fz = 10;
    std::string s = gnuplotScript(r);
    EXPECT_NE(s.find("set terminal pngcairo size 800,600"), std::string::npos);
    EXPECT_NE(s.find("set output 'out.png'"), std::string::npos);
    EXPECT_NE(s.find("'run''s.csv' skip 1 using 1:2 "), std::string::npos);
    EXPECT_NE(s.find("using 1:10 "), std::string::npos); // fz against time
    EXPECT_NE(s.find("using 2:3 "), std::string::npos);  // the x-y path
    EXPECT_NE(s.find("using 3:4 "), std::string::npos);  // the y-z path
    EXPECT_NE(s.find("unset multiplot"), std::string::npos);
}

// ---- Registers ----

TEST(Registers, NamesNumbersAndWidths) {
    ASSERT_NE(findRegister("serial"), nullptr);
    EXPECT_EQ(findRegister("serial")->number, 136);
    EXPECT_EQ(findRegister("serial")->width, 32);
    EXPECT_EQ(findRegister("type")->width, 16);
    EXPECT_EQ(findRegister("roll-upper")->number, 122);
    EXPECT_EQ(findRegister("arm1-lower")->number, 100);
    EXPECT_EQ(registerAt(128)->name, "resolution");
    EXPECT_EQ(registerAt(129), nullptr);
    EXPECT_EQ(findRegister("nothing"), nullptr);
}
