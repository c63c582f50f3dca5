// SPDX-License-Identifier: MIT
/* A tiny application built against an installed copy of the library, outside its source tree:
 * it opens the first device, reads the handle's position and closes again. */
#define _POSIX_C_SOURCE 200809L
#include <stdio.h>
#include <time.h>

#include <QEL_OPEN.h>

int main(void) {
    double x = 0, y = 0, z = 0;
    int found = qelGetDeviceCount(), tries;
    if (found < 1 || qelOpenID(1) != 1 || !qelInit(1) || !qelCalibrateDevice(1)) {
        fprintf(stderr, "consumer: %d device(s); %s\n", found,
                qelErrorGetLastStr() ? qelErrorGetLastStr() : "no error text");
        return 1;
    }
    /* The refresh thread's first pass after calibration gives the first position. */
    for (tries = 0; tries < 2000 && z == 0; ++tries) {
        struct timespec pause = {0, 1000000};
        if (!qelGetPosition(&x, &y, &z, 1)) break;
        nanosleep(&pause, NULL);
    }
    printf("consumer: device 1 at %.2f %.2f %.2f mm\n", x, y, z);
    return qelClose(1) && z != 0 ? 0 : 1;
}
