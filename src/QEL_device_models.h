// SPDX-License-Identifier: MIT
// The mechanical models of the device types the library knows. Initialisation loads one into
// the device object; qel-tool shows the same figures.
#ifndef QEL_DEVICE_MODELS_H
#define QEL_DEVICE_MODELS_H

namespace qelmodels {

// The mechanical model of one device type. The numbers are the model the kinematics and the
// force rendering were tuned with; they are kept digit for digit. The angles in radians are the
// decimal values of 90, 54.17 and 30 degrees taken with pi as 3.1415926, written out as such.
// Lengths in millimetres, masses in kilograms, ranges and default angles in degrees.
struct DeviceModel {
    double lenActLink, lenPassLink, dimFixedPlat, dimFloatPlat, lenActLinkGrav;
    double gFloatPlat, gActLink, gPassLink, beta, lambuta;
    double deltaAngRange, yawAngRange, pitchAngRange, rollAngRange;
    double armDefaultAngle, transmissionRatio, torqueConstant;
    bool hasSpring;
    double sprRadius, sprK;
};

// Default angles of the wrist's yaw, pitch and roll joints, the same for every type.
extern const double kWristDefaultAngles[3];

// The model of a device type; null for a type without one.
const DeviceModel* forType(int type);

} // namespace qelmodels

#endif
