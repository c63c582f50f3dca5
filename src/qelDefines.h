// SPDX-License-Identifier: MIT
/// @file qelDefines.h
/// @brief Types and constants shared by the library and the applications that use it.
#ifndef QEL_DEFINES_H
#define QEL_DEFINES_H

#include <stdint.h>

typedef uint8_t QELuchar;   ///< An unsigned 8-bit value: modes, masks, flags.
typedef uint16_t QELushort; ///< An unsigned 16-bit value: motor commands as the line carries them.
typedef uint32_t QELuint;   ///< An unsigned 32-bit value: masks and thresholds.

/// Everything an application or a test links against carries this mark; the rest of the
/// library is built hidden so that its internals never clash with the application's names.
#if defined(__GNUC__)
#define QEL_API __attribute__((visibility("default")))
#else
#define QEL_API
#endif

/// Number of devices the interface can hold open at once (identifiers 1 to 10).
#define QEL_MAX_DEVICES 10

/// The identifier that stands for the current device.
#define QEL_CURRENT_DEVICE (-1)

#endif
