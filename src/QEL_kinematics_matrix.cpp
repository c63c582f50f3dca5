// The 3x3 inverse used by the position solver and the Jacobian.
#include "QEL.h"

// Gauss-Jordan elimination on [in | I] without row exchanges. The matrices handed in are the
// arm's constraint gradients, whose diagonal stays away from zero outside singular poses; at
// such a pose the zero pivot shows up as non-finite entries rather than as a failure, and the
// callers pass those on. The sweep order below fixes the rounding of every entry.
int QEL::CalcuInvMatrix(double (*in)[3], double (*out)[3]) {
    if (!CheckReady()) return 0;
    if (!out) {
        ErrorCatch(258);
        return 0;
    }
    double M[3][6];
    for (int i = 0; i < 3; ++i)
        for (int j = 0; j < 3; ++j) {
            M[i][j] = in[i][j];
            M[i][j + 3] = (i == j) ? 1.0 : 0.0;
        }

    for (int i = 0; i < 3; ++i)
        for (int k = i + 1; k < 3; ++k) {
            double f = -M[k][i] / M[i][i];
            for (int j = i; j < 6; ++j) M[k][j] = M[i][j] * f + M[k][j];
        }
    for (int i = 2; i >= 1; --i)
        for (int k = i - 1; k >= 0; --k) {
            double f = -M[k][i] / M[i][i];
            for (int j = 5; j >= 0; --j) M[k][j] = M[i][j] * f + M[k][j];
        }
    // Right to left, so the pivot divides the inverse's columns before it becomes 1 itself.
    for (int i = 2; i >= 0; --i)
        for (int j = 5; j >= 0; --j) M[i][j] = M[i][j] / M[i][i];

    for (int i = 0; i < 3; ++i)
        for (int j = 0; j < 3; ++j) out[i][j] = M[i][j + 3];
    return 1;
}
