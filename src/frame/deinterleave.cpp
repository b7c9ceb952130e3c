// Interleaved samples to planar channels.
#include "frame/dispatch.h"
#include "frame/status.h"
#include "qorac.h"

namespace qorac {
namespace {

template <typename T>
QORAC_INLINE void deinterleaveAll(const T* pSrc, int numChannels, int len, T* const* ppDst) {
    if (numChannels == 2) {
        T *left = ppDst[0], *right = ppDst[1];
        for (int n = 0; n < len; ++n) {
            left[n] = pSrc[2 * n];
            right[n] = pSrc[2 * n + 1];
        }
        return;
    }
    for (int c = 0; c < numChannels; ++c) {
        T* channel = ppDst[c];
        const T* in = pSrc + c;
        for (int n = 0; n < len; ++n, in += numChannels) channel[n] = *in;
    }
}

QORAC_CLONES void kernel(const Qor16s* pSrc, int numChannels, int len, Qor16s* const* ppDst) {
    deinterleaveAll(pSrc, numChannels, len, ppDst);
}

QORAC_CLONES void kernel(const Qor32f* pSrc, int numChannels, int len, Qor32f* const* ppDst) {
    deinterleaveAll(pSrc, numChannels, len, ppDst);
}

template <typename T>
QorStatus deinterleave(const T* pSrc, int numChannels, int len, T* const* ppDst) {
    if (!pSrc || !ppDst) return qorStsNullPtrErr;
    if (numChannels < 1) return qorStsNumChannelsErr;
    if (len < 1) return qorStsSizeErr;
    if (anyChannelNull(ppDst, numChannels)) return qorStsNullPtrErr;
    kernel(pSrc, numChannels, len, ppDst);
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
