// SPDX-License-Identifier: MIT
// Fuzzes the cyclic replies: the full frame (0xB0) with its channel count, each taken through
// one pass of the refresh loop's work (damped motor commands, the exchange, positions and,
// with force and drives on, the force rendered into motor commands) and then read back as an
// application does; the short frame (0xAF) with its velocity estimate; and the encoder read
// (0xA0). Device objects of type 1, type 2 and an unknown type, initialised and calibrated,
// stand ready; each input starts them from the same state. Input: a device selector, then
// per pass a flags byte and the reply bytes, for up to eight passes.
#include <cstddef>
#include <cstdint>
#include <cstring>

#include "reply_line.h"

namespace {

qelfuzz::ReplyLine& line() {
    static qelfuzz::ReplyLine instance;
    return instance;
}

// The members a pass writes, as they stood after the bring-up.
struct Snapshot {
    uint32_t encoderValue[6], encoderSingle[6];
    int16_t encoderVel[6], motorDac[3], motorCurrent[3];
    double position[3], orientation[3][3], initPos[3], velocity[3], force[3], jointTorque[3];
    uint8_t statWord[6];
    uint16_t deviceState;

    void take(const QEL& d) {
        std::memcpy(encoderValue, d.m_EncoderValue, sizeof encoderValue);
        std::memcpy(encoderSingle, d.m_EncoderSingleValue, sizeof encoderSingle);
        std::memcpy(encoderVel, d.m_EncoderVel, sizeof encoderVel);
        std::memcpy(motorDac, d.m_MotorDACValue, sizeof motorDac);
        std::memcpy(motorCurrent, d.m_MotorCurrent, sizeof motorCurrent);
        std::memcpy(position, d.m_Position, sizeof position);
        std::memcpy(orientation, d.m_Orientation, sizeof orientation);
        std::memcpy(initPos, d.m_InitPos, sizeof initPos);
        std::memcpy(velocity, d.m_Velocity, sizeof velocity);
        std::memcpy(force, d.m_Force, sizeof force);
        std::memcpy(jointTorque, d.m_JointTorque, sizeof jointTorque);
        std::memcpy(statWord, d.m_StatWord, sizeof statWord);
        deviceState = d.m_DeviceState;
    }
    void restore(QEL& d) const {
        std::memcpy(d.m_EncoderValue, encoderValue, sizeof encoderValue);
        std::memcpy(d.m_EncoderSingleValue, encoderSingle, sizeof encoderSingle);
        std::memcpy(d.m_EncoderVel, encoderVel, sizeof encoderVel);
        std::memcpy(d.m_MotorDACValue, motorDac, sizeof motorDac);
        std::memcpy(d.m_MotorCurrent, motorCurrent, sizeof motorCurrent);
        std::memcpy(d.m_Position, position, sizeof position);
        std::memcpy(d.m_Orientation, orientation, sizeof orientation);
        std::memcpy(d.m_InitPos, initPos, sizeof initPos);
        std::memcpy(d.m_Velocity, velocity, sizeof velocity);
        std::memcpy(d.m_Force, force, sizeof force);
        std::memcpy(d.m_JointTorque, jointTorque, sizeof jointTorque);
        std::memcpy(d.m_StatWord, statWord, sizeof statWord);
        d.m_DeviceState = deviceState;
        d.fFirstFrame = true;
        d.ClearError();
    }
};

struct Ready {
    QEL device;
    Snapshot snapshot;
};

Ready* devices() {
    static Ready* instances = [] {
        Ready* r = new Ready[3];
        const int types[3] = {1, 2, 7};
        for (int i = 0; i < 3; ++i) {
            if (!line().bringUp(r[i].device, types[i])) __builtin_trap();
            r[i].snapshot.take(r[i].device);
        }
        return r;
    }();
    return instances;
}

// What an application reads after a pass.
void readBack(QEL& d) {
    double position[3], rotation[3][3], grip = 0, angles[6] = {}, velocity[6] = {};
    d.GetOpPos(position, rotation, &grip);
    d.GetJointAng(angles, 0x3F, velocity);
    d.GetVel(velocity);
    d.GetJointVel(velocity);
    d.GetEncVel(velocity);
    bool pressed = false;
    d.GetButton(3, &pressed);
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    qelfuzz::Input in(data, size);
    qelfuzz::ReplyLine& l = line();
    Ready& ready = devices()[in.byte() % 3];
    QEL& d = ready.device;
    ready.snapshot.restore(d);

    // The refresh thread's working data, fresh for each input so that every run is the same.
    QEL::RefreshWork work;
    for (int pass = 0; pass < 8 && !in.empty(); ++pass) {
        const uint8_t flags = in.byte();
        const bool valid = flags & 1;
        d.ClearError();
        d.m_fCalibrate = !(flags & 2);
        d.m_fForceEnable = d.m_fDeviceEnable = flags & 4;
        d.m_fGravComp = flags & 8;
        d.m_Force[0] = static_cast<int8_t>(flags) / 8.0;
        d.m_Force[1] = -d.m_Force[0];
        d.m_Force[2] = 1.0;
        switch (flags >> 4 & 3) {
        case 0:
        case 1:
            l.queueReply(in, 67, valid);
            d.RefreshPass(work);
            break;
        case 2: {
            short motors[3] = {100, -100, 0}, motorValues[3] = {};
            unsigned short commandWord = 0, status = 0;
            unsigned int counts[6] = {};
            l.queueReply(in, 42, valid);
            d.SetMotAndGetMotAndGetEnc(motors, &commandWord, counts, motorValues, &status);
            break;
        }
        case 3: {
            unsigned int counts[6] = {};
            unsigned short status = 0;
            double velocity[6] = {};
            l.queueReply(in, 36, valid);
            d.GetEnc(counts, &status, velocity, true);
            break;
        }
        }
        readBack(d);
        l.drain();
    }
    return 0;
}
