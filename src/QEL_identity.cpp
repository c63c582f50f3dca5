// SPDX-License-Identifier: MIT
// Identity, time and the guarded queries that the device cannot answer.
#include "QEL.h"

#include <cerrno>
#include <ctime>

// The base angles are not measured: a ready device reports 1.0 and ignores new angles.
double QEL::GetBaseAngleX() { return CheckReady() ? 1.0 : 0.0; }
double QEL::GetBaseAngleY() { return CheckReady() ? 1.0 : 0.0; }
double QEL::GetBaseAngleZ() { return CheckReady() ? 1.0 : 0.0; }
int QEL::SetBaseAngleX(double) { return CheckReady() ? 1 : 0; }
int QEL::SetBaseAngleY(double) { return CheckReady() ? 1 : 0; }
int QEL::SetBaseAngleZ(double) { return CheckReady() ? 1 : 0; }

// The serial number lives in parameter 136; 0 stands for "could not be read". Like the
// parameters themselves it needs an open port only.
unsigned int QEL::GetSerialNumber() {
    unsigned int serial = 0;
    if (!m_fOpen || !GetParam(136, &serial)) return 0;
    return serial;
}

int QEL::SetSerialNumber(unsigned int serial) { return m_fOpen ? SetParam(136, serial) : 0; }

// The device has no clock of its own to read; a ready device answers 1.0.
double QEL::GetDeviceTime() { return CheckReady() ? 1.0 : 0.0; }

double QEL::GetComFreq() { return CheckReady() ? m_ComFreq : 0.0; }

// Host monotonic clock in nanoseconds, as a double.
double QEL::GetTime() {
    struct timespec now;
    clock_gettime(CLOCK_MONOTONIC, &now);
    return static_cast<double>(now.tv_sec) * 1000000000.0 + static_cast<double>(now.tv_nsec);
}

// A signal does not cut the sleep short: the remainder is slept as well.
int QEL::Sleep(int ns) {
    struct timespec span;
    span.tv_sec = ns / 1000000000;
    span.tv_nsec = ns % 1000000000;
    while (nanosleep(&span, &span) != 0 && errno == EINTR) {
    }
    return 1;
}

// Declared for the interface but not provided by the device: after the guard, always 0 and
// the outputs are left alone.
int QEL::GetVersion(int*, int*, int*, int*) {
    CheckReady();
    return 0;
}

int QEL::GetSystemType(bool) {
    CheckReady();
    return 0;
}

int QEL::GetSystemRev() {
    CheckReady();
    return 0;
}

int QEL::GetStatus(int*, bool) {
    CheckReady();
    return 0;
}

int QEL::ControllerSetDevice(int) {
    CheckReady();
    return 0;
}

int QEL::SetTimeGuard(double) {
    CheckReady();
    return 0;
}

int QEL::SetWatchdog(unsigned char) {
    CheckReady();
    return 0;
}

int QEL::GetWatchdog(unsigned char*) {
    CheckReady();
    return 0;
}

int QEL::SetComMode(int) {
    CheckReady();
    return 0;
}

int QEL::SetVibration(double, double, int) {
    CheckReady();
    return 0;
}
