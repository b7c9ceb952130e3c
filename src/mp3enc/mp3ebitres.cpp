// The bit reservoir of a Layer III encoder at constant bit rate (ISO 11172-3 clause 2.4.2.7,
// main_data_begin; annex C.1.5.4.2.2): bits that earlier frames have saved for later ones.
#include <algorithm>

#include "frame/status.h"

using namespace qorac;

namespace {

// Bytes of a frame without padding, 144 * bit rate / sampling frequency truncated, by
// sampling_frequency and bitrate_index; free format stands at 0.
constexpr Qor32s _pMPEG1_nSlotTable[3][15] = {
    {0, 104, 130, 156, 182, 208, 261, 313, 365, 417, 522, 626, 731, 835, 1044},
    {0, 96, 120, 144, 168, 192, 240, 288, 336, 384, 480, 576, 672, 768, 960},
    {0, 144, 180, 216, 252, 288, 360, 432, 504, 576, 720, 864, 1008, 1152, 1440},
};

constexpr Qor32s kDecoderBufferBits = 7680;  // input buffer of the standard's decoder
constexpr Qor32s kReachBits = 511 * 8;       // the nine bits of main_data_begin count bytes

}  // namespace

QorStatus qorsBitReservoirInit_MP3(QorMP3BitReservoir* pReservoir,
                                   const QorMP3FrameHeader* pFrameHeader) {
    if (anyNull(pReservoir, pFrameHeader)) return qorStsNullPtrErr;
    if (pFrameHeader->id != 1) return qorStsMp3FrameHeaderErr;

    const Qor32s frameBits =
        8 * _pMPEG1_nSlotTable[pFrameHeader->sampling_frequency][pFrameHeader->bitrate_index];
    pReservoir->bitsAvail = 0;
    pReservoir->maxBits =
        std::min(kDecoderBufferBits - std::min(frameBits, kDecoderBufferBits), kReachBits);
    return qorStsNoErr;
}
