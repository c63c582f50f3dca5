// SPDX-License-Identifier: MIT
// Fuzzes the register replies: single registers, 16- and 32-bit parameters, the serial
// number, the commit, and the sequences built on them: the initialisation, which takes the
// device's model from its registers, and the calibration load and save. After an
// initialisation the model read from the fuzzed registers converts counts to a position and a
// force to motor commands. Input: an operation selector, a flags byte (bit 0: replies carry a
// valid checksum), two argument bytes, then the reply bytes.
#include <cstddef>
#include <cstdint>

#include "reply_line.h"

namespace {

qelfuzz::ReplyLine& line() {
    static qelfuzz::ReplyLine instance;
    return instance;
}

// The model the fuzzed registers gave, put to work on counts from the input.
void useModel(QEL& d, qelfuzz::Input& in) {
    unsigned int counts[6];
    for (unsigned int& c : counts) c = in.u32();
    double position[3] = {}, rotation[3][3] = {}, angles[6] = {};
    d.EncToJointAng(counts, angles, 0x3F);
    d.EncToOpPos(counts, position, rotation);
    double force[3] = {1.0, -2.0, 3.0};
    short motors[3] = {};
    d.m_fForceEnable = d.m_fDeviceEnable = true;
    d.m_fGravComp = in.byte() & 1;
    d.OpFrcToMot(force, counts, motors);
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    qelfuzz::Input in(data, size);
    qelfuzz::ReplyLine& l = line();
    const uint8_t op = in.byte();
    const bool valid = in.byte() & 1;
    const uint16_t arg = in.u16();
    auto reply = [&](int count) {
        for (int i = 0; i < count; ++i) l.queueReply(in, 8, valid);
    };

    QEL d;
    l.attach(d);
    switch (op % 9) {
    case 0: {
        short value = 0;
        reply(1);
        d.ReadRegister(arg, &value);
        break;
    }
    case 1:
        reply(1);
        d.WriteRegister(arg, static_cast<short>(arg * 3));
        break;
    case 2: {
        unsigned int value = 0;
        reply(2);
        d.GetParam(arg, &value);
        break;
    }
    case 3:
        reply(2);
        d.SetParam(arg, static_cast<unsigned int>(arg) * 65599u);
        break;
    case 4:
        reply(2);
        d.GetSerialNumber();
        break;
    case 5:
        reply(2);
        d.SetSerialNumber(arg);
        break;
    case 6:
        reply(1);
        d.SaveData();
        break;
    case 7:
        // Serial number (two registers), resolution (two), 130 to 135, then the calibration.
        reply(10 + 24);
        if (d.Initialize() && d.GetCalibration()) useModel(d, in);
        break;
    case 8: {
        unsigned int min[6], max[6];
        for (int j = 0; j < 6; ++j) min[j] = in.u32(), max[j] = in.u32();
        static const unsigned char masks[] = {7, 63, 127, 15};
        reply(10 + 25);
        if (d.Initialize()) d.SaveCalibration(min, max, masks[arg % 4]);
        break;
    }
    }
    l.drain();
    l.detach(d);
    return 0;
}
