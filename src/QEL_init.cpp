// Bringing a device up: its identity and electrical parameters, the mechanical model of its
// type, and the refresh thread.
#include "QEL.h"

namespace {

// The mechanical model of one device type. The numbers are the model the kinematics and the
// force rendering were tuned with; they are kept digit for digit. The angles in radians are the
// decimal values of 90, 54.17 and 30 degrees taken with pi as 3.1415926, written out as such.
struct DeviceModel {
    double lenActLink, lenPassLink, dimFixedPlat, dimFloatPlat, lenActLinkGrav;
    double gFloatPlat, gActLink, gPassLink, beta, lambuta;
    double deltaAngRange, yawAngRange, pitchAngRange, rollAngRange;
    double armDefaultAngle, transmissionRatio, torqueConstant;
    bool hasSpring;
    double sprRadius, sprK;
};

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

// Default angles of the wrist's yaw, pitch and roll joints, the same for both types.
const double kWristDefaultAngles[3] = {120.0, 45.0, 167.5};

} // namespace

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
    const DeviceModel* model = m_DeviceType == 1 ? &kType1 : m_DeviceType == 2 ? &kType2 : nullptr;
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
            m_DefAng[3 + i] = kWristDefaultAngles[i];
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
