// SPDX-License-Identifier: MIT
// qel-tool: what people do with a device besides programming it: list, inspect, watch,
// calibrate, configure, record and plot.
#include "commands.h"

int main(int argc, char** argv) { return qeltool::runTool({argv + 1, argv + argc}); }
