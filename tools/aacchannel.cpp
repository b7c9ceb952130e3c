#include "aacchannel.h"

#include <algorithm>

namespace {

constexpr Qor16s kUnset = -32768;  // no scale factor, position or energy

bool isSpectrumBook(int codeBook) { return codeBook >= 1 && codeBook <= 11; }

}  // namespace

Qor32s AacSetup::predictedBands() const {
    constexpr Qor32s kPredSfbMax[12] = {33, 33, 38, 40, 40, 40, 41, 41, 37, 37, 37, 34};
    return objectType == 1 ? kPredSfbMax[samplingRateIndex] : 0;
}

// The library runs scale factors and noise energies as one chain, which may leave the range of 0 to
// 255 though the standard's two chains do not. All its values shift with global_gain, so the
// channel is then decoded with other gains until one is found with which the chain stays inside.
bool AacChannel::decode(AacCursor& cursor, const AacSetup& setup, QorAACMainHeader& mainHeader,
                        bool commonWindow) {
    const std::size_t start = cursor.position();
    const int gain = static_cast<int>(cursor.getBits(8));
    cursor.seek(start);
    QorStatus status = decodeNoiseless(cursor, setup, mainHeader, commonWindow);
    for (int low = 0, high = 255; status == qorStsAacScaleFactorErr && low <= high;) {
        const int trial = (low + high) / 2;
        cursor.seek(start);
        cursor.putByte(trial);
        status = decodeNoiseless(cursor, setup, mainHeader, commonWindow);
        if (lastGain() < 128)
            low = trial + 1;  // where the chain failed it was below the range
        else
            high = trial - 1;
    }
    const std::size_t end = cursor.position();
    cursor.seek(start);
    cursor.putByte(gain);
    cursor.seek(end);
    if (status != qorStsNoErr || !cursor.inside() || ics.max_sfb > info.numSwb) return false;
    return separateNoise(gain);
}

QorStatus AacChannel::decodeNoiseless(AacCursor& cursor, const AacSetup& setup,
                                      QorAACMainHeader& mainHeader, bool commonWindow) {
    info = {};
    info.samplingRateIndex = setup.samplingRateIndex;
    info.predSfbMax = setup.predictedBands();
    info.pIcsInfo = &ics;
    scaleFactor.fill(kUnset);
    return qorsNoiselessDecode_AAC(
        cursor.stream(), cursor.offset(), &mainHeader, scaleFactor.data(), spectrum.data(),
        codeBook.data(), tnsCoef.data(), &info, 0, 0, commonWindow ? 1 : 0, 0, setup.objectType);
}

// The last value of the chain before it failed.
int AacChannel::lastGain() const {
    int last = info.global_gain;
    for (int i = 0; i < bands() && scaleFactor[i] != kUnset; ++i)
        if (isSpectrumBook(codeBook[i]) || codeBook[i] == kNoiseBook) last = scaleFactor[i];
    return last;
}

// Makes the two chains of 14496-3 from the library's one: each band's difference goes to the chain
// of its own kind. `gain` is the channel's global_gain, from which the library's may differ.
bool AacChannel::separateNoise(int gain) {
    int shared = info.global_gain, running = gain, energy = gain - shared;
    bool first = true;
    for (int i = 0; i < bands(); ++i) {
        Qor16s& value = scaleFactor[i];
        const int difference = value - shared;
        if (isSpectrumBook(codeBook[i])) {
            shared = value;
            running += difference;
            if (running < 0 || running > 255) return false;
            value = static_cast<Qor16s>(running);
        } else if (codeBook[i] == kNoiseBook) {
            shared = value;
            energy += first ? value : difference;  // the first one is coded by value
            first = false;
            value = static_cast<Qor16s>(energy);
        }
    }
    return true;
}

bool AacChannel::dequantize() {
    return qorsQuantInv_AAC_32s_I(spectrum.data(), scaleFactor.data(), ics.num_window_groups,
                                  ics.window_group_length, ics.max_sfb, codeBook.data(),
                                  info.samplingRateIndex, info.winLen) == qorStsNoErr;
}

// Grouped order to window order.
void AacChannel::deinterleave() {
    if (!isShort()) return;
    const std::array<Qor32s, kLines> grouped = spectrum;
    qorsDeinterleaveSpectrum_AAC_32s(grouped.data(), spectrum.data(), ics.num_window_groups,
                                     ics.window_group_length, ics.max_sfb, info.samplingRateIndex,
                                     info.winLen);
}

bool AacChannel::shapeNoise() {
    if (info.tns_data_present == 0) return true;
    constexpr Qor32s kProfile = 1;
    return qorsDecodeTNS_AAC_32s_I(spectrum.data(), info.n_filt, info.length, info.order,
                                   info.coef_res, tnsCoef.data(), info.direction, ics.max_sfb,
                                   kProfile, info.samplingRateIndex, info.winLen) == qorStsNoErr;
}

void aacDecodeStereo(AacChannel& left, AacChannel& right, const QorAACChanPairElt& pair) {
    const QorAACIcsInfo& ics = right.ics;
    const auto& info = right.info;
    if (info.winLen != left.info.winLen) return;
    if (pair.ms_mask_present == 1 || pair.ms_mask_present == 2) {
        // The library looks at the right channel's code books: noise in the left one is taken out
        // of the mask here. A mask of all bands does not concern intensity bands.
        Qor8u mask[8][60] = {};
        for (int g = 0, i = 0; g < ics.num_window_groups; ++g) {
            for (int sfb = 0; sfb < ics.max_sfb; ++sfb, ++i) {
                const bool intensity = right.codeBook[i] >= AacChannel::kIntensityBook;
                mask[g][sfb] = pair.ms_used[g][sfb] && left.codeBook[i] != AacChannel::kNoiseBook &&
                               !(intensity && pair.ms_mask_present == 2);
            }
        }
        qorsDecodeMsStereo_AAC_32s_I(left.spectrum.data(), right.spectrum.data(), 1, mask,
                                     right.codeBook.data(), ics.num_window_groups,
                                     ics.window_group_length, ics.max_sfb, info.samplingRateIndex,
                                     info.winLen);
    }
    qorsDecodeIsStereo_AAC_32s(left.spectrum.data(), right.spectrum.data(),
                               right.scaleFactor.data(), right.codeBook.data(),
                               ics.num_window_groups, ics.window_group_length, ics.max_sfb,
                               info.samplingRateIndex, info.winLen);
}
