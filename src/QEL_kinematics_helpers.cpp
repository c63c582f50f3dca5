// SPDX-License-Identifier: MIT
// The kinematics' helpers that are not inline: remembered sines and cosines, and the 3x3
// inverse as an operation of the device object. The matrix and vector arithmetic itself is
// inline, in QEL_matrix.h.
#include <cmath>
#include <cstring>

#include "QEL.h"
#include "QEL_kinematics_common.h"
#include "QEL_matrix.h"

namespace {

// One refresh pass takes the sines and cosines of the same arm angles for every Newton step,
// again for the Jacobian's solve and once more for the Jacobian itself, and those of the same
// wrist tilt every pass. The last set is kept per thread, so that the refresh thread and an
// application's own conversions on the same device never see each other's values. Angles are
// compared bit for bit: -0.0 and 0.0 have sines of different sign, and NaN never matches.
struct ArmMemo {
    bool valid;
    double q[3], s[3], c[3];
};
struct AngleMemo {
    bool valid;
    double x, s, c;
};
thread_local ArmMemo armMemo;
thread_local AngleMemo angleMemo;

} // namespace

void qelkin::armSinCos(const double* q, double* s, double* c) {
    ArmMemo& m = armMemo;
    if (!m.valid || std::memcmp(m.q, q, sizeof m.q) != 0) {
        double sq[3], cq[3];
        for (int i = 0; i < 3; ++i) {
            sq[i] = std::sin(q[i]);
            cq[i] = std::cos(q[i]);
        }
        std::memcpy(m.s, sq, sizeof sq);
        std::memcpy(m.c, cq, sizeof cq);
        std::memcpy(m.q, q, sizeof m.q);
        m.valid = true;
    }
    for (int i = 0; i < 3; ++i) {
        s[i] = m.s[i];
        c[i] = m.c[i];
    }
}

void qelkin::sinCos(double x, double& s, double& c) {
    AngleMemo& m = angleMemo;
    if (!m.valid || std::memcmp(&m.x, &x, sizeof x) != 0) {
        m.s = std::sin(x);
        m.c = std::cos(x);
        m.x = x;
        m.valid = true;
    }
    s = m.s;
    c = m.c;
}

// The device's guards, then the sweep.
int QEL::CalcuInvMatrix(double (*in)[3], double (*out)[3]) {
    if (!CheckReady()) return 0;
    if (!out) {
        ErrorCatch(deverr::kInvalidParameter);
        return 0;
    }
    qelkin::invert3x3(in, out);
    return 1;
}
