// SPDX-License-Identifier: MIT
#include "trace.h"

#include <cerrno>
#include <cmath>
#include <cstdio>
#include <cstdlib>

#include "failure.h"

namespace qeltool {

const char* const kTraceColumns[13] = {"t_s",  "x_mm", "y_mm", "z_mm",   "vx",     "vy",    "vz",
                                       "fx_N", "fy_N", "fz_N", "motor0", "motor1", "motor2"};

std::string traceHeader() {
    std::string line;
    for (const char* name : kTraceColumns) line += (line.empty() ? "" : ",") + std::string(name);
    return line;
}

namespace {

// A value the library could not compute (its velocity at a singular pose, say) is written
// "nan", which spreadsheets and gnuplot read as missing, whatever its sign bit.
double clean(double value) { return std::isnan(value) ? std::fabs(value) : value; }

} // namespace

std::string traceRow(const Sample& raw) {
    Sample s = raw;
    for (int i = 0; i < 3; ++i) {
        s.position[i] = clean(s.position[i]);
        s.velocity[i] = clean(s.velocity[i]);
        s.force[i] = clean(s.force[i]);
    }
    char line[512];
    std::snprintf(line, sizeof line, "%.6f,%.4f,%.4f,%.4f,%.5g,%.5g,%.5g,%.4f,%.4f,%.4f,%d,%d,%d",
                  s.time, s.position[0], s.position[1], s.position[2], s.velocity[0], s.velocity[1],
                  s.velocity[2], s.force[0], s.force[1], s.force[2], s.motor[0], s.motor[1],
                  s.motor[2]);
    return line;
}

int Trace::column(const std::string& name) const {
    for (size_t i = 0; i < columns.size(); ++i)
        if (columns[i] == name) return static_cast<int>(i);
    return -1;
}

namespace {

std::vector<std::string> split(const std::string& line) {
    std::vector<std::string> fields;
    size_t start = 0;
    while (true) {
        size_t comma = line.find(',', start);
        fields.push_back(line.substr(start, comma == std::string::npos ? comma : comma - start));
        if (comma == std::string::npos) break;
        start = comma + 1;
    }
    return fields;
}

} // namespace

Trace readTrace(std::istream& in, const std::string& name) {
    Trace trace;
    std::string line;
    int number = 0;
    while (std::getline(in, line)) {
        ++number;
        if (!line.empty() && line.back() == '\r') line.pop_back();
        if (line.empty()) continue;
        std::vector<std::string> fields = split(line);
        if (trace.columns.empty()) {
            trace.columns = fields;
            continue;
        }
        auto bad = [&](const std::string& why) {
            return Failure(kFailed, name + ":" + std::to_string(number) + ": " + why);
        };
        if (fields.size() != trace.columns.size())
            throw bad(std::to_string(fields.size()) + " fields where the header has " +
                      std::to_string(trace.columns.size()));
        std::vector<double> row;
        for (const std::string& field : fields) {
            char* end = nullptr;
            errno = 0;
            double value = std::strtod(field.c_str(), &end);
            if (field.empty() || *end != '\0' || errno == ERANGE)
                throw bad("'" + field + "' is not a number");
            row.push_back(value);
        }
        trace.rows.push_back(std::move(row));
    }
    if (trace.columns.empty()) throw Failure(kFailed, name + ": the file is empty");
    return trace;
}

} // namespace qeltool
