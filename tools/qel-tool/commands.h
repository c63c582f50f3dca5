// The subcommands of qel-tool: each takes its own words of the command line and returns the
// exit status; failures are thrown (failure.h).
#ifndef QELTOOL_COMMANDS_H
#define QELTOOL_COMMANDS_H

#include <vector>

#include "args.h"

namespace qeltool {

struct Command {
    const char* name;
    const char* summary;
    const char* help; // the text of "qel-tool NAME --help"
    int (*run)(Args& args);
};

const std::vector<Command>& commands();
const Command* findCommand(const char* name);

// The table of exit statuses, for the help texts.
extern const char kExitStatusHelp[];

int runList(Args& args);
int runInfo(Args& args);
int runMonitor(Args& args);
int runCalibrate(Args& args);
int runParam(Args& args);
int runRecord(Args& args);
int runPlot(Args& args);
int runServe(Args& args);

extern const char kListHelp[];
extern const char kInfoHelp[];
extern const char kMonitorHelp[];
extern const char kCalibrateHelp[];
extern const char kParamHelp[];
extern const char kRecordHelp[];
extern const char kPlotHelp[];
extern const char kServeHelp[];

} // namespace qeltool

#endif
