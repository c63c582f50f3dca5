// SPDX-License-Identifier: MIT
#include "CRC.h"

unsigned short crcTable[256];

void crcInit() {
    for (unsigned int i = 0; i < 256; ++i) {
        unsigned short r = static_cast<unsigned short>(i << 8);
        for (int bit = 0; bit < 8; ++bit) {
            r = (r & 0x8000) ? static_cast<unsigned short>((r << 1) ^ 0x1021)
                             : static_cast<unsigned short>(r << 1);
        }
        crcTable[i] = r;
    }
}

unsigned short crcCompute(unsigned char* data, unsigned int length) {
    unsigned short r = 0xFFFF;
    for (unsigned int i = 0; i < length; ++i) {
        r = static_cast<unsigned short>((r << 8) ^ crcTable[((r >> 8) ^ data[i]) & 0xFF]);
    }
    return r;
}
