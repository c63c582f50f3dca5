// SPDX-License-Identifier: MIT
// The subcommands of qel-tool. Each lives in a file of its own (cmd_NAME.cpp) that defines one
// function: it adds the subcommand, with its options and help, to the tool's command line and
// returns what runs it once the line has been read. Failures are thrown (failure.h).
//
// Adding a command: write cmd_NAME.cpp defining `Command addNAME(CLI::App& tool)`, list the file
// in CMakeLists.txt, declare the function below and add it to the table in commands.cpp.
#ifndef QELTOOL_COMMANDS_H
#define QELTOOL_COMMANDS_H

#include <functional>
#include <string>
#include <vector>

#include "command_line.h"

namespace qeltool {

struct Command {
    CLI::App* app;            // the subcommand, as added to the tool's command line
    std::function<int()> run; // returns the exit status
};
using AddCommand = Command (*)(CLI::App& tool);

// Runs the tool on its command line (without the program's name) as main() does: prints
// what a failure means and returns the exit status.
int runTool(std::vector<std::string> words);

// Every command, in the order the help lists them.
const std::vector<AddCommand>& commandTable();

// Adds a subcommand. The description's first line is its summary in the tool's list of
// commands; the whole description heads its own help.
CLI::App* addSubcommand(CLI::App& tool, const char* name, const char* description);

// The table of exit statuses, for the help texts.
extern const char kExitStatusHelp[];

Command addList(CLI::App& tool);
Command addInfo(CLI::App& tool);
Command addMonitor(CLI::App& tool);
Command addCalibrate(CLI::App& tool);
Command addParam(CLI::App& tool);
Command addRecord(CLI::App& tool);
Command addPlot(CLI::App& tool);
Command addDoctor(CLI::App& tool);
Command addServe(CLI::App& tool);

} // namespace qeltool

#endif
