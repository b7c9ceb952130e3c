// Tables of the psychoacoustic model, by sampling frequency (ISO/IEC 11172-3 Annex D, model 2).
//
// A partition is a run of spectrum lines about a third of a Bark wide: partition b covers the lines
// partition[b] to partition[b + 1] - 1 of the spectrum of 1024 (long) or 256 (short) samples.
#pragma once

#include <array>

#include "qorac.h"

namespace qorac {

constexpr int kMaxPartLong = 63;
constexpr int kMaxPartShort = 42;
constexpr int kSfbLong = 21;
constexpr int kSfbShort = 12;

// One sampling frequency. Arrays are as long as the longest of the three rates needs; entries
// behind numPartLong and numPartShort are 0.
struct PsyTables {
    std::array<Qor16s, kMaxPartLong + 1> pPsyPartitionTableLong;
    std::array<Qor16s, kMaxPartShort + 1> pPsyPartitionTableShort;
    Qor32s numPartLong;
    Qor32s numPartShort;

    // Spreading function: partition b gathers the partitions lo <= j < hi, the pair b of the bound;
    // the Q31 coefficients of all rows stand end to end.
    std::array<Qor16s, 2 * kMaxPartLong> pSprdngBoundLong;
    std::array<Qor32s, 699> pSprdngPackedLong;
    std::array<Qor16s, 2 * kMaxPartShort> pSprdngBoundShort;
    std::array<Qor32s, 361> pSprdngPackedShort;

    // Binaural masking level difference, Q31.
    std::array<Qor32s, kMaxPartLong> pBMLDRatioLong;
    std::array<Qor32s, kMaxPartShort> pBMLDRatioShort;

    // Threshold in quiet, in the unit of the energies.
    std::array<Qor64s, kMaxPartLong> pQuietThresholdLong;
    std::array<Qor64s, kMaxPartShort> pQuietThresholdShort;

    // Partition in which each scale factor band begins, and the share of that partition above the
    // boundary, Q31.
    std::array<Qor8u, kSfbLong + 1> pPartToSfbBuoLong;
    std::array<Qor32s, kSfbLong + 1> pPartToSfbWeightLong;
    std::array<Qor8u, kSfbShort + 1> pPartToSfbBuoShort;
    std::array<Qor32s, kSfbShort + 1> pPartToSfbWeightShort;

    // Threshold over spread energy of a short block, Q31.
    std::array<Qor32s, kMaxPartShort> pSMRShort;
};

// By sampling_frequency: 44100, 48000, 32000 Hz.
extern const std::array<PsyTables, 3> _qor_pPsyTables_MP3;

// Hann windows, Q15.
extern const std::array<Qor16s, 1024> pHannWinLong_MP3;
extern const std::array<Qor16s, 256> pHannWinShort_MP3;

// Intensity stereo bound, index (bitrate_index - 6) * 3 + sampling_frequency.
extern const std::array<Qor32s, 9> pIsSfbBoundTableLong;
extern const std::array<Qor32s, 9> pIsSfbBoundTableShort;

}  // namespace qorac
