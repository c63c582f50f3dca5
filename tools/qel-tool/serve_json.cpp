// SPDX-License-Identifier: MIT
#include "serve_json.h"

#include <cmath>
#include <cstdio>

namespace qeltool {
namespace json {

std::string text(const std::string& value) {
    std::string out = "\"";
    for (char c : value) {
        if (c == '"' || c == '\\') {
            out += '\\';
            out += c;
        } else if (static_cast<unsigned char>(c) < 0x20) {
            char escaped[8];
            std::snprintf(escaped, sizeof escaped, "\\u%04x", static_cast<unsigned char>(c));
            out += escaped;
        } else {
            out += c;
        }
    }
    return out + "\"";
}

std::string number(double value, int digits) {
    if (!std::isfinite(value)) return "null";
    char out[32];
    std::snprintf(out, sizeof out, "%.*g", digits, value);
    return out;
}

} // namespace json
} // namespace qeltool
