// SPDX-License-Identifier: MIT
// The device object: one instance per haptic device, reached through one USB virtual serial
// port. It owns the port, the lock around each request/response exchange, the refresh thread,
// the device-model parameters and all kinematic and force state.
//
// Data members are public and keep their names and widths; the order of the virtual operations
// is part of the library's binary interface and must not change.
#ifndef QEL_H
#define QEL_H

#include <pthread.h>
#include <stdint.h>

#include <atomic>
#include <mutex>
#include <string>
#include <vector>

#include "QEL_error_codes.h"
#include "QEL_servo.h"
#include "qelDefines.h"
#include "qelVector.h"
#include "uartconnector.h"

// Monotonic clock in nanoseconds.
QEL_API int64_t GetNanoSeconds();
// Busy wait of n passes of 200 empty iterations; no clock, no sleep.
QEL_API void delay(int n);

// Azimuths of the three arms about the device's z axis: 90, 210 and 330 degrees, derived from
// the truncated quarter turn 1.5707963 as the device's own model is.
extern double Enta[3];

class QEL_API QEL {
public:
    // ---- Identity and port ----
    int m_DeviceID;
    int m_hDevice;
    static std::string m_DevComPort[10];
    int m_major, m_minor, m_release, m_revision;
    uint32_t m_SerialNumber;
    int m_SystemType;
    int m_SystemReversion;
    const char* m_SystemName;
    int16_t m_DeviceType;
    static int m_DeviceCount;
    static int m_DeviceAvailCount;
    hal::UartDevices myDevice;

    // ---- Thread and lock ----
    pthread_t m_pFrameThread;
    pthread_mutex_t hMutex;
    bool fThreadFinish;
    volatile bool fThreadRunning;
    bool fFirstFrame;
    bool autoCali;

    // ---- Device model ----
    int8_t m_NumofMotor, m_InputDOF, m_OutputDOF;
    double m_lenActLink, m_lenPassLink, m_DimFixedPlat, m_DimFloatPlat, m_lenActLinkGrav;
    double m_gFloatPlat, m_gActLink, m_gPassLink, m_Beta, m_Lambuta;
    double m_DeltaAngRange, m_YawAngRange, m_PitchAngRange, m_RollAngRange;
    double m_SprRadius, m_SprK;

    // ---- Status flags ----
    bool m_fOpen, m_fInit, m_fCalibrate, m_fForceEnable, m_fDeviceEnable;
    bool m_fSimulator, m_fBase, m_fWrist, m_fGipper, m_fActiveWrist, m_fActiveGripper;
    bool m_fInitPit, m_fLeftHanded;
    uint8_t m_OperationMode;

    // ---- Motor and device state ----
    int16_t m_NominalTorque, m_NominalCurrent;
    double m_TorqueConstant;
    uint8_t m_LEDState;
    int m_ButtonCount;
    bool m_ButtonState;
    uint16_t m_ButtonStatus;
    uint16_t m_DeviceState;
    uint16_t m_SetCommd;
    double m_MaxContinousForce, m_MaxForce, m_MaxDamping, m_MaxStiffness;
    int m_TimeOutCali;

    // ---- Encoders, six channels ----
    uint32_t m_EncoderResolution;
    uint32_t m_EncoderMaxValue[6], m_EncoderMinValue[6];
    uint32_t m_EncoderSingleValue[6];
    uint32_t m_EncoderTarget[6];
    uint32_t m_EncoderValue[6];
    int16_t m_EncoderVel[6];
    uint8_t m_CtrlWord[6], m_StatWord[6];
    uint16_t m_EncoderState;
    double m_DefAng[6], m_TransRat[6], m_RotatAng[6];

    // ---- Kinematic state ----
    double m_Position[3];
    double m_Orientation[3][3];
    double m_GripAngle;
    double m_JacobianTrans[3][3], m_JacobianRot[3][3];
    double m_Velocity[3], m_MaxVel[3];
    uint32_t m_nTimeInterval;
    int m_VelThresh;
    double m_InitPos[3];

    // ---- Force state ----
    double m_Force[3];
    int16_t m_MotVelTarget[3], m_MotorDACValue[3], m_MotorCurrent[3];
    double m_JointTorque[3], m_GraJointTorq[3], m_JointMinTorq[3], m_JointMaxTorq[3];
    bool m_bMotorBrake;
    double m_Inertia[6][6], m_InertiaRot[3][3], m_InertiaTrans[3][3];
    double m_JointInertiaTrans[3][3], m_JointInertiaRot[3][3], m_JointInertia[6][6];
    qelVector3Dd m_FixedLinkVect[3], m_ActLinkVect[3], m_PassLinkVect[3], m_NormVect[3];
    qelVector3Dd m_ActLinkGravPointVect[3];
    double m_ForceTransMatrix[3][3], m_LinkForce[3];
    qelVector3Dd m_PassLinkForceVect[3];
    double m_LinkCompForce[3];
    qelVector3Dd m_LinkCompForceVect[3];
    double m_GripperRadius, m_GripperForce, m_GripperTorq, m_SprInitLen, m_SprInitForce;
    double m_ThumbPos[3], m_ThumbVel[3], m_FingerPos[3];
    bool m_fGravComp;
    double m_GravityConstant;
    double m_EffectorMass, m_TimeGuard;

    // ---- Housekeeping ----
    uint32_t m_WatchdogTime;
    int m_MemoMode;
    double m_ComFreq;
    int m_ComCount;
    double m_CurrentTime;
    uint16_t m_ErrCode;
    const char* m_ErrString;

    QEL();
    QEL(const QEL&) = delete;
    QEL& operator=(const QEL&) = delete;

    // ---- Virtual operations, in their fixed order ----
    virtual ~QEL();
    virtual int Open();
    virtual int Open(int n);
    virtual int OpenSerial(unsigned int serial);
    virtual int IsOpen();
    virtual int Close();
    virtual int Initialize();
    virtual int SaveCalibration(unsigned int* minValues, unsigned int* maxValues,
                                unsigned char mask);
    virtual int GetCalibration();
    virtual int AutoCalibrate();
    virtual void ResetPara();
    virtual int IsInitialized();
    virtual int WaitForReset(int timeout);
    virtual int ResetWrist();
    virtual int SetMode(unsigned char mode);
    virtual int GetMode(unsigned char* mode);
    virtual int ConfigTranVel(double, int);
    virtual int ConfigRotaVel(double, int);
    virtual int ConfigGripVel(double, int);
    virtual int ConfigEncVel(double, int);
    virtual double GetBaseAngleX();
    virtual double GetBaseAngleY();
    virtual double GetBaseAngleZ();
    virtual int SetBaseAngleX(double);
    virtual int SetBaseAngleY(double);
    virtual int SetBaseAngleZ(double);
    virtual void ErrorCatch(unsigned int code);
    virtual void ClearError();
    virtual int HasBase();
    virtual int HasWrist();
    virtual int HasGripper();
    virtual int HasActiveWrist();
    virtual int HasActiveGripper();
    virtual int IsKnowType();
    virtual int IsKnowType(int type);
    virtual int IsLeftHanded();
    virtual int HasInitPit();
    virtual int GetEnc(unsigned int* enc, unsigned char mask, double* vel, bool withVel);
    virtual int GetEnc(unsigned int* enc, unsigned short* status, double* vel, bool withVel);
    virtual int GetEncVel(double* vel);
    virtual int Preset(unsigned char channel, unsigned int value);
    virtual int Preset(unsigned int* enc);
    virtual int EncToJointAng(unsigned int* enc, double* ang, unsigned char mask);
    virtual int JointAngToEnc(double* ang, unsigned int* enc, unsigned char mask);
    virtual int SetMotAndGetMotAndGetEnc(short* motorCmd, unsigned short* commandWord,
                                         unsigned int* encValue, short* motorValue,
                                         unsigned short* status);
    virtual int MultiaxialControl(unsigned char motorCount, unsigned char channelCount,
                                  unsigned char* ctrlWord, unsigned int* encTarget,
                                  short* velTarget, short* motorCmd, unsigned short* commandWord,
                                  unsigned char* respMotorCount, unsigned char* respChannelCount,
                                  unsigned char* statWord, unsigned int* encValue, short* encVel,
                                  short* motorCurrent, unsigned short* deviceState);
    virtual int CalcuTempVar(double* p, double* q, double* F, double (*J)[3]);
    virtual int CalcuInvMatrix(double (*in)[3], double (*out)[3]);
    virtual int NewtonIteration(double* x, double* F, double (*Jinv)[3], double* xnew);
    virtual int CalcuPosition(double* q, double* p);
    virtual int GetJointAng(double* ang, unsigned char mask, double* vel);
    virtual int GetJointVel(double* vel);
    virtual int EncToOpPos(unsigned int* enc, double* pos, double (*rot)[3]);
    virtual int OpPosToEnc(double* pos, unsigned int* enc, bool flag);
    virtual int GetOpPos(double* pos, double (*rot)[3], double* grip);
    virtual int GetVel(double* vel);
    virtual int SetVelThresh(unsigned int thresh);
    virtual int GetVelThresh(unsigned int* thresh);
    virtual int SetFrcEnabled(bool on);
    virtual int GetFrcEnabled(bool);
    virtual int EnableDevice(bool on);
    virtual int CalcuForceTransMatrix(double* pos, double (*out)[3]);
    virtual int CalcuLinkForce(const qelVector3D<double>& force, double* out);
    virtual int CalcuActLinkVect(qelVector3D<double>* out);
    virtual int CalcuFixedLinkVect(qelVector3D<double>* out);
    virtual int CalcuPassLinkVect(qelVector3D<double>* out);
    virtual int CalcuNormVect(const qelVector3D<double>* act, const qelVector3D<double>* fixed,
                              qelVector3D<double>* out);
    virtual int CalcuPassLinkForceVect(const qelVector3D<double>* passLink, const double* linkForce,
                                       qelVector3D<double>* out);
    virtual int CalcuTorqFromOutputForce(const qelVector3D<double>& force, double* pos,
                                         double* torque);
    virtual int CalcuActLinkGravPointVect(qelVector3D<double>* out);
    virtual int CalcuGravCompTorq(double* pos, double (*jacT)[3], double* torque);
    virtual int SetMot(int index, short value);
    virtual int SetMot(short* mot);
    virtual int GetMot(short* mot);
    virtual int PreloadMot(unsigned short*, unsigned char);
    virtual int SetNullFrc();
    virtual int SetOpFrc(double* force);
    virtual int GetOpFrc(double* force);
    virtual int SetOutput(unsigned int);
    virtual int SetJointTrq(double* torque, double*, unsigned char index);
    virtual int MotToJointTrq(unsigned short* mot, double* ratio, double* torque,
                              unsigned char mask);
    virtual int JointTrqToMot(double* torque, double* ratio, short* mot, unsigned char mask);
    virtual int MotToOpFrc(short*, int*, double*);
    virtual int OpFrcToMot(double* force, unsigned int* enc, short* mot);
    virtual int GetJointTorq(double* torque);
    virtual int JointAngToGravityJointTrq(double*, double*, unsigned char, double);
    virtual int JointAngToJointTrqExtrema(double*, double*, double*, unsigned char);
    virtual int SetGripperFrcEnabled(bool);
    virtual int GripFrcToTrq(double force, double& torque);
    virtual int GripTorToFrc(double torque, double& force);
    virtual int JointAngToInertia(double* q, double (*M)[6]);
    virtual int JointAngToInertiaRot(double* q, double (*M)[3]);
    virtual int JointAngToInertiaTrans(double* q, double (*M)[3]);
    virtual int JointAngToJacobianRot(double* q, double (*J)[3]);
    virtual int JointAngToJacobianTrans(double* q, double (*J)[3]);
    virtual int JointAngToJointInertia(double* q, double (*M)[6]);
    virtual int JointAngToJointInertiaRot(double* q, double (*M)[3]);
    virtual int JointAngToJointInertiaTrans(double* q, double (*M)[3]);
    virtual int JointAngToMatrix(double* q, double (*M)[3]);
    virtual int GetOutputInertia(double* q, double (*M)[6]);
    virtual int GetVersion(int*, int*, int*, int*);
    virtual unsigned int GetSerialNumber();
    virtual int SetSerialNumber(unsigned int serial);
    virtual int GetSystemType(bool);
    virtual int GetSystemRev();
    virtual const char* GetSystemName();
    virtual int GetID();
    virtual void* GetHandle(int);
    virtual double GetGripperRadius();
    virtual int GetThumb(double*, double*);
    virtual int GetFinger(double*);
    virtual int GetButtonCount();
    virtual int GetButton(int index, bool* pressed);
    virtual int SetLED(unsigned char mask, bool on);
    virtual int GetStatus(int*, bool);
    virtual int ControllerSetDevice(int);
    virtual int GetBuildFlag(int);
    virtual bool GetActiveMask();
    virtual bool GetPassiveMask();
    virtual int GetRawButtons(unsigned int*, bool);
    virtual int GetRawEnc(int*, unsigned char, double*, bool);
    virtual int GetRawEnc(int*, double*, bool);
    virtual int GetRawStatus(unsigned int*);
    virtual int GripEncToCG(int, double*);
    virtual int SetGravity(bool on, double g);
    virtual int GetGravityCompensation();
    virtual int SetStandardGravity(double g);
    virtual double GetG(double);
    virtual int SetEffectorMass(double);
    virtual double GetEffectorMass();
    virtual int SetBrakes(unsigned char);
    virtual int SetBrakes(bool on);
    virtual int GetBrakes(bool* engaged);
    virtual double GetTime();
    virtual int SetTimeGuard(double);
    virtual double GetDeviceTime();
    virtual int Sleep(int ns);
    virtual int StartMonitor();
    virtual void StopMonitor();
    virtual bool IsMonitoring();
    virtual int Monitor();
    virtual int SetComAsync(bool);
    virtual int ComCallback(int*, double);
    virtual int SetComMode(int);
    virtual int GetComMode();
    virtual int ComRead();
    virtual int ComWrite();
    virtual double GetComFreq();
    virtual int WriteRegister(unsigned short reg, short value);
    virtual int ReadRegister(unsigned short reg, short* value);
    virtual int SaveData();
    virtual int SetParam(unsigned short n, short value);
    virtual int SetParam(unsigned short n, unsigned int value);
    virtual int GetParam(unsigned short n, short* value);
    virtual int GetParam(unsigned short n, unsigned int* value);
    virtual bool HasParam(int);
    virtual double GetDefaultParam(int);
    virtual double GetUpperParam(int);
    virtual double GetLowerParam(int);
    virtual bool IsParamDeprecated(int);
    virtual bool HasButtonEmulation();
    virtual bool IsSimulated();
    virtual int Simulate(int, double);
    virtual int SimulateGetFrc(double*);
    virtual int SimulateSetEnc(int*, unsigned char, double);
    virtual int SimulateSetPos(double*, double);
    virtual int SimulateSetRawButtons(unsigned int);
    virtual int EmulateButton(unsigned char);
    virtual void EnableSimulator(bool);
    virtual int SetLocks(unsigned char, double);
    virtual bool HasLocks();
    virtual bool HasActiveLocks();
    virtual bool GetLockMask();
    virtual bool HasPersistent();
    virtual int SetPersistent(unsigned short, unsigned short);
    virtual int GetPersistent(unsigned short*);
    virtual int GetRedundantErr(int*);
    virtual int GetRedundantRatio(double*);
    virtual double GetRedundantTol();
    virtual bool IsRedundant();
    virtual int SetVibration(double, double, int);
    virtual int SetWatchdog(unsigned char);
    virtual int GetWatchdog(unsigned char*);
    virtual int Echo(char*, unsigned char);
    virtual int SetConfig(double*);
    virtual int SetDefaultConfig(int);
    virtual int WriteConfig();
    virtual int WriteConfigToFile(char*);
    virtual int GetConfigSize();
    virtual int ReadConfig();
    virtual int ReadConfigFromFile(char*);
    virtual int ReloadConfig(bool);
    virtual bool IsConfigdefault();
    virtual int GetFirmwareType();
    virtual int GetFwVersion(double*, int*);
    virtual int ReadFirmware();
    virtual int WriteFirmware(char*);
    virtual int WriteMemoryFromFile(char*);
    virtual int WriteMemoryToFile(char*);
    virtual int EraseFirmware();
    virtual int SetMemoryMode(int);
    virtual int GetMemoryModel();
    virtual int SetMenAddr(unsigned short, unsigned char*, unsigned char);
    virtual int GetMemAddr(unsigned short, unsigned char*, unsigned char);
    virtual int ClearDeviceMemory(bool, unsigned char, int*);

    // ---- Non-virtual members ----
    int SendData(unsigned char* buffer, unsigned int length);
    int ReceiveData(unsigned char* buffer, unsigned int length);
    int USB_DataTransmit(unsigned char* request, unsigned int requestLength,
                         unsigned char* response, unsigned int responseLength);
    static int SearchDevicePort();
    static int GetDeviceCount();
    int OpenComm(const char* path);
    int CloseCom();
    void GetInternalErrStr(unsigned int code);
    // Motor velocity target (frame 0xAA, first value only) and a motion start that no device
    // supports; neither is reached from the exported interface.
    int SetMotorVel(unsigned short* vel);
    int StartMove(unsigned char);

    // Extension: at normal process exit (return from main, exit) the library stops the refresh
    // thread and switches the drives off on every device object still open; the objects stay.
    // Open and Close keep the set of open objects that this walks.
    static void StopOpenDevicesAtExit();

    // The refresh thread's routine; its argument is the device object.
    static void* RefreshFrame(void* deviceObject);

    // The working data a refresh thread keeps from pass to pass. The frame carries six
    // channels and reads and writes six elements of each array; only the three motors have
    // targets and commands, the wrist channels send zeros.
    struct RefreshWork {
        short velocityTarget[6] = {};
        short motorCommand[6] = {};
        short motorCurrent[6] = {};
        unsigned int encoders[6] = {};
        unsigned char replyMotorCount = 0, replyChannelCount = 0;
        unsigned long long passes = 0; // since the thread started, that is since qelInit
    };
    // One pass of an open, initialised device: the damped motor commands out and the
    // measurements in through the full cyclic frame, then the position and, with force output
    // and the drives on, the motor commands of the next pass. No allocation, no lock but the
    // exchange's.
    void RefreshPass(RefreshWork& work);

    // The application's servo callback, run by RefreshPass (an extension of the interface).
    qelservo::Hook m_Servo;
    // The callback's part of a pass, between the position and the force: it hands the callback
    // the pass's state and the commanded force, and keeps the force it leaves.
    void RunServoCallback(unsigned long long pass, int64_t replyNs);

protected:
    // The guards that open most operations. CheckOpenInit reports error 1 (not open) or 2 (not
    // initialised); CheckReady also fails, silently, while an earlier error is pending. The
    // common case is decided inline: every step of the kinematics opens with these.
    bool CheckOpenInit() { return (m_fOpen && m_fInit) || ReportNotOpenOrNotInit(); }
    bool CheckReady() { return CheckOpenInit() && m_ErrCode == 0; }

    // Reports error 1 or 2, whichever applies, and returns false.
    bool ReportNotOpenOrNotInit();

    // The count of channel i from the single-turn field of a cyclic reply (the raw 24-bit
    // value): stores the single-turn count and, once calibrated, unwraps it across zero.
    uint32_t UnwrapEncoder(int channel, uint32_t raw);

    // The full cyclic frame's two halves: the 67-byte request, sealed (returns the channels it
    // carries, at most six), and the reply's fields into the outputs.
    static unsigned int BuildFullRequest(uint8_t* request, unsigned char motorCount,
                                         unsigned char channelCount, const unsigned char* ctrlWord,
                                         const unsigned int* encTarget, const short* velTarget,
                                         const short* motorCmd, unsigned short commandWord);
    void ParseFullReply(const uint8_t* reply, unsigned int requestChannels,
                        unsigned char* respMotorCount, unsigned char* respChannelCount,
                        unsigned char* statWord, unsigned int* encValue, short* encVel,
                        short* motorCurrent, unsigned short* deviceState);

    // The short command frames: a request of `code` with the one-byte payload `value` (none
    // when value is negative), answered by the code and one byte, which goes to *answer. An
    // answer that does not echo the code, or with requireNonZero that carries 0, is invalid
    // data (error 257).
    int ExchangeByte(uint8_t code, int value, uint8_t* answer, bool requireNonZero);

    // The common start of the arm-geometry operations: the guard, the arm's three joint
    // angles in radians into angles[0..2] (zero-initialised by the caller), read afresh from
    // the counts of the last cyclic frame, and then error 258 for a null output.
    int ReadArmAngles(double* angles, const void* out);

private:
    // The drives-off frame of Close and of the exit, sent even while an error is pending.
    void SwitchDrivesOff();
    // Adds the object to the set of open objects, or takes it out.
    void TrackOpen(bool open);

    // Calibration returns once the refresh thread has solved a position from calibrated counts,
    // waiting at most one exchange: passes that solved one are counted here.
    void AwaitCalibratedPass();
    std::atomic<unsigned> m_CalibratedPasses{0};

    // Refresh threads hold a plain pointer to this object, and Close does not wait for them.
    // The object therefore keeps count of the threads started on it that have not yet left
    // their loop; teardown and reopening wait for that count to drop (a pass ends within one
    // exchange time-out) and then reclaim the threads.
    static void* RunRefreshThread(void* deviceObject);
    bool StartRefreshThread();
    void ReapRefreshThreads();
    // Waits until the threads asked to stop have left their loops: at most the given time, or
    // without one, one exchange. False when some are still inside.
    bool AwaitRefreshThreadsLeft(int64_t timeoutNs);
    bool AwaitRefreshThreadsLeft();

    std::atomic<int> m_LiveRefreshThreads{0};
    std::mutex m_RefreshThreadsLock;
    std::vector<pthread_t> m_RefreshThreads;
};

#endif
