// 32-band polyphase synthesis of MPEG audio (ISO 11172-3 clause 2.4.3.2): one row of 32 sub-band
// samples in Q24 to 32 samples of 16-bit PCM.
//
// The standard's matrixing makes 64 values of which only the 32 of a DCT, C[0] to C[31], differ.
// They go into a ring of 16 slots, and the window D, in Q30, takes its 16 products for each output
// from the ring. Every product keeps its high 32 bits only.
#include "frame/constmath.h"
#include "frame/fixed.h"
#include "frame/mp3window.h"
#include "frame/status.h"
#include "qorac.h"

namespace qorac {
namespace {

constexpr int kSlot = 32;

// A slot holds -C[0] to -C[15], which a slot of odd age gives, then C[16], C[31], C[30] to C[17],
// which one of even age gives.
constexpr int slotIndex(int place) { return place < 16 ? place : place == 16 ? 16 : 48 - place; }

// Cosines of the DCT in the order of the slot's places, with the sign of its first half.
struct Cosines {
    alignas(64) double odd[16][16];  // odd places, by sample
    alignas(64) double four[8][8];   // places that 4 divides
    alignas(64) double two[8][8];    // the other even places
};
constexpr Cosines kCosines = [] {
    Cosines c{};
    const auto cosine = [](int place, int sample) {
        const long double value = constmath::cosPi(slotIndex(place) * (2 * sample + 1), 64);
        return double(place < 16 ? -value : value);
    };
    for (int k = 0; k < 16; ++k)
        for (int j = 0; j < 16; ++j) c.odd[k][j] = cosine(2 * j + 1, k);
    for (int k = 0; k < 8; ++k) {
        for (int j = 0; j < 8; ++j) {
            c.four[k][j] = cosine(4 * j, k);
            c.two[k][j] = cosine(4 * j + 2, k);
        }
    }
    return c;
}();

// The window in Q30, entries 0 to 256.
constexpr auto _pDiQ30 = constmath::makeTable<Qor32s, 257>(
    [](int i) { return Qor64s(kSynthesisWindow65536[i]) * 16384; });

// 16 window values, and once more with the odd ones moved to even places.
struct WindowRow {
    alignas(64) Qor32s value[16];
    alignas(64) Qor32s oddToEven[16];
};

// Rows of D[16 - e + 32 i] and D[16 + e + 32 i]. In lane 0, which gives output 16, only the slots
// of odd age count: the others meet a 0.
struct Window {
    WindowRow below[8], above[8];
};
constexpr Window kWindow = [] {
    Window w{};
    const auto fill = [](WindowRow& row, int i, int step, bool firstLane) {
        for (int e = 0; e < 16; ++e)
            row.value[e] = e == 0 && !firstLane ? 0 : _pDiQ30[16 + step * e + 32 * i];
        for (int e = 0; e < 16; e += 2) row.oddToEven[e] = row.value[e + 1];
    };
    for (int i = 0; i < 8; ++i) {
        fill(w.below[i], i, -1, i % 2 == 1);
        fill(w.above[i], i, +1, i % 2 == 0);
    }
    return w;
}();

QORAC_INLINE const Qor32s* slotOfAge(const Qor32s* pVBuffer, int position, int age) {
    return pVBuffer + kSlot * ((position + age) & 15);
}

// The sum for output 0, of C[16] at ages 1 to 15.
QORAC_INLINE Qor32s firstOutput(const Qor32s* pVBuffer, int position) {
    const auto r = [&](int age) { return slotOfAge(pVBuffer, position, age)[16]; };
    Qor32s sum = mulHigh(r(8), _pDiQ30[256]);
    for (int i = 1; i < 8; ++i) {
        const Qor32s pair = i & 1 ? wrapSub(r(16 - i), r(i)) : wrapAdd(r(16 - i), r(i));
        sum = wrapAdd(sum, mulHigh(pair, _pDiQ30[32 * i]));
    }
    return sum;
}

// From Q22 to 16 bits.
QORAC_INLINE Qor16s roundToPcm(Qor32s sum) { return saturate16s(wrapAdd(sum, 64) >> 7); }

}  // namespace
}  // namespace qorac

#define QORAC_KERNEL "mp3dec/mp3dpfilt_kernel.h"
#include "frame/levels.h"

namespace qorac {
QORAC_BIND(void, synthesize,
           (const Qor32s* pSrcY, Qor16s* pDstAudioOut, Qor32s* pVBuffer, int position, int stride),
           (pSrcY, pDstAudioOut, pVBuffer, position, stride))
}  // namespace qorac

using namespace qorac;

QorStatus qorsSynthPQMF_MP3_32s16s(const Qor32s* pSrcY, Qor16s* pDstAudioOut, Qor32s* pVBuffer,
                                   Qor32s* pVPosition, int mode) {
    if (!pSrcY || !pDstAudioOut || !pVBuffer || !pVPosition) return qorStsNullPtrErr;
    if (outside(mode, 1, 2) || outside(*pVPosition, 0, 15)) return qorStsBadArgErr;
    *pVPosition = (*pVPosition + 15) & 15;
    synthesize(pSrcY, pDstAudioOut, pVBuffer, *pVPosition, mode);
    return qorStsNoErr;
}
