// SPDX-License-Identifier: MIT
// Utilities that address no device: the application's own real-time thread, and keyboard,
// clock and sleep functions kept for applications written against them, which answer at once.
#include <pthread.h>
#include <sched.h>

#include "QEL_OPEN.h"

int qelAutoCalibrate(char) { return 0; }
bool qelKbHit() { return false; }
char qelKbGet() { return 0; }
double qelGetTime() { return 0.0; }
void qelSleep(double) {}

int qelStartThread(fn* func, void* arg, int priority) {
    pthread_attr_t attributes;
    pthread_attr_init(&attributes);
    pthread_attr_setdetachstate(&attributes, PTHREAD_CREATE_DETACHED);
    pthread_attr_setschedpolicy(&attributes, SCHED_FIFO);
    sched_param parameters = {};
    parameters.sched_priority = priority;
    pthread_attr_setschedparam(&attributes, &parameters);
    // The inheritance of scheduling stays at the system's default, so the request above only
    // applies where threads do not inherit their creator's scheduling.
    pthread_t thread;
    int created = pthread_create(&thread, &attributes, func, arg);
    pthread_attr_destroy(&attributes);
    return created == 0 ? 1 : 0;
}
