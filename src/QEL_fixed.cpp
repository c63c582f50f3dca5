// SPDX-License-Identifier: MIT
// Operations that the interface declares but no device provides. They check nothing and give
// fixed answers, which the exported functions pass on unchanged.
#include "QEL.h"

const char* QEL::GetSystemName() { return nullptr; }
int QEL::GetID() { return 0; }
void* QEL::GetHandle(int) { return nullptr; }
double QEL::GetGripperRadius() { return 0.0; }
int QEL::GetThumb(double*, double*) { return 0; }
int QEL::GetFinger(double*) { return 0; }
int QEL::GetBuildFlag(int) { return 0; }
bool QEL::GetActiveMask() { return true; }
bool QEL::GetPassiveMask() { return true; }
int QEL::GetRawButtons(unsigned int*, bool) { return 0; }
int QEL::GetRawEnc(int*, unsigned char, double*, bool) { return 0; }
int QEL::GetRawEnc(int*, double*, bool) { return 0; }
int QEL::GetRawStatus(unsigned int*) { return 0; }
int QEL::GripEncToCG(int, double*) { return 0; }

int QEL::StartMonitor() { return 0; }
void QEL::StopMonitor() {}
bool QEL::IsMonitoring() { return false; }
int QEL::Monitor() { return 0; }
int QEL::SetComAsync(bool) { return 0; }
int QEL::ComCallback(int*, double) { return 0; }
int QEL::GetComMode() { return 0; }
int QEL::ComRead() { return 0; }
int QEL::ComWrite() { return 0; }

bool QEL::HasParam(int) { return false; }
double QEL::GetDefaultParam(int) { return 1.0; }
double QEL::GetUpperParam(int) { return 1.0; }
double QEL::GetLowerParam(int) { return 1.0; }
bool QEL::IsParamDeprecated(int) { return false; }

bool QEL::HasButtonEmulation() { return false; }
bool QEL::IsSimulated() { return false; }
int QEL::Simulate(int, double) { return 0; }
int QEL::SimulateGetFrc(double*) { return 0; }
int QEL::SimulateSetEnc(int*, unsigned char, double) { return 0; }
int QEL::SimulateSetPos(double*, double) { return 0; }
int QEL::SimulateSetRawButtons(unsigned int) { return 0; }
int QEL::EmulateButton(unsigned char) { return 0; }
void QEL::EnableSimulator(bool) {}

int QEL::SetLocks(unsigned char, double) { return 0; }
bool QEL::HasLocks() { return false; }
bool QEL::HasActiveLocks() { return false; }
bool QEL::GetLockMask() { return true; }
bool QEL::HasPersistent() { return false; }
int QEL::SetPersistent(unsigned short, unsigned short) { return 0; }
int QEL::GetPersistent(unsigned short*) { return 0; }
int QEL::GetRedundantErr(int*) { return 0; }
int QEL::GetRedundantRatio(double*) { return 0; }
double QEL::GetRedundantTol() { return 0.0; }
bool QEL::IsRedundant() { return false; }

int QEL::Echo(char*, unsigned char) { return 0; }
int QEL::SetConfig(double*) { return 0; }
int QEL::SetDefaultConfig(int) { return 0; }
int QEL::WriteConfig() { return 0; }
int QEL::WriteConfigToFile(char*) { return 0; }
int QEL::GetConfigSize() { return 0; }
int QEL::ReadConfig() { return 0; }
int QEL::ReadConfigFromFile(char*) { return 0; }
int QEL::ReloadConfig(bool) { return 0; }
bool QEL::IsConfigdefault() { return false; }

int QEL::GetFirmwareType() { return 0; }
int QEL::GetFwVersion(double*, int*) { return 0; }
int QEL::ReadFirmware() { return 0; }
int QEL::WriteFirmware(char*) { return 0; }
int QEL::WriteMemoryFromFile(char*) { return 0; }
int QEL::WriteMemoryToFile(char*) { return 0; }
int QEL::EraseFirmware() { return 0; }
int QEL::SetMemoryMode(int) { return 0; }
int QEL::GetMemoryModel() { return 0; }
int QEL::SetMenAddr(unsigned short, unsigned char*, unsigned char) { return 0; }
int QEL::GetMemAddr(unsigned short, unsigned char*, unsigned char) { return 0; }
int QEL::ClearDeviceMemory(bool, unsigned char, int*) { return 0; }
