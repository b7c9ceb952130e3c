// Psychoacoustic model of the Layer III encoder, after model 2 of ISO/IEC 11172-3 Annex D, in
// integers from end to end.
//
// In: 16-bit PCM. Out: per granule and channel the ratio of masking threshold to energy in each
// scale factor band (Q31) and the perceptual entropy, the block types, and the choice of mid/side
// and intensity stereo.
//
// It differs from the standard's model in that tonality becomes a threshold by a closed formula,
// the unpredictability of the lines above 5 comes from the three short spectra, and mid/side and
// block switching have rules of their own. The analysis runs one granule ahead of what it reports:
// the shape of a window depends on the block behind it, so that the ratios, entropies and block
// types of a granule wait in the states until the next one has been seen.
//
// Energies are unscaled 64-bit sums of squares of the integer spectra. Quotients, logarithms and
// roots are the coarse ones of mp3emath.h, whose error is part of every result.
#include "mp3enc/mp3epsych.h"

#include <algorithm>
#include <utility>

#include "frame/dispatch.h"
#include "frame/fixed.h"
#include "frame/status.h"
#include "mp3enc/mp3efft.h"
#include "mp3enc/mp3emath.h"

namespace qorac {
namespace {

constexpr int kGranule = 576;

// Unpredictability (Q31) from which a partition masks like noise and up to which it masks like a
// tone, the factors (Q32) of the two, -6 and -18 dB, and the scale of the power between them.
//
// A tonality index of -0.299 - 0.43 ln(cb), kept in 0 to 1, asks for a distance of 18 dB below
// tones and 6 dB below noise, which makes the factor a power of cb.
constexpr Qor64u kNoiseMeasure = 1071379500, kToneMeasure = 104798000;
constexpr Qor64u kNoiseFactor = 1078847007, kToneFactor = 68070644;
constexpr Qor32u kFactorScale = 1232338071;

// --- arithmetic -------------------------------------------------------------------------------

QORAC_INLINE Qor64s square(Qor32s a) { return Qor64s(a) * a; }
QORAC_INLINE Qor64s energyOf(Qor32sc x) { return square(x.re) + square(x.im); }
QORAC_INLINE Qor32s root(Qor64s a) {
    Qor32s result = 0;
    ownsSqrt_Audio_32s(Qor32u(high32(a)), low32(a), &result);
    return result;
}

// 2^(61 - shift) / v.
struct Reciprocal {
    Qor32s value;
    Qor32s shift;
};

QORAC_INLINE Reciprocal reciprocal(Qor32u v) {
    Reciprocal r{};
    ownsReciprocal_Audio(v, &r.value, &r.shift);
    return r;
}

// --- unpredictability -------------------------------------------------------------------------

// A line of a spectrum with its magnitude, times 32.
struct Line {
    Qor32sc value;
    Qor32s magnitude;
};

// How far a line is from the one that its two predecessors predict, as a fraction (Q31) of the
// larger magnitude that the prediction would allow.
//
// The differences are squared as unsigned patterns, with wrap at 64 bits: the square of a negative
// one is not that of its magnitude.
QORAC_INLINE Qor32s unpredictability(Line line, Line before, Line twoBefore) {
    // Cosine and sine of twice the phase before.
    Qor32s cosTwice = kMax32s, sinTwice = 0;
    if (before.magnitude != 0) {
        const Reciprocal r = reciprocal(Qor32u(before.magnitude));
        const Qor64s a = (Qor64s(before.value.re) * r.value) >> 25;
        const Qor64s b = (Qor64s(before.value.im) * r.value) >> 25;
        const int shift = 30 - 2 * r.shift;
        cosTwice = saturate32s(shrEither(a * a, shift) + kMin32s);
        sinTwice = saturate32s(shrEither(a * b, shift));
    }
    // Cosine and sine of the phase two before.
    Qor32s cosBack = kMax32s, sinBack = 0;
    if (twoBefore.magnitude != 0) {
        const Reciprocal r = reciprocal(Qor32u(twoBefore.magnitude));
        const int shift = 25 - r.shift;
        cosBack = saturate32s(shrEither(Qor64s(twoBefore.value.re) * r.value, shift));
        sinBack = saturate32s(shrEither(Qor64s(twoBefore.value.im) * r.value, shift));
    }
    const Qor32s predictedCos =
        saturate32s((Qor64s(cosTwice) * cosBack + Qor64s(sinTwice) * sinBack) >> 31);
    const Qor32s predictedSin =
        saturate32s((Qor64s(cosBack) * sinTwice - Qor64s(sinBack) * cosTwice) >> 31);
    const Qor32s predicted = wrapSub(wrapShl(before.magnitude, 1), twoBefore.magnitude);

    const Qor64u re =
        Qor32u(wrapSub(wrapShl(line.value.re, 5), mulShift(predictedCos, predicted, 31)));
    const Qor64u im =
        Qor32u(wrapSub(wrapShl(line.value.im, 5), mulShift(predictedSin, predicted, 31)));
    const Qor32u distance = Qor32u(root(Qor64s(re * re + im * im) >> 10));

    const Qor32u largest = magnitude(predicted) + Qor32u(line.magnitude);
    if (largest == 0) return 0;
    const Reciprocal r = reciprocal(largest);
    // The analyzer does not know that the shift is at most 30. NOLINTNEXTLINE(clang-analyzer-core.*)
    const Qor64u ratio = (Qor64u(distance) * Qor32u(r.value)) >> (30 - r.shift);
    return Qor32s(std::min<Qor64u>(ratio, kMax32s));
}

QORAC_INLINE Line lineOf(Qor32sc value) { return {value, root(energyOf(value))}; }

}  // namespace
}  // namespace qorac

#define QORAC_KERNEL "mp3enc/mp3epsych_kernel.h"
#include "frame/levels.h"

namespace qorac {

QORAC_BIND(void, shortUnpredictability,
           (const Qor32sc* pTwoBefore, const Qor32sc* pBefore, const Qor32sc* pLine, int count,
            Qor64s* pDst),
           (pTwoBefore, pBefore, pLine, count, pDst))
QORAC_BIND(void, sumLongPartitions,
           (const SpectrumLong* pSpectrum, const Unpredictability* pCw, const Qor16s* pPartition,
            int count, int channels, bool midSide, Qor64s* const* pDst),
           (pSpectrum, pCw, pPartition, count, channels, midSide, pDst))
QORAC_BIND(void, sumShortPartitions,
           (const SpectrumShort* pSpectrum, const Qor16s* pPartition, int count, int channels,
            bool midSide, Qor64s* const* pDst),
           (pSpectrum, pPartition, count, channels, midSide, pDst))
QORAC_BIND(void, multiplyQ31,
           (const Qor64s* pEnergy, const Qor32s* pFactor, int count, Qor64s* pDst),
           (pEnergy, pFactor, count, pDst))
QORAC_BIND(void, spread,
           (const Qor64s* const* pRows, int rows, const Qor16s* pBound, const Qor32s* pPacked,
            int count, Qor64s* const* pDst),
           (pRows, rows, pBound, pPacked, count, pDst))
QORAC_BIND(void, maskingThresholds,
           (const Qor64s* pEnergy, const Qor64s* pUnpredictable, int count, Qor64s* pThreshold),
           (pEnergy, pUnpredictable, count, pThreshold))
QORAC_BIND(void, couple,
           (const FourChannels& energy, const FourChannels& threshold, const Qor32s* pBmldRatio,
            int count),
           (energy, threshold, pBmldRatio, count))
QORAC_BIND(void, logarithms,
           (const Qor64s* pEnergy, const Qor64s* pThreshold, int count, Qor64s* pDst),
           (pEnergy, pThreshold, count, pDst))
QORAC_BIND(void, ratios, (const Qor64s* pThreshold, const Qor64s* pEnergy, int count, Qor64s* pDst),
           (pThreshold, pEnergy, count, pDst))

void ownsCalUnpredictMeasureCw06_Psy_MP3(const Qor32sc* pSpectrum, QorMP3PsychoState* pState,
                                         Qor32s* pCw) {
    constexpr int kLines = 6;
    for (int k = 0; k < kLines; ++k) {
        Qor32s* const before = pState->spec1 + 2 * k;
        Qor32s* const twoBefore = pState->spec2 + 2 * k;
        const Line line = lineOf(pSpectrum[k]);
        pCw[k] = unpredictability(line, {{before[0], before[1]}, pState->mag1[k]},
                                  {{twoBefore[0], twoBefore[1]}, pState->mag2[k]});
        twoBefore[0] = before[0];
        twoBefore[1] = before[1];
        before[0] = line.value.re;
        before[1] = line.value.im;
        pState->mag2[k] = pState->mag1[k];
        pState->mag1[k] = line.magnitude;
    }
}

// A line of a short spectrum stands for four lines of the long one. Above 9 kHz (at 44100 Hz) the
// measure is a constant 0.4.
void ownsCalUnpredictMeasureCwAbove06_Psy_MP3(const SpectrumShort& spectrum, Qor32s* pCw) {
    constexpr int kFirst = 6, kFirstShort = 2, kCountShort = 50, kLinesPerShort = 4;
    constexpr int kEnd = kFirst + kLinesPerShort * kCountShort;
    constexpr Qor32s kAbove = 858993459;
    Qor64s cw[kCountShort];
    shortUnpredictability(spectrum[0] + kFirstShort, spectrum[1] + kFirstShort,
                          spectrum[2] + kFirstShort, kCountShort, cw);
    for (int j = 0; j < kCountShort; ++j)
        std::fill_n(pCw + kFirst + kLinesPerShort * j, kLinesPerShort, Qor32s(cw[j]));
    std::fill_n(pCw + kEnd, kLinesLong - kEnd, kAbove);
}

// --- long blocks ------------------------------------------------------------------------------

void ownsCalEnergyUnpredict_Psy_MP3(const SpectrumLong* pSpectrum, const Unpredictability* pCw,
                                    const PsyTables& tables, int channels, bool midSide,
                                    PartitionsLong* pEnergy, PartitionsLong* pUnpredictable) {
    const int analysis = midSide ? kAnalysisChannels : channels;
    Qor64s* rows[2 * kAnalysisChannels] = {};
    for (int c = 0; c < analysis; ++c) {
        rows[c] = pEnergy[c];
        rows[analysis + c] = pUnpredictable[c];
    }
    sumLongPartitions(pSpectrum, pCw, tables.pPsyPartitionTableLong.data(), tables.numPartLong,
                      channels, midSide, rows);
}

namespace {

template <typename Partitions>
FourChannels fourChannels(Partitions* p) {
    return {p[0], p[1], p[2], p[3]};
}

}  // namespace

QORAC_CLONES void ownsCalSpreadedEnergyThreshold_Psy_MP3(
    const PartitionsLong* pEnergy, const PartitionsLong* pUnpredictable, const PsyTables& tables,
    int channels, QorMP3PsychoState* pState, PartitionsLong* pSpread,
    PartitionsLong* pUnpredictableSpread, PartitionsLong* pThreshold) {
    const int count = tables.numPartLong;
    const Qor64s* rows[2 * kAnalysisChannels] = {};
    Qor64s* spreadRows[2 * kAnalysisChannels] = {};
    for (int c = 0; c < channels; ++c) {
        rows[c] = pEnergy[c];
        rows[channels + c] = pUnpredictable[c];
        spreadRows[c] = pSpread[c];
        spreadRows[channels + c] = pUnpredictableSpread[c];
    }
    spread(rows, 2 * channels, tables.pSprdngBoundLong.data(), tables.pSprdngPackedLong.data(),
           count, spreadRows);
    for (int c = 0; c < channels; ++c) {
        maskingThresholds(pSpread[c], pUnpredictableSpread[c], count, pThreshold[c]);
    }
    if (channels == kAnalysisChannels) {
        ownsMSThresholdCoupling_Psy_MP3(fourChannels(pSpread), fourChannels(pThreshold),
                                        tables.pBMLDRatioLong.data(), count);
    }
    // Pre-echo control: a threshold rises by at most 2 from one granule to the next and by at most
    // 16 over two; behind a short block only the former counts.
    for (int c = 0; c < channels; ++c) {
        QorMP3PsychoState& state = pState[c];
        const bool afterShort = pState[c & 1].blockType == 2;
        for (int b = 0; b < count; ++b) {
            const Qor64s threshold = pThreshold[c][b];
            Qor64s limited = std::min(2 * state.nbPrev1[b], threshold);
            if (!afterShort) limited = std::min(limited, 16 * state.nbPrev2[b]);
            state.nbPrev2[b] = state.nbPrev1[b];
            state.nbPrev1[b] = threshold;
            pThreshold[c][b] = std::max(limited, tables.pQuietThresholdLong[b]);
        }
    }
}

void ownsMSThresholdCoupling_Psy_MP3(const FourChannels& energy, const FourChannels& threshold,
                                     const Qor32s* pBmldRatio, int count) {
    couple(energy, threshold, pBmldRatio, count);
}

Qor32s perceptualEntropy(const Qor64s* pEnergy, const Qor64s* pThreshold, const PsyTables& tables) {
    const auto& partition = tables.pPsyPartitionTableLong;
    Qor64s log10[kMaxPartLong];
    logarithms(pEnergy, pThreshold, tables.numPartLong, log10);
    Qor64s sum = 0;  // Q5
    for (int b = 0; b < tables.numPartLong; ++b) {
        sum += ((partition[b + 1] - partition[b]) * log10[b]) >> 26;
    }
    return Qor32s(sum >> 5);
}

// --- short blocks -----------------------------------------------------------------------------

void ownsCalEnergyShort_Psy_MP3(const SpectrumShort* pSpectrum, const PsyTables& tables,
                                int channels, bool midSide, PartitionsShort* pEnergy) {
    Qor64s* rows[kAnalysisChannels * kWindows] = {};
    for (int i = 0; i < (midSide ? kAnalysisChannels : channels) * kWindows; ++i)
        rows[i] = pEnergy[i / kWindows][i % kWindows];
    sumShortPartitions(pSpectrum, tables.pPsyPartitionTableShort.data(), tables.numPartShort,
                       channels, midSide, rows);
}

QORAC_CLONES void ownsCalSpreadedEnergyThresholdShort_Psy_MP3(const PartitionsShort* pEnergy,
                                                              const PsyTables& tables, int channels,
                                                              QorMP3PsychoState* pState,
                                                              PartitionsShort* pSpread,
                                                              PartitionsShort* pThreshold) {
    const int count = tables.numPartShort;
    const Qor64s* rows[kAnalysisChannels * kWindows] = {};
    Qor64s* spreadRows[kAnalysisChannels * kWindows] = {};
    for (int i = 0; i < channels * kWindows; ++i) {
        rows[i] = pEnergy[i / kWindows][i % kWindows];
        spreadRows[i] = pSpread[i / kWindows][i % kWindows];
    }
    spread(rows, channels * kWindows, tables.pSprdngBoundShort.data(),
           tables.pSprdngPackedShort.data(), count, spreadRows);
    for (int c = 0; c < channels; ++c) {
        for (int w = 0; w < kWindows; ++w) {
            multiplyQ31(pSpread[c][w], tables.pSMRShort.data(), count, pThreshold[c][w]);
        }
    }
    if (channels == kAnalysisChannels) {
        for (int w = 0; w < kWindows; ++w) {
            const auto window = [w](PartitionsShort* p) {
                return FourChannels{p[0][w], p[1][w], p[2][w], p[3][w]};
            };
            ownsMSThresholdCoupling_Psy_MP3(window(pSpread), window(pThreshold),
                                            tables.pBMLDRatioShort.data(), count);
        }
    }
    // Each window is limited by the one before it, from the last to the first. The last one enters
    // nbShortPrev before the first one is limited by it: the first window of a granule is limited
    // by the last window of the same granule.
    for (int c = 0; c < channels; ++c) {
        auto& threshold = pThreshold[c];
        Qor64s* const previous = pState[c].nbShortPrev;
        for (int b = 0; b < count; ++b) {
            const Qor64s quiet = tables.pQuietThresholdShort[b];
            const Qor64s first = threshold[0][b], second = threshold[1][b], last = threshold[2][b];
            previous[b] = last;
            threshold[2][b] = std::max(std::min(last, second), quiet);
            threshold[1][b] = std::max(std::min(second, first), quiet);
            threshold[0][b] = std::max(std::min(first, previous[b]), quiet);
        }
    }
}

// --- decisions --------------------------------------------------------------------------------

namespace {

// Whether a granule with these short energies and this entropy can be coded with long blocks.
bool isStationary(const PartitionsShort& energy, int count, Qor32s pe) {
    Qor64s sums[kWindows] = {};
    for (int w = 0; w < kWindows; ++w) {
        for (int b = 0; b < count; ++b) sums[w] += energy[w][b];
    }
    const auto [lowest, highest] = std::minmax({sums[0], sums[1], sums[2]});
    return !(highest > 40 * lowest || (highest > 8 * lowest && pe > 800) || pe > 1000);
}

// The block type that follows a carried type (0 long, 2 short, 3 stop), and the type carried on.
struct Transition {
    Qor32s blockType;
    Qor32s carried;
};

Transition nextBlock(bool stationary, Qor32s carried) {
    if (stationary) {
        return carried == 2 ? Transition{2, 3} : Transition{carried, 0};
    }
    return carried == 0 ? Transition{1, 2} : Transition{2, 2};
}

}  // namespace

void ownsSwitchBlockType_Psy_MP3(const PartitionsShort* pEnergy, const Qor32s* pPe,
                                 const PsyTables& tables, int channels, QorMP3PsychoState* pState,
                                 QorMP3SideInfo* pSideInfo) {
    bool stationary = true;  // of all channels: they switch together
    for (int c = 0; c < channels; ++c) {
        stationary = isStationary(pEnergy[c], tables.numPartShort, pPe[c]) && stationary;
    }
    for (int c = 0; c < channels; ++c) {
        const auto [blockType, carried] = nextBlock(stationary, pState[c].blockType);
        pState[c].blockType = carried;
        pSideInfo[c].block_type = blockType;
        pSideInfo[c].window_switching_flag = blockType != 0;
        pSideInfo[c].mixed_block_flag = 0;
    }
}

void ownsConvertThresholdToSfb_Psy_MP3(const Qor64s* pEnergy, const Qor64s* pThreshold,
                                       Qor32s* pDst, const Qor32s* pWeights, const Qor8u* pBuo,
                                       int bandCount, int stride) {
    Qor64s energy[kSfbLong] = {}, threshold[kSfbLong] = {}, ratio[kSfbLong];
    for (int s = 0; s < bandCount; ++s) {
        const int first = pBuo[s], last = pBuo[s + 1];
        const Qor32s shareFirst = pWeights[s], shareLast = kMax32s - pWeights[s + 1];
        const auto inBand = [=](const Qor64s* p) {
            Qor64s sum = mulQ31(p[first], shareFirst) + mulQ31(p[last], shareLast);
            for (int b = first + 1; b < last; ++b) sum += p[b];
            return sum;
        };
        energy[s] = inBand(pEnergy);
        threshold[s] = inBand(pThreshold);
    }
    ratios(threshold, energy, bandCount, ratio);
    for (int s = 0; s < bandCount; ++s) pDst[s * stride] = Qor32s(ratio[s]);
}

namespace {

// --- spectra ----------------------------------------------------------------------------------

constexpr int kMaxGranules = 2;
constexpr int kSpectra = 4;  // two channels in two granules

struct Channels {
    int input;     // 1 or 2
    int analysis;  // with mid and side: 1, 2 or 4
    bool midSide() const { return analysis == kAnalysisChannels; }
};

// Scratch of a frame, by granule * input channels + channel. The members of the union are used one
// after the other.
struct Work {
    union {
        SpectrumShort spectrumShort[kSpectra];
        SpectrumLong spectrum[kSpectra];
    };
    Unpredictability cw[kSpectra];
};

constexpr std::size_t kWorkSize = 25152;
static_assert(alignof(Work) == 4 && sizeof(Work) <= kWorkSize);

// What the decisions need of a granule.
struct Granule {
    PartitionsShort energyShort[kAnalysisChannels];
    PartitionsLong energy[kAnalysisChannels], unpredictable[kAnalysisChannels];
    PartitionsLong threshold[kAnalysisChannels];
};

// `size` samples of an interleaved channel times a window.
template <int size>
QORAC_INLINE void window(const Qor16s* pSrc, int stride, const std::array<Qor16s, size>& shape,
                         Qor16s* pDst) {
    for (int i = 0; i < size; ++i) pDst[i] = Qor16s((pSrc[i * stride] * shape[i]) >> 15);
}

QORAC_CLONES void windowLong(const Qor16s* pSrc, int stride, Qor16s* pDst) {
    stride == 1 ? window<1024>(pSrc, 1, pHannWinLong_MP3, pDst)
                : window<1024>(pSrc, 2, pHannWinLong_MP3, pDst);
}
QORAC_CLONES void windowShort(const Qor16s* pSrc, int stride, Qor16s* pDst) {
    stride == 1 ? window<256>(pSrc, 1, pHannWinShort_MP3, pDst)
                : window<256>(pSrc, 2, pHannWinShort_MP3, pDst);
}

// Energies and unpredictability of all granules. The transforms take four spectra at once; where
// there are fewer, the first one's samples stand in. The three short windows stand in the middle of
// the long one.
void analyseSpectra(const Qor16s* pSrcPcm, const PsyTables& tables, Channels channels, int granules,
                    QorMP3PsychoState* pState, Work& work, Granule* pGranule) {
    constexpr int kFirstShort = 256, kShortStep = 128;
    const int inputs = channels.input, spectra = granules * inputs;
    const auto samples = [&](int i, int first) {
        return pSrcPcm + (i / inputs * kGranule + first) * inputs + i % inputs;
    };
    alignas(64) Qor16s windowed[kSpectra][1024];
    const Qor16s* pSrc[kSpectra];
    Qor32sc* pDst[kSpectra];
    for (int i = 0; i < kSpectra; ++i) pSrc[i] = windowed[i < spectra ? i : 0];

    for (int w = 0; w < kWindows; ++w) {
        for (int i = 0; i < spectra; ++i) {
            windowShort(samples(i, kFirstShort + kShortStep * w), inputs, windowed[i]);
        }
        for (int i = 0; i < kSpectra; ++i) pDst[i] = work.spectrumShort[i][w];
        ownsFFTFwd256_Audio_16s32sc(pSrc, pDst);
    }
    for (int i = 0; i < spectra; ++i) {
        ownsCalUnpredictMeasureCwAbove06_Psy_MP3(work.spectrumShort[i], work.cw[i]);
    }
    for (int g = 0; g < granules; ++g) {
        ownsCalEnergyShort_Psy_MP3(work.spectrumShort + g * inputs, tables, inputs,
                                   channels.midSide(), pGranule[g].energyShort);
    }

    for (int i = 0; i < spectra; ++i) windowLong(samples(i, 0), inputs, windowed[i]);
    for (int i = 0; i < kSpectra; ++i) pDst[i] = work.spectrum[i];
    ownsFFTFwd1024_Audio_16s32sc(pSrc, pDst);
    for (int i = 0; i < spectra; ++i) {
        ownsCalUnpredictMeasureCw06_Psy_MP3(work.spectrum[i], pState + i % inputs, work.cw[i]);
    }
    for (int g = 0; g < granules; ++g) {
        ownsCalEnergyUnpredict_Psy_MP3(work.spectrum + g * inputs, work.cw + g * inputs, tables,
                                       inputs, channels.midSide(), pGranule[g].energy,
                                       pGranule[g].unpredictable);
    }
}

// --- a granule --------------------------------------------------------------------------------

// Thresholds of the long partitions, entropies and block types of a granule.
void decideGranule(const PsyTables& tables, Channels channels, QorMP3PsychoState* pState,
                   Granule& granule, Qor32s* pPe, QorMP3SideInfo* pSideInfo) {
    PartitionsLong spread[kAnalysisChannels], unpredictableSpread[kAnalysisChannels];
    ownsCalSpreadedEnergyThreshold_Psy_MP3(granule.energy, granule.unpredictable, tables,
                                           channels.analysis, pState, spread, unpredictableSpread,
                                           granule.threshold);
    for (int c = 0; c < channels.analysis; ++c) {
        pPe[c] = perceptualEntropy(granule.energy[c], granule.threshold[c], tables);
    }
    ownsSwitchBlockType_Psy_MP3(granule.energyShort, pPe, tables, channels.input, pState,
                                pSideInfo);
}

void longRatios(const Granule& granule, int c, const PsyTables& tables, Qor32s* pDst) {
    ownsConvertThresholdToSfb_Psy_MP3(granule.energy[c], granule.threshold[c], pDst,
                                      tables.pPartToSfbWeightLong.data(),
                                      tables.pPartToSfbBuoLong.data(), kSfbLong, 1);
}

void shortRatios(const PartitionsShort& energy, const PartitionsShort& threshold,
                 const PsyTables& tables, Qor32s* pDst) {
    for (int w = 0; w < kWindows; ++w) {
        ownsConvertThresholdToSfb_Psy_MP3(energy[w], threshold[w], pDst + w,
                                          tables.pPartToSfbWeightShort.data(),
                                          tables.pPartToSfbBuoShort.data(), kSfbShort, kWindows);
    }
}

// --- a frame ----------------------------------------------------------------------------------

// Mid/side is chosen unless it takes more entropy than left/right, and never across channels with
// different block types.
bool choosesMidSide(const Qor32s (*pe)[kAnalysisChannels], const QorMP3SideInfo* pSideInfo,
                    int granules) {
    Qor32s leftRight = 0, midSide = 0;
    for (int g = 0; g < granules; ++g) {
        if (pSideInfo[2 * g].block_type != pSideInfo[2 * g + 1].block_type) return false;
        leftRight = wrapAdd(leftRight, wrapAdd(pe[g][0], pe[g][1]));
        midSide = wrapAdd(midSide, wrapAdd(pe[g][2], pe[g][3]));
    }
    return leftRight >= midSide;
}

// Intensity stereo is offered below 128 kbit/s (MPEG-1). The bound is defined for bitrate_index 6
// to 8; lower ones get that of 6.
void setIntensityBound(const QorMP3FrameHeader& header, const QorMP3SideInfo* pSideInfo,
                       int channels, int granules, Qor32s* pBound) {
    const int row = std::max(header.bitrate_index - 6, 0);
    const int entry = row * 3 + header.sampling_frequency;
    for (int g = 0; g < granules; ++g) {
        if (pSideInfo[g * channels].block_type == 2) {
            std::fill_n(pBound + g * kWindows, kWindows, pIsSfbBoundTableShort[entry]);
        } else {
            pBound[g * kWindows] = pIsSfbBoundTableLong[entry];
        }
    }
}

void psychoacousticModel(const Qor16s* pSrcPcm, QorMP3PsychoInfo* pDstPsyInfo,
                         Qor32s* pDstIsSfbBound, QorMP3SideInfo* pDstSideInfo,
                         QorMP3FrameHeader* pFrameHeader, QorMP3PsychoState* pState, Work& work) {
    constexpr int kHighestIntensityIndex = 8, kRatios = 36;
    const int inputs = pFrameHeader->mode == 3 ? 1 : 2;
    const bool joint = pFrameHeader->mode == 1;
    const Channels channels{inputs, joint ? kAnalysisChannels : inputs};
    const int granules = pFrameHeader->id == 1 ? kMaxGranules : 1;
    const PsyTables& tables = _qor_pPsyTables_MP3[pFrameHeader->sampling_frequency];

    // Entropies of the delayed granule and of those of this frame.
    Qor32s pe[1 + kMaxGranules][kAnalysisChannels] = {};
    for (int c = 0; c < channels.analysis; ++c) pe[0][c] = pState[c].pe;
    Granule granule[kMaxGranules];
    analyseSpectra(pSrcPcm, tables, channels, granules, pState, work, granule);
    for (int g = 0; g < granules; ++g) {
        decideGranule(tables, channels, pState, granule[g], pe[g + 1], pDstSideInfo + g * inputs);
    }

    const bool midSide = joint && choosesMidSide(pe, pDstSideInfo, granules);
    const int offset = midSide ? 2 : 0;

    PartitionsShort spreadShort[kAnalysisChannels], thresholdShort[kAnalysisChannels];
    const auto maskShort = [&](int g) {
        ownsCalSpreadedEnergyThresholdShort_Psy_MP3(
            granule[g].energyShort, tables, channels.analysis, pState, spreadShort, thresholdShort);
    };
    // The ratios of this frame's first granule overwrite those of the delayed one in the records of
    // granule 0; the records of granule 1 keep the ratios that they had. Of the first granule no
    // others are ever asked for: thresholds of short blocks are found for a short block only.
    if (granules == kMaxGranules) {
        bool masked = false;
        for (int c = 0; c < inputs; ++c) {
            Qor32s ratio[kRatios] = {};
            if (pDstSideInfo[inputs + c].block_type == 2) {
                if (!masked) maskShort(0);
                masked = true;
                shortRatios(granule[0].energyShort[c + offset], thresholdShort[c + offset], tables,
                            ratio);
            } else {
                longRatios(granule[0], c + offset, tables, ratio);
            }
            std::copy_n(ratio, kRatios, pDstPsyInfo[c].ratio);
        }
    } else {
        for (int c = 0; c < inputs; ++c) {
            const QorMP3PsychoState& delayed = pState[c + offset];
            std::copy_n(pDstSideInfo[c].block_type == 2 ? delayed.ratioShort : delayed.ratioLong,
                        kRatios, pDstPsyInfo[c].ratio);
        }
    }

    const int last = granules - 1;
    maskShort(last);
    for (int c = 0; c < channels.analysis; ++c) {
        std::fill_n(pState[c].ratioLong, kRatios, 0);
        longRatios(granule[last], c, tables, pState[c].ratioLong);
        shortRatios(granule[last].energyShort[c], thresholdShort[c], tables, pState[c].ratioShort);
        pState[c].pe = pe[granules][c];
    }
    for (int g = 0; g < granules; ++g) {
        for (int c = 0; c < inputs; ++c) pDstPsyInfo[g * inputs + c].pe = pe[g][c + offset];
    }

    pFrameHeader->mode_extension = midSide ? 2 : 0;
    if (inputs == 2 && pFrameHeader->bitrate_index <= kHighestIntensityIndex) {
        pFrameHeader->mode_extension |= 1;
        setIntensityBound(*pFrameHeader, pDstSideInfo, inputs, granules, pDstIsSfbBound);
    }
}

}  // namespace
}  // namespace qorac

using namespace qorac;

QorStatus qorsPsychoacousticModelTwo_MP3_16s(const Qor16s* pSrcPcm, QorMP3PsychoInfo* pDstPsyInfo,
                                             Qor32s* pDstIsSfbBound, QorMP3SideInfo* pDstSideInfo,
                                             QorMP3FrameHeader* pFrameHeader,
                                             QorMP3PsychoState* pState, const void* /*reserved*/,
                                             Qor8u* pWork) {
    if (anyNull(pSrcPcm, pFrameHeader, pDstSideInfo, pDstPsyInfo, pState, pWork, pDstIsSfbBound)) {
        return qorStsNullPtrErr;
    }
    psychoacousticModel(pSrcPcm, pDstPsyInfo, pDstIsSfbBound, pDstSideInfo, pFrameHeader, pState,
                        *reinterpret_cast<Work*>(pWork));
    return qorStsNoErr;
}
