// SPDX-License-Identifier: MIT
/* An application written in C: it includes the exported header as it is and links the library
 * by the plain names, as C programs and foreign-function callers do. With no device attached
 * every call must come back with its failure value and the right error, across the C calling
 * convention (bool results, char identifiers, matrix arguments, a double result). */
#define _POSIX_C_SOURCE 200809L
#include <stdio.h>
#include <string.h>
#include <time.h>

#include "QEL_OPEN.h"

static int failures = 0;

static void check(int ok, const char* what) {
    if (!ok) {
        fprintf(stderr, "failed: %s\n", what);
        ++failures;
    }
}

static void checkLastError(unsigned int code, unsigned int node, const char* text) {
    unsigned int c = 99, n = 99;
    const char* last;
    check(qelErrorGetLast(&c, &n) == 1, "qelErrorGetLast answers 1");
    last = qelErrorGetLastStr();
    check(c == code && n == node, "the last error's code and node");
    check(last != NULL && strcmp(last, text) == 0, "the last error's text");
}

static volatile int threadRan = 0;

static void* markRan(void* arg) {
    *(volatile int*)arg = 1;
    return NULL;
}

int main(void) {
    double px = -1, py = -1, pz = -1, frame[3][3] = {{-1}}, rates[6] = {-1};
    bool pressed;
    char ID = -1;
    int i;

    check(qelGetDeviceCount() == 0, "no device is attached");
    check(qelOpen() == 0, "qelOpen fails without a device");
    checkLastError(1, 1, "No Device Connected to the System");

    check(qelGetPosition(&px, &py, &pz, ID) == 0, "qelGetPosition fails");
    checkLastError(3, 1, "Invalid Input Parameter");
    check(px == -1 && py == -1 && pz == -1, "qelGetPosition leaves its outputs");
    check(qelGetOrientationFrame(frame, 1) == 0 && frame[0][0] == -1, "the matrix argument");
    check(qelGetJointVelocities(rates, 1) == 0 && rates[0] == -1, "an array argument");
    pressed = qelHasBase(1);
    check(!pressed, "a bool result");
    check(qelGetComFreq(1) == 0.0, "a double result");
    check(strcmp(qelErrorGetStr(4), "Expert Mode Not Set") == 0, "qelErrorGetStr");

    check(qelEnableExpertMode() == 1 && qelDisableExpertMode() == 1, "expert mode");
    qelClearError();
    checkLastError(0, 0, "");

    check(!qelKbHit() && qelKbGet() == 0 && qelGetTime() == 0.0, "the fixed utilities");
    check(qelAutoCalibrate(1) == 0, "qelAutoCalibrate");
    check(qelStartThread(markRan, (void*)&threadRan, 10) == 1, "qelStartThread");
    for (i = 0; i < 2000 && !threadRan; ++i) {
        struct timespec pause = {0, 1000000};
        qelSleep(0.001); /* returns at once */
        nanosleep(&pause, NULL);
    }
    check(threadRan, "the started thread ran");

    if (failures) return 1;
    puts("C interface: all checks passed");
    return 0;
}
