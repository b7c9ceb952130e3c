// One channel of an AAC element: from its bits to its spectrum in Q3.
#pragma once

#include <array>
#include <cstddef>

#include "aaccursor.h"
#include "qorac.h"

// What an element's channel needs to know of its stream.
struct AacSetup {
    int objectType = 2;  // audioObjectType of ISO/IEC 14496-3
    int samplingRateIndex = 4;

    // The bands that may have predictor data: those of the Main profile.
    Qor32s predictedBands() const;
};

struct AacChannel {
    static constexpr std::size_t kLines = 1024;
    static constexpr int kNoiseBook = 13, kIntensityBook = 14;  // and 15

    QorAACIcsInfo ics;
    QorAACChanInfo info;
    std::array<Qor16s, 120> scaleFactor;  // of each band; positions and energies of the standard
    std::array<Qor8u, 120> codeBook;      // of each band
    std::array<Qor8s, 60> tnsCoef;
    std::array<Qor32s, kLines> spectrum;

    bool isShort() const { return ics.window_sequence == 2; }
    int bands() const { return ics.num_window_groups * ics.max_sfb; }

    // Reads an individual_channel_stream; `ics` is filled already when the window is common.
    // False when the data are damaged.
    bool decode(AacCursor& cursor, const AacSetup& setup, QorAACMainHeader& mainHeader,
                bool commonWindow);
    // The steps behind it, in this order, with stereo behind the first and noise behind the second.
    bool dequantize();
    void deinterleave();
    bool shapeNoise();

  private:
    QorStatus decodeNoiseless(AacCursor& cursor, const AacSetup& setup,
                              QorAACMainHeader& mainHeader, bool commonWindow);
    int lastGain() const;
    bool separateNoise(int gain);
};

// M/S and intensity stereo of a pair, both channels dequantized and in grouped order.
void aacDecodeStereo(AacChannel& left, AacChannel& right, const QorAACChanPairElt& pair);
