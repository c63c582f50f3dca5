// The 3x3 inverse used by the position solver and the Jacobian.
#include "QEL.h"

// Gauss-Jordan elimination on [in | I] without row exchanges. The matrices handed in are the
// arm's constraint gradients, whose diagonal stays away from zero outside singular poses; at
// such a pose the zero pivot shows up as non-finite entries rather than as a failure, and the
// callers pass those on. The sweep order below fixes the rounding of every entry, so no term
// is skipped, not even the products with the identity's zeros (they carry a non-finite
// multiplier into the result). The loops are unrolled so that the whole sweep stays in
// registers: the solver runs it several times on every refresh pass.
int QEL::CalcuInvMatrix(double (*in)[3], double (*out)[3]) {
    if (!CheckReady()) return 0;
    if (!out) {
        ErrorCatch(258);
        return 0;
    }
    double M[3][6];
#pragma GCC unroll 3
    for (int i = 0; i < 3; ++i)
#pragma GCC unroll 3
        for (int j = 0; j < 3; ++j) {
            M[i][j] = in[i][j];
            M[i][j + 3] = (i == j) ? 1.0 : 0.0;
        }

#pragma GCC unroll 3
    for (int i = 0; i < 3; ++i)
#pragma GCC unroll 3
        for (int k = i + 1; k < 3; ++k) {
            const double f = -M[k][i] / M[i][i];
#pragma GCC unroll 6
            for (int j = i; j < 6; ++j) M[k][j] = M[i][j] * f + M[k][j];
        }
#pragma GCC unroll 3
    for (int i = 2; i >= 1; --i)
#pragma GCC unroll 3
        for (int k = i - 1; k >= 0; --k) {
            const double f = -M[k][i] / M[i][i];
#pragma GCC unroll 6
            for (int j = 5; j >= 0; --j) M[k][j] = M[i][j] * f + M[k][j];
        }
#pragma GCC unroll 3
    for (int i = 0; i < 3; ++i) {
        // Each row's inverse columns are divided by the pivot as it stands after the
        // elimination. The left half, which would become the identity, is not part of the
        // result and is left unscaled.
        const double pivot = M[i][i];
#pragma GCC unroll 3
        for (int j = 0; j < 3; ++j) out[i][j] = M[i][j + 3] / pivot;
    }
    return 1;
}
