// SPDX-License-Identifier: MIT
// What the force geometry and the gravity model share: the arms' azimuths as sines and cosines,
// worked out once at load rather than on every pass.
#ifndef QEL_FORCE_COMMON_H
#define QEL_FORCE_COMMON_H

namespace qelforce {

// std::cos(Enta[i]) and std::sin(Enta[i]), bit for bit.
extern const double cosEnta[3];
extern const double sinEnta[3];

} // namespace qelforce

#endif
