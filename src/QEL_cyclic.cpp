// SPDX-License-Identifier: MIT
// The cyclic control frames: the full frame the refresh thread exchanges on every pass, and the
// shorter motor-and-encoder frame with its own velocity estimate.
#include "QEL.h"

#include <cstring>

#include "QEL_frame.h"

using namespace qelframe;

namespace {

const unsigned int kFullFrameLength = 67;
const unsigned int kShortRequestLength = 12;
const unsigned int kShortReplyLength = 42;
// The device carries at most six encoder channels, and the callers' arrays hold six.
const unsigned int kMaxChannels = 6;

// A calibrated count that dips at most this far below its minimum is held at the minimum;
// further below, the single-turn count has wrapped past zero.
const uint32_t kWrapMargin = 50;

// The short frame's velocity estimate keeps its history across calls and device objects.
int64_t shortFramePreviousNs = 0;
int64_t shortFrameCurrentNs = 0;
uint32_t shortFramePreviousCount[6] = {};
uint32_t shortFrameCurrentCount[6] = {};

// Truncates toward zero and keeps the low 16 bits. A rate beyond any integer (two frames within
// one clock tick) reads as 0 rather than as an undefined conversion.
int16_t truncateToInt16(double rate) {
    if (!(rate > -9.2e18 && rate < 9.2e18)) return 0;
    return static_cast<int16_t>(static_cast<uint16_t>(static_cast<int64_t>(rate)));
}

} // namespace

uint32_t QEL::UnwrapEncoder(int channel, uint32_t raw) {
    uint32_t single = raw >> 1;
    m_EncoderSingleValue[channel] = single;
    if (!m_fCalibrate) return single;
    // Unsigned throughout, on purpose: a minimum below the margin makes min - margin wrap, which
    // sends every count into the first branch. Applications rely on these exact counts.
    uint32_t min = m_EncoderMinValue[channel];
    uint32_t max = m_EncoderMaxValue[channel];
    uint32_t resolution = m_EncoderResolution;
    if (single < min - kWrapMargin) {
        uint32_t count = resolution + single;
        return count > resolution + max ? resolution + max : count;
    }
    if (single < min && single > min - kWrapMargin) return min;
    return single;
}

unsigned int QEL::BuildFullRequest(uint8_t* request, unsigned char motorCount,
                                   unsigned char channelCount, const unsigned char* ctrlWord,
                                   const unsigned int* encTarget, const short* velTarget,
                                   const short* motorCmd, unsigned short commandWord) {
    unsigned int n = channelCount < kMaxChannels ? channelCount : kMaxChannels;
    // Bytes past the checksum of a frame with fewer channels go out as zeros.
    std::memset(request, 0, kFullFrameLength);
    begin(request, cmd::Cyclic);
    request[2] = static_cast<uint8_t>((motorCount & 0x0F) | n << 4);
    for (unsigned int i = 0; i < n; ++i) {
        uint8_t* block = request + 3 + 10 * i;
        block[0] = ctrlWord[i];
        // The position target travels as its low half doubled, then its high half.
        putLE24(block + 1, (encTarget[i] & 0xFFFF) * 2);
        putLE16(block + 4, static_cast<uint16_t>(encTarget[i] >> 16));
        putBE16(block + 6, static_cast<uint16_t>(velTarget[i]));
        putBE16(block + 8, static_cast<uint16_t>(motorCmd[i]));
    }
    putBE16(request + 3 + 10 * n, commandWord);
    seal(request, 5 + 10 * n);
    return n;
}

void QEL::ParseFullReply(const uint8_t* reply, unsigned int requestChannels,
                         unsigned char* respMotorCount, unsigned char* respChannelCount,
                         unsigned char* statWord, unsigned int* encValue, short* encVel,
                         short* motorCurrent, unsigned short* deviceState) {
    *respMotorCount = reply[2] & 0x0F;
    *respChannelCount = reply[2] >> 4;
    unsigned int m = *respChannelCount < kMaxChannels ? *respChannelCount : kMaxChannels;
    for (unsigned int i = 0; i < m; ++i) {
        const uint8_t* block = reply + 3 + 10 * i;
        statWord[i] = block[0];
        // The turn count at +4 is not used: the count is unwrapped from the single turn.
        encValue[i] = UnwrapEncoder(static_cast<int>(i), getLE24(block + 1));
        encVel[i] = static_cast<short>(getBE16(block + 6));
        motorCurrent[i] = static_cast<short>(getBE16(block + 8));
    }
    // The status word follows the request's channels, whatever the reply claims.
    *deviceState = getLE16(reply + 3 + 10 * requestChannels);
}

int QEL::MultiaxialControl(unsigned char motorCount, unsigned char channelCount,
                           unsigned char* ctrlWord, unsigned int* encTarget, short* velTarget,
                           short* motorCmd, unsigned short* commandWord,
                           unsigned char* respMotorCount, unsigned char* respChannelCount,
                           unsigned char* statWord, unsigned int* encValue, short* encVel,
                           short* motorCurrent, unsigned short* deviceState) {
    if (!CheckReady()) return 0;
    uint8_t request[kFullFrameLength], reply[kFullFrameLength];
    unsigned int n = BuildFullRequest(request, motorCount, channelCount, ctrlWord, encTarget,
                                      velTarget, motorCmd, *commandWord);
    if (!USB_DataTransmit(request, kFullFrameLength, reply, kFullFrameLength)) return 0;
    if (!echoes(reply, cmd::Cyclic)) {
        ErrorCatch(deverr::kInvalidData);
        return 0;
    }
    ParseFullReply(reply, n, respMotorCount, respChannelCount, statWord, encValue, encVel,
                   motorCurrent, deviceState);
    return 1;
}

int QEL::SetMotAndGetMotAndGetEnc(short* motorCmd, unsigned short* commandWord,
                                  unsigned int* encValue, short* motorValue,
                                  unsigned short* status) {
    if (!CheckReady()) return 0;
    uint8_t request[kShortRequestLength], reply[kShortReplyLength];
    begin(request, cmd::ShortCyclic);
    for (int i = 0; i < 3; ++i) putBE16(request + 2 + 2 * i, static_cast<uint16_t>(motorCmd[i]));
    putBE16(request + 8, *commandWord);
    seal(request, 10);

    if (!USB_DataTransmit(request, kShortRequestLength, reply, kShortReplyLength)) return 0;
    if (!echoes(reply, cmd::ShortCyclic)) {
        ErrorCatch(deverr::kInvalidData);
        return 0;
    }

    for (int i = 0; i < 6; ++i) encValue[i] = UnwrapEncoder(i, getLE24(reply + 2 + 5 * i));

    if (m_fCalibrate) {
        shortFramePreviousNs = shortFrameCurrentNs;
        shortFrameCurrentNs = GetNanoSeconds();
        double dt = static_cast<double>(shortFrameCurrentNs - shortFramePreviousNs) / 1e9;
        for (int i = 0; i < 6; ++i) {
            // The first frame clears the flag while handling channel 0, so the other channels
            // already difference against counts of zero; callers know this first reading.
            if (fFirstFrame) {
                fFirstFrame = false;
                shortFramePreviousCount[i] = shortFrameCurrentCount[i] = encValue[i];
                m_EncoderVel[i] = 0;
            } else {
                shortFramePreviousCount[i] = shortFrameCurrentCount[i];
                shortFrameCurrentCount[i] = encValue[i];
                double rate = (static_cast<double>(shortFrameCurrentCount[i]) -
                               static_cast<double>(shortFramePreviousCount[i])) /
                              dt;
                m_EncoderVel[i] = truncateToInt16(rate);
            }
        }
    }

    for (int i = 0; i < 3; ++i) motorValue[i] = static_cast<short>(getBE16(reply + 32 + 2 * i));
    *status = getBE16(reply + 38);
    return 1;
}
