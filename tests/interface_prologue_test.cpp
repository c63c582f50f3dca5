// SPDX-License-Identifier: MIT
// Every exported function's checks before it reaches a device, one table row per function:
// an identifier out of range, an empty slot, expert mode off, and the fixed answer of the
// functions that do nothing else, each with its outputs left as they were. The rows must name
// exactly the functions of the exported-symbol list.
#include <gtest/gtest.h>

#include <cstring>
#include <fstream>
#include <functional>
#include <optional>
#include <set>
#include <string>
#include <type_traits>
#include <vector>

#include "QEL_OPEN.h"
#include "emulator.h"
#include "exported_calls.h"
#include "fixtures.h"

namespace {

using qeltest::expectLastError;
using qeltest::Expert;
using qeltest::ExpertNode1;
using qeltest::NoPrologue;
using qeltest::Outputs;
using qeltest::RangeOnly;
using qeltest::Row;
using qeltest::rows;

// The plain names of the exported-symbol list.
std::set<std::string> exportedNames() {
    std::ifstream list(QEL_EXPORTED_SYMBOLS_FILE);
    std::set<std::string> names;
    std::string line;
    while (std::getline(list, line)) {
        if (line.empty() || line[0] == '#') continue;
        size_t equals = line.find('=');
        names.insert(equals == std::string::npos ? line : line.substr(equals + 1));
    }
    return names;
}

class Prologue : public qeltest::InterfaceTest {
protected:
    void TearDown() override {
        qeltest::InterfaceTest::TearDown();
        emulator.reset();
    }
    std::unique_ptr<qelemu::Emulator> emulator;
};

TEST_F(Prologue, EveryFunctionChecksItsDeviceBeforeAnythingElse) {
    const std::vector<Row> table = rows();
    std::set<std::string> named;
    for (const Row& row : table) EXPECT_TRUE(named.insert(row.name).second) << row.name;
    EXPECT_EQ(named, exportedNames()) << "one row per exported function";

    // Three devices: 1 and 3 open, 2 not; identifier 4 is out of range.
    qelemu::EmulatorOptions options;
    options.devices = 3;
    emulator.reset(new qelemu::Emulator(options));
    ASSERT_EQ(qelOpenID(1), 1);
    ASSERT_EQ(qelOpenID(3), 3);
    const char outOfRange = 4, empty = 2, open = 3;

    Outputs outputs;
    auto run = [&](const Row& row, char id) {
        outputs.fill();
        qelClearError();
        return row.call(outputs, id);
    };

    for (const Row& row : table) {
        SCOPED_TRACE(row.name);
        if (row.checks == NoPrologue) {
            if (!row.fixed) continue;
            EXPECT_EQ(run(row, open), *row.fixed);
            expectLastError(0, 0, "");
            continue;
        }

        qelDisableExpertMode();
        EXPECT_EQ(run(row, outOfRange), 0.0);
        expectLastError(3, 1, "Invalid Input Parameter");
        EXPECT_TRUE(outputs.untouched());
        if (row.checks == RangeOnly) continue;

        qelEnableExpertMode();
        EXPECT_EQ(run(row, empty), 0.0);
        expectLastError(2, empty, "Device Not Open");
        EXPECT_TRUE(outputs.untouched());

        if (row.checks == Expert || row.checks == ExpertNode1) {
            qelDisableExpertMode();
            EXPECT_EQ(run(row, open), 0.0);
            expectLastError(4, row.checks == ExpertNode1 ? 1 : open, "Expert Mode Not Set");
            EXPECT_TRUE(outputs.untouched());
            qelEnableExpertMode();
        }

        if (row.fixed) {
            EXPECT_EQ(run(row, open), *row.fixed);
            expectLastError(0, 0, "");
            EXPECT_TRUE(outputs.untouched());
        }
    }
}

} // namespace
