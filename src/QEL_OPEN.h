// The library's exported interface: a flat set of qel functions that find, open, initialise
// and close devices, read the handle's state and command forces.
//
// Devices are named by a 1-based identifier passed last to every device function; -1 stands
// for the current device. Functions return 1 on success and 0 on failure unless documented
// otherwise; the reason for a failure is kept in the last-error record.
#ifndef QEL_OPEN_H
#define QEL_OPEN_H

#include "qelDefines.h"

#endif
