// SPDX-License-Identifier: MIT
// Just enough JSON writing for the page's messages: every message is built by the server from
// numbers and texts of its own, so nothing needs parsing.
#ifndef QELTOOL_SERVE_JSON_H
#define QELTOOL_SERVE_JSON_H

#include <string>

namespace qeltool {
namespace json {

// A text as a JSON string, quotes and control characters escaped.
std::string text(const std::string& value);
// A number with up to `digits` significant digits; null for NaN or infinity, which JSON lacks.
std::string number(double value, int digits = 7);
inline const char* boolean(bool value) { return value ? "true" : "false"; }
// "[a,b,c]" of numbers.
template <class Numbers>
std::string array(const Numbers& values, int digits = 7) {
    std::string out = "[";
    for (auto v : values)
        out += (out.size() > 1 ? "," : "") + number(static_cast<double>(v), digits);
    return out + "]";
}

} // namespace json
} // namespace qeltool

#endif
