// SPDX-License-Identifier: MIT
// Bad input at the exported interface: every function of the exported table called with every
// identifier from -128 to 127, in every state of the device table: before any open, counted
// but none open, ten devices open (with an eleventh attached that the table has no room for),
// ten initialised, closed objects left in the table, and after closing. Identifiers out of
// range always fail with error 3 and leave the outputs alone; identifiers that reach a device
// give a result and an error record from the defined set. The output pointers the device
// object checks are handed in as null.
//
// The states follow each other in one test, since the interface's table is global: run in a
// process of its own (as ctest does), it starts before any open.
#include <gtest/gtest.h>

#include <cmath>
#include <memory>
#include <set>
#include <string>

#include "QEL.h"
#include "QEL_OPEN.h"
#include "emulator.h"
#include "exported_calls.h"
#include "fixtures.h"

namespace {

using qeltest::Outputs;
using qeltest::Row;

// Functions that change the device table or start threads: each state calls them on purpose,
// after the sweep.
const std::set<std::string> kTableFunctions = {
    "qelOpen",      "qelOpenID", "qelOpenSerial", "qelGetAvailableCount",
    "qelSetDevice", "qelClose",  "qelInit",       "qelStartThread",
};

// Every error record the interface can hold: cleared, one of the interface's own codes with
// its text, or the record of a device object, which replaces them after a device failure. The
// texts themselves are checked where they are made.
bool definedRecord(unsigned code, const std::string& text) {
    if (code == 0 && text.empty()) return true;
    if (code <= 5 && text == qelErrorGetStr(static_cast<int>(code))) return true;
    QEL device;
    device.ErrorCatch(code);
    return device.m_ErrCode == code && *device.m_ErrString && text == device.m_ErrString;
}

// The last-error record.
struct Record {
    unsigned code = 0, node = 0;
    std::string text;
    Record() {
        qelErrorGetLast(&code, &node);
        const char* last = qelErrorGetLastStr();
        text = last ? last : "(null)";
    }
};

class BadInput : public qeltest::InterfaceTest {
protected:
    void TearDown() override {
        qeltest::InterfaceTest::TearDown();
        emulator.reset();
    }

    // One call of a row with identifier `id` while `count` devices are counted: out of range
    // it fails with error 3 and writes nothing; in range its result and record are defined.
    void expectDefined(const Row& row, int id, int count) {
        outputs.fill();
        qelClearError();
        qelEnableExpertMode();
        const double result = row.call(outputs, static_cast<char>(id));
        const int resolved = id == -1 ? qelGetDeviceID() : id;
        const Record r;
        if (row.checks != qeltest::NoPrologue && (resolved < 1 || resolved > count)) {
            EXPECT_TRUE(result == 0.0 && r.code == 3 && r.node == 1 && outputs.untouched())
                << row.name << " with " << id << ": " << result << ", error " << r.code
                << " at node " << r.node << ", outputs untouched " << outputs.untouched();
            return;
        }
        EXPECT_TRUE(std::isfinite(result)) << row.name << " with " << id;
        EXPECT_TRUE(definedRecord(r.code, r.text))
            << row.name << " with " << id << ": " << r.code << " \"" << r.text << "\"";
    }

    // Every row but the table functions, every identifier.
    void sweep(const char* state, int count) {
        SCOPED_TRACE(state);
        for (const Row& row : qeltest::rows()) {
            if (kTableFunctions.count(row.name)) continue;
            for (int id = -128; id <= 127; ++id) expectDefined(row, id, count);
        }
        qelDisableExpertMode();
    }

    // A table function over every identifier: in range it answers `inRange`, out of range it
    // fails with error 3.
    void sweepTable(const std::function<int(char)>& call, const char* name, int count,
                    const std::function<int(int)>& inRange) {
        SCOPED_TRACE(name);
        for (int id = -128; id <= 127; ++id) {
            qelClearError();
            int resolved = id == -1 ? qelGetDeviceID() : id;
            int result = call(static_cast<char>(id));
            if (resolved >= 1 && resolved <= count && (id != -1 || inRange(-1) >= 0)) {
                EXPECT_EQ(result, inRange(id)) << id;
                continue;
            }
            const Record r;
            EXPECT_TRUE(result == 0 && r.code == 3 && r.node == 1)
                << id << ": " << result << ", error " << r.code << " at node " << r.node;
        }
    }

    std::unique_ptr<qelemu::Emulator> emulator;
    Outputs outputs;
};

TEST_F(BadInput, EveryFunctionEveryIdentifierEveryState) {
    // Ten devices and an eleventh port just like theirs, enumerated last: the table has room
    // for ten, so the eleventh is never counted.
    qelemu::EmulatorOptions options;
    options.devices = 10;
    options.decoys = {qelemu::PortIdentity()};
    emulator.reset(new qelemu::Emulator(options));
    ASSERT_EQ(qelGetDeviceCount(), 10);

    sweep("before any open", 0);
    sweepTable(qelClose, "qelClose", 0, [](int) { return 1; });
    sweepTable(qelInit, "qelInit", 0, [](int) { return 1; });
    // Selecting counts the devices; -1 is no identifier here.
    sweepTable(qelSetDevice, "qelSetDevice", 10, [](int id) { return id == -1 ? -1 : 1; });
    ASSERT_EQ(qelSetDevice(1), 1);

    sweep("counted, none open", 10);
    sweepTable(qelOpenID, "qelOpenID", 10, [](int id) { return id == -1 ? -1 : id; });
    ASSERT_EQ(qelGetDeviceCount(), 10);

    sweep("ten open", 10);
    // The sweep left errors pending in the devices (operations before initialisation); they
    // stay until each device is closed, so the devices are opened afresh.
    for (int id = 1; id <= 10; ++id) {
        ASSERT_EQ(qelClose(static_cast<char>(id)), 1);
        ASSERT_EQ(qelOpenID(static_cast<char>(id)), id);
    }
    sweepTable(qelInit, "qelInit", 10, [](int) { return 1; });
    for (int id = 1; id <= 10; ++id) ASSERT_EQ(qelCalibrateDevice(static_cast<char>(id)), 1);

    // The output pointers that the device object checks, null, each on a device of its own
    // (an error stays pending in its device).
    qelEnableExpertMode();
    EXPECT_EQ(qelGetJointVelocities(nullptr, 1), 0);
    qeltest::expectLastError(258, 1, "Invalid Input Parameter!");
    EXPECT_EQ(qelWristJointAnglesToJacobian(0.1, 0.2, 0.3, nullptr, 2), 0);
    qeltest::expectLastError(258, 2, "Invalid Input Parameter!");
    qelClearError();
    EXPECT_EQ(qelGetOrientationFrame(nullptr, 3), 0);
    qeltest::expectLastError(0, 3, "");

    sweep("ten initialised and calibrated", 10);
    EXPECT_EQ(qelOpen(), 1) << "slot 1 is taken: nothing to open";
    // Learning the serial numbers closes every device; the one asked for is opened again.
    EXPECT_EQ(qelOpenSerial(10005), 5);
    // Probing opens and closes every device and leaves the closed objects in the table.
    EXPECT_EQ(qelGetAvailableCount(), 10);

    sweep("closed objects in the table", 10);
    sweepTable(qelClose, "qelClose", 10, [](int) { return 1; });

    sweep("after close", 10);
    for (int i = 0; i < 10; ++i) EXPECT_FALSE(emulator->device(i).drivesEnabled()) << i;
}

} // namespace
