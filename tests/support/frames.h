// SPDX-License-Identifier: MIT
// Frame helpers for tests: a frame is its bytes followed by the checksum, high byte first.
#ifndef QELTEST_FRAMES_H
#define QELTEST_FRAMES_H

#include <cstdint>
#include <vector>

namespace qeltest {

using Bytes = std::vector<uint8_t>;

// Appends the checksum of `body` to it.
Bytes frame(Bytes body);

} // namespace qeltest

#endif
