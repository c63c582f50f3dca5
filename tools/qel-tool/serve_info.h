// The page's static facts of a device as JSON: what qel-tool info shows, and the geometry the
// page draws the arm and its workspace from.
#ifndef QELTOOL_SERVE_INFO_H
#define QELTOOL_SERVE_INFO_H

#include <string>

#include "info_facts.h"
#include "model.h"

namespace qeltool {

// model may be null when the library's geometry could not be read (modelError says why).
std::string infoJson(const std::string& name, const Facts& facts, const Model* model,
                     const std::string& modelError);

} // namespace qeltool

#endif
