// SPDX-License-Identifier: MIT
// The subcommands run in this process where a test must steer the emulated device: press
// buttons, make the device fail. The program as a user runs it is end_to_end.sh.
#include <gtest/gtest.h>

#include <cmath>
#include <cstdio>
#include <functional>
#include <iostream>
#include <memory>
#include <sstream>
#include <unistd.h>

#include "QEL_OPEN.h"
#include "commands.h"
#include "device.h"
#include "emulator.h"
#include "failure.h"
#include "uartconnector.h"
#include "wire.h"

using namespace qeltool;
using qelemu::Fault;
using qelemu::FaultKind;

namespace {

namespace cmd = qelemu::cmd;

struct Result {
    int status = kOk;
    std::string out;   // standard output
    std::string error; // the failure's message
};

using Runner = std::function<int(std::vector<std::string>)>;

// Runs a subcommand as main() does, with standard output captured, its failure's message taken
// from standard error, and `input` as standard input for its questions.
Result tool(const Runner& run, std::vector<std::string> words, const std::string& input = "") {
    std::istringstream in(input);
    std::streambuf* savedIn = std::cin.rdbuf(in.rdbuf());
    testing::internal::CaptureStdout();
    testing::internal::CaptureStderr();
    Result r;
    try {
        r.status = run(std::move(words));
    } catch (const Failure& e) {
        r.status = e.status;
        r.error = e.what();
    }
    std::fflush(stdout);
    r.out = testing::internal::GetCapturedStdout();
    r.error += testing::internal::GetCapturedStderr();
    std::cin.rdbuf(savedIn);
    return r;
}

Runner command(const char* name) {
    return [name](std::vector<std::string> words) {
        words.insert(words.begin(), name);
        return runTool(std::move(words));
    };
}
const Runner runCalibrate = command("calibrate"), runMonitor = command("monitor"),
             runParam = command("param"), runInfo = command("info");

bool contains(const std::string& text, const std::string& part) {
    return text.find(part) != std::string::npos;
}

class ToolOnEmulator : public ::testing::Test {
protected:
    void SetUp() override {
        hal::UartDevices::settleMicroseconds = 0;
        start();
    }
    void TearDown() override {
        closeAll();
        emulator.reset();
    }
    void closeAll() {
        for (int id = 1; id <= 10; ++id) qelClose(static_cast<char>(id));
    }
    // One emulated device of the default type, afresh.
    void start() {
        closeAll();
        emulator.reset();
        emulator.reset(new qelemu::Emulator());
    }
    qelemu::Device& device() { return emulator->device(0); }

    // Runs the subcommand on a fresh device that `arrange` has set up, and expects it to fail
    // with the status and a message that holds `message`.
    void fails(const std::function<void(qelemu::Device&)>& arrange, const Runner& run,
               std::vector<std::string> words, int status, const std::string& message) {
        SCOPED_TRACE(message);
        start();
        arrange(device());
        Result r = tool(run, std::move(words));
        EXPECT_EQ(r.status, status) << r.error;
        EXPECT_TRUE(contains(r.error, message)) << r.error;
    }

    std::unique_ptr<qelemu::Emulator> emulator;
};

// Reads the position of a device that was never initialised, which no subcommand does.
int positionWithoutInit(std::vector<std::string>) {
    Device d(Selection{});
    d.position();
    return kOk;
}

} // namespace

TEST_F(ToolOnEmulator, MonitorListsEveryPressedButton) {
    device().setButtons(0x05);
    Result r = tool(runMonitor, {"--count", "1", "--plain"});
    EXPECT_TRUE(contains(r.out, "buttons      pressed: 0, 2\n")) << r.error << r.out;
}

// What the device does wrong, and the exit status and message each gives.
TEST_F(ToolOnEmulator, EachDeviceFaultHasItsExitStatus) {
    auto inject = [](Fault fault) { return [fault](qelemu::Device& d) { d.injectFault(fault); }; };
    auto nothing = [](qelemu::Device&) {};
    fails(inject(Fault::onCode(FaultKind::NoReply, cmd::ReadRegister)), runParam, {"get", "serial"},
          39, "Data Recieve Failed (device error 19)");
    fails(inject(Fault::next(FaultKind::CorruptChecksum)), runParam, {"get", "type"}, 40,
          "CRC Not Passed (device error 20)");
    fails(inject(Fault::next(FaultKind::WrongHeader)), runParam, {"get", "type"}, 41,
          "Invalid Received Data! (device error 257)");
    fails(inject(Fault::onCode(FaultKind::ZeroAck, cmd::EnableDrives)), runMonitor,
          {"--count", "1", "--gravity", "--plain"}, 41, "cannot power the drives");
    fails(nothing, positionWithoutInit, {}, 22, "Device Not Initialized");
    fails(nothing, runParam, {"get", "serial", "-d", "2"}, 12,
          "there is no device 2: 1 device is connected");
    // A serial number of zero stops the initialisation without a reason.
    fails([](qelemu::Device& d) { d.setSerialNumber(0); }, runInfo, {}, kNoReason,
          "cannot initialise it");
}
