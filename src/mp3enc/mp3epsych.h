// Steps of the psychoacoustic model, see mp3epsych.cpp.
#pragma once

#include "mp3enc/mp3epsychtbl.h"
#include "qorac.h"

namespace qorac {

constexpr int kLinesLong = 513;
constexpr int kLinesShort = 129;
constexpr int kWindows = 3;
// Left, right, mid, side.
constexpr int kAnalysisChannels = 4;

using SpectrumLong = Qor32sc[kLinesLong];
using SpectrumShort = Qor32sc[kWindows][kLinesShort];
using Unpredictability = Qor32s[kLinesLong];
using PartitionsLong = Qor64s[kMaxPartLong];
using PartitionsShort = Qor64s[kWindows][kMaxPartShort];

// Unpredictability of the lines 0 to 5, from this long spectrum and the two before, and of all
// lines from 6 on, from the three short spectra; Q31.
void ownsCalUnpredictMeasureCw06_Psy_MP3(const Qor32sc* pSpectrum, QorMP3PsychoState* pState,
                                         Qor32s* pCw);
void ownsCalUnpredictMeasureCwAbove06_Psy_MP3(const SpectrumShort& spectrum, Qor32s* pCw);

// Energy and unpredictable energy of the long partitions, of mid and side too when `midSide`.
void ownsCalEnergyUnpredict_Psy_MP3(const SpectrumLong* pSpectrum, const Unpredictability* pCw,
                                    const PsyTables& tables, int channels, bool midSide,
                                    PartitionsLong* pEnergy, PartitionsLong* pUnpredictable);

// Thresholds of the long partitions; moves the thresholds of the two granules before on in the
// states. `channels` counts analysis channels: 1, 2 or 4. pSpread and pUnpredictableSpread are
// scratch.
void ownsCalSpreadedEnergyThreshold_Psy_MP3(const PartitionsLong* pEnergy,
                                            const PartitionsLong* pUnpredictable,
                                            const PsyTables& tables, int channels,
                                            QorMP3PsychoState* pState, PartitionsLong* pSpread,
                                            PartitionsLong* pUnpredictableSpread,
                                            PartitionsLong* pThreshold);

// Perceptual entropy of a channel.
Qor32s perceptualEntropy(const Qor64s* pEnergy, const Qor64s* pThreshold, const PsyTables& tables);

// Energies of the short partitions.
void ownsCalEnergyShort_Psy_MP3(const SpectrumShort* pSpectrum, const PsyTables& tables,
                                int channels, bool midSide, PartitionsShort* pEnergy);

// Thresholds of the short partitions; pSpread is scratch.
void ownsCalSpreadedEnergyThresholdShort_Psy_MP3(const PartitionsShort* pEnergy,
                                                 const PsyTables& tables, int channels,
                                                 QorMP3PsychoState* pState,
                                                 PartitionsShort* pSpread,
                                                 PartitionsShort* pThreshold);

// Arrays of the four analysis channels, for the coupling of their thresholds.
struct FourChannels {
    Qor64s* left;
    Qor64s* right;
    Qor64s* mid;
    Qor64s* side;
};

// Limits the thresholds of left, right, mid and side by one another, in place.
void ownsMSThresholdCoupling_Psy_MP3(const FourChannels& energy, const FourChannels& threshold,
                                     const Qor32s* pBmldRatio, int count);

// Chooses the block types of a granule and moves the carried types on in the states.
void ownsSwitchBlockType_Psy_MP3(const PartitionsShort* pEnergy, const Qor32s* pPe,
                                 const PsyTables& tables, int channels, QorMP3PsychoState* pState,
                                 QorMP3SideInfo* pSideInfo);

// Threshold over energy of `bandCount` scale factor bands, Q31, to pDst[band * stride].
void ownsConvertThresholdToSfb_Psy_MP3(const Qor64s* pEnergy, const Qor64s* pThreshold,
                                       Qor32s* pDst, const Qor32s* pWeights, const Qor8u* pBuo,
                                       int bandCount, int stride);

}  // namespace qorac
