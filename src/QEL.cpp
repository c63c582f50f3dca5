// SPDX-License-Identifier: MIT
// Construction, opening and closing, the parameter reset and the capability queries.
#include "QEL.h"

#include <cstring>
#include <ctime>

#include "CRC.h"
#include "QEL_frame.h"

std::string QEL::m_DevComPort[10];
int QEL::m_DeviceCount = 0;
int QEL::m_DeviceAvailCount = 0;

int64_t GetNanoSeconds() {
    struct timespec ts;
    clock_gettime(CLOCK_MONOTONIC, &ts);
    return static_cast<int64_t>(ts.tv_sec) * 1000000000 + ts.tv_nsec;
}

// The empty inner loop is the whole of the delay; `volatile` keeps the compiler from removing it.
void delay(int n) {
    for (int i = 0; i < n; ++i)
        for (volatile int j = 0; j < 200; ++j) {
        }
}

QEL::QEL()
    : m_DeviceID(0), m_hDevice(-1), m_pFrameThread(0), fThreadFinish(true), fThreadRunning(false),
      m_fOpen(false), m_fInit(false) {
    // Zero bytes are what PTHREAD_MUTEX_INITIALIZER is on glibc: a default mutex, ready without
    // pthread_mutex_init and needing no destroy (the macro itself only serves an initialiser).
    std::memset(&hMutex, 0, sizeof hMutex);
    // The model geometry and the few members the reset leaves alone have no value until the
    // first initialisation; start them at zero rather than at whatever the heap held.
    m_NumofMotor = m_InputDOF = m_OutputDOF = 0;
    m_lenActLink = m_lenPassLink = m_DimFixedPlat = m_DimFloatPlat = m_lenActLinkGrav = 0.0;
    m_gFloatPlat = m_gActLink = m_gPassLink = m_Beta = m_Lambuta = 0.0;
    m_DeltaAngRange = m_YawAngRange = m_PitchAngRange = m_RollAngRange = 0.0;
    m_SprRadius = m_SprK = 0.0;
    for (int i = 3; i < 6; ++i) m_TransRat[i] = 0.0;
    std::memset(m_JacobianTrans, 0, sizeof m_JacobianTrans);
    m_ButtonState = false;
    m_bMotorBrake = false;
    m_ComCount = 0;
    ResetPara();
    crcInit();
}

// Nothing is closed here, but a refresh thread still running on this object must be gone
// before its memory is.
QEL::~QEL() {
    TrackOpen(false);
    fThreadFinish = true;
    ReapRefreshThreads();
}

// Opening the n-th port of the table (1-based) is shared by both forms of Open.
static const char* portPath(int n) {
    if (n < 1 || n > 10) return "";
    return QEL::m_DevComPort[n - 1].c_str();
}

int QEL::Open() { return Open(1); }

int QEL::Open(int n) {
    // Threads of an earlier opening were told to stop by Close; let them leave before this
    // opening clears the stop request they are waiting to see.
    ReapRefreshThreads();
    m_hDevice = OpenComm(portPath(n));
    if (m_hDevice) {
        m_fOpen = true;
        TrackOpen(true);
        m_DeviceID = n;
        fThreadFinish = false;
        ResetPara();
        return m_DeviceID;
    }
    m_hDevice = -1;
    ResetPara();
    ErrorCatch(deverr::kOpenFailed);
    return 0;
}

int QEL::OpenSerial(unsigned int) { return m_DeviceID; }

int QEL::IsOpen() { return m_fOpen; }

int QEL::IsInitialized() { return m_fInit; }

int QEL::WaitForReset(int) { return 1; }

int QEL::Close() {
    // Whatever follows, the application's servo callback is not called once Close returns.
    m_Servo.set(nullptr, nullptr);
    if (!m_fOpen) return 1;
    SetLED(1, false);
    fThreadFinish = true;
    m_fGravComp = false;
    // A first look at the running flag, a hundred reads without a pause (well under a
    // microsecond), as Close has always taken it; the wait that matters is the bounded one below.
    for (int i = 0; i < 100 && fThreadRunning; ++i) {
    }
    // The refresh thread leaves after its current exchange. Until it has, the LED byte below
    // would only be stored for a cyclic frame that is never sent; a thread stuck on a dead
    // line is not waited for beyond one exchange.
    AwaitRefreshThreadsLeft();
    SwitchDrivesOff();
    TrackOpen(false);
    if (!CloseCom()) {
        ResetPara();
        return 0;
    }
    m_fOpen = false;
    if (m_fInit) m_fInit = false;
    m_DeviceID = 0;
    ResetPara();
    return 1;
}

void QEL::SwitchDrivesOff() {
    if (m_ErrCode != 0 && m_fInit) {
        // A pending error refuses the drives-off frame like every other operation, which
        // would leave the motors powered after the application let the device go. The frame
        // goes out regardless; the error stays pending (until Close's reset), so that the
        // refresh thread does not take up its exchanges again meanwhile.
        uint8_t accepted;
        ExchangeByte(qelframe::cmd::EnableDrives, 0, &accepted, true);
        m_fDeviceEnable = false;
    } else {
        EnableDevice(false);
    }
}

void QEL::ResetPara() {
    m_major = m_minor = m_release = m_revision = 0;
    m_SerialNumber = 0;
    m_SystemType = 0;
    m_SystemReversion = 0;
    m_SystemName = "QEL_DEVICE_NONE";
    m_DeviceType = 0;

    m_fCalibrate = m_fForceEnable = m_fDeviceEnable = false;
    fThreadRunning = false;
    m_fSimulator = m_fBase = m_fWrist = m_fGipper = false;
    m_fActiveWrist = m_fActiveGripper = m_fInitPit = m_fLeftHanded = false;
    fFirstFrame = true;
    autoCali = false;
    m_OperationMode = 0x22;

    m_EncoderState = 0;
    m_NominalTorque = m_NominalCurrent = 0;
    m_LEDState = 0;
    m_DeviceState = 0;
    m_SetCommd = 0;
    m_TorqueConstant = 0.0;
    m_MaxContinousForce = m_MaxForce = m_MaxDamping = m_MaxStiffness = 0.0;
    m_TimeOutCali = 0;
    m_EncoderResolution = 0;

    for (int i = 0; i < 6; ++i) {
        m_EncoderMaxValue[i] = m_EncoderMinValue[i] = m_EncoderSingleValue[i] = 0;
        m_EncoderTarget[i] = m_EncoderValue[i] = 0;
        m_EncoderVel[i] = 0;
        m_CtrlWord[i] = m_StatWord[i] = 0;
        m_DefAng[i] = m_RotatAng[i] = 0.0;
    }
    std::memset(m_Inertia, 0, sizeof m_Inertia);
    std::memset(m_JointInertia, 0, sizeof m_JointInertia);

    for (int i = 0; i < 3; ++i) {
        m_TransRat[i] = 0.0;
        m_MotorCurrent[i] = m_MotVelTarget[i] = m_MotorDACValue[i] = 0;
        m_JointTorque[i] = m_GraJointTorq[i] = m_JointMinTorq[i] = m_JointMaxTorq[i] = 0.0;
        m_CtrlWord[i] = 1;
    }

    m_InitPos[0] = 1.0;
    m_InitPos[1] = 1.0;
    m_InitPos[2] = 140.0;
    m_nTimeInterval = 50;
    m_VelThresh = 20000;

    std::memset(m_Orientation, 0, sizeof m_Orientation);
    std::memset(m_JacobianRot, 0, sizeof m_JacobianRot);
    std::memset(m_InertiaRot, 0, sizeof m_InertiaRot);
    std::memset(m_InertiaTrans, 0, sizeof m_InertiaTrans);
    std::memset(m_JointInertiaRot, 0, sizeof m_JointInertiaRot);
    std::memset(m_JointInertiaTrans, 0, sizeof m_JointInertiaTrans);
    std::memset(m_ForceTransMatrix, 0, sizeof m_ForceTransMatrix);
    for (int i = 0; i < 3; ++i) {
        m_Position[i] = m_Velocity[i] = m_MaxVel[i] = m_Force[i] = 0.0;
        m_FixedLinkVect[i].set(0, 0, 0);
        m_ActLinkVect[i].set(0, 0, 0);
        m_PassLinkVect[i].set(0, 0, 0);
        m_NormVect[i].set(0, 0, 0);
        m_ActLinkGravPointVect[i].set(0, 0, 0);
        m_PassLinkForceVect[i].set(0, 0, 0);
        m_LinkCompForceVect[i].set(0, 0, 0);
        m_LinkForce[i] = m_LinkCompForce[i] = 0.0;
        m_ThumbPos[i] = m_ThumbVel[i] = m_FingerPos[i] = 0.0;
    }

    m_GripAngle = m_GripperRadius = m_GripperForce = m_GripperTorq = 0.0;
    m_SprInitLen = m_SprInitForce = 0.0;
    m_ButtonCount = 0;
    m_ButtonStatus = 0;
    m_fGravComp = false;
    m_GravityConstant = 9.81;
    m_EffectorMass = 0.0;
    m_TimeGuard = 0.0;
    m_WatchdogTime = 0;
    m_MemoMode = 0;
    m_ComFreq = 0.0;
    m_CurrentTime = 0.0;
    m_ErrCode = 0;
    m_ErrString = "";
}

bool QEL::ReportNotOpenOrNotInit() {
    ErrorCatch(m_fOpen ? deverr::kNotInitialized : deverr::kNotOpen);
    return false;
}

int QEL::HasBase() { return CheckReady() ? m_fBase : 0; }
int QEL::HasWrist() { return CheckReady() ? m_fWrist : 0; }
int QEL::HasGripper() { return CheckReady() ? m_fGipper : 0; }
int QEL::HasActiveWrist() { return CheckReady() ? m_fActiveWrist : 0; }
int QEL::HasActiveGripper() { return CheckReady() ? m_fActiveGripper : 0; }
int QEL::IsLeftHanded() { return CheckReady() ? m_fLeftHanded : 0; }
int QEL::HasInitPit() { return CheckReady() ? m_fInitPit : 0; }

// No model is recognised by the parameterless form, even a known one.
int QEL::IsKnowType() {
    CheckOpenInit();
    return 0;
}

int QEL::IsKnowType(int type) {
    if (!CheckReady()) return 0;
    switch (type) {
    case 1:
    case 2:
    case 33:
    case 34:
    case 35:
    case 36:
    case 37:
    case 60:
    case 81:
    case 82:
    case 91:
    case 104:
    case 105:
    case 106:
    case 107:
        return 1;
    default:
        return 0;
    }
}
