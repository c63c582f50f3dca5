// SPDX-License-Identifier: MIT
// Fuzzes the replies of the short command frames: modes, LEDs, drives, brakes, motor commands
// and velocities, the encoder preset and the encoder read, each through its operation on an
// initialised device object. Input: an operation selector, a flags byte (bit 0: replies carry
// a valid checksum), the operation's arguments, then the reply bytes.
#include <cstddef>
#include <cstdint>

#include "reply_line.h"

namespace {

qelfuzz::ReplyLine& line() {
    static qelfuzz::ReplyLine instance;
    return instance;
}

QEL& device() {
    static QEL* instance = [] {
        QEL* d = new QEL();
        if (!line().bringUp(*d, 1)) __builtin_trap();
        return d;
    }();
    return *instance;
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    qelfuzz::Input in(data, size);
    QEL& d = device();
    qelfuzz::ReplyLine& l = line();
    const uint8_t op = in.byte();
    const bool valid = in.byte() & 1;
    const uint8_t arg = in.byte();
    d.ClearError();
    d.fThreadRunning = false;
    auto reply = [&](size_t length, int count = 1) {
        for (int i = 0; i < count; ++i) l.queueReply(in, length, valid);
    };

    switch (op % 12) {
    case 0:
        reply(5);
        d.SetMode(arg);
        break;
    case 1: {
        unsigned char mode = 0;
        reply(5);
        d.GetMode(&mode);
        break;
    }
    case 2:
        reply(5);
        d.SetLED(arg, arg & 0x80);
        break;
    case 3:
        reply(5, 2); // the drives, then their LED
        d.EnableDevice(arg & 1);
        break;
    case 4:
        reply(5);
        d.SetBrakes(static_cast<bool>(arg & 1));
        break;
    case 5: {
        bool engaged = false;
        reply(5);
        d.GetBrakes(&engaged);
        break;
    }
    case 6: {
        unsigned short velocity[1] = {static_cast<unsigned short>(arg * 257)};
        reply(5);
        d.SetMotorVel(velocity);
        break;
    }
    case 7: {
        unsigned int counts[6] = {arg * 4099u, 948576u, 1000000u, 0, 0, 0};
        reply(5);
        d.Preset(counts);
        break;
    }
    case 8: {
        short motors[3] = {static_cast<short>(arg * 129), -1, 32767};
        reply(4);
        d.SetMot(motors);
        break;
    }
    case 9: {
        short motors[3] = {};
        reply(10);
        d.GetMot(motors);
        break;
    }
    case 10:
        // On: the force mode; off: the mode is asked for, then the parked mode set.
        reply(5, arg & 1 ? 1 : 2);
        d.SetFrcEnabled(arg & 1);
        break;
    case 11: {
        unsigned int counts[6] = {};
        unsigned short status = 0;
        double velocity[6] = {};
        reply(36);
        if (d.GetEnc(counts, &status, velocity, arg & 1)) {
            double angles[6] = {};
            d.EncToJointAng(counts, angles, 0x3F);
        }
        break;
    }
    }
    l.drain();
    return 0;
}
