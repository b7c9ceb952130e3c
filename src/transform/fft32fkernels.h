// The inner routines of the float FFT, one set for each instruction level.
//
// All levels read the same tables, so that a spec does not depend on the level that built it. None
// of the routines checks anything.
#pragma once

#include <cstddef>

#include "qorac.h"

namespace qorac {

// Codelets: the whole transform of a small order, times `scale` in the _scale members only.
using ComplexCodelet = void (*)(const Qor32fc* pSrc, Qor32fc* pDst, Qor32f scale);
using SplitCodelet = void (*)(const Qor32f* pSrcRe, const Qor32f* pSrcIm, Qor32f* pDstRe,
                              Qor32f* pDstIm, Qor32f scale);
using RealCodelet = void (*)(const Qor32f* pSrc, Qor32f* pDst, Qor32f scale);

// What a core transform needs of its spec.
struct FftCore {
    Qor32s order;
    const Qor32s* pBitRev;
    const Qor32f* pTwd;
    Qor32f scale;  // of the result, 1 for none
};

struct Fft32fKernels {
    ComplexCodelet tbl_cFFTfwd_small[6], tbl_cFFTfwd_small_scale[6];
    ComplexCodelet tbl_cFFTinv_small[6], tbl_cFFTinv_small_scale[6];
    SplitCodelet tbl_crFFTfwd_small[6], tbl_crFFTfwd_small_scale[6];
    RealCodelet tbl_rFFTfwd_small[5], tbl_rFFTfwd_small_scale[5];
    RealCodelet tbl_rFFTinv_small[5], tbl_rFFTinv_small_scale[5];

    // Whole transforms with the reversal in the first pass. Source and destination may be equal;
    // pScratch has room for the data.
    void (*qors_cRadix4FwdNorm_32fc)(const FftCore& core, const Qor32fc* pSrc, Qor32fc* pDst,
                                     Qor32f* pScratch);
    void (*qors_cRadix4InvNorm_32fc)(const FftCore& core, const Qor32fc* pSrc, Qor32fc* pDst,
                                     Qor32f* pScratch);
    void (*qors_crRadix4FwdNorm_32f)(const FftCore& core, const Qor32f* pSrcRe,
                                     const Qor32f* pSrcIm, Qor32f* pDstRe, Qor32f* pDstIm,
                                     Qor32f* pScratch);

    // Transforms in place of data in bit-reversed order. Mode kInterleaved leaves complex numbers,
    // kSplitGroups the groups of the working form, which the blocked path goes on with.
    void (*qors_cRadix4Fwd_32fc)(const FftCore& core, Qor32fc* pData, Qor32f* pScratch, int mode);
    void (*qors_cRadix4Inv_32fc)(const FftCore& core, Qor32fc* pData, Qor32f* pScratch, int mode);
    void (*qors_crRadix4Fwd_32f)(const FftCore& core, Qor32f* pRe, Qor32f* pIm, Qor32f* pScratch);

    // The blocked path: columns of the data to the tile and back, row by row, and one stage on the
    // tile. The form is that of the data behind the split.
    void (*qors_cFft_BlkMerge_32fc)(const Qor32fc* pSrc, Qor32f* pTile, std::ptrdiff_t stride,
                                    Qor32s rows, Qor32s columns);
    void (*qors_cFft_BlkSplit_32fc)(Qor32fc* pDst, const Qor32f* pTile, std::ptrdiff_t stride,
                                    Qor32s rows, Qor32s columns, int form);
    void (*qors_crFft_BlkMerge_32f)(const Qor32f* pSrcRe, const Qor32f* pSrcIm, Qor32f* pTile,
                                    std::ptrdiff_t stride, Qor32s rows, Qor32s columns);
    void (*qors_crFft_BlkSplit_32f)(Qor32f* pDstRe, Qor32f* pDstIm, const Qor32f* pTile,
                                    std::ptrdiff_t stride, Qor32s rows, Qor32s columns);
    void (*qors_cFft_Fact4_32fc)(const Qor32f* pSrc, Qor32f* pDst, std::ptrdiff_t span,
                                 std::ptrdiff_t groups, const Qor32f* pTwd);
    void (*qors_cFft_Fact8_32fc)(const Qor32f* pSrc, Qor32f* pDst, std::ptrdiff_t span,
                                 std::ptrdiff_t groups, const Qor32f* pTwd);

    // The join of the half-length transform and the spectrum of 2^order reals, bins 1 and up.
    void (*qors_cRealRecombine_32f)(Qor32f* pSrcDst, Qor32s order, const Qor32f* pRealRec);
    void (*qors_cCcsRecombine_32f)(const Qor32f* pSrc, Qor32f* pDst, Qor32s order,
                                   const Qor32f* pCcsRec);
};

// Forms of the data: the runs that the stages work on; complex numbers; complex numbers with their
// parts exchanged, which is what an inverse transform ends with.
constexpr int kSplitGroups = 0;
constexpr int kInterleaved = 1;
constexpr int kExchanged = 2;

// The set for this machine.
const Fft32fKernels& fft32fKernels();

}  // namespace qorac
