// SPDX-License-Identifier: MIT
// Bringing a device up: its identity and electrical parameters, the mechanical model of its
// type, and the refresh thread.
#include "QEL.h"
#include "QEL_device_models.h"

int QEL::Initialize() {
    if (!m_fOpen) {
        m_fInit = false;
        ErrorCatch(deverr::kNotOpen);
        return 0;
    }

    m_major = m_minor = m_release = m_revision = 1;
    m_SystemType = 1;
    m_SystemName = "QEL SDK 1.1.1.1";
    m_SystemReversion = 1;
    m_fSimulator = false;
    m_fBase = m_fWrist = true;
    m_fGipper = m_fActiveWrist = m_fActiveGripper = m_fInitPit = false;
    m_fLeftHanded = true;
    m_fForceEnable = false;
    m_MaxContinousForce = 1.0;
    m_MaxForce = 1.0;
    m_MaxDamping = 0.1;
    m_MaxStiffness = 1.0;
    m_TimeOutCali = 1;

    // Each read reports its own error; a serial number of 0 means none could be read.
    short springLength = 0, springForce = 0, unused = 0;
    m_SerialNumber = GetSerialNumber();
    if (m_SerialNumber == 0) return 0;
    if (!GetParam(128, &m_EncoderResolution) || !GetParam(130, &m_NominalTorque) ||
        !GetParam(131, &m_NominalCurrent) || !GetParam(132, &springLength) ||
        !GetParam(133, &springForce) || !GetParam(134, &unused) || !GetParam(135, &m_DeviceType))
        return 0;

    // The fixed links come from the platform dimensions held before this call: those of the
    // previous initialisation, if any. The order is kept as applications have seen it.
    if (!CalcuFixedLinkVect(m_FixedLinkVect)) return 0;

    // An unknown type keeps whatever model was loaded before.
    const qelmodels::DeviceModel* model = qelmodels::forType(m_DeviceType);
    if (model) {
        m_NumofMotor = 3;
        m_InputDOF = 6;
        m_OutputDOF = 3;
        m_lenActLink = model->lenActLink;
        m_lenPassLink = model->lenPassLink;
        m_DimFixedPlat = model->dimFixedPlat;
        m_DimFloatPlat = model->dimFloatPlat;
        m_lenActLinkGrav = model->lenActLinkGrav;
        m_gFloatPlat = model->gFloatPlat;
        m_gActLink = model->gActLink;
        m_gPassLink = model->gPassLink;
        m_Beta = model->beta;
        m_Lambuta = model->lambuta;
        m_DeltaAngRange = model->deltaAngRange;
        m_YawAngRange = model->yawAngRange;
        m_PitchAngRange = model->pitchAngRange;
        m_RollAngRange = model->rollAngRange;
        for (int i = 0; i < 3; ++i) {
            m_DefAng[i] = model->armDefaultAngle;
            m_DefAng[3 + i] = qelmodels::kWristDefaultAngles[i];
            m_TransRat[i] = model->transmissionRatio;
        }
        m_TorqueConstant = model->torqueConstant;
        if (model->hasSpring) {
            m_SprRadius = model->sprRadius;
            m_SprK = model->sprK;
            m_SprInitLen = springLength / 100.0;
            m_SprInitForce = springForce / 100.0;
        }
    }

    m_fInit = true;
    if (StartRefreshThread() && m_pFrameThread != 0) return 1;
    ErrorCatch(deverr::kThreadCreate);
    return 0;
}
