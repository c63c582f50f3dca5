// SPDX-License-Identifier: MIT
// qel-tool doctor: checks, one by one, what stands between this user and a working device,
// and prints for each "ok" or what to do about it.
#ifndef QELTOOL_DOCTOR_H
#define QELTOOL_DOCTOR_H

#include <cstdio>

#include "device.h"

namespace qeltool {

struct DoctorOptions {
    Selection device;        // the device whose answer is checked
    bool checkDevice = true; // false: stop before opening a device
};

// Prints one line per check to out; returns 0 when everything needed is in place, 1 when
// something is missing. Warnings (real-time limits, a rule outside udev's directories) are
// advice and leave the status 0.
int doctor(const DoctorOptions& options, std::FILE* out);

} // namespace qeltool

#endif
