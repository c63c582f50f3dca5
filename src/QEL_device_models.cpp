// SPDX-License-Identifier: MIT
#include "QEL_device_models.h"

namespace qelmodels {

namespace {

// clang-format off
//                           actuated passive fixed  moving  link-CoG
const DeviceModel kType1 = {97.0,    148.0,  80.25, 35.0,   15.282,
                            // platform, actuated, passive masses; beta, lambda (radians)
                            0.4,   0.1397, 0.08934, 1.5707963,          0.0,
                            // delta, yaw, pitch, roll ranges
                            88.0,  240.0,  115.0,   320.0,
                            // arm default angle, transmission ratio, torque constant
                            86.5,  20.0,   48.6,
                            // spring: none
                            false, 0.0,    0.0};
const DeviceModel kType2 = {70.0,    146.0,  75.0,  35.0,   14.382,
                            0.475, 0.099,  0.0934,  0.9454448396777778, 0.5235987666666666,
                            149.0, 240.0,  125.0,   335.0,
                            149.0, 11.89,  48.6,
                            // spring: radius and stiffness; its initial length and force
                            // are device parameters
                            true,  13.5,   0.74};
// clang-format on

} // namespace

const double kWristDefaultAngles[3] = {120.0, 45.0, 167.5};

const DeviceModel* forType(int type) { return type == 1 ? &kType1 : type == 2 ? &kType2 : nullptr; }

} // namespace qelmodels
