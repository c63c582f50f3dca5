// SPDX-License-Identifier: MIT
// The gnuplot script that draws a recorded trace: position and force against time, and the
// path in the x-y and y-z planes, on one PNG page.
#ifndef QELTOOL_PLOT_SCRIPT_H
#define QELTOOL_PLOT_SCRIPT_H

#include <string>

namespace qeltool {

struct PlotRequest {
    std::string data;   // the CSV file, with one header line
    std::string output; // the PNG file
    std::string title;
    int width = 1200, height = 900;
    // 1-based column numbers in the data.
    int t = 1, x = 2, y = 3, z = 4, fx = 8, fy = 9, fz = 10;
};

// A gnuplot string literal: single quotes, a quote inside doubled.
std::string gnuplotQuote(const std::string& text);
std::string gnuplotScript(const PlotRequest& request);

} // namespace qeltool

#endif
