// The Huffman-coded parts of an AAC channel: scale factors and quantized coefficients
// (ISO/IEC 13818-7 clauses 9 to 11). Integers in, integers out: a coefficient is the quantized
// value with its sign, at most 8191 in magnitude.
#pragma once

#include <array>

#include "qorac.h"

namespace qorac {

// A packed tree of L leaves takes 2L - 1 entries. The root is entry 0. An entry with bit 0 clear is
// an inner node: its 0 branch is the next entry, its 1 branch lies entry >> 1 entries further on.
// An entry with bit 0 set is a leaf:
//  - scale factors: entry >> 1 is the index 0 to 120, the difference plus 60;
//  - quadruples: four signed 3-bit values from bit 2 up, in tuple order;
//  - pairs: two signed 6-bit values from bit 2 up.
// Leaves of the unsigned books hold magnitudes; the signs follow the code word.
extern const std::array<Qor8u, 241> _pHfTableScf;
extern const std::array<Qor16u, 161> _pHfTableSp1, _pHfTableSp2, _pHfTableSp3, _pHfTableSp4,
    _pHfTableSp5, _pHfTableSp6;
extern const std::array<Qor16u, 127> _pHfTableSp7, _pHfTableSp8;
extern const std::array<Qor16u, 337> _pHfTableSp9, _pHfTableSp10;
extern const std::array<Qor16u, 577> _pHfTableSp11;

struct CbParam {
    Qor32s codeBook;
    Qor32s isUnsigned;
    Qor32s tupleSize;  // 0: a code book without coefficients
    const Qor16u* pTable;
};
extern const std::array<CbParam, 16> _pCbParam_AAC;

// scale_factor_data of 13818-7 and of 14496-3 (which knows noise bands), group after group without
// gaps. Spectrum bands hold the running scale factor, intensity bands the running position, bands
// of code book 0 hold 0. The first noise band sets the running scale factor to 9 raw bits
// - 346 + globalGain, with no range test; later ones go on from it like spectrum bands.
// qorStsAacScaleFactorErr: a running scale factor outside 0 to 255; qorStsAacCodebookErr: a band of
// code book 12, or 13 in the first of the two. On failure the cursor stays where it was.
QorStatus ownsDecodeScalefactor_AAC_1u16s(Qor8u** ppBitStream, Qor32s* pOffset,
                                          Qor16s* pScaleFactor, Qor32s globalGain, Qor32s numWinGrp,
                                          const Qor32s* pNumSec, const Qor8u* pSectCb,
                                          const Qor8u* pSectEnd);
QorStatus ownsDecodeScalefactor_AAC_MPEG4_1u16s(Qor8u** ppBitStream, Qor32s* pOffset,
                                                Qor16s* pScaleFactor, Qor32s globalGain,
                                                Qor32s numWinGrp, const Qor32s* pNumSec,
                                                const Qor8u* pSectCb, const Qor8u* pSectEnd);

// `len` coefficients of a code book from 1 to 11; len is a multiple of its tuple size.
// qorStsAacQuantMaxErr: an escape of more than 8 ones; the cursor stays where it was.
QorStatus ownsDecodeSpecHuf_AAC(Qor8u** ppBitStream, Qor32s* pOffset, Qor32s* pDst, Qor32s len,
                                Qor32s codeBook);

// spectral_data: group after group, section after section; what no section covers becomes 0, up to
// coefficient 1024. The lengths of the groups must not add up to more than 1024 / winLen.
// qorStsErr: a section ends above the band count; qorStsAacCodebookErr: a section of code book 12;
// qorStsAacQuantMaxErr: see above. On failure the cursor stands at the start of the section.
QorStatus ownsDecodeSpectralData_AAC_1u32s(Qor8u** ppBitStream, Qor32s* pOffset, Qor32s* pSpectrum,
                                           Qor32s numWinGrp, const Qor32s* pWinGrpLen,
                                           const Qor32s* pNumSec, const Qor8u* pSectCb,
                                           const Qor8u* pSectEnd, Qor32s samplingRateIndex,
                                           Qor32s winLen);

}  // namespace qorac
