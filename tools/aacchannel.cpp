#include "aacchannel.h"

#include <algorithm>
#include <limits>

namespace {

constexpr Qor16s kUnset = -32768;  // no scale factor, position or energy

// swb_offset_long_window of the rates, as far as PRED_SFB_MAX of the Main profile.
constexpr std::array<Qor32s, 34> kOffsets96000 = {
    0,  4,  8,  12,  16,  20,  24,  28,  32,  36,  40,  44,  48,  52,  56,  64,  72,
    80, 88, 96, 108, 120, 132, 144, 156, 172, 188, 212, 240, 276, 320, 384, 448, 512};
constexpr std::array<Qor32s, 39> kOffsets64000 = {0,   4,   8,   12,  16,  20,  24,  28,  32,  36,
                                                  40,  44,  48,  52,  56,  64,  72,  80,  88,  100,
                                                  112, 124, 140, 156, 172, 192, 216, 240, 268, 304,
                                                  344, 384, 424, 464, 504, 544, 584, 624, 664};
constexpr std::array<Qor32s, 41> kOffsets48000 = {
    0,   4,   8,   12,  16,  20,  24,  28,  32,  36,  40,  48,  56,  64,
    72,  80,  88,  96,  108, 120, 132, 144, 160, 176, 196, 216, 240, 264,
    292, 320, 352, 384, 416, 448, 480, 512, 544, 576, 608, 640, 672};
constexpr std::array<Qor32s, 42> kOffsets24000 = {
    0,   4,   8,   12,  16,  20,  24,  28,  32,  36,  40,  44,  52,  60,
    68,  76,  84,  92,  100, 108, 116, 124, 136, 148, 160, 172, 188, 204,
    220, 240, 260, 284, 308, 336, 364, 396, 432, 468, 508, 552, 600, 652};
constexpr std::array<Qor32s, 38> kOffsets16000 = {
    0,   8,   16,  24,  32,  40,  48,  56,  64,  72,  80,  88,  100, 112, 124, 136, 148, 160, 172,
    184, 196, 212, 228, 244, 260, 280, 300, 320, 344, 368, 396, 424, 456, 492, 532, 572, 616, 664};
constexpr std::array<Qor32s, 35> kOffsets8000 = {
    0,   12,  24,  36,  48,  60,  72,  84,  96,  108, 120, 132, 144, 156, 172, 188, 204, 220,
    236, 252, 268, 288, 308, 328, 348, 372, 396, 420, 448, 476, 508, 544, 580, 620, 664};

bool isSpectrumBook(int codeBook) { return codeBook >= 1 && codeBook <= 11; }

void decodeMidSideExactly(AacChannel& left, AacChannel& right, const Qor8u* mask) {
    const std::span<const Qor32s> offsets = aacPredictedBands(right.info.samplingRateIndex);
    const int count = std::min(right.ics.max_sfb, static_cast<Qor32s>(offsets.size() - 1));
    for (int sfb = 0; sfb < count; ++sfb) {
        if (mask[sfb] == 0 || right.codeBook[sfb] >= AacChannel::kNoiseBook) continue;
        for (Qor32s k = offsets[sfb]; k < offsets[sfb + 1]; ++k) {
            const Qor32f mid = left.exactLines[k], side = right.exactLines[k];
            left.exactLines[k] = mid + side;
            right.exactLines[k] = mid - side;
        }
    }
}

}  // namespace

std::span<const Qor32s> aacPredictedBands(int samplingRateIndex) {
    switch (samplingRateIndex) {
        case 0:
        case 1:
            return kOffsets96000;
        case 2:
            return kOffsets64000;
        case 3:
        case 4:
        case 5:
            return kOffsets48000;
        case 6:
        case 7:
            return kOffsets24000;
        case 8:
        case 9:
        case 10:
            return kOffsets16000;
        default:
            return kOffsets8000;
    }
}

Qor32s AacSetup::predictedBands() const {
    if (objectType != kAacMain) return 0;
    return static_cast<Qor32s>(aacPredictedBands(samplingRateIndex).size() - 1);
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
    if (!commonWindow) ltp = mainHeader.ltp[0];
    hasExactLines = setup.objectType == kAacMain && !isShort();
    return predictionIsSound(setup) && separateNoise(gain);
}

// Lines can be predicted in the Main profile only, which resets one of 30 groups of them at a time,
// and the rest in LTP only.
bool AacChannel::predictionIsSound(const AacSetup& setup) const {
    if (ics.predictor_data_present == 0) return true;
    const int group = ics.predictor_reset_group_number;
    if (setup.objectType == kAacMain)
        return ics.predictor_reset == 0 || (group >= 1 && group <= 30);
    return setup.objectType == kAacLtp;
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

Qor32s aacRaised(Qor32s line, int shift) {
    using Range = std::numeric_limits<Qor32s>;
    const Qor64s raised = line * (Qor64s{1} << std::min(shift, 31));
    return static_cast<Qor32s>(std::clamp<Qor64s>(raised, Range::min(), Range::max()));
}

// The library's steps end at 2^22 for the magnitudes 4 to 15. For larger ones all gains of the channel
// are lowered, which costs fraction bits, and the spectrum is raised afterwards.
bool AacChannel::dequantize() {
    constexpr int kLargestGain = 188;
    int largest = 0;
    for (int i = 0; i < bands(); ++i)
        if (isSpectrumBook(codeBook[i])) largest = std::max<int>(largest, scaleFactor[i]);
    const int shift = std::max(0, (largest - kLargestGain + 3) / 4);
    std::array<Qor16s, 120> lowered;
    for (int i = 0; shift > 0 && i < bands(); ++i)
        lowered[i] = static_cast<Qor16s>(scaleFactor[i] - 4 * shift);

    std::array<Qor16s, kPredictedLines> quantized;
    if (hasExactLines) std::copy_n(spectrum.begin(), quantized.size(), quantized.begin());
    if (qorsQuantInv_AAC_32s_I(spectrum.data(), shift > 0 ? lowered.data() : scaleFactor.data(),
                               ics.num_window_groups, ics.window_group_length, ics.max_sfb,
                               codeBook.data(), info.samplingRateIndex, info.winLen) != qorStsNoErr)
        return false;
    if (shift > 0)
        for (Qor32s& line : spectrum) line = aacRaised(line, shift);
    if (hasExactLines) dequantizeExactly(quantized);
    return true;
}

// Bands without values of their own become zeros, whatever pulses have put into them.
void AacChannel::dequantizeExactly(const std::array<Qor16s, kPredictedLines>& quantized) {
    constexpr int kScaleFactorOffset = 100;
    const std::span<const Qor32s> offsets = aacPredictedBands(info.samplingRateIndex);
    const int count = std::min(ics.max_sfb, static_cast<Qor32s>(offsets.size() - 1));
    std::array<Qor32f, 41> gains;
    qorsPow43_16s32f(quantized.data(), exactLines.data(), kPredictedLines);
    if (count == 0) return;
    qorsCalcSF_16s32f(scaleFactor.data(), kScaleFactorOffset, gains.data(), count);
    qorsScale_32f_I(exactLines.data(), gains.data(), offsets.data(), count);
    for (int sfb = 0; sfb < count; ++sfb)
        if (!isSpectrumBook(codeBook[sfb]))
            std::fill(&exactLines[offsets[sfb]], &exactLines[offsets[sfb + 1]], 0.0f);
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

void AacChannel::flattenNoise(Qor32s* otherSpectrum) const {
    if (info.tns_data_present == 0) return;
    constexpr Qor32s kProfile = 1;
    qorsEncodeTNS_AAC_32s_I(otherSpectrum, info.n_filt, info.length, info.order, info.coef_res,
                            tnsCoef.data(), info.direction, ics.max_sfb, kProfile,
                            info.samplingRateIndex, info.winLen);
}

void aacDecodeMidSide(AacChannel& left, AacChannel& right, const QorAACChanPairElt& pair) {
    const QorAACIcsInfo& ics = right.ics;
    const auto& info = right.info;
    if (info.winLen != left.info.winLen) return;
    if (pair.ms_mask_present != 1 && pair.ms_mask_present != 2) return;
    // The library looks at the right channel's code books: noise in the left one is taken out of the
    // mask here. A mask of all bands does not concern intensity bands.
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
    if (left.hasExactLines && right.hasExactLines) decodeMidSideExactly(left, right, mask[0]);
}

void aacDecodeIntensity(const AacChannel& left, AacChannel& right) {
    const QorAACIcsInfo& ics = right.ics;
    const auto& info = right.info;
    if (info.winLen != left.info.winLen) return;
    qorsDecodeIsStereo_AAC_32s(left.spectrum.data(), right.spectrum.data(),
                               right.scaleFactor.data(), right.codeBook.data(),
                               ics.num_window_groups, ics.window_group_length, ics.max_sfb,
                               info.samplingRateIndex, info.winLen);
}
