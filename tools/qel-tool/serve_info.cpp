// SPDX-License-Identifier: MIT
#include "serve_info.h"

#include <cstdio>

#include "QEL_device_models.h"
#include "limits.h"
#include "serve_json.h"

namespace qeltool {

namespace {

std::string modelJson(const qelmodels::DeviceModel& m) {
    using json::number;
    double defaultAngle[6] = {m.armDefaultAngle,
                              m.armDefaultAngle,
                              m.armDefaultAngle,
                              qelmodels::kWristDefaultAngles[0],
                              qelmodels::kWristDefaultAngles[1],
                              qelmodels::kWristDefaultAngles[2]};
    return std::string("{\"known\":true") + ",\"actuatedLink\":" + number(m.lenActLink) +
           ",\"passiveLink\":" + number(m.lenPassLink) +
           ",\"fixedPlatform\":" + number(m.dimFixedPlat) +
           ",\"movingPlatform\":" + number(m.dimFloatPlat) +
           ",\"deltaRange\":" + number(m.deltaAngRange) +
           ",\"defaultAngle\":" + json::array(defaultAngle) +
           ",\"yawRange\":" + number(m.yawAngRange) + ",\"pitchRange\":" + number(m.pitchAngRange) +
           ",\"rollRange\":" + number(m.rollAngRange) +
           ",\"transmission\":" + number(m.transmissionRatio) +
           ",\"torqueConstant\":" + number(m.torqueConstant) + "}";
}

std::string registersJson(const Facts& f) {
    std::string out = "[";
    for (const Facts::Raw& raw : f.registers) {
        ShownRegister shown = show(raw);
        out += (out.size() > 1 ? "," : "") + std::string("{\"numbers\":") +
               json::text(shown.numbers) + ",\"name\":" + json::text(raw.reg->name) +
               ",\"hex\":" + json::text(shown.hex) + ",\"value\":" + std::to_string(shown.value) +
               "}";
    }
    return out + "]";
}

std::string calibrationJson(const Facts& f) {
    std::string out = "[";
    for (int axis = 0; axis < 6; ++axis) {
        unsigned long long span = storedSpan(f.lower[axis], f.upper[axis], f.resolution);
        double degrees = f.resolution ? static_cast<double>(span) * 360.0 / f.resolution : 0.0;
        out += (axis ? "," : "") + std::string("{\"axis\":") + json::text(kAxisNames[axis]) +
               ",\"lower\":" + std::to_string(f.lower[axis]) +
               ",\"upper\":" + std::to_string(f.upper[axis]) + ",\"span\":" + std::to_string(span) +
               ",\"degrees\":" + json::number(degrees, 5) + "}";
    }
    return out + "]";
}

} // namespace

std::string infoJson(const std::string& name, const Facts& f) {
    const qelmodels::DeviceModel* model = qelmodels::forType(f.type);
    std::string modelError =
        model ? "" : "the library has no geometry for device type " + std::to_string(f.type);
    char mode[8];
    std::snprintf(mode, sizeof mode, "0x%02X", f.mode);
    return "{\"name\":" + json::text(name) + ",\"node\":" + json::text(f.node) +
           ",\"serial\":" + std::to_string(f.serial) + ",\"type\":" + std::to_string(f.type) +
           ",\"mode\":" + json::text(mode) +
           ",\"velocityThreshold\":" + std::to_string(f.threshold) +
           ",\"resolution\":" + std::to_string(f.resolution) +
           ",\"model\":" + (model ? modelJson(*model) : "null") +
           ",\"modelError\":" + json::text(modelError) + ",\"registers\":" + registersJson(f) +
           ",\"calibration\":" + calibrationJson(f) + "}";
}

} // namespace qeltool
