// Initialisation, the cyclic control frames and the refresh thread.
#include "QEL.h"

void* QEL::RefreshFrame(void*) { return nullptr; }
int QEL::Initialize() { return 0; }
int QEL::SetMotAndGetMotAndGetEnc(short*, unsigned short*, unsigned int*, short*, unsigned short*) {
    return 0;
}
int QEL::MultiaxialControl(unsigned char, unsigned char, unsigned char*, unsigned int*, short*,
                           short*, unsigned short*, unsigned char*, unsigned char*, unsigned char*,
                           unsigned int*, short*, short*, unsigned short*) {
    return 0;
}
