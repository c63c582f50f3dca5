// SPDX-License-Identifier: MIT
// CRC-16/CCITT-FALSE (polynomial 0x1021, initial value 0xFFFF, no reflection, no final XOR),
// the checksum that ends every frame on the device's line.
#ifndef QEL_CRC_H
#define QEL_CRC_H

#include "qelDefines.h"

QEL_API extern unsigned short crcTable[256];

// Builds crcTable; every device object rebuilds the same table when it is constructed.
QEL_API void crcInit();

// Checksum of `length` bytes. Run over a whole received frame, checksum included, the result
// is 0 exactly when the frame is intact.
QEL_API unsigned short crcCompute(unsigned char* data, unsigned int length);

#endif
