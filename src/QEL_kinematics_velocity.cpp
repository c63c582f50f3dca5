// Velocities: the encoder rates the device reports, the joint rates derived from them, the
// Cartesian velocity of the last refresh pass and its safety threshold.
#include "QEL.h"
#include "QEL_kinematics_common.h"

using qelkin::kPi;

// The velocity estimators are fixed in the device; there is nothing to configure.
int QEL::ConfigTranVel(double, int) {
    CheckOpenInit();
    return 0;
}

int QEL::ConfigRotaVel(double, int) {
    CheckOpenInit();
    return 0;
}

int QEL::ConfigGripVel(double, int) {
    CheckOpenInit();
    return 0;
}

int QEL::ConfigEncVel(double, int) {
    CheckOpenInit();
    return 0;
}

int QEL::GetEncVel(double* vel) {
    if (!CheckReady()) return 0;
    if (!vel) {
        ErrorCatch(deverr::kInvalidParameter);
        return 0;
    }
    for (int i = 0; i < N2; ++i) vel[i] = static_cast<double>(m_EncoderVel[i]);
    return 1;
}

// Radians per the device's velocity period, all six channels whether or not the wrist is
// fitted. The sign is flipped because the joint angle falls as the count rises.
int QEL::GetJointVel(double* vel) {
    if (!CheckReady()) return 0;
    if (!vel) {
        ErrorCatch(deverr::kInvalidParameter);
        return 0;
    }
    const double res = static_cast<double>(m_EncoderResolution);
    for (int i = 0; i < N2; ++i) {
        const double v = static_cast<double>(m_EncoderVel[i]);
        vel[i] = ((-v / res) + (-v / res)) * kPi;
    }
    return 1;
}

int QEL::GetVel(double* vel) {
    if (!CheckReady() || !vel) return 0;
    for (int i = 0; i < 3; ++i) vel[i] = m_Velocity[i];
    return 1;
}

int QEL::SetVelThresh(unsigned int thresh) {
    if (!CheckReady()) return 0;
    m_VelThresh = static_cast<int>(thresh);
    return 1;
}

int QEL::GetVelThresh(unsigned int* thresh) {
    if (!CheckReady() || !thresh) return 0;
    *thresh = static_cast<unsigned int>(m_VelThresh);
    return 1;
}
