// qel-emulator's command line: what each option makes of the emulated devices.
#include <gtest/gtest.h>

#include <initializer_list>
#include <string>
#include <vector>

#include "launcher_options.h"

namespace {

// Parses a command line given as words (the program name is added).
struct Parsed {
    int status;
    qelemu::LauncherOptions options;
};
Parsed parse(std::initializer_list<const char*> words) {
    std::vector<std::string> storage = {"qel-emulator"};
    storage.insert(storage.end(), words.begin(), words.end());
    std::vector<char*> argv;
    for (std::string& w : storage) argv.push_back(&w[0]);
    Parsed p;
    p.status = qelemu::parseLauncherOptions(static_cast<int>(argv.size()), argv.data(), p.options);
    return p;
}

using Kind = qelemu::HandScript::Kind;

// The examples' end-to-end tests and QelEmulator.ServesAChildProgram run the launcher with its
// devices, types, serial numbers, poses, hands and a button press; here, how hands spread over
// the devices and each of the hand's parameters.
TEST(LauncherOptions, HandsOnePerDeviceOrOneForAll) {
    Parsed p = parse({"--devices", "3", "--hand", "circle,none", "--", "prog", "--seconds", "2"});
    ASSERT_EQ(p.status, -1);
    EXPECT_EQ(p.options.program, 6);
    ASSERT_EQ(p.options.emulator.device.size(), 3u);
    EXPECT_EQ(p.options.emulator.device[0].hand.kind, Kind::FollowCircle);
    EXPECT_EQ(p.options.emulator.device[1].hand.kind, Kind::None);
    EXPECT_EQ(p.options.emulator.device[2].hand.kind, Kind::None) << "past the list: no hand";
    for (const auto& d : p.options.emulator.device) EXPECT_TRUE(d.physics) << "a hand moves it";

    p = parse({"-n", "2", "--hand", "push", "--hand-point", "1,-2,230", "--hand-normal", "0,1,0",
               "--hand-force", "3.5", "--", "prog"});
    ASSERT_EQ(p.status, -1);
    for (const auto& d : p.options.emulator.device) {
        EXPECT_EQ(d.hand.kind, Kind::PushPlane);
        EXPECT_EQ(d.hand.point[0], 1);
        EXPECT_EQ(d.hand.point[1], -2);
        EXPECT_EQ(d.hand.point[2], 230);
        EXPECT_EQ(d.hand.normal[1], 1);
        EXPECT_EQ(d.hand.normal[2], 0);
        EXPECT_EQ(d.hand.force, 3.5);
    }
}

TEST(LauncherOptions, LineIsThePseudoTerminalUnlessAUsbLineIsNamed) {
    EXPECT_EQ(parse({"--", "prog"}).options.emulator.line, qelemu::Line::Pty);
    EXPECT_EQ(parse({"--line", "usb-hs", "--", "prog"}).options.emulator.line,
              qelemu::Line::UsbHighSpeed);
    testing::internal::CaptureStderr();
    EXPECT_EQ(parse({"--line", "usb", "--", "prog"}).status, 2);
    EXPECT_NE(testing::internal::GetCapturedStderr().find("usb-fs"), std::string::npos);
}

TEST(LauncherOptions, UsageErrorsExitWithTwo) {
    testing::internal::CaptureStderr();
    EXPECT_EQ(parse({"--hand", "wave", "--", "prog"}).status, 2);
    EXPECT_EQ(parse({"--hand-point", "1,2", "--", "prog"}).status, 2);
    EXPECT_EQ(parse({"--devices", "11", "--", "prog"}).status, 2);
    EXPECT_EQ(parse({"--bogus", "--", "prog"}).status, 2);
    EXPECT_EQ(parse({"--physics"}).status, 2) << "no program";
    EXPECT_EQ(parse({"--press-button"}).status, 2) << "a missing value";
    std::string errors = testing::internal::GetCapturedStderr();
    EXPECT_NE(errors.find("--hand takes hold, push, circle or none"), std::string::npos);
    EXPECT_NE(errors.find("--press-button needs a value"), std::string::npos);
}

} // namespace
