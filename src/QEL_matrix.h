// SPDX-License-Identifier: MIT
// The exact 3x3 inverse and Newton step shared by the position solver, the Jacobian and the
// force path. Inline and free of the device's guards: the callers have checked the device
// already, and the solver runs them several times on every refresh pass.
#ifndef QEL_MATRIX_H
#define QEL_MATRIX_H

namespace qelkin {

// Gauss-Jordan elimination on [in | I] without row exchanges. The matrices handed in are the
// arm's constraint gradients, whose diagonal stays away from zero outside singular poses; at
// such a pose the zero pivot shows up as non-finite entries rather than as a failure, and the
// callers pass those on. The sweep order below fixes the rounding of every entry, so no term
// is skipped, not even the products with the identity's zeros (they carry a non-finite
// multiplier into the result). The loops are unrolled so that the whole sweep stays in
// registers.
inline void invert3x3(const double (*in)[3], double (*out)[3]) {
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
}

// xnew = x - Jinv F over the first n coordinates (at most three).
inline void newtonStep(const double* x, const double* F, const double (*Jinv)[3], double* xnew,
                       int n) {
    if (n > 3) n = 3;
    for (int i = 0; i < n; ++i) {
        double step = 0.0;
        for (int j = 0; j < n; ++j) step += Jinv[i][j] * F[j];
        xnew[i] = x[i] - step;
    }
}

} // namespace qelkin

#endif
