// SPDX-License-Identifier: MIT
// A recorded trace: one sample of the handle per line of a CSV file with a header line.
// Columns: time (s), position (mm), velocity (the library's units), commanded force (N),
// motor commands (signed 16-bit units).
#ifndef QELTOOL_TRACE_H
#define QELTOOL_TRACE_H

#include <array>
#include <istream>
#include <string>
#include <vector>

namespace qeltool {

struct Sample {
    double time = 0;
    std::array<double, 3> position{}, velocity{}, force{};
    std::array<int, 3> motor{};
};

extern const char* const kTraceColumns[13];
std::string traceHeader();             // without the line end
std::string traceRow(const Sample& s); // without the line end

// A CSV file read back: its header's names and its rows of numbers.
struct Trace {
    std::vector<std::string> columns;
    std::vector<std::vector<double>> rows;
    // The 0-based index of a named column, or -1.
    int column(const std::string& name) const;
};

// Throws Failure (status 1) naming the line of the first row that is not numbers, or that
// has a different number of fields than the header.
Trace readTrace(std::istream& in, const std::string& name);

} // namespace qeltool

#endif
