#include "commands.h"

#include <cstring>

namespace qeltool {

const std::vector<Command>& commands() {
    static const std::vector<Command> table = {
        {"list", "the devices found: node, serial number, type", kListHelp, runList},
        {"info", "identity, model parameters, registers and calibration of a device", kInfoHelp,
         runInfo},
        {"monitor", "a live view of position, orientation, velocity, buttons, force, drives",
         kMonitorHelp, runMonitor},
        {"calibrate", "load the stored limits, or record new ones and save them", kCalibrateHelp,
         runCalibrate},
        {"param", "read, write and commit registers and parameters", kParamHelp, runParam},
        {"record", "record a trace of the handle to a CSV file", kRecordHelp, runRecord},
        {"plot", "draw a recorded trace as a PNG picture (with gnuplot)", kPlotHelp, runPlot},
        {"serve", "a live diagnostic page of a device in the browser", kServeHelp, runServe},
    };
    return table;
}

const Command* findCommand(const char* name) {
    for (const Command& c : commands())
        if (std::strcmp(c.name, name) == 0) return &c;
    return nullptr;
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
