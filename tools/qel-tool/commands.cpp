// SPDX-License-Identifier: MIT
#include "commands.h"

#include <cstdio>
#include <string>

#include "failure.h"

#ifndef QELTOOL_VERSION
#define QELTOOL_VERSION "unknown"
#endif

namespace qeltool {

const std::vector<AddCommand>& commandTable() {
    static const std::vector<AddCommand> table = {
        addList, addInfo, addMonitor, addCalibrate, addParam, addRecord, addPlot, addDoctor, addServe,
    };
    return table;
}

CLI::App* addSubcommand(CLI::App& tool, const char* name, const char* description) {
    CLI::App* command = tool.add_subcommand(name, description);
    qelcli::style(*command);
    command->group("commands");
    command->footer("");
    // The device selection and other options of a command may follow its action's name.
    command->fallthrough();
    return command;
}

int runTool(std::vector<std::string> words) {
    CLI::App tool("a device's tool: list, inspect, watch, calibrate, configure, record, plot",
                  "qel-tool");
    qelcli::style(tool);
    tool.set_version_flag("--version", "qel-tool " QELTOOL_VERSION, "the tool's version");
    tool.footer(kExitStatusHelp);
    std::vector<Command> commands;
    for (AddCommand add : commandTable()) commands.push_back(add(tool));

    // "qel-tool help [COMMAND]" is "qel-tool [COMMAND] --help"; an unknown command is refused.
    if (!words.empty() && words[0] == "help") {
        words.erase(words.begin());
        bool known = words.empty();
        for (const Command& command : commands)
            known = known || command.app->get_name() == words[0];
        if (known) words.push_back("--help");
    }
    try {
        tool.parse(std::vector<std::string>(words.rbegin(), words.rend()));
    } catch (const CLI::ParseError& e) {
        return qelcli::finish(tool, e);
    }
    std::string who = qelcli::commandPath(tool);
    try {
        for (const Command& command : commands)
            if (command.app->parsed()) return command.run();
        throw UsageError("a command is needed (see qel-tool --help)");
    } catch (const Failure& e) {
        std::fflush(stdout);
        std::fprintf(stderr, "%s: %s\n", who.c_str(), e.what());
        return e.status;
    } catch (const std::exception& e) {
        std::fflush(stdout);
        std::fprintf(stderr, "%s: %s\n", who.c_str(), e.what());
        return kFailed;
    }
}

const char kExitStatusHelp[] =
    "exit status:\n"
    "  0   success\n"
    "  1   a failure of the tool itself (a file, gnuplot, an interrupted recording)\n"
    "  2   bad command line\n"
    "  3   a write to the device was not confirmed\n"
    "  9   a library call failed without giving a reason\n"
    "  10  no device connected              (interface error 1)\n"
    "  11  device not open                  (interface error 2)\n"
    "  12  invalid input parameter          (interface error 3: no such device or serial)\n"
    "  13  expert mode not set              (interface error 4)\n"
    "  21  device not open                  (device error 1)\n"
    "  22  device not initialized           (device error 2)\n"
    "  23  unmatched operation mode         (device error 3)\n"
    "  24  mode set error                   (device error 4)\n"
    "  25  thread create failed             (device error 5)\n"
    "  36  device open failed               (device error 16)\n"
    "  38  data send failed                 (device error 18)\n"
    "  39  data receive failed              (device error 19: the device did not answer)\n"
    "  40  CRC not passed                   (device error 20)\n"
    "  41  invalid received data            (device error 257)\n"
    "  42  invalid input parameter          (device error 258)\n"
    "  49  a library error code not listed here\n";

} // namespace qeltool
