// Device registers and parameters, operation modes and calibration.
#include "QEL.h"

int QEL::SaveCalibration(unsigned int*, unsigned int*, unsigned char) { return 0; }
int QEL::GetCalibration() { return 0; }
int QEL::AutoCalibrate() { return 0; }
int QEL::SetMode(unsigned char) { return 0; }
int QEL::GetMode(unsigned char*) { return 0; }
int QEL::WriteRegister(unsigned short, short) { return 0; }
int QEL::ReadRegister(unsigned short, short*) { return 0; }
int QEL::SaveData() { return 0; }
int QEL::SetParam(unsigned short, short) { return 0; }
int QEL::SetParam(unsigned short, unsigned int) { return 0; }
int QEL::GetParam(unsigned short, short*) { return 0; }
int QEL::GetParam(unsigned short, unsigned int*) { return 0; }
