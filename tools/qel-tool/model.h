// The mechanical model the library loads for a device's type: link lengths, platform sizes,
// masses, joint ranges, transmission ratios. The exported interface offers none of these
// figures, so they are read from a device object of the library's own, opened on its own.
#ifndef QELTOOL_MODEL_H
#define QELTOOL_MODEL_H

#include <string>

namespace qeltool {

struct Model {
    int type = 0;
    bool known = false;                       // the library has a geometry for this type
    double actuatedLink = 0, passiveLink = 0; // mm
    double fixedPlatform = 0, movingPlatform = 0;
    double actuatedLinkGravity = 0; // mm from the joint to its centre of mass
    double platformMass = 0, actuatedLinkMass = 0, passiveLinkMass = 0; // kg
    double deltaRange = 0, yawRange = 0, pitchRange = 0, rollRange = 0; // degrees
    double defaultAngle[6] = {};                                        // degrees
    double transmission = 0;
    double torqueConstant = 0;
    double springLength = 0, springForce = 0, springRadius = 0, springStiffness = 0;
};

// Opens device `id` (which the interface must not hold open), initialises it, copies its
// model and closes it again. Returns false with the device's error text in `error`.
bool readModel(int id, Model& model, std::string& error);

} // namespace qeltool

#endif
