// SPDX-License-Identifier: MIT
// The page's static facts of a device as JSON: what qel-tool info shows, and the geometry the
// page draws the arm and its workspace from.
#ifndef QELTOOL_SERVE_INFO_H
#define QELTOOL_SERVE_INFO_H

#include <string>

#include "info_facts.h"

namespace qeltool {

// The geometry is the library's model of the device's type; "model" is null for a type the
// library has none of, and "modelError" says so.
std::string infoJson(const std::string& name, const Facts& facts);

} // namespace qeltool

#endif
