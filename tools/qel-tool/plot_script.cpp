// SPDX-License-Identifier: MIT
#include "plot_script.h"

namespace qeltool {

std::string gnuplotQuote(const std::string& text) {
    std::string quoted = "'";
    for (char c : text) {
        if (c == '\'') quoted += '\'';
        if (c == '\n') {
            quoted += ' ';
            continue;
        }
        quoted += c;
    }
    return quoted + "'";
}

namespace {

std::string series(const std::string& data, int x, int y, const char* title) {
    return data + " skip 1 using " + std::to_string(x) + ":" + std::to_string(y) +
           " with lines lw 1.5 title '" + title + "'";
}

} // namespace

std::string gnuplotScript(const PlotRequest& r) {
    const std::string data = gnuplotQuote(r.data);
    std::string s;
    s += "set terminal pngcairo size " + std::to_string(r.width) + "," + std::to_string(r.height) +
         " noenhanced font ',10'\n";
    s += "set output " + gnuplotQuote(r.output) + "\n";
    s += "set datafile separator ','\n";
    s += "set grid\n";
    s += "set key top right\n";
    // A constant series stays clear of the frame.
    s += "set offsets 0, 0, graph 0.05, graph 0.05\n";
    s += "set multiplot layout 2,2 title " + gnuplotQuote(r.title) + "\n";

    s += "set title 'position'\nset xlabel 'time (s)'\nset ylabel 'mm'\n";
    s += "plot " + series(data, r.t, r.x, "x") + ", \\\n     " + series(data, r.t, r.y, "y") +
         ", \\\n     " + series(data, r.t, r.z, "z") + "\n";

    s += "set title 'commanded force'\nset ylabel 'N'\n";
    s += "plot " + series(data, r.t, r.fx, "fx") + ", \\\n     " + series(data, r.t, r.fy, "fy") +
         ", \\\n     " + series(data, r.t, r.fz, "fz") + "\n";

    s += "set size ratio -1\nset key off\n";
    s += "set title 'path in the x-y plane'\nset xlabel 'x (mm)'\nset ylabel 'y (mm)'\n";
    s += "plot " + series(data, r.x, r.y, "path") + "\n";
    s += "set title 'path in the y-z plane'\nset xlabel 'y (mm)'\nset ylabel 'z (mm)'\n";
    s += "plot " + series(data, r.y, r.z, "path") + "\n";
    s += "unset multiplot\nset output\n";
    return s;
}

} // namespace qeltool
