#include "model.h"

#include "QEL.h"

namespace qeltool {

bool readModel(int id, Model& model, std::string& error) {
    QEL::GetDeviceCount();
    QEL device;
    if (!device.Open(id) || !device.Initialize()) {
        error = device.m_ErrString && *device.m_ErrString ? device.m_ErrString
                                                          : "the device could not be initialised";
        device.Close();
        return false;
    }
    model.type = device.m_DeviceType;
    model.known = device.m_lenActLink > 0;
    model.actuatedLink = device.m_lenActLink;
    model.passiveLink = device.m_lenPassLink;
    model.fixedPlatform = device.m_DimFixedPlat;
    model.movingPlatform = device.m_DimFloatPlat;
    model.actuatedLinkGravity = device.m_lenActLinkGrav;
    model.platformMass = device.m_gFloatPlat;
    model.actuatedLinkMass = device.m_gActLink;
    model.passiveLinkMass = device.m_gPassLink;
    model.deltaRange = device.m_DeltaAngRange;
    model.yawRange = device.m_YawAngRange;
    model.pitchRange = device.m_PitchAngRange;
    model.rollRange = device.m_RollAngRange;
    for (int i = 0; i < 6; ++i) model.defaultAngle[i] = device.m_DefAng[i];
    model.transmission = device.m_TransRat[0];
    model.torqueConstant = device.m_TorqueConstant;
    model.springLength = device.m_SprInitLen;
    model.springForce = device.m_SprInitForce;
    model.springRadius = device.m_SprRadius;
    model.springStiffness = device.m_SprK;
    device.Close();
    return true;
}

} // namespace qeltool
