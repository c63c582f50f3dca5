// SPDX-License-Identifier: MIT
// Exported access to the device's parameter registers, its calibration and its velocity
// threshold.
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

// ---- Parameters ----

int qelSetParaInt(unsigned short param, unsigned int value, char ID) {
    unsigned short reg = translate(kIntParams, param);
    return callDevice(ID, kExpertFunction, [=](QEL& d) { return d.SetParam(reg, value); });
}

// Checks the slot like its siblings (error 2) rather than reaching for a missing device.
int qelGetParaInt(unsigned short param, unsigned int* value, char ID) {
    unsigned short reg = translate(kIntParams, param);
    return callDevice(ID, kExpertFunction, [=](QEL& d) { return d.GetParam(reg, value); });
}

int qelSetParaShort(unsigned short param, short value, char ID) {
    unsigned short reg = translate(kSetShortParams, param);
    return callDevice(ID, kExpertFunction, [=](QEL& d) { return d.SetParam(reg, value); });
}

int qelGetParaShort(unsigned short param, short* value, char ID) {
    unsigned short reg = translate(kGetShortParams, param);
    return callDevice(ID, kExpertFunction, [=](QEL& d) { return d.GetParam(reg, value); });
}

int qelSaveConfiguration(char ID) {
    return callDevice(ID, kExpertFunction, [](QEL& d) { return d.SaveData(); });
}

// ---- Velocity threshold ----

int qelSetVelocityThreshold(QELuint val, char ID) {
    return callDevice(ID, kExpertFunction, [=](QEL& d) { return d.SetVelThresh(val); });
}

int qelGetVelocityThreshold(QELuint* val, char ID) {
    return callDevice(ID, kExpertFunction, [=](QEL& d) { return d.GetVelThresh(val); });
}

// ---- Calibration ----

int qelCalibrateDevice(char ID) {
    return callDevice(ID, kOpen, [](QEL& d) { return d.GetCalibration(); });
}

int qelSaveCalibration(unsigned int* minValue, unsigned int* maxValue, unsigned char mask,
                       char ID) {
    return callDevice(ID, kExpertFunction,
                      [=](QEL& d) { return d.SaveCalibration(minValue, maxValue, mask); });
}

// ---- Settings no device has: they validate the device and report success ----

int qelSetComMode(int, char ID) { return prologueOnly(ID, kExpertFunction); }
int qelSetComModePriority(int, char ID) { return prologueOnly(ID, kExpertFunction); }
int qelSetWatchdog(unsigned char, char ID) { return prologueOnly(ID, kExpertFunction); }
int qelGetWatchdog(unsigned char*, char ID) { return prologueOnly(ID, kExpertFunction); }
int qelControllerSetDevice(int, char ID) { return prologueOnly(ID, kExpertFunction); }
int qelReadConfigFromFile(char*, char ID) { return prologueOnly(ID, kExpertFunction); }
int qelCalibrateWrist(char ID) { return prologueOnly(ID, kExpertFunction); }
int qelPreset(int*, QELushort, char ID) { return prologueOnly(ID, kExpertFunction); }
