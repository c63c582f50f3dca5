// Exported access to the device's parameter registers.
#include "QEL_OPEN.h"
#include "QEL_OPEN_prologue.h"

namespace {

// The interface numbers its parameters 1 to 8 and translates them to register numbers; the
// 32-bit and 16-bit families use different tables, and the 16-bit setter knows one number
// more than the 16-bit getter. Numbers outside a table pass through unchanged.
unsigned short translate(const unsigned short (&table)[9], unsigned short param) {
    return param >= 1 && param <= 8 ? table[param] : param;
}

const unsigned short kIntParams[9] = {0, 1, 0x80, 3, 4, 5, 6, 7, 0x88};
const unsigned short kSetShortParams[9] = {0, 0x87, 2, 0x82, 0x83, 0x84, 0x85, 0x86, 8};
const unsigned short kGetShortParams[9] = {0, 1, 2, 0x82, 0x83, 0x84, 0x85, 0x86, 8};

} // namespace

int qelSetParaInt(unsigned short param, unsigned int value, char ID) {
    unsigned short reg = translate(kIntParams, param);
    return callDevice(ID, kOpen | kExpert, [=](QEL& d) { return d.SetParam(reg, value); });
}

int qelGetParaInt(unsigned short param, unsigned int* value, char ID) {
    unsigned short reg = translate(kIntParams, param);
    return callDevice(ID, kOpen | kExpert, [=](QEL& d) { return d.GetParam(reg, value); });
}

int qelSetParaShort(unsigned short param, short value, char ID) {
    unsigned short reg = translate(kSetShortParams, param);
    return callDevice(ID, kOpen | kExpert, [=](QEL& d) { return d.SetParam(reg, value); });
}

int qelGetParaShort(unsigned short param, short* value, char ID) {
    unsigned short reg = translate(kGetShortParams, param);
    return callDevice(ID, kOpen | kExpert, [=](QEL& d) { return d.GetParam(reg, value); });
}

int qelSaveConfiguration(char ID) {
    return callDevice(ID, kOpen | kExpert, [](QEL& d) { return d.SaveData(); });
}
