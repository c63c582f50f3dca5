// The 3x3 inverse as an operation of the device object: the device's guards, then the sweep.
#include "QEL.h"
#include "QEL_matrix.h"

int QEL::CalcuInvMatrix(double (*in)[3], double (*out)[3]) {
    if (!CheckReady()) return 0;
    if (!out) {
        ErrorCatch(deverr::kInvalidParameter);
        return 0;
    }
    qelkin::invert3x3(in, out);
    return 1;
}
