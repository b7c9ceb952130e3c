// Private steps of the Layer III quantization loop, in the order in which a frame passes them.
//
// Lines are Q26: a line divided by 2^26 is the xr of ISO 11172-3. A gain index q stands for the
// factor 2^(-q/4), and gq is global_gain - 210.
#pragma once

#include "mp3enc/mp3ebands.h"
#include "mp3enc/mp3ehuff.h"
#include "qorac.h"

namespace qorac {

constexpr int kMaxBandSteps = 39;  // 13 short bands of three windows

// What the work on one granule and channel keeps. Per-band arrays are in the order of BandLayout.
struct GranuleWork {
    Qor8s sign[576];                 // 1 or -1
    Qor32s maxIndex[kMaxBandSteps];  // of the first largest line of the band, from the band's start
    Qor32s maxLine;                  // the largest line of all
    Qor32s sfbMax[3];                // coded bands per window; entry 0 alone for long blocks
    Qor32s scale[40];                // band gains in quarter steps, then scale factors
    Qor32s xr2[kMaxBandSteps];       // band energy
    Qor32s xfsf[kMaxBandSteps];      // band noise
    Qor32s allowed[kMaxBandSteps];   // allowed noise
    Qor32s scalefacBits;
    Qor32s minBits, maxBits;  // the window for the spectrum's bits
    Qor32s gq;
    Qor32s spectralBits;
    SpectrumRegions regions;
};

// What the records of a frame are expected to take, and the share of the reservoir that they may
// draw on.
struct FrameEstimate {
    Qor32s est[4];
    Qor32s total;
    Qor32s coef;  // Q15
};

// --- bit budget -------------------------------------------------------------------------------

void ownsGetFrameEstimatedBits_MP3(FrameEstimate* pEstimate, const QorMP3SideInfo* pSide,
                                   const QorMP3PsychoInfo* pPsyInfo,
                                   const QorMP3PsychoState* pPsyState, int granules, int channels,
                                   Qor32s meanBits);
// Sets minBits and maxBits of record i, with `remaining` records still to do, this one included.
void ownsGetGranuleMinMaxBits_MP3(GranuleWork* pWork, const FrameEstimate& estimate,
                                  const QorMP3BitReservoir& reservoir, Qor32s meanBits, int i,
                                  int remaining);
void ownsUpdateFrameExtraBits_MP3(QorMP3BitReservoir* pReservoir, Qor32s meanBits, Qor32s total);
// Returns the stuffing bits that bring the reservoir to its limit and to a whole byte.
Qor32s ownsCalcFrameStuffingBits_MP3(QorMP3BitReservoir* pReservoir);
void ownsDistributeStuffingBits_MP3(QorMP3SideInfo* pSide, Qor32s* pHufBits, int count,
                                    Qor32s stuffing);

// --- spectrum ---------------------------------------------------------------------------------

// Cuts off what is not coded and puts a floor under the ratios.
void ownsPreprocessFilter_MP3(Qor32s* pXs, QorMP3PsychoInfo* pPsyInfo, const QorMP3SideInfo& side,
                              const QorMP3FrameHeader& header, const QorMP3BitReservoir& reservoir,
                              Qor32s mean);
void ownsConvertToUnsignedData_MP3(Qor32s* pXs, Qor8s* pSign);
void ownsFindMaxSpectralIndex_MP3(const Qor32s* pXs, GranuleWork* pWork, const BandLayout& layout);
void ownsReInitGranuleData_MP3(QorMP3SideInfo* pSide, GranuleWork* pWork, Qor32s* pIx);

// --- scale factors ----------------------------------------------------------------------------

void ownsCalcAllowedDistortion_MP3(const Qor32s* pXs, const QorMP3PsychoInfo& psyInfo,
                                   GranuleWork* pWork, const BandLayout& layout);
// Gain of a band in quarter steps from its threshold ratio and its largest line.
Qor32s ownsNoiseShapeBandFast_MP3(Qor32s ratio, Qor32s largest);
void ownsNoiseShape_MP3(const Qor32s* pXs, const QorMP3PsychoInfo& psyInfo, GranuleWork* pWork,
                        const BandLayout& layout);
// From the gains to scale factors, the first gq and the bits of the scale factors.
void ownsAdjustfactors_MP3(GranuleWork* pWork, Qor8s* pScaleFactor, QorMP3SideInfo* pSide,
                           const Qor32s* pScfsi, const QorMP3FrameHeader* pFrameHeader,
                           int granule);

// --- quantization -----------------------------------------------------------------------------

// (v^3)^(1/4) of v from 256 on, with the rounding of the quantizer.
Qor32s ownsPower3Div4_MP3(Qor32s v);
// Quantizes non-negative lines; q above 0 gives qorStsBadArgErr and nothing is written.
QorStatus ownsQuantizeBand_Audio(const Qor32s* pSrc, Qor32s* pDst, int len, int q);
// The lines of a granule times 2^(r/4), r = 0 to 3, as the quantizer needs them at every gain.
struct ScaledLines {
    alignas(64) Qor32s root[4][576];
    int end;  // no line from here on is other than 0
};
void scaleLines(const Qor32s* pXs, ScaledLines* pScaled);
// Gain indices of the bands' scale factors.
void bandGains(const QorMP3SideInfo& side, const BandLayout& layout, const Qor8s* pScale,
               Qor32s* pGain);
// Quantizes all bands; what lies behind the last line stays as it is. False when a value reached
// 8192.
bool ownsQuantize_32s_MP3(const ScaledLines& lines, Qor32s* pIx, const Qor32s* pBandGain, Qor32s gq,
                          const BandLayout& layout);
// sign * |ix|^(4/3) * 2^(-e/4) in Q26; a magnitude above 8206 ends the run.
void ownsReqCore_MP3_32s(const Qor32s* pIx, Qor32s* pDst, int len, int e);
// Bands whose noise exceeds what is allowed. pBuffer: scratch of 576 lines.
int ownsCalcQuantDistortion_MP3(const Qor32s* pXs, const Qor32s* pIx, Qor32s* pBuffer,
                                const Qor32s* pBandGain, GranuleWork* pWork,
                                const BandLayout& layout);
// The search for the global gain; returns the bits of the spectrum.
Qor32s ownsAdjustQuantByBits_MP3(const Qor32s* pXs, Qor32s* pIx, Qor32s* pBuffer,
                                 QorMP3SideInfo* pSide, GranuleWork* pWork, const Qor8s* pScale,
                                 const BandLayout& layout, const Qor16s* pSfbLong);

}  // namespace qorac
