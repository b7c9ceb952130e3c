// Interleaved samples to planar channels.
#include <cstddef>

#include "frame/dispatch.h"
#include "frame/status.h"
#include "qorac.h"

namespace qorac {
namespace {

template <typename T>
QORAC_INLINE void deinterleaveAll(const T* pSrc, int numChannels, int len, T* const* ppDst) {
    const std::size_t count = std::size_t(len), step = std::size_t(numChannels);
    if (numChannels == 2) {
        T *left = ppDst[0], *right = ppDst[1];
        for (std::size_t n = 0; n < count; ++n) {
            left[n] = pSrc[2 * n];
            right[n] = pSrc[2 * n + 1];
        }
        return;
    }
    for (int c = 0; c < numChannels; ++c) {
        T* channel = ppDst[c];
        const T* in = pSrc + c;
        for (std::size_t n = 0; n < count; ++n) channel[n] = in[n * step];
    }
}

QORAC_CLONES void deinterleaveKernel(const Qor16s* pSrc, int numChannels, int len,
                                     Qor16s* const* ppDst) {
    deinterleaveAll(pSrc, numChannels, len, ppDst);
}

QORAC_CLONES void deinterleaveKernel(const Qor32f* pSrc, int numChannels, int len,
                                     Qor32f* const* ppDst) {
    deinterleaveAll(pSrc, numChannels, len, ppDst);
}

template <typename T>
QorStatus deinterleave(const T* pSrc, int numChannels, int len, T* const* ppDst) {
    if (!pSrc || !ppDst) return qorStsNullPtrErr;
    if (numChannels < 1) return qorStsNumChannelsErr;
    if (len < 1) return qorStsSizeErr;
    if (anyChannelNull(ppDst, numChannels)) return qorStsNullPtrErr;
    deinterleaveKernel(pSrc, numChannels, len, ppDst);
    return channelAlignmentStatus(pSrc, ppDst, numChannels);
}

}  // namespace
}  // namespace qorac

QorStatus qorsDeinterleave_16s(const Qor16s* pSrc, int numChannels, int len, Qor16s** ppDst) {
    return qorac::deinterleave(pSrc, numChannels, len, ppDst);
}

QorStatus qorsDeinterleave_32f(const Qor32f* pSrc, int numChannels, int len, Qor32f** ppDst) {
    return qorac::deinterleave(pSrc, numChannels, len, ppDst);
}
