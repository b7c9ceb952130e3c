// One channel of an AAC element: from its bits to its spectrum in Q3.
#pragma once

#include <array>
#include <cstddef>
#include <span>

#include "aaccursor.h"
#include "qorac.h"

// audioObjectType of ISO/IEC 14496-3.
enum AacObjectType { kAacMain = 1, kAacLc, kAacSsr, kAacLtp };

// What an element's channel needs to know of its stream.
struct AacSetup {
    int objectType = kAacLc;
    int samplingRateIndex = 4;

    // The bands that may have predictor data: those of the Main profile.
    Qor32s predictedBands() const;
};

// The offsets of the long bands that the Main profile may predict, and their end.
std::span<const Qor32s> aacPredictedBands(int samplingRateIndex);

// A line times 2^shift, saturated: what is too loud for a step of the library is made softer before it.
Qor32s aacRaised(Qor32s line, int shift);

struct AacChannel {
    static constexpr std::size_t kLines = 1024;
    static constexpr int kPredictedLines = 672;  // the most that the Main profile predicts
    static constexpr int kNoiseBook = 13, kIntensityBook = 14;  // and 15

    QorAACIcsInfo ics;
    QorAACChanInfo info;
    QorAACLtpInfo ltp;
    std::array<Qor16s, 120> scaleFactor;  // of each band; positions and energies of the standard
    std::array<Qor8u, 120> codeBook;      // of each band
    std::array<Qor8s, 60> tnsCoef;
    std::array<Qor32s, kLines> spectrum;
    // Long blocks of the Main profile have their low lines once more at the standard's scale: what
    // the fraction bits of the spectrum cut off would bring the predictor out of step.
    bool hasExactLines;
    std::array<Qor32f, kPredictedLines> exactLines;

    bool isShort() const { return ics.window_sequence == 2; }
    int bands() const { return ics.num_window_groups * ics.max_sfb; }

    // Reads an individual_channel_stream; `ics` and `ltp` are filled already when the window is
    // common. False when the data are damaged.
    bool decode(AacCursor& cursor, const AacSetup& setup, QorAACMainHeader& mainHeader,
                bool commonWindow);
    // The steps behind it, in this order. Stereo and the prediction of lines stand behind the first,
    // noise and long-term prediction behind the second.
    bool dequantize();
    void deinterleave();
    bool shapeNoise();
    // Undoes the last one on another spectrum.
    void flattenNoise(Qor32s* otherSpectrum) const;

  private:
    QorStatus decodeNoiseless(AacCursor& cursor, const AacSetup& setup,
                              QorAACMainHeader& mainHeader, bool commonWindow);
    int lastGain() const;
    void dequantizeExactly(const std::array<Qor16s, kPredictedLines>& quantized);
    bool separateNoise(int gain);
    bool predictionIsSound(const AacSetup& setup) const;
};

// M/S and then intensity stereo of a pair, both channels dequantized and in grouped order.
void aacDecodeMidSide(AacChannel& left, AacChannel& right, const QorAACChanPairElt& pair);
void aacDecodeIntensity(const AacChannel& left, AacChannel& right);
