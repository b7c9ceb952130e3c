// Planar channels to interleaved samples.
#include <cstddef>

#include "frame/dispatch.h"
#include "frame/status.h"
#include "qorac.h"

namespace qorac {
namespace {

template <typename T>
QORAC_INLINE void interleaveAll(const T* const* ppSrc, int numChannels, int len, T* pDst) {
    const std::size_t count = std::size_t(len), step = std::size_t(numChannels);
    if (numChannels == 2) {
        const T *left = ppSrc[0], *right = ppSrc[1];
        for (std::size_t n = 0; n < count; ++n) {
            pDst[2 * n] = left[n];
            pDst[2 * n + 1] = right[n];
        }
        return;
    }
    for (int c = 0; c < numChannels; ++c) {
        const T* channel = ppSrc[c];
        T* out = pDst + c;
        for (std::size_t n = 0; n < count; ++n) out[n * step] = channel[n];
    }
}

QORAC_CLONES void interleaveKernel(const Qor16s* const* ppSrc, int numChannels, int len,
                                   Qor16s* pDst) {
    interleaveAll(ppSrc, numChannels, len, pDst);
}

QORAC_CLONES void interleaveKernel(const Qor32f* const* ppSrc, int numChannels, int len,
                                   Qor32f* pDst) {
    interleaveAll(ppSrc, numChannels, len, pDst);
}

template <typename T>
QorStatus interleave(const T* const* ppSrc, int numChannels, int len, T* pDst) {
    if (!ppSrc || !pDst) return qorStsNullPtrErr;
    if (numChannels < 1) return qorStsNumChannelsErr;
    if (len < 1) return qorStsSizeErr;
    if (anyChannelNull(ppSrc, numChannels)) return qorStsNullPtrErr;
    interleaveKernel(ppSrc, numChannels, len, pDst);
    return channelAlignmentStatus(pDst, ppSrc, numChannels);
}

}  // namespace
}  // namespace qorac

QorStatus qorsInterleave_16s(const Qor16s* const* ppSrc, int numChannels, int len, Qor16s* pDst) {
    return qorac::interleave(ppSrc, numChannels, len, pDst);
}

QorStatus qorsInterleave_32f(const Qor32f* const* ppSrc, int numChannels, int len, Qor32f* pDst) {
    return qorac::interleave(ppSrc, numChannels, len, pDst);
}
